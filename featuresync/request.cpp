// Feature changes made on the phone (do not disturb, forwarding, call-centre agent state)
// sent to the server as CSTA requests in the body of an "as-feature-event" SUBSCRIBE.
#include <cstdio>
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.sync";
constexpr char kEvent[] = "as-feature-event";
constexpr char kContentType[] = "application/x-as-feature-event+xml";
constexpr int kBodySize = 1024;

#define AM_CSTA_DECLARATION "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
#define AM_CSTA_XMLNS "xmlns=\"http://www.ecma-international.org/standards/ecma-323/csta/ed3\""

constexpr char kDoNotDisturbBody[] =
    AM_CSTA_DECLARATION
    "<SetDoNotDisturb " AM_CSTA_XMLNS ">\r\n"
    "<device>%s</device>\r\n"
    "<doNotDisturbOn>%s</doNotDisturbOn>\r\n"
    "</SetDoNotDisturb>";

constexpr char kForwardingBody[] =
    AM_CSTA_DECLARATION
    "<SetForwarding " AM_CSTA_XMLNS ">\r\n"
    "<device>%s</device>\r\n"
    "<activateForward>%s</activateForward>\r\n"
    "<forwardingType>%s</forwardingType>\r\n"
    "<forwardDN>%.*s</forwardDN>\r\n"
    "</SetForwarding>";

constexpr char kNoAnswerForwardingBody[] =
    AM_CSTA_DECLARATION
    "<SetForwarding " AM_CSTA_XMLNS ">\r\n"
    "<device>%s</device>\r\n"
    "<activateForward>%s</activateForward>\r\n"
    "<forwardingType>forwardNoAns</forwardingType>\r\n"
    "<forwardDN>%.*s</forwardDN>\r\n"
    "<ringCount>%d</ringCount>\r\n"
    "</SetForwarding>";

constexpr char kAgentStateBody[] =
    AM_CSTA_DECLARATION
    "<SetAgentState " AM_CSTA_XMLNS ">\r\n"
    "<device>%s</device>\r\n"
    "<requestedAgentState>%s</requestedAgentState>\r\n"
    "<agentID></agentID>\r\n"
    "<password></password>\r\n"
    "</SetAgentState>";

constexpr char kNotReadyWithReasonBody[] =
    AM_CSTA_DECLARATION
    "<SetAgentState " AM_CSTA_XMLNS ">\r\n"
    "<device>%s</device>\r\n"
    "<requestedAgentState>%s</requestedAgentState>\r\n"
    "<extensions>\r\n"
    "<privateData>\r\n"
    "<private xmlns:pri=\"http://schema.broadsoft.com/CSTAPrivateData\">\r\n"
    "<pri:AgentNotReadyReasonValue>%.*s</pri:AgentNotReadyReasonValue>\r\n"
    "</private>\r\n"
    "</privateData>\r\n"
    "</extensions>\r\n"
    "<agentID></agentID>\r\n"
    "<password></password>\r\n"
    "</SetAgentState>";

#undef AM_CSTA_DECLARATION
#undef AM_CSTA_XMLNS

constexpr uMapEntry kAgentStates[] = {
    {AM_AGENT_STATE_LOGGED_ON, "loggedOn"},
    {AM_AGENT_STATE_LOGGED_OFF, "loggedOff"},
    {AM_AGENT_STATE_NOT_READY, "notReady"},
    {AM_AGENT_STATE_READY, "ready"},
    {AM_AGENT_STATE_WORKING_AFTER_CALL, "workingAfterCall"},
    {-1, "loggedOff"},
};

// The record's texts are fixed arrays that a caller may have filled to the brim; they are
// printed no further than their own size.
template <std::size_t N>
int boundedLength(const char (&text)[N]) {
    return static_cast<int>(strnlen(text, N));
}

const char *trueOrFalse(int value) { return value == 1 ? "true" : "false"; }

// The server counts rings of 5 seconds, at least 1 and at most 20.
int ringCount(int ringTime) {
    if (ringTime <= 4) return 1;
    if (ringTime >= 105) return 20;
    return ringTime / 5;
}

// Writes the body for the request's feature; false for a feature that is not sent.
bool writeBody(char (&body)[kBodySize], const char *device, const AmFeatureSync &request) {
    const int forwardLength = boundedLength(request.forwardTo);
    switch (request.feature) {
        case AM_FEATURE_DND:
            std::snprintf(body, sizeof body, kDoNotDisturbBody, device, trueOrFalse(request.value));
            return true;
        case AM_FEATURE_FORWARD_ALWAYS:
        case AM_FEATURE_FORWARD_BUSY:
            std::snprintf(body, sizeof body, kForwardingBody, device, trueOrFalse(request.value),
                          request.feature == AM_FEATURE_FORWARD_BUSY ? "forwardBusy" : "forwardImmediate",
                          forwardLength, request.forwardTo);
            return true;
        case AM_FEATURE_FORWARD_NO_ANSWER:
            std::snprintf(body, sizeof body, kNoAnswerForwardingBody, device, trueOrFalse(request.value),
                          forwardLength, request.forwardTo, ringCount(request.ringTime));
            return true;
        case AM_FEATURE_AGENT_STATE: {
            const char *state = am::orEmpty(uMapStringById(kAgentStates, request.value));
            const int reasonLength = boundedLength(request.reason);
            if (std::strcmp(state, "notReady") == 0 && reasonLength > 0) {
                std::snprintf(body, sizeof body, kNotReadyWithReasonBody, device, state, reasonLength, request.reason);
            } else {
                std::snprintf(body, sizeof body, kAgentStateBody, device, state);
            }
            return true;
        }
        default:
            return false;
    }
}

}  // namespace

extern "C" int amFeatureSyncRequest(int line, const char *number, const AmFeatureSync *request) {
    if (request == nullptr) {
        ostraPrintLog(2, kLog, "%s: param error \n", "amFeatureSyncRequest");
        return 0;
    }
    char body[kBodySize] = {};
    char device[40] = {};
    ostraPrintLog(0, kLog, "%s: line=[%d], number=[%s], feature=[%d]\n", "amFeatureSyncRequest", line,
                  am::orEmpty(number), request->feature);
    nmGetMacAddress(device, 1);
    device[sizeof device - 1] = '\0';
    if (!writeBody(body, device, *request)) return 0;
    am::subscribeWithBody(line, number, 0, kEvent, kContentType, body);
    return 0;
}
