// Feature changes written as CSTA request bodies and sent in "as-feature-event" SUBSCRIBEs.
#include <cstring>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSync[] = "ostra.am.sync";

class FeatureSyncRequest : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::setMacAddress("0004f2a1b2c3");
        devhost::line(2).subscribeExpires = 900;
    }
};

AmFeatureSync change(int feature, int value, const char *forwardTo = "", int ringTime = 0, const char *reason = "") {
    AmFeatureSync r;
    std::memset(&r, 0, sizeof r);
    r.line = 77;  // not read: the line is the separate argument
    r.feature = feature;
    r.value = value;
    r.ringTime = ringTime;
    std::strncpy(r.forwardTo, forwardTo, sizeof r.forwardTo - 1);
    std::strncpy(r.reason, reason, sizeof r.reason - 1);
    return r;
}

// The body sent for one change, or "" when nothing was sent.
std::string sent(const AmFeatureSync &change) {
    devhost::clearRequests();
    EXPECT_EQ(amFeatureSyncRequest(2, "4100", &change), 0);
    std::vector<devhost::Request> requests = amtest::subscribes();
    return requests.empty() ? "" : requests.front().body;
}

const std::string kDeclaration = "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n";
const std::string kXmlns = " xmlns=\"http://www.ecma-international.org/standards/ecma-323/csta/ed3\">\r\n";

std::string dnd(const char *on) {
    return kDeclaration + "<SetDoNotDisturb" + kXmlns + "<device>0004f2a1b2c3</device>\r\n<doNotDisturbOn>" + on +
           "</doNotDisturbOn>\r\n</SetDoNotDisturb>";
}

std::string forwarding(const char *on, const char *type, const std::string &to, int rings = 0) {
    return kDeclaration + "<SetForwarding" + kXmlns + "<device>0004f2a1b2c3</device>\r\n<activateForward>" + on +
           "</activateForward>\r\n<forwardingType>" + type + "</forwardingType>\r\n<forwardDN>" + to +
           "</forwardDN>\r\n" + (rings > 0 ? "<ringCount>" + std::to_string(rings) + "</ringCount>\r\n" : "") +
           "</SetForwarding>";
}

std::string agent(const char *state, const std::string &reason = "") {
    std::string extensions;
    if (!reason.empty()) {
        extensions = "<extensions>\r\n<privateData>\r\n"
                     "<private xmlns:pri=\"http://schema.broadsoft.com/CSTAPrivateData\">\r\n"
                     "<pri:AgentNotReadyReasonValue>" + reason + "</pri:AgentNotReadyReasonValue>\r\n"
                     "</private>\r\n</privateData>\r\n</extensions>\r\n";
    }
    return kDeclaration + "<SetAgentState" + kXmlns + "<device>0004f2a1b2c3</device>\r\n<requestedAgentState>" +
           state + "</requestedAgentState>\r\n" + extensions + "<agentID></agentID>\r\n<password></password>\r\n"
           "</SetAgentState>";
}

TEST_F(FeatureSyncRequest, BodiesForEveryFeatureSent) {
    EXPECT_EQ(sent(change(0, 1)), dnd("true"));
    EXPECT_EQ(sent(change(0, 0)), dnd("false"));
    EXPECT_EQ(sent(change(0, 2)), dnd("false"));
    EXPECT_EQ(sent(change(1, 1, "4002")), forwarding("true", "forwardImmediate", "4002"));
    EXPECT_EQ(sent(change(3, -1, "sip:4003@pbx")), forwarding("false", "forwardBusy", "sip:4003@pbx"));
    EXPECT_EQ(sent(change(1, 1, "")), forwarding("true", "forwardImmediate", ""));
    EXPECT_EQ(sent(change(4, 2, "", 0, "2101")), agent("notReady", "2101"));
    EXPECT_EQ(sent(change(4, 2)), agent("notReady"));
    EXPECT_EQ(sent(change(4, 3, "", 0, "2101")), agent("ready"));  // a reason goes with notReady only
    EXPECT_EQ(sent(change(4, 0)), agent("loggedOn"));
    EXPECT_EQ(sent(change(4, 4)), agent("workingAfterCall"));
    EXPECT_EQ(sent(change(4, 9)), agent("loggedOff"));
    EXPECT_EQ(sent(change(4, -1)), agent("loggedOff"));
}

TEST_F(FeatureSyncRequest, RingCountFollowsTheRingTime) {
    const int table[][2] = {{-5, 1}, {0, 1}, {4, 1}, {5, 1}, {9, 1}, {10, 2}, {59, 11},
                            {104, 20}, {105, 20}, {300, 20}};
    for (const auto &row : table) {
        EXPECT_EQ(sent(change(2, 1, "4002", row[0])), forwarding("true", "forwardNoAns", "4002", row[1]))
            << "ringTime " << row[0];
    }
}

TEST_F(FeatureSyncRequest, RequestGoesToTheGivenNumberWithFlagZero) {
    const AmFeatureSync on = change(0, 1);
    amFeatureSyncRequest(2, "4100", &on);
    ASSERT_EQ(amtest::subscribes().size(), 1u);
    const devhost::Request r = amtest::subscribes().front();
    EXPECT_EQ(std::to_string(r.reserved) + " " + std::to_string(r.line) + " " + r.number + " " +
                  std::to_string(r.expires) + " " + std::to_string(r.flag) + " " + r.event + " " + r.accept + " " +
                  r.contentType,
              "0 2 4100 900 0 as-feature-event application/x-as-feature-event+xml "
              "application/x-as-feature-event+xml");
    EXPECT_FALSE(r.hasExtra);

    // Codes the phone does not send are traced and dropped.
    for (int feature : {5, 6, 7, -1}) EXPECT_EQ(sent(change(feature, 1)), "");
    EXPECT_EQ(amtest::countLogs(0, kSync, "amFeatureSyncRequest: line=[2], number=[4100], feature=[5]\n"), 1);
    EXPECT_EQ(amFeatureSyncRequest(2, "4100", nullptr), 0);
    EXPECT_TRUE(amtest::subscribes().empty());
}

TEST_F(FeatureSyncRequest, TextsFilledToTheBrimAreNotOverread) {
    AmFeatureSync full = change(1, 1);
    std::memset(full.forwardTo, '7', sizeof full.forwardTo);
    std::memset(full.reason, 'R', sizeof full.reason);
    EXPECT_EQ(sent(full), forwarding("true", "forwardImmediate", std::string(40, '7')));
    full.feature = 4;
    full.value = 2;
    EXPECT_EQ(sent(full), agent("notReady", std::string(40, 'R')));
}

}  // namespace
