// amreplay: real SIP traffic through the module, message by message, and what the phone
// shows at the end. Run with --help for the options; examples/README.md describes the
// inputs and the scenario file.
#include <dlfcn.h>
#include <sys/stat.h>

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "decode.h"
#include "host/dev_host.h"
#include "input.h"
#include "platform/am.h"
#include "scenario.h"
#include "sippm/sippm.h"
#include "sippm/text.h"
#include "state.h"
#include "timeline.h"

#ifndef OSTRA_DEFAULT_MODULE
#define OSTRA_DEFAULT_MODULE "libostra_am.so"
#endif

namespace amreplay {
namespace {

// The module's functions the tool calls as the phone's applications would.
struct Applications {
    int (*moduleInit)() = nullptr;
    int (*moduleUnInit)() = nullptr;
    int (*requestBlf)(int, const char *) = nullptr;
    int (*requestBlfCancel)(int, const char *) = nullptr;
    int (*requestPresence)(int, const char *) = nullptr;
    void (*requestPresenceCancel)(int, const char *) = nullptr;
    int (*requestLineSeize)(int, int, int) = nullptr;
    int (*requestLineSeizeCancel)(int, int) = nullptr;
    int (*requestHotelEvent)(int, const char *) = nullptr;
    int (*requestHotelCancel)(int) = nullptr;
    int (*featureSyncRequest)(int, const char *, const AmFeatureSync *) = nullptr;
    int (*sendSms)(int, const char *, const char *, int) = nullptr;
    int (*sendMedicalSms)(int, const char *, const char *, int) = nullptr;
    int (*sendPushXml)(int, const char *, const char *, int) = nullptr;
    int (*sendAppXml)(int, const char *, const char *, int) = nullptr;
    int (*plainRegister)(const char *, AmSmsRecvFunc) = nullptr;
    int (*xmlRegister)(AmXmlSmsRecvFunc) = nullptr;
    int (*callbackRegister)(AmMessageProcessCb) = nullptr;
    int (*callbackUnregister)(AmMessageProcessCb) = nullptr;
    int (*parkCount)() = nullptr;
    AmVisualParkInfo *(*parkAt)(int) = nullptr;
    void (*parkFree)(void *) = nullptr;

    void resolve(void *handle) {
        auto get = [&](const char *name, auto &slot) {
            slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(dlsym(handle, name));
        };
        get("amModuleInit", moduleInit);
        get("amModuleUnInit", moduleUnInit);
        get("amRequestBlf", requestBlf);
        get("amRequestBlfCancel", requestBlfCancel);
        get("amRequestPresence", requestPresence);
        get("amRequestPresenceCancel", requestPresenceCancel);
        get("amRequestLineSeize", requestLineSeize);
        get("amRequestLineSeizeCancel", requestLineSeizeCancel);
        get("amRequestHotelEvent", requestHotelEvent);
        get("amRequestHotelCancel", requestHotelCancel);
        get("amFeatureSyncRequest", featureSyncRequest);
        get("amSendSms", sendSms);
        get("amSendMedicalSms", sendMedicalSms);
        get("amSendMessagePushXml", sendPushXml);
        get("amSendMessageAppliciationXml", sendAppXml);
        get("amSmsPlainRecvCallBackRegister", plainRegister);
        get("amXmlSmsRecvCbRegister", xmlRegister);
        get("amMessageProcessCbRegister", callbackRegister);
        get("amMessageProcessCbUnregister", callbackUnregister);
        get("amGetCallParkNum", parkCount);
        get("amGetVisualCallParkInfoByIndex", parkAt);
        get("amFreeVisualParkInfo", parkFree);
    }
};

struct Options {
    std::vector<std::string> inputs;
    std::string scenario;
    std::string module = OSTRA_DEFAULT_MODULE;
    bool reenact = false;
    bool state = false;
    bool json = false;
    bool quiet = false;
    int logLevel = -1;
};

// Text between <tag> and </tag>, or empty.
std::string element(const std::string &body, const std::string &tag) {
    std::size_t open = body.find("<" + tag + ">");
    if (open == std::string::npos) return "";
    open += tag.size() + 2;
    std::size_t close = body.find("</" + tag + ">", open);
    return close == std::string::npos ? "" : body.substr(open, close - open);
}

TimelineOptions timelineOptions(const Options &o) {
    TimelineOptions t;
    t.json = o.json;
    t.quiet = o.quiet;
    t.logLevel = o.logLevel;
    return t;
}

class Replay {
public:
    Replay(const Options &options, const Scenario &scenario)
        : o_(options), scenario_(scenario), timeline_(std::cout, timelineOptions(options)) {
        for (const LineSetup &l : scenario.lines) pm_.lines().set(l.line);
    }

    int run();

private:
    // ---- output ----------------------------------------------------------------------
    void error(const std::string &source, const std::string &what) { timeline_.error(now_, source, what); }
    void flushLogs() { timeline_.flushLogs(now_); }

    // ---- what the module does --------------------------------------------------------
    void onEvent(const char *name, const void *data, int size) {
        // The visual park event carries no record: the phone reads the new list through
        // the queries.
        Json record = std::string(name) == AM_VISUAL_PARK_EVENT_NAME ? Json{{"list", visualParkList()}}
                                                                      : decodeRecord(name, data, size);
        timeline_.event(now_, name, record);
    }

    Json visualParkList() {
        Json list = Json::array();
        if (app_.parkCount == nullptr || app_.parkAt == nullptr || app_.parkFree == nullptr) return list;
        int count = app_.parkCount();
        for (int i = 0; i < count && i < 1000; ++i) {
            AmVisualParkInfo *info = app_.parkAt(i);
            if (info == nullptr) continue;
            auto text = [](const char *p) { return p != nullptr ? Json(p) : Json(nullptr); };
            list.push_back(Json{{"state", info->state}, {"line", info->line},
                                {"retrieveNumber", text(info->retrieveNumber)},
                                {"parkerDisplay", text(info->parkerDisplay)}, {"parkerUri", text(info->parkerUri)},
                                {"parkedDisplay", text(info->parkedDisplay)}, {"parkedUri", text(info->parkedUri)},
                                {"callId", text(info->callId)}, {"callType", info->callType}});
            app_.parkFree(info);
        }
        return list;
    }

    int onRequest(const devhost::Request &r, int configured) {
        timeline_.request(now_, r, configured, pm_.render(r, now_, false));
        return configured;
    }

    void onDelivered(const char *receiver, int line, const char *number, const char *name, const char *contentType,
                     const char *text) {
        timeline_.delivered(now_, receiver, line, number, name, contentType, text);
    }
    static int plainReceiver(int line, const char *number, const char *name, const char *body) {
        self_->onDelivered("message receiver", line, number, name, nullptr, body);
        return 0;
    }
    static int xmlReceiver(int line, const char *number, const char *name, const char *content, const char *msgId) {
        (void)msgId;
        self_->onDelivered("XML message callback", line, number, name, nullptr, content);
        return 0;
    }
    static void messageCallback(const AmRecvMessage *m) {
        self_->onDelivered("message callback", m->line, m->number, m->name, m->contentType, m->body);
    }

    // ---- time ------------------------------------------------------------------------
    void advanceTo(double t) {
        if (t < now_) t = now_;
        std::vector<sippm::Call> late = pm_.expire(t);
        now_ = t;
        for (const sippm::Call &call : late) {
            timeline_.timedOut(now_, call);
            deliver(call, "timeout");
        }
        long target = static_cast<long>(std::floor(t));
        long behind = target - devhost::nowSeconds();
        if (behind > 0) {
            devhost::advance(behind);   // due timers fire here, as they would have
            settle();
        }
    }
    void settle() {
        for (int rounds = 0; rounds < 100 && devhost::asyncPending() > 0; ++rounds) devhost::drainAsync();
        flushLogs();
        devhost::clearRequests();
    }
    void runActionsUpTo(double t) {
        while (nextAction_ < scenario_.actions.size() && scenario_.actions[nextAction_].t <= t) {
            const Action &a = scenario_.actions[nextAction_++];
            advanceTo(a.t);
            perform(a, false);
        }
        advanceTo(t);
    }

    // ---- the applications --------------------------------------------------------------
    void perform(const Action &a, bool reenacted) {
        timeline_.action(now_, a.verb, a.args, reenacted);
        std::string missing = act(a);
        if (!missing.empty()) error(a.where, missing);
        settle();
    }

    std::string act(const Action &a) {
        auto n = [&](std::size_t i) { return std::atoi(a.args[i].c_str()); };
        auto s = [&](std::size_t i) { return a.args[i].c_str(); };
        auto on = [&](std::size_t i) { return a.args[i] == "on" || a.args[i] == "yes" || a.args[i] == "1" || a.args[i] == "true"; };
        auto need = [](const void *f, const char *name) { return f == nullptr ? std::string("the module has no ") + name : ""; };
        const std::string &v = a.verb;
        if (v == "advance") {
            advanceTo(now_ + std::atof(s(0)));
            return "";
        }
        if (v == "register") {
            devhost::line(n(0)).registered = on(1);
            return "";
        }
        if (v == "blf") return app_.requestBlf ? (app_.requestBlf(n(0), s(1)), "") : need(nullptr, "amRequestBlf");
        if (v == "blf-cancel")
            return app_.requestBlfCancel ? (app_.requestBlfCancel(n(0), s(1)), "") : need(nullptr, "amRequestBlfCancel");
        if (v == "presence")
            return app_.requestPresence ? (app_.requestPresence(n(0), s(1)), "") : need(nullptr, "amRequestPresence");
        if (v == "presence-cancel") {
            if (!app_.requestPresenceCancel) return need(nullptr, "amRequestPresenceCancel");
            app_.requestPresenceCancel(n(0), s(1));
            return "";
        }
        if (v == "seize")
            return app_.requestLineSeize ? (app_.requestLineSeize(n(0), n(1), n(2)), "") : need(nullptr, "amRequestLineSeize");
        if (v == "seize-cancel")
            return app_.requestLineSeizeCancel ? (app_.requestLineSeizeCancel(n(0), n(1)), "")
                                               : need(nullptr, "amRequestLineSeizeCancel");
        if (v == "hotel")
            return app_.requestHotelEvent ? (app_.requestHotelEvent(n(0), s(1)), "") : need(nullptr, "amRequestHotelEvent");
        if (v == "hotel-cancel")
            return app_.requestHotelCancel ? (app_.requestHotelCancel(n(0)), "") : need(nullptr, "amRequestHotelCancel");
        if (v == "dnd" || v == "forward" || v == "agent") {
            if (!app_.featureSyncRequest) return need(nullptr, "amFeatureSyncRequest");
            AmFeatureSync r;
            std::memset(&r, 0, sizeof r);
            r.line = n(0);
            if (v == "dnd") {
                r.feature = AM_FEATURE_DND;
                r.value = on(2);
            } else if (v == "forward") {
                r.feature = a.args[2] == "always" ? AM_FEATURE_FORWARD_ALWAYS
                            : a.args[2] == "no-answer" ? AM_FEATURE_FORWARD_NO_ANSWER
                            : a.args[2] == "busy" ? AM_FEATURE_FORWARD_BUSY : -1;
                if (r.feature < 0) return "forward takes always, no-answer or busy";
                r.value = on(3);
                if (a.args.size() > 4) std::snprintf(r.forwardTo, sizeof r.forwardTo, "%s", s(4));
                if (a.args.size() > 5) r.ringTime = n(5);
            } else {
                static const char *states[] = {"logged-on", "logged-off", "not-ready", "ready", "working-after-call"};
                r.feature = AM_FEATURE_AGENT_STATE;
                r.value = -1;
                for (int i = 0; i < 5; ++i) {
                    if (a.args[2] == states[i]) r.value = i;
                }
                if (r.value < 0) return "unknown agent state \"" + a.args[2] + "\"";
                if (a.args.size() > 3) std::snprintf(r.reason, sizeof r.reason, "%s", s(3));
            }
            app_.featureSyncRequest(n(0), s(1), &r);
            return "";
        }
        if (v == "sms") {
            static const char *const types[] = {"text", "medical", "push-xml", "app-xml"};
            static const char *const senders[] = {"amSendSms", "amSendMedicalSms", "amSendMessagePushXml",
                                                  "amSendMessageAppliciationXml"};
            int (*const functions[])(int, const char *, const char *, int) = {app_.sendSms, app_.sendMedicalSms,
                                                                              app_.sendPushXml, app_.sendAppXml};
            int kind = -1;
            for (int i = 0; i < 4; ++i) {
                if (a.args[3] == types[i]) kind = i;
            }
            if (kind < 0) return "no message type \"" + a.args[3] + "\"";
            int (*send)(int, const char *, const char *, int) = functions[kind];
            if (send == nullptr) return need(nullptr, senders[kind]);
            send(n(0), s(1), s(4), n(2));
            return "";
        }
        return "unknown action " + v;
    }

    // The phone's own request in a capture, made again by the module's applications.
    void reenact(const sippm::Inbound &in) {
        Action a;
        a.where = in.source;
        std::string line = std::to_string(in.line);
        std::string package = sippm::trim(in.event.value_or("").substr(0, in.event.value_or("").find(';')));
        bool cancel = in.expires == 0;
        std::string body = in.body.value_or("");
        if (in.method == "MESSAGE") {
            std::string ct = in.contentType.value_or("");
            std::string type = strcasecmp(ct.c_str(), "text/plain") == 0 ? "text"
                               : strcasecmp(ct.c_str(), "text/medical") == 0 ? "medical"
                               : strcasecmp(ct.c_str(), "text/xml-pushinfo") == 0 ? "push-xml"
                               : strcasecmp(ct.c_str(), "application/xml") == 0 ? "app-xml" : "";
            if (type.empty()) return;
            a.verb = "sms";
            a.args = {line, in.number, std::to_string(in.messageId), type, body};
        } else if (in.method != "SUBSCRIBE") {
            return;
        } else if (package == "dialog") {
            a.verb = cancel ? "blf-cancel" : "blf";
            a.args = {line, in.number};
        } else if (package == "presence") {
            a.verb = cancel ? "presence-cancel" : "presence";
            a.args = {line, in.number};
        } else if (package == "line-seize") {
            int index = 1;
            for (const std::string &ci : in.callInfo) {
                std::size_t at = ci.find("appearance-index=");
                if (at != std::string::npos) index = std::atoi(ci.c_str() + at + 17);
            }
            a.verb = cancel ? "seize-cancel" : "seize";
            a.args = cancel ? std::vector<std::string>{line, std::to_string(index)}
                            : std::vector<std::string>{line, std::to_string(index), std::to_string(index)};
        } else if (package == "x-broadworks-hoteling") {
            if (cancel) {
                a.verb = "hotel-cancel";
                a.args = {line};
            } else {
                // The authenticated second SUBSCRIBE is the module's own answer to a challenge.
                if (body.find("authenticationData") != std::string::npos) return;
                std::string guest = element(body, "guestAddress");
                a.verb = "hotel";
                a.args = {line, guest.substr(0, guest.find('@'))};
            }
        } else if (package == "as-feature-event" && !body.empty()) {
            if (body.find("SetDoNotDisturb") != std::string::npos) {
                a.verb = "dnd";
                a.args = {line, in.number, element(body, "doNotDisturbOn") == "true" ? "on" : "off"};
            } else if (body.find("SetForwarding") != std::string::npos) {
                std::string type = element(body, "forwardingType");
                a.verb = "forward";
                a.args = {line, in.number,
                          type == "forwardNoAns" ? "no-answer" : type == "forwardBusy" ? "busy" : "always",
                          element(body, "activateForward") == "true" ? "on" : "off", element(body, "forwardDN")};
                if (type == "forwardNoAns") a.args.push_back(std::to_string(std::atoi(element(body, "ringCount").c_str()) * 5));
            } else if (body.find("SetAgentState") != std::string::npos) {
                static const std::pair<const char *, const char *> names[] = {
                    {"loggedOn", "logged-on"}, {"loggedOff", "logged-off"}, {"notReady", "not-ready"},
                    {"ready", "ready"}, {"workingAfterCall", "working-after-call"}};
                std::string state = element(body, "requestedAgentState"), mapped = "logged-off";
                for (const auto &n : names) {
                    if (state == n.first) mapped = n.second;
                }
                a.verb = "agent";
                a.args = {line, in.number, mapped};
                std::string reason = element(body, "pri:AgentNotReadyReasonValue");
                if (!reason.empty()) a.args.push_back(reason);
            } else {
                return;
            }
        } else {
            return;
        }
        a.t = now_;
        perform(a, true);
    }

    // ---- inbound ---------------------------------------------------------------------
    void deliver(const sippm::Call &call, const std::string &source) {
        if (const char *missing = module_.missing(call.kind)) {
            error(source, std::string("the module has no ") + missing);
            return;
        }
        call.invoke(module_);
        settle();
    }

    void onMessage(RawMessage &&raw) {
        ++messages_;
        if (raw.t >= 0 && !haveOrigin_) {
            origin_ = raw.t;
            haveOrigin_ = true;
        }
        double t = raw.t >= 0 ? raw.t - origin_ : now_;
        runActionsUpTo(std::max(t, now_));
        sippm::Inbound in;
        std::string why;
        if (!pm_.parse(raw.bytes.data(), raw.bytes.size(), raw.source, now_, in, why)) {
            error(raw.source, why.substr(why.find(": ") == std::string::npos ? 0 : why.find(": ") + 2));
            return;
        }
        timeline_.inbound(now_, in);
        if (o_.reenact && in.fromPhone && in.request) reenact(in);
        for (const sippm::Call &call : in.calls) deliver(call, in.source);
    }

    const Options &o_;
    const Scenario &scenario_;
    sippm::ProtocolManager pm_;
    sippm::ModuleApi module_;
    Applications app_;
    Timeline timeline_;
    std::size_t nextAction_ = 0;
    double now_ = 0, origin_ = 0;
    bool haveOrigin_ = false;
    long messages_ = 0;
    static Replay *self_;
};

Replay *Replay::self_ = nullptr;

int Replay::run() {
    self_ = this;
    void *handle = dlopen(o_.module.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) {
        std::cerr << "amreplay: cannot load the module " << o_.module << ": " << dlerror() << "\n";
        return 2;
    }
    std::string why;
    if (!module_.resolve(handle, why)) {
        std::cerr << "amreplay: " << o_.module << ": " << why << "\n";
        return 2;
    }
    app_.resolve(handle);

    devhost::reset();
    devhost::setTimerMode(devhost::Mode::Manual);
    devhost::setAsyncMode(devhost::Mode::Manual);
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(o_.logLevel >= 0);
    devhost::setLogPrintLevel(-1);
    for (const LineSetup &l : scenario_.lines) {
        devhost::LineSettings &s = devhost::line(l.line.index);
        s.registered = l.registered;
        s.multiDialog = l.multiDialog;
        s.scaEnable = l.sca;
        s.subscribeExpires = l.expires;
        s.registerNumber = l.line.user;
        s.registerServer = l.line.server;
    }
    for (const ConfigItem &c : scenario_.config) devhost::setConfigItem(c.module, c.group, c.item, c.value);
    if (!scenario_.mac.empty()) devhost::setMacAddress(scenario_.mac);
    devhost::setEventObserver([this](const char *name, const void *data, int size) { onEvent(name, data, size); });
    devhost::setRequestHook([this](const devhost::Request &r, int configured) { return onRequest(r, configured); });

    if (app_.moduleInit != nullptr) app_.moduleInit();
    if (app_.plainRegister != nullptr) app_.plainRegister("amreplay", plainReceiver);
    if (app_.xmlRegister != nullptr) app_.xmlRegister(xmlReceiver);
    if (app_.callbackRegister != nullptr) app_.callbackRegister(messageCallback);
    settle();

    Sink sink;
    sink.message = [this](RawMessage &&m) { onMessage(std::move(m)); };
    sink.error = [this](const std::string &source, const std::string &what) { error(source, what); };
    for (const std::string &input : o_.inputs) {
        std::string fatal;
        if (!readFile(input, sink, fatal)) {
            std::cerr << "amreplay: " << fatal << "\n";
            return 2;
        }
    }
    runActionsUpTo(scenario_.actions.empty() ? now_ : std::max(now_, scenario_.actions.back().t));
    settle();

    if (o_.state) timeline_.state(now_);
    if (app_.callbackUnregister != nullptr) app_.callbackUnregister(messageCallback);
    if (app_.moduleUnInit != nullptr) app_.moduleUnInit();
    devhost::setEventObserver(nullptr);
    devhost::setRequestHook(nullptr);
    std::cout.flush();
    std::cerr << "amreplay: " << messages_ << " message(s), " << timeline_.events() << " event(s), "
              << timeline_.errors() << " error(s)\n";
    return timeline_.errors() > 0 ? 1 : 0;
}

}  // namespace
}  // namespace amreplay

int main(int argc, char **argv) {
    using namespace amreplay;
    std::ios::sync_with_stdio(false);   // the timeline is written through cout alone
    Options o;
    CLI::App app{"amreplay: replays SIP traffic (message files, pcap, pcapng) through the module and shows, "
                 "message by message, what it reported and asked for, and what the phone shows at the end."};
    app.add_option("inputs", o.inputs, "SIP message text files, pcap or pcapng captures, replayed in order")
        ->required();
    app.add_option("-s,--scenario", o.scenario, "scenario file: lines, configuration, application actions");
    app.add_flag("--reenact", o.reenact, "make the phone's own SUBSCRIBEs and MESSAGEs again through the module");
    app.add_flag("--state", o.state, "print what the phone shows at the end");
    app.add_option("--log-level", o.logLevel, "add the module's log lines at this level and above (0-3)")
        ->check(CLI::Range(0, 3));
    app.add_flag("--json", o.json, "JSON lines instead of the timeline");
    app.add_flag("-q,--quiet", o.quiet, "no timeline (with --state: the state alone)");
    app.add_option("--module", o.module, "the module to load instead of the built one");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &e) {
        int rc = app.exit(e);
        return rc == 0 ? 0 : 2;
    }
    for (const std::string &input : o.inputs) {
        struct stat st;
        if (stat(input.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) {
            std::cerr << "amreplay: " << input << ": no such file\n";
            return 2;
        }
    }
    Scenario scenario;
    if (!o.scenario.empty()) {
        std::ifstream file(o.scenario);
        if (!file) {
            std::cerr << "amreplay: " << o.scenario << ": cannot be read\n";
            return 2;
        }
        std::stringstream text;
        text << file.rdbuf();
        std::string error;
        if (!parseScenario(text.str(), o.scenario, scenario, error)) {
            std::cerr << "amreplay: " << error << "\n";
            return 2;
        }
    }
    Replay replay(o, scenario);
    return replay.run();
}
