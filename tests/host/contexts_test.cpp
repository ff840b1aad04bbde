// The development host's timers, asynchronous queue, events, protocol manager and logs.
#include "am_test.h"

namespace {

using amtest::HostTest;

class HostContexts : public HostTest {};

std::vector<int> gFired;
void recordFired(int arg) { gFired.push_back(arg); }
void rearm(int arg) {
    gFired.push_back(arg);
    if (arg < 300) uTimerAddSecWithWakeup(rearm, arg + 100, 5);
}

TEST_F(HostContexts, TimersFireInDueOrderThenArmingOrder) {
    gFired.clear();
    uTimerAddSecWithWakeup(recordFired, 1, 5);
    uTimerAddSecWithWakeup(recordFired, 2, 3);
    uTimerAddSecWithWakeup(recordFired, 3, 5);
    int deleted = uTimerAddSecWithWakeup(recordFired, 4, 4);
    EXPECT_EQ(devhost::armedTimers(), 4);
    EXPECT_EQ(uTimerDel(deleted), 0);
    EXPECT_EQ(uTimerDel(-1), 0);
    devhost::advance(4);
    EXPECT_EQ(gFired, (std::vector<int>{2}));
    devhost::advance(1);
    EXPECT_EQ(gFired, (std::vector<int>{2, 1, 3}));
    EXPECT_EQ(devhost::armedTimers(), 0);
    EXPECT_EQ(devhost::nowSeconds(), 5);
    const auto &calls = devhost::timerCalls();
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_TRUE(calls[3].add);
    EXPECT_EQ(calls[3].seconds, 4);
    EXPECT_FALSE(calls[4].add);
    EXPECT_EQ(calls[4].id, deleted);
}

TEST_F(HostContexts, TimerArmedFromItsCallbackFiresWithinTheSameAdvance) {
    gFired.clear();
    uTimerAddSecWithWakeup(rearm, 100, 5);
    devhost::advance(12);
    EXPECT_EQ(gFired, (std::vector<int>{100, 200}));
    devhost::advance(3);
    EXPECT_EQ(gFired, (std::vector<int>{100, 200, 300}));
    EXPECT_EQ(devhost::armedTimers(), 0);
}

TEST_F(HostContexts, RefusedTimerGivesMinusOne) {
    devhost::refuseTimers(true);
    EXPECT_EQ(uTimerAddSecWithWakeup(recordFired, 1, 1), -1);
    EXPECT_EQ(devhost::armedTimers(), 0);
}

std::vector<int> gRan;
void runAsync(void *arg) {
    int value = static_cast<int>(reinterpret_cast<intptr_t>(arg));
    gRan.push_back(value);
    if (value == 1) uAsyncCall(runAsync, reinterpret_cast<void *>(intptr_t{3}));
}

TEST_F(HostContexts, AsyncQueueRunsInOrderOnlyWhenDrained) {
    gRan.clear();
    EXPECT_EQ(uAsyncCall(runAsync, reinterpret_cast<void *>(intptr_t{1})), 0);
    EXPECT_EQ(uAsyncCall(runAsync, reinterpret_cast<void *>(intptr_t{2})), 0);
    EXPECT_TRUE(gRan.empty());
    EXPECT_EQ(devhost::asyncPending(), 2);
    EXPECT_EQ(devhost::drainAsync(), 3);
    EXPECT_EQ(gRan, (std::vector<int>{1, 2, 3}));
    devhost::refuseAsync(true);
    EXPECT_EQ(uAsyncCall(runAsync, nullptr), -1);
    EXPECT_EQ(devhost::asyncPending(), 0);
}

TEST_F(HostContexts, ThreadedAsyncWorkerRunsEverything) {
    gRan.clear();
    devhost::setAsyncMode(devhost::Mode::Threaded);
    for (intptr_t i = 10; i < 20; ++i) uAsyncCall(runAsync, reinterpret_cast<void *>(i));
    devhost::waitAsyncIdle();
    EXPECT_EQ(gRan.size(), 10u);
}

struct Record {
    int line;
    const char *text;
    const char *none;
};

TEST_F(HostContexts, EventsCopyRecordAndRegisteredTexts) {
    devhost::setEventTextFields("E", {offsetof(Record, text), offsetof(Record, none)});
    int observed = 0;
    devhost::setEventObserver([&](const char *name, const void *, int size) {
        if (std::strcmp(name, "E") == 0 && size == static_cast<int>(sizeof(Record))) ++observed;
    });
    char text[] = "kept";
    Record r{7, text, nullptr};
    EXPECT_EQ(uEventRaise("E", &r, sizeof r), 0);
    text[0] = 'X';
    EXPECT_EQ(uEventRaise("F", nullptr, 0), 0);
    ASSERT_EQ(amtest::countEvents("E"), 1);
    devhost::Event event = amtest::eventsNamed("E")[0];
    EXPECT_EQ(amtest::record<Record>(event).line, 7);
    EXPECT_EQ(event.texts[0], "kept");
    EXPECT_TRUE(event.present[0]);
    EXPECT_FALSE(event.present[1]);
    EXPECT_EQ(observed, 1);
    EXPECT_EQ(amtest::countEvents("F"), 1);
}

TEST_F(HostContexts, ProtocolManagerRecordsAndAnswersPerSetting) {
    devhost::line(2).registered = false;
    devhost::line(2).registerNumber = "1002";
    devhost::setSubscribeResult(-1);
    int observedLine = 0;
    devhost::setSubscribeObserver([&](const devhost::Request &r) { observedLine = r.line; });
    pmSubscribeRequest request{0, 2, "201", 60, 1, "dialog", "application/dialog-info+xml", nullptr, nullptr, nullptr};
    EXPECT_EQ(pmSubscribe(&request), -1);
    EXPECT_EQ(observedLine, 2);
    auto subs = amtest::subscribes();
    ASSERT_EQ(subs.size(), 1u);
    EXPECT_EQ(subs[0].number, "201");
    EXPECT_EQ(subs[0].expires, 60);
    EXPECT_FALSE(subs[0].hasBody);
    int state = -1;
    pmGetRegisterStatebyLine(2, &state, 0);
    EXPECT_EQ(state, 0);
    pmGetRegisterStatebyLine(1, &state, 0);
    EXPECT_EQ(state, 1);
    char number[3];
    EXPECT_EQ(pmLineConfigGetRegisterNumber(2, number, sizeof number), 0);
    EXPECT_STREQ(number, "10");
    EXPECT_EQ(pmLineConfigGetSubscribeExpires(1), 3600);
}

TEST_F(HostContexts, LogsAndConfiguration) {
    ostraPrintLog(2, "ostra.am.main", "%s: value=%d\n", "fn", 5);
    EXPECT_TRUE(amtest::hasLog(2, "ostra.am.main", "fn: value=5\n"));
    std::string longText(3000, 'y');
    ostraPrintLog(0, "m", "%s", longText.c_str());
    EXPECT_EQ(devhost::logs().back().text, longText);

    char buffer[4] = "old";
    EXPECT_EQ(configItemValueGetWithLen("hotel", "agent", "user", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "old");
    devhost::setConfigItem("hotel", "agent", "user", "alice");
    EXPECT_EQ(configItemValueGetWithLen("hotel", "agent", "user", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "ali");
    EXPECT_TRUE(sockIsValidAddr("239.0.0.1"));
    EXPECT_TRUE(sockIsValidAddr("ff02::1"));
    EXPECT_FALSE(sockIsValidAddr("239.0.0"));
}

}  // namespace
