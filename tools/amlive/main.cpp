// amlive: the module behind a real SIP stack. It registers the phone's lines, subscribes
// through the module to what the user watches, hands the server's NOTIFYs, MESSAGEs and
// INFOs to it, and prints the timeline (or JSON lines) and, with --state, what the phone
// shows when it stops (SIGINT, SIGTERM or --duration).
#include <dlfcn.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

#include <fstream>
#include <sstream>

#include "amreplay/scenario.h"
#include "host/dev_host.h"
#include "live.h"
#include "platform/am.h"

namespace {

std::atomic<bool> stopRequested{false};
// Read by the signal handler and by the host's threads (message callbacks).
std::atomic<amlive::Live *> running{nullptr};
amreplay::Timeline *timeline = nullptr;

void onSignal(int) {
    stopRequested.store(true);
    if (amlive::Live *live = running.load()) live->wake();
}

void usage(std::FILE *out) {
    std::fputs(
        "usage: amlive --line N:USER:PASSWORD@SERVER[:PORT][;transport=tcp] [options]\n"
        "  --line ...          a line (repeatable); SERVER is where REGISTER and every request go\n"
        "  --scenario FILE     lines (with password= and transport=) and blf, presence and sms\n"
        "                      actions of a replay scenario; times count from the start\n"
        "  --domain DOMAIN     the domain of the lines' URIs (default: SERVER's host)\n"
        "  --blf [L:]NUMBER    a BLF key for NUMBER on line L (default 1); repeatable\n"
        "  --list [L:]USER     a BLF resource list (RLMI) at USER@DOMAIN\n"
        "  --presence [L:]NUMBER  a presence watch\n"
        "  --mwi [L]           the line's own mailbox (message-summary)\n"
        "  --sms L:NUMBER:TEXT a text message sent once line L is registered\n"
        "  --json              JSON lines instead of the timeline\n"
        "  --state             print what the phone shows when stopping\n"
        "  --log-level N       print the module's log lines of level N and above to stderr\n"
        "  --duration SECONDS  stop by itself after that long (default: at SIGINT)\n",
        out);
}

double now() {
    amlive::Live *live = running.load();
    return live != nullptr ? live->now() : 0;
}

void messageCallback(const AmRecvMessage *m) {
    if (timeline != nullptr && m != nullptr)
        timeline->delivered(now(), "message callback", m->line, m->number, m->name, m->contentType, m->body);
}

int plainReceiver(int line, const char *number, const char *name, const char *body) {
    if (timeline != nullptr) timeline->delivered(now(), "message receiver", line, number, name, nullptr, body);
    return 0;
}

// The lines and the actions amlive can take live from a replay scenario.
bool readScenario(const std::string &name, std::vector<amlive::Account> &accounts,
                  std::vector<amlive::Watch> &watches) {
    std::ifstream file(name);
    if (!file) {
        std::fprintf(stderr, "amlive: %s: cannot be read\n", name.c_str());
        return false;
    }
    std::stringstream text;
    text << file.rdbuf();
    amreplay::Scenario scenario;
    std::string error;
    if (!amreplay::parseScenario(text.str(), name, scenario, error)) {
        std::fprintf(stderr, "amlive: %s\n", error.c_str());
        return false;
    }
    for (const amreplay::LineSetup &l : scenario.lines) {
        amlive::Account a;
        a.line = l.line;
        a.password = l.password;
        a.proxy = l.line.server;
        a.tcp = l.tcp;
        if (a.line.index <= 0 || a.line.user.empty() || a.line.server.empty()) {
            std::fprintf(stderr, "amlive: %s: line %d needs user= and server=\n", name.c_str(), a.line.index);
            return false;
        }
        accounts.push_back(a);
    }
    for (const amreplay::Action &action : scenario.actions) {
        amlive::Watch w;
        w.at = action.t;
        w.line = std::atoi(action.args.empty() ? "0" : action.args[0].c_str());
        if (action.verb == "blf" || action.verb == "presence") {
            w.kind = action.verb == "blf" ? amlive::Watch::Blf : amlive::Watch::Presence;
            w.number = action.args[1];
        } else if (action.verb == "sms" && action.args[3] == "text") {
            w.kind = amlive::Watch::Sms;
            w.number = action.args[1];
            w.id = std::atoi(action.args[2].c_str());
            w.text = action.args[4];
        } else {
            std::fprintf(stderr, "amlive: %s: \"%s\" is not run live (blf, presence and sms text are)\n",
                         action.where.c_str(), action.verb.c_str());
            return false;
        }
        watches.push_back(w);
    }
    return true;
}

}  // namespace

int main(int argc, char **argv) {
    std::vector<amlive::Account> accounts;
    std::vector<amlive::Watch> watches;
    std::string domain;
    bool json = false, state = false;
    int logLevel = -1;
    double duration = 0;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&]() -> std::string {
            if (i + 1 >= argc) {
                std::fprintf(stderr, "amlive: %s needs a value\n", arg.c_str());
                std::exit(2);
            }
            return argv[++i];
        };
        if (arg == "--line") {
            amlive::Account account;
            std::string v = value();
            if (!amlive::parseAccount(v, account)) {
                std::fprintf(stderr, "amlive: --line %s: expected N:USER:PASSWORD@SERVER[:PORT]\n", v.c_str());
                return 2;
            }
            accounts.push_back(account);
        } else if (arg == "--scenario") {
            std::string name = value();
            if (!readScenario(name, accounts, watches)) return 2;
        } else if (arg == "--domain") {
            domain = value();
        } else if (arg == "--blf" || arg == "--list" || arg == "--presence") {
            auto [line, number] = amlive::lineAndRest(value());
            amlive::Watch w;
            w.kind = arg == "--blf" ? amlive::Watch::Blf : arg == "--list" ? amlive::Watch::List : amlive::Watch::Presence;
            w.line = line;
            w.number = number;
            watches.push_back(w);
        } else if (arg == "--sms") {
            // The line is not optional here: a number in front of the text would read as one.
            std::string v = value();
            auto [line, rest] = amlive::lineAndRest(v);
            std::size_t colon = rest.find(':');
            if (v.find(':') == rest.find(':') || colon == std::string::npos || colon == 0) {
                std::fprintf(stderr, "amlive: --sms %s: expected LINE:NUMBER:TEXT\n", v.c_str());
                return 2;
            }
            amlive::Watch w;
            w.kind = amlive::Watch::Sms;
            w.line = line;
            w.number = rest.substr(0, colon);
            w.text = rest.substr(colon + 1);
            watches.push_back(w);
        } else if (arg == "--mwi") {
            amlive::Watch w;
            w.kind = amlive::Watch::Mwi;
            if (i + 1 < argc && argv[i + 1][0] != '-') w.line = std::atoi(argv[++i]);
            watches.push_back(w);
        } else if (arg == "--json") {
            json = true;
        } else if (arg == "--state") {
            state = true;
        } else if (arg == "--log-level") {
            logLevel = std::atoi(value().c_str());
        } else if (arg == "--duration") {
            duration = std::atof(value().c_str());
        } else if (arg == "-h" || arg == "--help") {
            usage(stdout);
            return 0;
        } else {
            std::fprintf(stderr, "amlive: unknown argument %s\n", arg.c_str());
            usage(stderr);
            return 2;
        }
    }
    if (accounts.empty()) {
        std::fprintf(stderr, "amlive: no --line given\n");
        usage(stderr);
        return 2;
    }
    for (amlive::Account &a : accounts) {
        if (!domain.empty()) a.line.server = domain;
    }
    for (const amlive::Watch &w : watches) {
        bool known = false;
        for (const amlive::Account &a : accounts) known = known || a.line.index == w.line;
        if (!known || (w.kind != amlive::Watch::Mwi && w.number.empty())) {
            std::fprintf(stderr, "amlive: a watch on line %d names no configured line or no number\n", w.line);
            return 2;
        }
    }

    amreplay::TimelineOptions options;
    options.json = json;
    options.flush = true;
    amreplay::Timeline out(std::cout, options);
    timeline = &out;
    devhost::setAsyncMode(devhost::Mode::Threaded);
    devhost::setTimerMode(devhost::Mode::Threaded);
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    devhost::setLogPrintLevel(logLevel);
    devhost::setEventObserver([&out](const char *name, const void *data, int size) {
        out.event(now(), name, amreplay::decodeRecord(name, data, size));
    });
    if (amModuleInit() != 0) {
        std::fprintf(stderr, "amlive: the module did not start\n");
        return 1;
    }
    amMessageProcessCbRegister(messageCallback);
    // The plain text receiver exists only in builds with messaging.
    using Register = int (*)(const char *, AmSmsRecvFunc);
    if (auto reg = reinterpret_cast<Register>(dlsym(RTLD_DEFAULT, "amSmsPlainRecvCallBackRegister")))
        reg("amlive", plainReceiver);

    int rc = 0;
    {
        // Entry points are looked up rather than linked, so that a build without one of the
        // features (messaging results, say) still runs the rest.
        sippm::ModuleApi module;
        std::string missing;
        bool complete = module.resolve(dlopen(nullptr, RTLD_NOW), missing);
        amlive::Live live(out, module);
        running = &live;
        char clock[64];
        std::snprintf(clock, sizeof clock, "t=0 is Unix time %.6f", live.epoch());
        out.note(0, "amlive", clock);
        if (!complete) out.note(0, "amlive", "module: " + missing);
        std::string error;
        if (!live.start(accounts, watches, error)) {
            std::fprintf(stderr, "amlive: %s\n", error.c_str());
            rc = 1;
        } else {
            std::signal(SIGINT, onSignal);
            std::signal(SIGTERM, onSignal);
            live.run(stopRequested, duration);
            live.shutdown();
            if (live.registeredLines() == 0) rc = 1;
        }
        devhost::waitAsyncIdle();
        // Back to manual modes: that joins the host's timer and asynchronous threads, the
        // last that could still reach the stack or read its clock.
        devhost::setTimerMode(devhost::Mode::Manual);
        devhost::setAsyncMode(devhost::Mode::Manual);
        if (state) out.state(live.now());
        running = nullptr;
    }
    amMessageProcessCbUnregister(messageCallback);
    devhost::setEventObserver({});
    amModuleUnInit();
    timeline = nullptr;
    return rc;
}
