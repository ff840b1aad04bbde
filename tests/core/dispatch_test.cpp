// Routing of NOTIFYs, MESSAGEs, INFOs and subscription results to their features.
#include "am_test.h"
#include "handlers.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
using coretest::handlerCalls;
using Calls = std::vector<std::string>;
constexpr char kMain[] = "ostra.am.main";

class CoreDispatch : public HostTest {};

struct NotifyCase {
    const char *event, *contentType, *state, *body;
    int result;
    const char *reached;  // "" when no feature handler may be called
};

TEST_F(CoreDispatch, NotifyRoutingFollowsCaseAndPrefixRules) {
    const char *park = "application/x-broadworks-callpark-info+XML";
    const NotifyCase cases[] = {
        {"message-summary", "ct", "active", "b", 0, "mwi(1,ct,b,201,0)"},
        {"Dialog-Message-Summary", "ct", "active", "b", 0, "mwi(1,ct,b,201,1)"},
        {"PRESENCE", "ct", "active", "b", 0, "presence(1,201,ct,b)"},
        {"Dialog", nullptr, nullptr, nullptr, 0, "dialogInfo(1,201,null,null,null)"},
        {"presence;id=7", "ct", "active", "b", -1, ""},
        {"dialogs", "ct", "active", "b", -1, ""},
        {"check-online;server=\"h:1\"", "ct", "active", "b", 0, ""},
        {"CHECK-ONLINE", "ct", "active", "b", -1, ""},
        {"X-BroadWorks-CallPark-Info", "ct", "active", "b", 0, "callPark(1,201,ct,active,b)"},
        {"x-broadworks-callpar", "ct", "active", "b", -1, ""},
        {"call-info", park, "active", "b", 0, "callPark(1,201,application/x-broadworks-callpark-info+XML,active,b)"},
        {"call-info", "application/x-broadworks-callpark-info+xml;v=1", "active", "b", 0, "sca(1,b)"},
        {"Call-Info", nullptr, "active", "b", 0, "sca(1,b)"},
        {"line-seize", "ct", "ACTIVE;expires=30", "b", 0, "lineSeize(1,2,b)"},
        {"line-seize", "ct", "activ", "b", 0, "lineSeize(1,0,b)"},
        {"line-seize", "ct", "", "b", -1, ""},
        {"line-seize", "ct", nullptr, "b", -1, ""},
        {"line-seize", "ct", "active", nullptr, -1, ""},
        {"park-info", "APPLICATION/PARK-INFO+XML", "active", "b", 0, "visualPark(1,b)"},
        {"park-info", "application/park-info+xml;v=1", "active", "b", 0, ""},
        {"firmware_update", "text/plain", "active", "b", 0, ""},
        {"mcast-dynamic-set", "application/imc+xml", "active", "b", 0, ""},
        {"ua-profile", "ct", "active", "b", 0, ""},
        {"x-broadworks-hoteling", "ct", "active", "b", 0, ""},
        {"dndstatus", "ct", "active", "b", 0, ""},
        {"as-feature-event", "ct", "active", "b", 0, ""},
        {"B2BUACSTA", "ct", "active", "b", 0, ""},
        {nullptr, "ct", "active", "b", -1, ""},
    };
    for (const NotifyCase &c : cases) {
        std::string label = c.event != nullptr ? c.event : "null";
        handlerCalls().clear();
        devhost::clearLogs();
        EXPECT_EQ(amRecvNotify(1, "201", c.event, c.state, c.contentType, c.body), c.result) << label;
        EXPECT_EQ(handlerCalls(), *c.reached ? Calls{c.reached} : Calls{}) << label;
        bool invalid = amtest::hasLog(2, kMain, "amRecvNotify: invalid event \n");
        EXPECT_EQ(invalid, c.result == -1 && c.event != nullptr && label != "line-seize") << label;
    }
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvNotify: param is NULL \n"));
    devhost::clearLogs();
    amRecvNotify(1, nullptr, "Dialog", nullptr, nullptr, nullptr);
    EXPECT_EQ(amtest::dumpLogs(), "[0] ostra.am.main: amRecvNotify: line=1, number=, event=Dialog, accept=\n\n");
    EXPECT_TRUE(devhost::events().empty());
}

TEST_F(CoreDispatch, WrongContentTypeIsLoggedAndAnswersZero) {
    const char *rows[][2] = {{"push-xml-event", "Push xml"},
                             {"mcast-dynamic-set", "Dynamic mcast"},
                             {"ACTIVE-URI", "active uri"},
                             {"park-info", "visual call park"},
                             {"sync-server-time", "sync server time"}};
    for (auto &row : rows) {
        EXPECT_EQ(amRecvNotify(1, "201", row[0], nullptr, "text/xml", "<a/>"), 0) << row[0];
        std::string text = std::string("amRecvNotify: ") + row[1] + " Not supported accept[text/xml]!";
        EXPECT_TRUE(amtest::hasLog(2, kMain, text)) << text;
    }
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(devhost::asyncPending(), 0);
    EXPECT_TRUE(devhost::syncedDates().empty());
}

TEST_F(CoreDispatch, CoreOwnedNotifyRows) {
    amRecvNotify(1, "201", "ACS-Request;server=\"http://acs\"", nullptr, nullptr, nullptr);
    EXPECT_STREQ(amtest::onlyRecord<AmAcsRequest>(AM_ACS_REQUEST_EVENT_NAME).server, "http://acs");
    amRecvNotify(1, "201", "clickToTalk", nullptr, "ct", "555");
    amRecvNotify(1, "201", "clicktotalk", nullptr, "ct", nullptr);
    EXPECT_STREQ(amtest::onlyRecord<AmClickToTalk>(AM_CLICK_TO_TALK_EVENT_NAME).number, "555");
    EXPECT_TRUE(amtest::hasLog(0, kMain, "amRecvClickToTalkProcess: body=555, line=1\n"));
    EXPECT_TRUE(amtest::hasLog(0, kMain, "amRecvClickToTalkProcess: body is NULL.\n"));
    amRecvNotify(1, "201", "Talk", nullptr, "ct", "4");
    amRecvNotify(1, "201", "hold", nullptr, "ct", nullptr);
    EXPECT_EQ(amtest::onlyRecord<int>(AM_TALK_EVENT_NAME), 4);
    EXPECT_EQ(amtest::onlyRecord<int>(AM_HOLD_EVENT_NAME), 0);
}

TEST_F(CoreDispatch, SubscriptionResults) {
    EXPECT_EQ(amRecvSubscribeResult(1, "201", "Presence", nullptr, 1, nullptr), 0);
    EXPECT_EQ(amRecvSubscribeResult(1, "201", "dialog", "ct", 0, nullptr), 0);
    EXPECT_EQ(amRecvSubscribeResult(2, "9", "line-seize", "ct", 0, "x"), 0);
    EXPECT_EQ(amRecvSubscribeResult(2, "9", "LINE-SEIZE", "ct", 200, "y"), 0);
    EXPECT_EQ(amRecvSubscribeResult(3, "8", "dialog-message-summary", "ct", 1, nullptr), 0);
    EXPECT_EQ(amRecvSubscribeResult(3, "8", "dialog-message-summary", "ct", -1, nullptr), 0);
    EXPECT_EQ(amRecvSubscribeResult(3, "8", "x-broadworks-hoteling", "ct", 1, nullptr), 0);
    EXPECT_EQ(amRecvUnsubscribeResult(1, nullptr, "PRESENCE", "ct", 1), 0);
    EXPECT_EQ(amRecvUnsubscribeResult(1, "201", "dialog", "ct", 0), 0);
    EXPECT_EQ(amRecvUnsubscribeResult(1, "201", "line-seize", nullptr, 1), 0);
    EXPECT_EQ(handlerCalls(), (Calls{"presenceSubscribed(1,201,1)", "dialogSubscribed(1,201,0)", "lineSeize(2,0,x)",
                                     "lineSeize(2,1,y)", "mwiFailed(3,8,1)", "presenceUnsubscribed(1,null,1)",
                                     "dialogUnsubscribed(1,201,0)"}));
    EXPECT_EQ(amtest::logsOf(kMain, 2).size(), 0u) << amtest::dumpLogs();
    EXPECT_TRUE(amtest::hasLog(0, kMain, "amRecvSubscribeResult: line=1, number=201, event=Presence, accept=, state=1\n"));
    EXPECT_TRUE(amtest::hasLog(0, kMain,
                               "amRecvUnsubscribeResult: line=1, number=201, event=line-seize, accept=, state=1\n"));

    EXPECT_EQ(amRecvSubscribeResult(3, "8", "message-summary", "ct", 1, nullptr), -1);
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvSubscribeResult: invalid event \n"));
    EXPECT_EQ(amRecvSubscribeResult(3, "8", nullptr, "ct", 1, nullptr), -1);
    EXPECT_EQ(amRecvUnsubscribeResult(1, "201", nullptr, nullptr, 1), -1);
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvSubscribeResult: param is NULL \n"));
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvUnsubscribeResult: param is NULL \n"));
    EXPECT_EQ(handlerCalls().size(), 7u);
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
    EXPECT_EQ(amRecvMessage(1, "201", "ann", "text/xml-pushinfo", "x"), 30);  // xmlService?user=201&number=ann
    EXPECT_EQ(devhost::asyncPending(), 0);
    EXPECT_EQ(devhost::liveBlocks(), mark);
    EXPECT_EQ(amRecvMessage(1, "201", "n", "Application/XML", "<a/>"), 0);
    EXPECT_EQ(amRecvMessage(3, "200", "n", "application/active-uri", "GET x"), 0);
    EXPECT_EQ(amtest::onlyRecord<AmActiveUri>(AM_ACTIVE_URI_EVENT_NAME).source, AM_ACTIVE_URI_SOURCE_MESSAGE);
    devhost::drainAsync();
    EXPECT_EQ(amtest::countEvents(AM_PUSH_XML_EVENT_NAME), 1);
}

TEST_F(CoreDispatch, InfoRouting) {
    EXPECT_EQ(amRecvInfo(nullptr), -1);
    AmInfoRecord remote = {1, "201", "application/RemoteControl+xml", "<cmd/>"};
    EXPECT_EQ(amRecvInfo(&remote), 0);
    EXPECT_EQ(devhost::logs().size(), 1u);
    AmInfoRecord unknown = {1, nullptr, nullptr, "x"};
    EXPECT_EQ(amRecvInfo(&unknown), -1);
    EXPECT_TRUE(amtest::hasLog(1, kMain, "amRecvInfo: line=[1] number=[] contentType=[]"));
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvInfo: Unknown content type[]"));
    EXPECT_TRUE(devhost::events().empty());
}

}  // namespace
