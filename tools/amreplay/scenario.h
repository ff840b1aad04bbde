// The scenario of a replay: the phone's lines and configuration, and what its applications
// do at given times. The format is described in examples/README.md.
#ifndef OSTRA_AMREPLAY_SCENARIO_H
#define OSTRA_AMREPLAY_SCENARIO_H

#include <string>
#include <vector>

#include "sippm/sippm.h"

namespace amreplay {

struct LineSetup {
    sippm::Line line;
    bool registered = true;
    int multiDialog = 0;
    int sca = 0;
    int expires = 3600;
};

struct ConfigItem {
    std::string module, group, item, value;
};

struct Action {
    double t = 0;                    // seconds from the start of the replay
    std::string verb;                // blf, presence, seize, hotel, dnd, forward, agent, sms, advance, ...
    std::vector<std::string> args;
    std::string where;               // file:line, for errors
};

struct Scenario {
    std::vector<LineSetup> lines;
    std::vector<ConfigItem> config;
    std::string mac;
    std::vector<Action> actions;     // in time order (stable)
};

// False with `error` naming the file and line of the first unusable line.
bool parseScenario(const std::string &text, const std::string &name, Scenario &out, std::string &error);

// Checks an action's arguments; the message when they are unusable.
std::string checkAction(const Action &action);

}  // namespace amreplay

#endif
