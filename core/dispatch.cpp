// Inbound dispatch: every NOTIFY, MESSAGE, INFO and subscription result that the protocol
// manager hands over is routed here to the feature that owns it. Nothing is parsed here;
// each route is one call into its feature, and the features' results are not looked at.
#include <cstring>
#include <strings.h>

#include "core/internal.h"
#include "core/util.h"

namespace {

constexpr char kLog[] = "ostra.am.main";

// How a route's package word is compared with the Event header.
enum class Match {
    Equal,           // whole text, case ignored: parameters after the package do not match
    Prefix,          // the package's length, case ignored
    PrefixWithCase,  // the package's length, with case
};

bool matches(Match match, const char *package, const char *event) {
    switch (match) {
        case Match::Equal:
            return strcasecmp(event, package) == 0;
        case Match::Prefix:
            return strncasecmp(event, package, std::strlen(package)) == 0;
        case Match::PrefixWithCase:
            return std::strncmp(event, package, std::strlen(package)) == 0;
    }
    return false;
}

struct Notify {
    int line;
    const char *number;
    const char *event;
    const char *subscriptionState;
    const char *contentType;
    const char *body;
};

struct NotifyRoute {
    Match match;
    const char *package;
    const char *contentType;  // the one the feature accepts; nullptr: any
    const char *feature;      // named in the refusal of another content type; nullptr: silent
    int (*handle)(const Notify &);
};

int lineSeizeNotify(const Notify &n) {
    if (n.subscriptionState == nullptr || n.subscriptionState[0] == '\0' || n.body == nullptr) return -1;
    int result = strncasecmp(n.subscriptionState, "active", 6) == 0 ? AM_LINE_SEIZE_RESULT_ACTIVE
                                                                     : AM_LINE_SEIZE_RESULT_FAILED;
    amRecvLineSeizeParse(n.line, result, n.body);
    return 0;
}

int firmwareUpdateNotify(const Notify &n) {
    char server[48] = {};
    char filename[48] = {};
    char user[32] = {};
    char password[32] = {};
    int protocol = 0;
    amFirmwareUpdateBodyContentParse(n.body, server, filename, user, password, &protocol);
    amFirmwareUpdateReport(server, user, password, filename, protocol);
    return 0;
}

int clickToTalkNotify(const Notify &n) {
    if (n.body == nullptr) {
        ostraPrintLog(0, kLog, "%s: body is NULL.\n", "amRecvClickToTalkProcess");
        return 0;
    }
    // The body is the number to call.
    amClickToTalkReport(n.line, n.body, 0);
    ostraPrintLog(0, kLog, "%s: body=%s, line=%d\n", "amRecvClickToTalkProcess", n.body, n.line);
    return 0;
}

int callInfoNotify(const Notify &n) {
    // "call-info" carries both packages: call park by its content type, the rest is SCA.
    if (amMsgContentEqual("application/x-broadworks-callpark-info+xml", n.contentType)) {
        amRecvCallParkParse(n.line, n.number, n.contentType, n.subscriptionState, n.body);
    } else {
        amRecvScaParse(n.line, n.body);
    }
    return 0;
}

// In order: the first route whose package matches decides.
constexpr NotifyRoute kNotifyRoutes[] = {
    {Match::Equal, "message-summary", nullptr, nullptr,
     [](const Notify &n) { amRecvMwiParse(n.line, n.contentType, n.body, n.number, 0); return 0; }},
    {Match::Equal, "dialog-message-summary", nullptr, nullptr,
     [](const Notify &n) { amRecvMwiParse(n.line, n.contentType, n.body, n.number, 1); return 0; }},
    {Match::Equal, "presence", nullptr, nullptr,
     [](const Notify &n) { amRecvPresenceParse(n.line, n.number, n.contentType, n.body); return 0; }},
    {Match::Equal, "dialog", nullptr, nullptr,
     [](const Notify &n) {
         amRecvDialogInfoParse(n.line, n.number, n.contentType, n.subscriptionState, n.body);
         return 0;
     }},
    // Read by other parts of the phone with amCheckOnlineEventContentParse, not here.
    {Match::PrefixWithCase, "check-online", nullptr, nullptr, [](const Notify &) { return 0; }},
    {Match::Equal, "firmware_update", "message/control", nullptr, firmwareUpdateNotify},
    {Match::Equal, "ua-profile", nullptr, nullptr, [](const Notify &) { return 0; }},
    {Match::Equal, "call-info", nullptr, nullptr, callInfoNotify},
    {Match::Prefix, "x-broadworks-callpark", nullptr, nullptr,
     [](const Notify &n) {
         amRecvCallParkParse(n.line, n.number, n.contentType, n.subscriptionState, n.body);
         return 0;
     }},
    {Match::Equal, "line-seize", nullptr, nullptr, lineSeizeNotify},
    {Match::Equal, "x-broadworks-hoteling", nullptr, nullptr,
     [](const Notify &n) { amRecvHotelParse(n.line, n.contentType, n.body); return 0; }},
    {Match::Equal, "talk", nullptr, nullptr, [](const Notify &n) { amRecvTalkProcess(n.body); return 0; }},
    {Match::Equal, "hold", nullptr, nullptr, [](const Notify &n) { amRecvHoldProcess(n.body); return 0; }},
    {Match::Equal, "dndstatus", nullptr, nullptr,
     [](const Notify &n) { amRecvDndStatusSyncProcess(n.line, n.body); return 0; }},
    {Match::Equal, "as-feature-event", nullptr, nullptr,
     [](const Notify &n) { amRecvFeatureSyncProcess(n.line, n.contentType, n.body); return 0; }},
    {Match::Equal, "b2buaCSTA", nullptr, nullptr,
     [](const Notify &n) { amRecvFeatureSyncProcess(n.line, n.contentType, n.body); return 0; }},
    // The whole Event header goes on: its parameters carry the server.
    {Match::Prefix, "acs-request", nullptr, nullptr, [](const Notify &n) { amAcsRequestReport(n.event); return 0; }},
    {Match::Equal, "clickToTalk", nullptr, nullptr, clickToTalkNotify},
    {Match::Equal, "push-xml-event", "application/xml", "Push xml",
     [](const Notify &n) { amRecvPushXml(n.line, n.number, n.body); return 0; }},
    {Match::Equal, "mcast-dynamic-set", "application/iMC+xml", "Dynamic mcast",
     [](const Notify &n) { amParseDynamicMcast(n.line, n.number, n.body); return 0; }},
    {Match::Equal, "ACTIVE-URI", "message/sipfrag", "active uri",
     [](const Notify &n) {
         if (n.body != nullptr) amActiveUriReport(n.line, n.number, n.body, AM_ACTIVE_URI_SOURCE_NOTIFY);
         return 0;
     }},
    {Match::Equal, "park-info", "application/park-info+xml", "visual call park",
     [](const Notify &n) { amVisualParkParse(n.line, n.body); return 0; }},
    {Match::Equal, "sync-server-time", "application/date", "sync server time",
     [](const Notify &n) { amRecvSyncServerTimeParse(n.line, n.body); return 0; }},
};

struct SubscribeResult {
    int line;
    const char *number;
    int state;
    const char *body;
};

struct SubscribeRoute {
    const char *package;  // the whole Event header, case ignored
    void (*handle)(const SubscribeResult &);
};

constexpr SubscribeRoute kSubscribeRoutes[] = {
    {"presence", [](const SubscribeResult &r) { amPresenceRecvSubscribeResult(r.line, r.number, r.state); }},
    {"dialog", [](const SubscribeResult &r) { amDialogRecvSubscribeResult(r.line, r.number, r.state); }},
    {"line-seize",
     [](const SubscribeResult &r) {
         amRecvLineSeizeParse(r.line, r.state == 0 ? AM_LINE_SEIZE_RESULT_FAILED : AM_LINE_SEIZE_RESULT_ACCEPTED,
                              r.body);
     }},
    {"x-broadworks-hoteling", [](const SubscribeResult &r) { amRecvHotelSubscribeResult(r.line, r.state); }},
    {"dialog-message-summary",
     [](const SubscribeResult &r) {
         if (r.state <= 0) amRecvMwiSubscribeFailed(r.line, r.number, 1);
     }},
};

constexpr SubscribeRoute kUnsubscribeRoutes[] = {
    {"presence", [](const SubscribeResult &r) { amPresenceRecvUnsubscribeResult(r.line, r.number, r.state); }},
    {"dialog", [](const SubscribeResult &r) { amDialogRecvUnsubscribeResult(r.line, r.number, r.state); }},
};

// The common start of both result entry points: false (and logged) when there is no event.
bool traceResult(const char *function, int line, const char *number, const char *event, const char *contentType,
                 int state) {
    if (event == nullptr) {
        ostraPrintLog(2, kLog, "%s: param is NULL \n", function);
        return false;
    }
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, event=%s, accept=%s, state=%d\n", function, line,
                  am::orEmpty(number), event, am::orEmpty(contentType), state);
    return true;
}

template <std::size_t N>
const SubscribeRoute *findRoute(const SubscribeRoute (&routes)[N], const char *event) {
    for (const SubscribeRoute &route : routes) {
        if (strcasecmp(event, route.package) == 0) return &route;
    }
    return nullptr;
}

}  // namespace

extern "C" int amRecvNotify(int line, const char *number, const char *event, const char *subscriptionState,
                            const char *contentType, const char *body) {
    if (event == nullptr) {
        ostraPrintLog(2, kLog, "%s: param is NULL \n", "amRecvNotify");
        return -1;
    }
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, event=%s, accept=%s\n", "amRecvNotify", line,
                  am::orEmpty(number), event, am::orEmpty(contentType));
    const Notify notify = {line, number, event, subscriptionState, contentType, body};
    for (const NotifyRoute &route : kNotifyRoutes) {
        if (!matches(route.match, route.package, event)) continue;
        if (route.contentType != nullptr && !amMsgContentEqual(route.contentType, contentType)) {
            // The package is ours but the body is not: refused, yet not an invalid event.
            if (route.feature != nullptr) {
                ostraPrintLog(2, kLog, "%s: %s Not supported accept[%s]!", "amRecvNotify", route.feature,
                              am::orEmpty(contentType));
            }
            return 0;
        }
        return route.handle(notify);
    }
    ostraPrintLog(2, kLog, "%s: invalid event \n", "amRecvNotify");
    return -1;
}

extern "C" int amRecvMessage(int line, const char *number, const char *name, const char *contentType,
                             const char *body) {
    if (number == nullptr || number[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: invalid number \n", "amRecvMessage");
        return -1;
    }
    if (body == nullptr || contentType == nullptr) {
        ostraPrintLog(2, kLog, "%s: invalid accept or body \n", "amRecvMessage");
        return -1;
    }
    if (amMsgContentEqual("text/plain", contentType) || amMsgContentEqual("text/medical", contentType)) {
        // A user-defined receiver that takes the message keeps it from the plain ones.
        if (amSmsRecvUserDefineReport(line, number, name, body) == 0) return 0;
        return amSmsRecvReport(line, number, name, body);
    }
    if (amMsgContentEqual("text/xml-pushinfo", contentType)) {
        return amPushMessageRecvParse(line, number, name, body);
    }
    if (amMsgContentEqual("application/xml", contentType)) {
        // Not an XML text message, or nobody to hand one to: the body may still be pushed XML.
        int result = amXmlSmsParse(line, number, name, body);
        return result != -1 ? result : amRecvPushXml(line, number, body);
    }
    if (amMsgContentEqual("application/ACTIVE-URI", contentType)) {
        return amActiveUriReport(line, number, body, AM_ACTIVE_URI_SOURCE_MESSAGE);
    }
    return am::recvMessageFanOut(line, number, name, contentType, body);
}

extern "C" int amRecvInfo(const AmInfoRecord *info) {
    if (info == nullptr) return -1;
    ostraPrintLog(1, kLog, "%s: line=[%d] number=[%s] contentType=[%s]", "amRecvInfo", info->line,
                  am::orEmpty(info->number), am::orEmpty(info->contentType));
    if (amMsgContentEqual("application/remotecontrol+xml", info->contentType)) {
        amRemoteControlRecvInfoMsg(info->line, info->number, info->body);
        return 0;
    }
    if (amMsgContentEqual("kts", info->contentType)) {
        if (info->body == nullptr) {
            ostraPrintLog(2, kLog, "%s: kts info without body, ignored\n", "amRecvInfo");
            return -1;
        }
        am::ktsInfoReport(*info);
        return 0;
    }
    // Compared with case on purpose: only the exact type is a text/plain INFO.
    if (info->contentType != nullptr && std::strcmp(info->contentType, "text/plain") == 0) {
        am::textPlainInfoReport(*info);
        return 0;
    }
    ostraPrintLog(2, kLog, "%s: Unknown content type[%s]", "amRecvInfo", am::orEmpty(info->contentType));
    return -1;
}

extern "C" int amRecvSubscribeResult(int line, const char *number, const char *event, const char *contentType,
                                     int state, const char *body) {
    if (!traceResult("amRecvSubscribeResult", line, number, event, contentType, state)) return -1;
    const SubscribeRoute *route = findRoute(kSubscribeRoutes, event);
    if (route == nullptr) {
        ostraPrintLog(2, kLog, "%s: invalid event \n", "amRecvSubscribeResult");
        return -1;
    }
    route->handle({line, number, state, body});
    return 0;
}

extern "C" int amRecvUnsubscribeResult(int line, const char *number, const char *event, const char *contentType,
                                       int state) {
    if (!traceResult("amRecvUnsubscribeResult", line, number, event, contentType, state)) return -1;
    // Results of other packages need nothing from the module.
    const SubscribeRoute *route = findRoute(kUnsubscribeRoutes, event);
    if (route != nullptr) route->handle({line, number, state, nullptr});
    return 0;
}

// ---- Forwarders and hooks ----------------------------------------------------------

extern "C" int amRecvRefer(int line, const char *number, int flag) { return amClickToTalkReport(line, number, flag); }

extern "C" int amRecvRegisterDate(const char *date) { return tmSyncSipDate(date); }

extern "C" int amRecvSyncTimeStop(void) { return tmStopSipDate(); }

extern "C" int amRecvSubscribe(void) { return 0; }

// Hooks the host expects to find; the module has nothing to do for them.
extern "C" void amSipPnpStartReport(void) {}
extern "C" void amAutoProvisionStartFromUrlReport(void) {}
extern "C" void amRebootReport(void) {}
extern "C" void amFirmwareUpdateReport(const char *, const char *, const char *, const char *, int) {}
