// The pending subscription queue: one request per line on the wire, moved on by results
// and by the 5-second timer, on the virtual clock.
#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::hasLog;
using amtest::subscribes;
using amtest::unsubscribes;

constexpr char kTraffic[] = "ostra.am.traffic";

class PendingQueue : public amtest::HostTest {
protected:
    std::vector<std::string> sentNumbers() {
        std::vector<std::string> numbers;
        for (const devhost::Request &r : devhost::requests()) numbers.push_back(r.number);
        return numbers;
    }
    int armedCalls() {
        int count = 0;
        for (const devhost::TimerCall &call : devhost::timerCalls()) count += call.add ? 1 : 0;
        return count;
    }
};

TEST_F(PendingQueue, ThreeRequestsGoOutOneAtATimeAsResultsArrive) {
    ASSERT_EQ(amRequestBlf(1, "201"), 0);
    ASSERT_EQ(amRequestBlf(1, "202"), 0);
    ASSERT_EQ(amRequestBlf(1, "203"), 0);
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"201"}));
    EXPECT_EQ(amPendingNumber(1), 3);
    EXPECT_TRUE(hasLog(0, kTraffic, "amPendingNumber: Line=[1] pending Node num=[3]."));
    EXPECT_TRUE(hasLog(0, "ostra.am.dialogInfo", "amRequestBlf: have pending blf, append it!"));

    // One timer for the line, armed by the first add and not restarted by the others.
    ASSERT_EQ(armedCalls(), 1);
    EXPECT_EQ(devhost::timerCalls()[0].seconds, 5);
    EXPECT_EQ(devhost::timerCalls()[0].arg, 1);

    devhost::advance(3);
    EXPECT_EQ(amDialogRecvSubscribeResult(1, "201", 200), 0);
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"201", "202"}));
    EXPECT_EQ(amPendingNumber(1), 2);
    // The request just sent gets a full 5 seconds: old timer deleted, a new one armed.
    const auto &calls = devhost::timerCalls();
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_FALSE(calls[1].add);
    EXPECT_EQ(calls[1].id, calls[0].id);
    EXPECT_TRUE(calls[2].add);
    devhost::advance(4);
    EXPECT_EQ(amPendingNumber(1), 2) << "the rearmed timer must not have fired yet";

    amDialogRecvSubscribeResult(1, "202", 200);
    amDialogRecvSubscribeResult(1, "203", 200);
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"201", "202", "203"}));
    EXPECT_EQ(amPendingNumber(1), 0);
    // Draining: the queue is empty but the last timer is still armed until it fires.
    EXPECT_EQ(devhost::armedTimers(), 1);
    devhost::advance(5);
    EXPECT_EQ(devhost::armedTimers(), 0);
    amRequestBlf(1, "204");
    EXPECT_EQ(armedCalls(), 4) << "an idle line arms a new timer";
}

TEST_F(PendingQueue, TimeoutDropsTheHeadSendsTheNextAndEndsIdle) {
    amRequestBlf(2, "301");
    amRequestBlf(2, "302");
    devhost::advance(5);
    EXPECT_TRUE(hasLog(1, kTraffic, "amPendingTimerExpired: Line=[2] number=[301] timeout."));
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"301", "302"}));
    devhost::advance(5);
    EXPECT_TRUE(hasLog(1, kTraffic, "amPendingTimerExpired: Line=[2] number=[302] timeout."));
    EXPECT_EQ(amPendingNumber(2), 0);
    EXPECT_EQ(devhost::armedTimers(), 1) << "a timeout always rearms";
    devhost::advance(5);
    EXPECT_EQ(devhost::armedTimers(), 0);
    EXPECT_EQ(sentNumbers().size(), 2u) << "timed-out requests are never retried";
    // The line is idle again: the next request is sent at once.
    amRequestBlf(2, "303");
    EXPECT_EQ(sentNumbers().back(), "303");
}

TEST_F(PendingQueue, ResultsThatDoNotMatchTheHeadChangeNothing) {
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "202"), 0);
    EXPECT_TRUE(hasLog(0, kTraffic, "amPendingConfirm: It isn't first Node, Do nothing."));
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_PRESENCE, 1, "201"), 0);
    EXPECT_EQ(amPendingNumber(1), 2);
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 3, "201"), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingConfirm: Line Info Not Find! line=[3], number=[201]."));
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, -1, nullptr), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingConfirm: Invalid parameter! line=[-1], number=[null]."));
    EXPECT_EQ(amPendingNumber(5), -1);
    EXPECT_EQ(amPendingNumber(-2), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingNumber: Invalid parameter! line=[-2]."));
    // A subscribe result retires an unsubscribe head of the same number, and vice versa.
    amPendingClear(1);
    amPendingAdd(AM_PENDING_TYPE_BLF, 1, "201", 0);
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "201"), 0);
    EXPECT_EQ(amPendingNumber(1), 0);
}

TEST_F(PendingQueue, CancelWithdrawsOnlyWaitingSubscribes) {
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 1, "201"), -1) << "the head is on the wire";
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_PRESENCE, 1, "202"), -1);
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 1, "202"), 0);
    EXPECT_EQ(amPendingNumber(1), 1);
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 4, "202"), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingCancel: Line Info Not Find! line=[4], number=[202]."));
}

TEST_F(PendingQueue, LongNumbersAreCutAndNeverMatch) {
    std::string number(45, '7');
    amRequestBlf(1, number.c_str());
    amRequestBlf(1, "202");
    amPendingConfirm(AM_PENDING_TYPE_BLF, 1, number.c_str());
    EXPECT_EQ(amPendingNumber(1), 2);
    devhost::advance(5);
    EXPECT_TRUE(hasLog(1, kTraffic, "amPendingTimerExpired: Line=[1] number=[" + std::string(39, '7') + "] timeout."));
    EXPECT_EQ(amPendingNumber(1), 1);
}

TEST_F(PendingQueue, ClearEmptiesTheLineAndDisarmsTheTimer) {
    long mark = devhost::liveBlocks();
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    amPendingClear(1);
    EXPECT_EQ(amPendingNumber(1), 0);
    EXPECT_EQ(devhost::armedTimers(), 0);
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "201"), 0);
    EXPECT_TRUE(hasLog(0, kTraffic, "amPendingConfirm: no pending request!"));
    EXPECT_EQ(sentNumbers().size(), 1u) << "nothing is sent for discarded requests";
    // Only the line info and its queue list stay.
    EXPECT_EQ(devhost::liveBlocks(), mark + 1);
    amPendingClear(9);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingClear: Line Info Not Find! line=[9]."));
    devhost::timerCalls();
    amPendingTimerExpired(9);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingTimerExpired: Line Info Not Find! line=[9]."));
}

TEST_F(PendingQueue, UnsupportedHeadIsLoggedAndLeavesByTimeout) {
    amPendingAdd(7, 1, "201", 1);
    amPendingAdd(AM_PENDING_TYPE_BLF, 1, "202", 1);
    EXPECT_EQ(amPendingNodeProcessNext(1, nullptr), -1);
    devhost::advance(5);
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"202"}));
    amPendingAdd(7, 1, "203", 1);
    amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "202");
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingNodeProcessNext: not supported type[7]."));
}

TEST_F(PendingQueue, ResultDeliveredFromInsideTheSubscribeDoesNotDeadlock) {
    // A protocol manager that answers at once re-enters the queue with its mutex held.
    devhost::setSubscribeObserver([](const devhost::Request &r) {
        amRecvSubscribeResult(r.line, r.number.c_str(), "dialog", nullptr, 200, nullptr);
    });
    amRequestBlf(1, "201");  // sent at once, confirmed before it is queued: stays queued
    amRequestBlf(1, "202");
    amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "201");
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"201", "202"}));
    EXPECT_EQ(amPendingNumber(1), 0);
}

TEST_F(PendingQueue, ResultFromInsideATimeoutSendLeavesOneTimer) {
    // The protocol manager answers 202 at once, from inside the SUBSCRIBE that the timer
    // context sends with the queue mutex held.
    devhost::setSubscribeObserver([](const devhost::Request &r) {
        if (r.number == "202") amDialogRecvSubscribeResult(r.line, r.number.c_str(), 200);
    });
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    amRequestBlf(1, "203");
    devhost::advance(5);  // 201 times out, 202 is sent and confirmed, 203 is sent
    EXPECT_EQ(sentNumbers(), (std::vector<std::string>{"201", "202", "203"}));
    EXPECT_EQ(amPendingNumber(1), 1);
    EXPECT_EQ(devhost::armedTimers(), 1) << "the head on the wire has exactly one timer";
    devhost::advance(4);
    EXPECT_EQ(amPendingNumber(1), 1);
    devhost::advance(1);
    EXPECT_TRUE(hasLog(1, kTraffic, "amPendingTimerExpired: Line=[1] number=[203] timeout."));
    devhost::advance(5);
    EXPECT_EQ(devhost::armedTimers(), 0);
}

TEST_F(PendingQueue, MutexThatCannotBeCreatedIsTriedAgain) {
    long mutexes = devhost::liveMutexes();
    devhost::failNth(1);  // the queue's first use creates its mutex
    EXPECT_EQ(amPendingAdd(AM_PENDING_TYPE_BLF, 1, "201", 1), 0) << "runs unlocked";
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    EXPECT_EQ(amPendingNumber(1), 1);
    EXPECT_EQ(devhost::liveMutexes(), mutexes + 1);
    amPendingNumber(1);
    EXPECT_EQ(devhost::liveMutexes(), mutexes + 1) << "created once";
}

TEST_F(PendingQueue, AllocationFailuresLeaveNothingHalfBuilt) {
    amPendingAdd(AM_PENDING_TYPE_BLF, 0, "100", 1);  // mutex and line-info list exist from here
    amPendingClear(0);
    long blocks = devhost::liveBlocks();
    long lists = devhost::liveLists();
    // A new line's add allocates: line info, its queue, its place in the line-info list,
    // the node, the node's place in the queue.
    for (long n = 1; n <= 5; ++n) {
        int line = static_cast<int>(10 + n);
        devhost::failNth(n);
        EXPECT_EQ(amPendingAdd(AM_PENDING_TYPE_BLF, line, "201", 1), -1) << n;
        devhost::failNone();
        // Without its line info nothing is kept; with it, the timer runs for an empty queue.
        EXPECT_EQ(amPendingNumber(line), n <= 3 ? -1 : 0) << n;
    }
    EXPECT_EQ(devhost::failedCalls(), 5);
    EXPECT_EQ(devhost::armedTimers(), 2);
    EXPECT_EQ(devhost::liveBlocks(), blocks + 2) << "two line infos, no node";
    EXPECT_EQ(devhost::liveLists(), lists + 2);
    devhost::advance(5);
    EXPECT_EQ(devhost::armedTimers(), 0) << "an empty queue's timer leaves the line idle";
    EXPECT_EQ(amPendingAdd(AM_PENDING_TYPE_BLF, 15, "202", 1), 0);
    EXPECT_EQ(amPendingNumber(15), 1);
}

}  // namespace
