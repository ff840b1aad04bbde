// Feature changes written as CSTA request bodies and sent in "as-feature-event" SUBSCRIBEs.
#include <algorithm>
#include <cstring>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

class FeatureSyncRequest : public amtest::HostTest {};

// The body sent for one change on line 2, or "" when nothing was sent.
std::string sent(int feature, int value, const char *forwardTo = "", int ringTime = 0, const char *reason = "") {
    AmFeatureSync change = {77, ringTime, value, feature, {}, {}};  // the record's line is not read
    // A text as long as its field fills it to the brim, with no terminator.
    std::memcpy(change.forwardTo, forwardTo, std::min(std::strlen(forwardTo), sizeof change.forwardTo));
    std::memcpy(change.reason, reason, std::min(std::strlen(reason), sizeof change.reason));
    devhost::clearRequests();
    EXPECT_EQ(amFeatureSyncRequest(2, "4100", &change), 0);
    std::vector<devhost::Request> requests = amtest::subscribes();
    return requests.empty() ? "" : requests.front().body;
}

std::string csta(const char *request, const std::string &lines) {
    return std::string("<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<") + request +
           " xmlns=\"http://www.ecma-international.org/standards/ecma-323/csta/ed3\">\r\n"
           "<device>001122aabbcc</device>\r\n" + lines + "</" + request + ">";
}

std::string forwarding(const char *on, const char *type, const std::string &to, int rings = 0) {
    return csta("SetForwarding", std::string("<activateForward>") + on + "</activateForward>\r\n<forwardingType>" +
                                     type + "</forwardingType>\r\n<forwardDN>" + to + "</forwardDN>\r\n" +
                                     (rings > 0 ? "<ringCount>" + std::to_string(rings) + "</ringCount>\r\n" : ""));
}

std::string agent(const char *state, const std::string &reason = "") {
    std::string extensions = reason.empty() ? "" :
        "<extensions>\r\n<privateData>\r\n<private xmlns:pri=\"http://schema.broadsoft.com/CSTAPrivateData\">\r\n"
        "<pri:AgentNotReadyReasonValue>" + reason + "</pri:AgentNotReadyReasonValue>\r\n</private>\r\n"
        "</privateData>\r\n</extensions>\r\n";
    return csta("SetAgentState", std::string("<requestedAgentState>") + state + "</requestedAgentState>\r\n" +
                                     extensions + "<agentID></agentID>\r\n<password></password>\r\n");
}

TEST_F(FeatureSyncRequest, BodiesForEveryFeatureSent) {
    EXPECT_EQ(sent(0, 1), csta("SetDoNotDisturb", "<doNotDisturbOn>true</doNotDisturbOn>\r\n"));
    EXPECT_EQ(sent(0, 2), csta("SetDoNotDisturb", "<doNotDisturbOn>false</doNotDisturbOn>\r\n"));
    EXPECT_EQ(sent(1, 1, "4002"), forwarding("true", "forwardImmediate", "4002"));
    EXPECT_EQ(sent(3, -1, "sip:4003@pbx"), forwarding("false", "forwardBusy", "sip:4003@pbx"));
    EXPECT_EQ(sent(1, 1, "7777777777777777777777777777777777777777"),
              forwarding("true", "forwardImmediate", std::string(40, '7')));
    EXPECT_EQ(sent(4, 2, "", 0, "2101"), agent("notReady", "2101"));
    EXPECT_EQ(sent(4, 2, "", 0, "RRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRRR"), agent("notReady", std::string(40, 'R')));
    EXPECT_EQ(sent(4, 2), agent("notReady"));
    EXPECT_EQ(sent(4, 3, "", 0, "2101"), agent("ready"));  // a reason goes with notReady only
    EXPECT_EQ(sent(4, 4), agent("workingAfterCall"));
    EXPECT_EQ(sent(4, 9), agent("loggedOff"));
    const int rings[][2] = {{-5, 1}, {4, 1}, {5, 1}, {9, 1}, {10, 2}, {104, 20}, {105, 20}, {300, 20}};
    for (const auto &row : rings) {
        EXPECT_EQ(sent(2, 1, "4002", row[0]), forwarding("true", "forwardNoAns", "4002", row[1])) << row[0];
    }
}

TEST_F(FeatureSyncRequest, RequestGoesToTheGivenNumberWithFlagZero) {
    devhost::line(2).subscribeExpires = 900;
    sent(0, 1);
    const devhost::Request r = amtest::subscribes().at(0);
    EXPECT_EQ(std::to_string(r.line) + " " + r.number + " " + std::to_string(r.expires) + " " + std::to_string(r.flag) +
                  " " + r.event + " " + r.accept + " " + r.contentType + (r.hasExtra ? " extra" : ""),
              "2 4100 900 0 as-feature-event application/x-as-feature-event+xml application/x-as-feature-event+xml");
    // Codes the phone does not send are traced and dropped.
    for (int feature : {5, 6, 7, -1}) EXPECT_EQ(sent(feature, 1), "");
    EXPECT_TRUE(amtest::hasLog(0, "ostra.am.sync", "amFeatureSyncRequest: line=[2], number=[4100], feature=[5]\n"));
    EXPECT_EQ(amFeatureSyncRequest(2, "4100", nullptr), 0);
    EXPECT_TRUE(amtest::subscribes().empty());
}

}  // namespace
