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

TEST_F(CorePush, ValidPushIsRaisedOnceLaterAndFreed) {
    devhost::setEventTextFields(AM_PUSH_XML_EVENT_NAME, {offsetof(AmPushXml, xml)});
    long mark = devhost::liveBlocks();
    std::string number(70, '9');
    EXPECT_EQ(amRecvNotify(2, number.c_str(), "push-xml-event", nullptr, "application/xml", kXml), 0);
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(devhost::drainAsync(), 1);
    auto event = amtest::eventsNamed(AM_PUSH_XML_EVENT_NAME).at(0);
    AmPushXml record = amtest::record<AmPushXml>(event);
    EXPECT_EQ(record.line, 2);
    EXPECT_EQ(std::string(record.number), number.substr(0, 63));
    EXPECT_EQ(event.texts.at(0), kXml);
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(CorePush, RefusalsLeakNothing) {
    long mark = devhost::liveBlocks();
    EXPECT_EQ(amRecvPushXml(1, "1", "<Resp><retcode>0</retcode></Resp>"), -1);
    EXPECT_EQ(amRecvPushXml(1, "1", "<a><b></a>"), -1);
    EXPECT_EQ(amtest::dumpLogs(), "[2] ostra.am.main: amRecvPushXml: recv resp xml, will not process!\n"
                                  "[2] ostra.am.main: amRecvPushXml: recv xml parse error!\n");
    devhost::refuseAsync(true);
    EXPECT_EQ(amRecvPushXml(1, "1", kXml), -1);
    EXPECT_EQ(devhost::liveBlocks(), mark);
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
const AmRecvMessage *gFirstRecord = nullptr;
void first(const AmRecvMessage *m) {
    gFirstRecord = m;
    gSeen.push_back(std::string("first:") + m->number + "," + m->name + "," + m->contentType + "," + m->body);
}
void second(const AmRecvMessage *m) {
    EXPECT_EQ(m, gFirstRecord);
    gSeen.push_back("second:" + std::to_string(m->line));
}

TEST_F(CorePush, StartStopAndRegistration) {
    long mutexes = devhost::liveMutexes(), lists = devhost::liveLists();
    EXPECT_EQ(amMessageProcessCbRegister(first), -1);
    EXPECT_EQ(amModuleInit(), 0);
    EXPECT_EQ(amMessageProcessCbRegister(first), 0);
    EXPECT_EQ(amMessageProcessCbRegister(first), -1);
    EXPECT_EQ(amMessageProcessCbUnregister(first), 0);
    EXPECT_EQ(amMessageProcessCbUnregister(first), -1);
    char text[2][128];
    std::snprintf(text[0], sizeof text[0], "amMessageProcessCbRegister: cb[%p] already registered!",
                  reinterpret_cast<void *>(first));
    std::snprintf(text[1], sizeof text[1], "amMessageProcessCbUnregister: cb[%p] not registered!",
                  reinterpret_cast<void *>(first));
    EXPECT_EQ(amtest::dumpLogs(), std::string("[2] ostra.am.main: ") + text[0] + "\n[2] ostra.am.main: " + text[1] + "\n");
    amMessageProcessCbRegister(second);
    EXPECT_EQ(amModuleUnInit(), 0);
    EXPECT_EQ(coretest::handlerCalls(),
              (std::vector<std::string>{"parkLockInit()", "parkListInit()", "parkListUnInit()", "parkLockUninit()"}));
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    EXPECT_EQ(devhost::liveLists(), lists);
    EXPECT_EQ(amMessageProcessCbUnregister(second), -1);
    coretest::gVisualParkListInitResult = -1;
    EXPECT_EQ(amModuleInit(), -1);
}

TEST_F(CorePush, FanOutCallsEveryCallbackInOrderThenFrees) {
    amModuleInit();
    long mark = devhost::liveBlocks();
    EXPECT_EQ(amRecvMessage(5, "201", "Ann", "text/html", "<b>x</b>"), 0);
    EXPECT_EQ(devhost::drainAsync(), 1);  // nobody registered: copied and freed
    EXPECT_EQ(devhost::liveBlocks(), mark);
    amMessageProcessCbRegister(first);
    amMessageProcessCbRegister(second);
    mark = devhost::liveBlocks();
    EXPECT_EQ(amRecvMessage(5, "201", "Ann", "text/html", "<b>x</b>"), 0);
    EXPECT_TRUE(gSeen.empty());
    devhost::drainAsync();
    EXPECT_EQ(gSeen, (std::vector<std::string>{"first:201,Ann,text/html,<b>x</b>", "second:5"}));
    EXPECT_EQ(devhost::liveBlocks(), mark);

    gSeen.clear();
    devhost::refuseAsync(true);
    EXPECT_EQ(amRecvMessage(5, "201", nullptr, "text/html", "x"), -1);
    EXPECT_EQ(devhost::liveBlocks(), mark);
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
    EXPECT_EQ(amMessageProcessCbRegister(first), 0);
    amRecvMessage(1, "201", "Ann", "text/html", "x");
    devhost::drainAsync();
    EXPECT_EQ(gSeen.size(), 1u);
    amModuleUnInit();
    devhost::failNth(2);  // the callback list: registration does nothing
    amModuleInit();
    EXPECT_EQ(amMessageProcessCbRegister(first), -1);
    amModuleUnInit();
    amModuleInit();
    devhost::failNth(1);  // the list entry
    EXPECT_EQ(amMessageProcessCbRegister(first), -1);
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amMessageProcessCbRegister: no more resource available!"));
}

}  // namespace
