// The server's view of do not disturb, forwarding, agent state and away, from
// "as-feature-event", "b2buaCSTA" and "dndstatus" NOTIFYs: one AM_FEATURE_SYNC_INFORM per
// NOTIFY. Bodies are searched as text, not parsed, so that a server's variations in
// namespaces and attributes still read.
#include <climits>
#include <cstring>
#include <strings.h>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.sync";
constexpr char kParse[] = "amFeatureSyncBodyContentParse";
constexpr char kFinish[] = "finish";
constexpr int kMaxRingTime = 120;

struct Reading {
    const char *body;
    AmFeatureSync record;
    char value[96];
};

// The text between two tags, line ends removed; false when the pair is missing or holds
// nothing.
bool readValue(Reading &r, const char *open, const char *close) {
    if (!amParseSingleTagFromBuf(open, close, r.body, r.value, am::capacity(r.value))) {
        r.value[0] = '\0';
        return false;
    }
    uStrStripCrlf(r.value);
    return r.value[0] != '\0';
}

bool startsWithTrue(const char *value) { return strncasecmp(value, "true", 4) == 0; }

bool contains(const Reading &r, const char *text) { return std::strstr(r.body, text) != nullptr; }

void raise(Reading &r, int feature, int value) {
    r.record.feature = feature;
    r.record.value = value;
    uEventRaise(AM_FEATURE_SYNC_INFORM, &r.record, static_cast<int>(sizeof r.record));
}

// A switch whose whole document must be there: an unfinished one, or one without its
// value, reads as off.
void onOff(Reading &r, int feature, const char *close, const char *open, const char *valueClose) {
    if (!contains(r, close) || !readValue(r, open, valueClose)) {
        raise(r, feature, 0);
        return;
    }
    raise(r, feature, startsWithTrue(r.value) ? 1 : 0);
}

// A body cut before its closing tag is dropped with a line in the log: whatever value it
// were raised with would name a real state (agent value 0 is loggedOn, feature 0 is DND).
void incomplete(const char *kind) {
    ostraPrintLog(2, kLog, "%s: %s without its closing tag\n", kParse, kind);
}

void forwarding(Reading &r) {
    if (!contains(r, "</ForwardingEvent>")) {
        incomplete("ForwardingEvent");
        return;
    }
    readValue(r, "<forwardingType>", "</forwardingType>");
    int feature;
    if (strncasecmp(r.value, "forwardImmediate", 16) == 0) {
        feature = AM_FEATURE_FORWARD_ALWAYS;
    } else if (strncasecmp(r.value, "forwardBusy", 11) == 0) {
        feature = AM_FEATURE_FORWARD_BUSY;
    } else if (strncasecmp(r.value, "forwardNoAns", 12) == 0) {
        feature = AM_FEATURE_FORWARD_NO_ANSWER;
    } else {
        return;
    }
    char forwardTo[64] = {};
    if (amParseSingleTagFromBuf("<forwardTo>", "</forwardTo>", r.body, forwardTo, am::capacity(forwardTo))) {
        uStrStripCrlf(forwardTo);
        am::copyText(r.record.forwardTo, forwardTo);
    }
    if (feature == AM_FEATURE_FORWARD_NO_ANSWER && readValue(r, "<ringCount>", "</ringCount>")) {
        long long ringTime = static_cast<long long>(am::decimalAt(r.value)) * 5;
        if (ringTime > kMaxRingTime) ringTime = kMaxRingTime;
        r.record.ringTime = ringTime < INT_MIN ? INT_MIN : static_cast<int>(ringTime);
    }
    bool on = readValue(r, "<forwardStatus>", "</forwardStatus>") && startsWithTrue(r.value);
    raise(r, feature, on ? 1 : 0);
}

void notReady(Reading &r) {
    if (!contains(r, "</AgentNotReadyEvent>")) return;
    static constexpr char kOpen[] = "<pri:AgentNotReadyReasonValue>";
    const char *open = std::strstr(r.body, kOpen);
    const char *close = std::strstr(r.body, "</pri:AgentNotReadyReasonValue>");
    if (open != nullptr && close != nullptr) {
        const char *reason = open + sizeof kOpen - 1;
        if (close > reason) am::copyTextN(r.record.reason, reason, static_cast<int>(close - reason));
    }
    raise(r, AM_FEATURE_AGENT_STATE, AM_AGENT_STATE_NOT_READY);
}

// An agent event that needs its closing tag before it counts.
void agentState(Reading &r, const char *kind, const char *close, int state) {
    if (contains(r, close)) {
        raise(r, AM_FEATURE_AGENT_STATE, state);
    } else {
        incomplete(kind);
    }
}

}  // namespace

extern "C" int amRecvFeatureSyncProcess(int line, const char * /*contentType*/, const char *body) {
    if (body == nullptr) {
        ostraPrintLog(1, kLog, "%s: body param null\n", kParse);
        return -1;
    }
    Reading r;
    std::memset(&r, 0, sizeof r);
    r.body = body;
    r.record.line = line;
    // In this order: the first kind found decides, whatever else the body holds.
    if (contains(r, "<DoNotDisturbEvent")) {
        onOff(r, AM_FEATURE_DND, "</DoNotDisturbEvent>", "<doNotDisturbOn>", "</doNotDisturbOn>");
    } else if (contains(r, "<ForwardingEvent")) {
        forwarding(r);
    } else if (contains(r, "<AgentLoggedOnEvent")) {
        raise(r, AM_FEATURE_AGENT_STATE, AM_AGENT_STATE_LOGGED_ON);
    } else if (contains(r, "<AgentLoggedOffEvent")) {
        agentState(r, "AgentLoggedOffEvent", "</AgentLoggedOffEvent>", AM_AGENT_STATE_LOGGED_OFF);
    } else if (contains(r, "<AgentNotReadyEvent")) {
        notReady(r);
    } else if (contains(r, "<AgentReadyEvent")) {
        agentState(r, "AgentReadyEvent", "</AgentReadyEvent>", AM_AGENT_STATE_READY);
    } else if (contains(r, "<AgentWorkingAfterCallEvent")) {
        agentState(r, "AgentWorkingAfterCallEvent", "</AgentWorkingAfterCallEvent>",
                   AM_AGENT_STATE_WORKING_AFTER_CALL);
    } else if (contains(r, "<AwayEvent")) {
        onOff(r, AM_FEATURE_AWAY, "</away>", "<away>", "</away>");
    } else if (std::strcmp(body, kFinish) == 0) {
        raise(r, AM_FEATURE_FINISH, 0);
    } else {
        ostraPrintLog(0, kLog, "%s: unknown feature\n", kParse);
    }
    return 0;
}

extern "C" int amRecvDndStatusSyncProcess(int line, const char *body) {
    if (body == nullptr) return -1;
    Reading r;
    std::memset(&r, 0, sizeof r);
    r.body = body;
    r.record.line = line;
    if (readValue(r, "<DNDSTATUS>", "</DNDSTATUS>")) {
        raise(r, AM_FEATURE_DND_STATUS, strcasecmp(r.value, "ON") == 0 ? 1 : 0);
    } else if (std::strcmp(body, kFinish) == 0) {
        raise(r, AM_FEATURE_FINISH, 0);
    } else {
        ostraPrintLog(2, kLog, "%s: invalid DND status content!", "amDndStatusSyncParse");
        return -1;
    }
    return 0;
}
