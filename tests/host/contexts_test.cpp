// The development host's virtual clock, manual asynchronous queue, logs and configuration.
// Event and request recording are left to the feature tests, which read every report and
// request through them, and the threaded queue to the stress tests.
#include "am_test.h"

namespace {

using amtest::HostTest;

class HostContexts : public HostTest {};

std::vector<int> gFired;
void recordFired(int arg) {
    gFired.push_back(arg);
    if (arg >= 100 && arg < 300) uTimerAddSecWithWakeup(recordFired, arg + 100, 5);
}

TEST_F(HostContexts, TimersFireInDueThenArmingOrderAndRearmWithinOneAdvance) {
    gFired.clear();
    int first = uTimerAddSecWithWakeup(recordFired, 1, 5);
    uTimerAddSecWithWakeup(recordFired, 2, 3);
    uTimerAddSecWithWakeup(recordFired, 3, 5);
    int deleted = uTimerAddSecWithWakeup(recordFired, 4, 4);
    uTimerAddSecWithWakeup(recordFired, 100, 1);
    EXPECT_EQ(uTimerDel(deleted), 0);
    EXPECT_EQ(uTimerDel(-1), 0);
    devhost::advance(4);
    EXPECT_EQ(gFired, (std::vector<int>{100, 2}));
    // 200 is armed at 1 by 100's callback; 300 by 200's at 6, and still fires in this advance.
    devhost::advance(8);
    EXPECT_EQ(gFired, (std::vector<int>{100, 2, 1, 3, 200, 300}));
    EXPECT_EQ(devhost::nowSeconds(), 12);

    // Deleting ids that fired or were deleted must not reach a timer armed since.
    uTimerAddSecWithWakeup(recordFired, 5, 1);
    EXPECT_EQ(uTimerDel(first), 0);
    EXPECT_EQ(uTimerDel(deleted), 0);
    devhost::advance(1);
    EXPECT_EQ(gFired.back(), 5);
    EXPECT_EQ(devhost::armedTimers(), 0);

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

TEST_F(HostContexts, AsyncQueueRunsInOrderOnlyWhenDrainedAndCanRefuse) {
    gRan.clear();
    EXPECT_EQ(uAsyncCall(runAsync, reinterpret_cast<void *>(intptr_t{1})), 0);
    EXPECT_EQ(uAsyncCall(runAsync, reinterpret_cast<void *>(intptr_t{2})), 0);
    EXPECT_TRUE(gRan.empty());
    EXPECT_EQ(devhost::drainAsync(), 3);
    EXPECT_EQ(gRan, (std::vector<int>{1, 2, 3}));
    devhost::refuseAsync(true);
    EXPECT_EQ(uAsyncCall(runAsync, nullptr), -1);
    EXPECT_EQ(devhost::asyncPending(), 0);
}

TEST_F(HostContexts, LogsAndConfiguration) {
    // Longer than any fixed formatting buffer: a log line that quotes a whole body stays whole.
    std::string longText(3000, 'y');
    ostraPrintLog(2, "ostra.am.main", "%s: %d %s", "fn", 5, longText.c_str());
    EXPECT_TRUE(amtest::hasLog(2, "ostra.am.main", "fn: 5 " + longText));

    char buffer[4] = "old";
    EXPECT_EQ(configItemValueGetWithLen("hotel", "agent", "user", buffer, sizeof buffer), -1);
    EXPECT_STREQ(buffer, "old");
    devhost::setConfigItem("hotel", "agent", "user", "alice");
    EXPECT_EQ(configItemValueGetWithLen("hotel", "agent", "user", buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "ali");
    EXPECT_TRUE(sockIsValidAddr("239.0.0.1") && sockIsValidAddr("ff02::1"));
    EXPECT_FALSE(sockIsValidAddr("239.0.0"));
}

// The hook sees every kind of request after it is recorded and decides each result; the
// configured result is what it is offered.
TEST_F(HostContexts, RequestHookAnswersEveryRequestKind) {
    devhost::setSubscribeResult(7);
    std::vector<std::pair<int, int>> seen;   // kind, configured
    devhost::setRequestHook([&](const devhost::Request &r, int configured) {
        EXPECT_EQ(devhost::requests().size(), seen.size() + 1);
        seen.emplace_back(r.kind, configured);
        return 40 + r.kind;
    });
    pmSubscribeRequest sub{0, 1, "201", 60, 1, "dialog", nullptr, nullptr, nullptr, nullptr};
    pmUnsubscribeRequest unsub{0, 1, "201", "dialog", nullptr};
    pmInfoRecord info{1, "201", "text/plain", "x"};
    EXPECT_EQ(pmSubscribe(&sub), 40);
    EXPECT_EQ(pmSubscribeCancel(&unsub), 41);
    EXPECT_EQ(pmMessage(1, "201", "text/plain", "hi", 9), 42);
    EXPECT_EQ(pmSendInfo(&info), 43);
    std::vector<std::pair<int, int>> expected{{0, 7}, {1, 0}, {2, 0}, {3, 0}};
    EXPECT_EQ(seen, expected);
    devhost::reset();
    EXPECT_EQ(pmSubscribe(&sub), 0);
}

}  // namespace
