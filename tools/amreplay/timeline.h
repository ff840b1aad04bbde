// What the tools print as the module works: the readable timeline or JSON lines (one
// object per line, by "kind"), and what the phone shows. The replay and the live tool
// write through this one class, so their outputs read the same. Every call takes the
// timeline's lock: in the live tool the module reports from the SIP stack's thread and
// from the host's timer and asynchronous contexts.
#ifndef OSTRA_AMREPLAY_TIMELINE_H
#define OSTRA_AMREPLAY_TIMELINE_H

#include <mutex>
#include <ostream>
#include <string>
#include <vector>

#include "decode.h"
#include "host/dev_host.h"
#include "sippm/sippm.h"
#include "state.h"

namespace amreplay {

struct TimelineOptions {
    bool json = false;     // JSON lines instead of the readable timeline
    bool quiet = false;    // no readable timeline (JSON lines and errors still go out)
    int logLevel = -1;     // the module's log lines at this level and above; -1: none
    bool flush = false;    // each line out at once (live); a replay leaves it to the stream
};

class Timeline {
public:
    Timeline(std::ostream &out, const TimelineOptions &options) : out_(out), o_(options) {}

    // `t` is the time of the line in seconds, as the tool counts it.
    void inbound(double t, const sippm::Inbound &in);
    // A transaction of the phone's that no final response ended: its result goes as 0.
    void timedOut(double t, const sippm::Call &call);
    void request(double t, const devhost::Request &r, int result, const sippm::OutRequest &out);
    // What the phone's applications do (a BLF key configured, a watch, a message sent).
    void action(double t, const std::string &verb, const std::vector<std::string> &args, bool reenacted = false);
    // A module event with its decoded record; the phone's state follows it.
    void event(double t, const char *name, const Json &record);
    void delivered(double t, const char *receiver, int line, const char *number, const char *name,
                   const char *contentType, const char *text);
    void error(double t, const std::string &source, const std::string &what);
    // The module's log lines recorded by the development host since the last call.
    void flushLogs(double t);
    // A line of the tool's own ("log" kind, module `who`).
    void note(double t, const std::string &who, const std::string &text);
    void state(double t);

    PhoneState &phone() { return state_; }
    int errors() const { return errors_; }
    long events() const { return events_; }

private:
    void emit(const Json &line);
    void say(const std::string &text);

    std::ostream &out_;
    TimelineOptions o_;
    std::recursive_mutex mutex_;
    PhoneState state_;
    int errors_ = 0;
    long events_ = 0;
};

}  // namespace amreplay

#endif
