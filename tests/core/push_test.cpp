// Module start and stop, pushed XML and the message callbacks on the asynchronous context.
#include <cstddef>

#include "am_test.h"
#include "handlers.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kMain[] = "ostra.am.main";
constexpr char kXml[] = "<?xml version=\"1.0\"?><Push><Text>hello</Text></Push>";

class CorePush : public HostTest {};

TEST_F(CorePush, PushIsRaisedOnceLaterOrDroppedWithoutLeaks) {
    devhost::setEventTextFields(AM_PUSH_XML_EVENT_NAME, {offsetof(AmPushXml, xml)});
    long mark = devhost::liveBlocks();
    std::string number(70, '9');
    EXPECT_EQ(amRecvNotify(2, number.c_str(), "push-xml-event", nullptr, "application/xml", kXml), 0);
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(devhost::drainAsync(), 1);
    auto event = amtest::eventsNamed(AM_PUSH_XML_EVENT_NAME).at(0);
    AmPushXml record = amtest::record<AmPushXml>(event);
    EXPECT_EQ(std::to_string(record.line) + "/" + record.number + "/" + event.texts.at(0),
              "2/" + number.substr(0, 63) + "/" + kXml);
    EXPECT_EQ(devhost::liveBlocks(), mark);

    devhost::clearEvents();
    devhost::clearLogs();
    EXPECT_EQ(amRecvPushXml(1, "1", "<Resp><retcode>0</retcode></Resp>"), -1);
    EXPECT_EQ(amRecvPushXml(1, "1", "<a><b></a>"), -1);
    EXPECT_EQ(amtest::dumpLogs(), "[2] ostra.am.main: amRecvPushXml: recv resp xml, will not process!\n"
                                  "[2] ostra.am.main: amRecvPushXml: recv xml parse error!\n");
    devhost::refuseAsync(true);
    EXPECT_EQ(amRecvPushXml(1, "1", kXml), -1);
    devhost::refuseAsync(false);
    devhost::failNth(1);  // the record
    EXPECT_EQ(amRecvPushXml(1, "1", kXml), -1);
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvPushXml: no more resource available!"));
    devhost::failNth(2);  // the copy of the text: handed on, dropped without an event
    amRecvPushXml(1, "1", kXml);
    devhost::drainAsync();
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

std::vector<std::string> gSeen;
std::vector<const AmRecvMessage *> gRecords;
template <int N>
void callback(const AmRecvMessage *m) {
    gRecords.push_back(m);
    gSeen.push_back(std::to_string(N) + ":" + std::to_string(m->line) + "," + m->number + "," +
                    (m->name != nullptr ? m->name : "null") + "," + m->contentType + "," + m->body);
}

std::string callbackLog(const char *format, AmMessageProcessCb callback) {
    char text[128];
    std::snprintf(text, sizeof text, format, reinterpret_cast<void *>(callback));
    return std::string("[2] ostra.am.main: ") + text + "\n";
}

TEST_F(CorePush, StartStopAndRegistration) {
    long mutexes = devhost::liveMutexes(), lists = devhost::liveLists();
    EXPECT_EQ(amModuleInit(), 0);
    EXPECT_EQ(amMessageProcessCbRegister(callback<1>), 0);
    EXPECT_EQ(amMessageProcessCbRegister(callback<1>), -1);
    EXPECT_EQ(amMessageProcessCbUnregister(callback<1>), 0);
    EXPECT_EQ(amMessageProcessCbUnregister(callback<1>), -1);
    EXPECT_EQ(amtest::dumpLogs(),
              callbackLog("amMessageProcessCbRegister: cb[%p] already registered!", callback<1>) +
                  callbackLog("amMessageProcessCbUnregister: cb[%p] not registered!", callback<1>));
    amMessageProcessCbRegister(callback<2>);
    EXPECT_EQ(amModuleUnInit(), 0);
    EXPECT_EQ(coretest::handlerCalls(),
              (std::vector<std::string>{"parkLockInit()", "parkListInit()", "parkListUnInit()", "parkLockUninit()"}));
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    EXPECT_EQ(devhost::liveLists(), lists);
    EXPECT_EQ(amMessageProcessCbUnregister(callback<2>), -1);
    coretest::gVisualParkListInitResult = -1;
    EXPECT_EQ(amModuleInit(), -1);
}

TEST_F(CorePush, FanOutCallsEveryCallbackInOrderThenFrees) {
    amModuleInit();
    long mark = devhost::liveBlocks();
    EXPECT_EQ(amRecvMessage(5, "201", "Ann", "text/html", "<b>x</b>"), 0);
    EXPECT_EQ(devhost::drainAsync(), 1);  // nobody registered: copied and freed
    EXPECT_EQ(devhost::liveBlocks(), mark);
    amMessageProcessCbRegister(callback<1>);
    amMessageProcessCbRegister(callback<2>);
    mark = devhost::liveBlocks();
    EXPECT_EQ(amRecvMessage(5, "201", "Ann", "text/html", "<b>x</b>"), 0);
    EXPECT_TRUE(gSeen.empty());
    devhost::drainAsync();
    EXPECT_EQ(gSeen, (std::vector<std::string>{"1:5,201,Ann,text/html,<b>x</b>", "2:5,201,Ann,text/html,<b>x</b>"}));
    EXPECT_EQ(gRecords.at(0), gRecords.at(1));
    EXPECT_EQ(devhost::liveBlocks(), mark);

    gSeen.clear();
    devhost::refuseAsync(true);
    EXPECT_EQ(amRecvMessage(5, "201", nullptr, "text/html", "x"), -1);
    devhost::refuseAsync(false);
    for (long n = 1; n <= 5; ++n) {  // the record and its four copies
        devhost::failNth(n);
        EXPECT_EQ(amRecvMessage(1, "201", "Ann", "text/html", "x"), 0);
        devhost::drainAsync();
        EXPECT_EQ(devhost::liveBlocks(), mark) << n;
    }
    EXPECT_TRUE(gSeen.empty());
    EXPECT_TRUE(devhost::logs().empty()) << amtest::dumpLogs();
}

TEST_F(CorePush, StartWithoutMutexOrListKeepsRunning) {
    devhost::failNth(1);  // the module mutex: callbacks run unlocked
    amModuleInit();
    EXPECT_EQ(amMessageProcessCbRegister(callback<1>), 0);
    amRecvMessage(1, "201", "Ann", "text/html", "x");
    devhost::drainAsync();
    EXPECT_EQ(gSeen.size(), 1u);
    amModuleUnInit();
    devhost::failNth(2);  // the callback list: registration does nothing
    amModuleInit();
    EXPECT_EQ(amMessageProcessCbRegister(callback<1>), -1);
}

}  // namespace
