// Routing of NOTIFYs, MESSAGEs, INFOs and subscription results to their features.
#include <cstdlib>

#include "am_test.h"
#include "handlers.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
using coretest::handlerCalls;
constexpr char kMain[] = "ostra.am.main";
constexpr char kInvalid[] = "amRecvNotify: invalid event \n";

class CoreDispatch : public HostTest {};

// What the last request reached, then forgotten: the feature handlers called and the
// module events raised (queued asynchronous steps run first), blank-separated.
std::string reached() {
    devhost::drainAsync();
    std::string text;
    for (const std::string &call : handlerCalls()) text += (text.empty() ? "" : " ") + call;
    for (const devhost::Event &event : devhost::events()) text += (text.empty() ? "" : " ") + event.name;
    handlerCalls().clear();
    devhost::clearEvents();
    return text;
}

// The level-2 lines of the main module since the last call, joined.
std::string warnings() {
    std::string text;
    for (const devhost::LogLine &line : amtest::logsOf(kMain, 2)) text += line.text;
    devhost::clearLogs();
    return text;
}

// A NOTIFY ('N') or the result of a SUBSCRIBE ('S') or unSUBSCRIBE ('U'); a result's
// state is the number written in `state`.
// Routes whose feature tests deliver real documents through these entry points (MWI, presence,
// call park, visual park, line seize, messaging, dynamic multicast, remote control) are left to
// those tests; the rows here hold the rest.
struct Case {
    char kind;
    const char *event, *contentType, *state, *body;
    int result;
    const char *reached, *warning;
};

int deliver(const Case &c) {
    switch (c.kind) {
        case 'S':
            return amRecvSubscribeResult(1, "201", c.event, c.contentType, std::atoi(c.state), c.body);
        case 'U':
            return amRecvUnsubscribeResult(1, "201", c.event, c.contentType, std::atoi(c.state));
        default:
            return amRecvNotify(1, "201", c.event, c.state, c.contentType, c.body);
    }
}

TEST_F(CoreDispatch, RoutingFollowsCaseAndPrefixRules) {
    const Case cases[] = {
        {'N', "Dialog", nullptr, nullptr, nullptr, 0, "dialogInfo(1,201,null,null,null)", ""},
        {'N', "presence;id=7", "ct", "active", "b", -1, "", kInvalid},
        {'N', "check-online;server=\"h:1\"", "ct", "active", "b", 0, "", ""},
        {'N', "CHECK-ONLINE", "ct", "active", "b", -1, "", kInvalid},
        {'N', "x-broadworks-callpar", "ct", "active", "b", -1, "", kInvalid},
        {'N', "call-info", "application/x-broadworks-callpark-info+xml;v=1", "active", "b", 0, "sca(1,b)", ""},
        {'N', "Call-Info", nullptr, "active", "b", 0, "sca(1,b)", "amMsgContentEqual: param is null \n"},
        {'N', "line-seize", "ct", "activ", "b", 0, "lineSeize(1,0,b)", ""},
        {'N', "line-seize", "ct", "", "b", -1, "", ""},
        {'N', "line-seize", "ct", nullptr, "b", -1, "", ""},
        {'N', "line-seize", "ct", "active", nullptr, -1, "", ""},
        {'N', "park-info", "application/park-info+xml;v=1", "active", "b", 0, "",
         "amRecvNotify: visual call park Not supported accept[application/park-info+xml;v=1]!"},
        {'N', "firmware_update", "text/plain", "active", "b", 0, "", ""},
        {'N', "mcast-dynamic-set", "text/xml", "active", "b", 0, "",
         "amRecvNotify: Dynamic mcast Not supported accept[text/xml]!"},
        {'N', "ua-profile", "ct", "active", "b", 0, "", ""},
        {'N', "X-BroadWorks-Hoteling", "ct", "active", "b", 0, "hotel(1,ct,b)", ""},
        {'N', "x-broadworks-hoteling;id=1", "ct", "active", "b", -1, "", kInvalid},
        {'N', "DNDstatus", "ct", "active", "b", 0, "dndStatus(1,b)", ""},
        {'N', "as-feature-event", nullptr, "active", "b", 0, "featureSync(1,null,b)", ""},
        {'N', "B2BUACSTA", "ct", "active", "b", 0, "featureSync(1,ct,b)", ""},
        {'N', "hold", "ct", nullptr, nullptr, 0, AM_HOLD_EVENT_NAME, ""},
        {'N', "push-xml-event", "text/xml", nullptr, "<a/>", 0, "",
         "amRecvNotify: Push xml Not supported accept[text/xml]!"},
        {'N', "ACTIVE-URI", "message/sipfrag", nullptr, "GET x", 0, AM_ACTIVE_URI_EVENT_NAME, ""},
        {'N', "active-uri", "message/sipfrag", nullptr, nullptr, 0, "", ""},
        {'N', "ACTIVE-URI", "text/xml", nullptr, "b", 0, "",
         "amRecvNotify: active uri Not supported accept[text/xml]!"},
        {'N', "sync-server-time", "text/xml", nullptr, "Date: x", 0, "",
         "amRecvNotify: sync server time Not supported accept[text/xml]!"},
        {'N', nullptr, "ct", "active", "b", -1, "", "amRecvNotify: param is NULL \n"},
        {'S', "Presence", "ct", "1", "b", 0, "presenceSubscribed(1,201,1)", ""},
        {'S', "dialog", "ct", "0", "b", 0, "dialogSubscribed(1,201,0)", ""},
        {'S', "line-seize", "ct", "0", "b", 0, "lineSeize(1,0,b)", ""},
        {'S', "dialog-message-summary", "ct", "1", "b", 0, "", ""},
        {'S', "X-BROADWORKS-HOTELING", "ct", "-1", "b", 0, "hotelSubscribed(1,-1)", ""},
        {'S', "message-summary", "ct", "1", "b", -1, "", "amRecvSubscribeResult: invalid event \n"},
        {'S', nullptr, "ct", "1", "b", -1, "", "amRecvSubscribeResult: param is NULL \n"},
        {'U', "dialog", "ct", "0", "b", 0, "dialogUnsubscribed(1,201,0)", ""},
        {'U', "line-seize", "ct", "1", "b", 0, "", ""},
        {'U', nullptr, "ct", "1", "b", -1, "", "amRecvUnsubscribeResult: param is NULL \n"},
    };
    for (const Case &c : cases) {
        std::string label = c.kind + std::string(":") + (c.event != nullptr ? c.event : "null");
        EXPECT_EQ(deliver(c), c.result) << label;
        EXPECT_EQ(reached(), c.reached) << label;
        EXPECT_EQ(warnings(), c.warning) << label;
    }
    EXPECT_TRUE(devhost::syncedDates().empty());
    devhost::clearLogs();
    amRecvNotify(1, nullptr, "ua-profile", nullptr, nullptr, nullptr);
    amRecvUnsubscribeResult(1, nullptr, "presence", nullptr, 1);
    EXPECT_EQ(amtest::dumpLogs(),
              "[0] ostra.am.main: amRecvNotify: line=1, number=, event=ua-profile, accept=\n\n"
              "[0] ostra.am.main: amRecvUnsubscribeResult: line=1, number=, event=presence, accept=, state=1\n\n");
    EXPECT_EQ(reached(), "presenceUnsubscribed(1,null,1)");
}

TEST_F(CoreDispatch, CoreOwnedNotifyRowsReadHeaderOrBody) {
    amRecvNotify(1, "201", "ACS-Request;server=\"http://acs\"", nullptr, nullptr, "server=body");
    amRecvNotify(1, "201", "clicktotalk", nullptr, "ct", "555");
    amRecvNotify(1, "201", "TALK", nullptr, "ct", "4");
    EXPECT_STREQ(amtest::onlyRecord<AmAcsRequest>(AM_ACS_REQUEST_EVENT_NAME).server, "http://acs");
    EXPECT_STREQ(amtest::onlyRecord<AmClickToTalk>(AM_CLICK_TO_TALK_EVENT_NAME).number, "555");
    EXPECT_EQ(amtest::onlyRecord<int>(AM_TALK_EVENT_NAME), 4);
    amRecvNotify(1, "201", "clickToTalk", nullptr, "ct", nullptr);
    EXPECT_EQ(amtest::logsOf(kMain, 0).back().text, "amRecvClickToTalkProcess: body is NULL.\n");
    EXPECT_TRUE(amtest::hasLog(0, kMain, "amRecvClickToTalkProcess: body=555, line=1\n"));
}

TEST_F(CoreDispatch, MessageRouting) {
    // Refusals come before the content type is looked at.
    EXPECT_EQ(amRecvMessage(1, "", "n", nullptr, "b"), -1);
    EXPECT_EQ(amRecvMessage(1, "201", "n", "text/plain", nullptr), -1);
    EXPECT_EQ(amtest::dumpLogs(), "[2] ostra.am.main: amRecvMessage: invalid number \n\n"
                                  "[2] ostra.am.main: amRecvMessage: invalid accept or body \n\n");
    // Receivers' types never reach the callbacks.
    long mark = devhost::liveBlocks();
    EXPECT_EQ(amRecvMessage(1, "201", "n", "TEXT/PLAIN", "hi"), 0);
    EXPECT_EQ(amRecvMessage(1, "201", "n", "text/medical", "hi"), 0);
    amRecvMessage(1, "201", "ann", "text/xml-pushinfo", "x");
    EXPECT_EQ(devhost::asyncPending(), 0);
    EXPECT_EQ(devhost::liveBlocks(), mark);
    EXPECT_EQ(amRecvMessage(1, "201", "n", "Application/XML", "<a/>"), 0);
    EXPECT_EQ(amRecvMessage(3, "200", "n", "application/active-uri", "GET x"), 0);
    EXPECT_EQ(amtest::onlyRecord<AmActiveUri>(AM_ACTIVE_URI_EVENT_NAME).source, AM_ACTIVE_URI_SOURCE_MESSAGE);
    EXPECT_EQ(reached(), std::string(AM_ACTIVE_URI_EVENT_NAME) + " " + AM_PUSH_XML_EVENT_NAME);
}

}  // namespace
