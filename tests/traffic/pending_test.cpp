// The pending subscription queue: one request per line on the wire, moved on by results
// and by the 5-second timer, on the virtual clock.
#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::hasLog;

constexpr char kTraffic[] = "ostra.am.traffic";

class PendingQueue : public amtest::HostTest {
protected:
    // The numbers handed to the protocol manager, in order.
    static std::string sent() {
        std::string numbers;
        for (const devhost::Request &r : devhost::requests()) numbers += r.number + " ";
        return numbers;
    }
    // Every timer armed ("add<id>(<line>,<seconds>)") and deleted ("del<id>"), in order.
    static std::string timerLog() {
        std::string text;
        for (const devhost::TimerCall &c : devhost::timerCalls()) {
            text += c.add ? "add" + std::to_string(c.id) + "(" + std::to_string(c.arg) + "," +
                                std::to_string(c.seconds) + ") "
                          : "del" + std::to_string(c.id) + " ";
        }
        return text;
    }
};

TEST_F(PendingQueue, ThreeRequestsGoOutOneAtATimeAsResultsArrive) {
    for (const char *number : {"201", "202", "203"}) ASSERT_EQ(amRequestBlf(1, number), 0);
    EXPECT_EQ(sent(), "201 ");
    EXPECT_EQ(amPendingNumber(1), 3);
    EXPECT_TRUE(hasLog(0, kTraffic, "amPendingNumber: Line=[1] pending Node num=[3]."));
    EXPECT_EQ(timerLog(), "add1(1,5) ") << "one timer, not restarted by later adds";

    devhost::advance(3);
    EXPECT_EQ(amDialogRecvSubscribeResult(1, "201", 200), 0);
    EXPECT_EQ(sent(), "201 202 ");
    EXPECT_EQ(amPendingNumber(1), 2);
    EXPECT_EQ(timerLog(), "add1(1,5) del1 add2(1,5) ") << "the request just sent gets a full 5 seconds";
    devhost::advance(4);
    EXPECT_EQ(amPendingNumber(1), 2) << "the rearmed timer must not have fired yet";

    amDialogRecvSubscribeResult(1, "202", 200);
    amDialogRecvSubscribeResult(1, "203", 200);
    EXPECT_EQ(sent(), "201 202 203 ");
    EXPECT_EQ(amPendingNumber(1), 0);
    // Draining: the last timer runs on for the empty queue; once it has fired the line is
    // idle and the next request arms a timer of its own.
    EXPECT_EQ(devhost::armedTimers(), 1);
    devhost::advance(5);
    amRequestBlf(1, "204");
    EXPECT_EQ(timerLog(), "add1(1,5) del1 add2(1,5) del2 add3(1,5) add4(1,5) ");
}

TEST_F(PendingQueue, TimeoutDropsTheHeadSendsTheNextAndEndsIdle) {
    // A number of 40 characters or more is queued cut to 39, so its results never match.
    const std::string longNumber(45, '7');
    amRequestBlf(2, longNumber.c_str());
    amRequestBlf(2, "302");
    amDialogRecvSubscribeResult(2, longNumber.c_str(), 200);
    EXPECT_EQ(amPendingNumber(2), 2);
    devhost::advance(5);
    EXPECT_TRUE(hasLog(1, kTraffic, "amPendingTimerExpired: Line=[2] number=[" + std::string(39, '7') + "] timeout."));
    EXPECT_EQ(sent(), longNumber + " 302 ");
    devhost::advance(5);
    EXPECT_TRUE(hasLog(1, kTraffic, "amPendingTimerExpired: Line=[2] number=[302] timeout."));
    EXPECT_EQ(amPendingNumber(2), 0);
    devhost::advance(5);
    // A timeout always rearms, even for an empty queue; the expiry after that ends it.
    EXPECT_EQ(timerLog(), "add1(2,5) add2(2,5) add3(2,5) ");
    EXPECT_EQ(sent(), longNumber + " 302 ") << "timed-out requests are never retried";
    amRequestBlf(2, "303");
    EXPECT_EQ(sent(), longNumber + " 302 303 ") << "an idle line sends at once";
}

TEST_F(PendingQueue, OnlyTheHeadIsConfirmedAndOnlyWaitingSubscribesAreCancelled) {
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    amPendingAdd(AM_PENDING_TYPE_BLF, 1, "203", 0);
    amPendingAdd(AM_PENDING_TYPE_BLF, 1, "201", 1);
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "202"), 0);
    EXPECT_TRUE(hasLog(0, kTraffic, "amPendingConfirm: It isn't first Node, Do nothing."));
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_PRESENCE, 1, "201"), 0);
    // The head is on the wire, and the walk stops at it rather than finding the later 201.
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 1, "201"), -1);
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_PRESENCE, 1, "202"), -1);
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 1, "203"), -1) << "an unSUBSCRIBE is not withdrawn";
    EXPECT_EQ(amPendingNumber(1), 4);
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 1, "202"), 0);
    EXPECT_EQ(amPendingNumber(1), 3);

    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 3, "201"), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingConfirm: Line Info Not Find! line=[3], number=[201]."));
    EXPECT_EQ(amPendingCancel(AM_PENDING_TYPE_BLF, 4, "202"), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingCancel: Line Info Not Find! line=[4], number=[202]."));
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, -1, nullptr), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingConfirm: Invalid parameter! line=[-1], number=[null]."));
    EXPECT_EQ(amPendingNumber(-2), -1);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingNumber: Invalid parameter! line=[-2]."));

    // A subscribe result retires an unSUBSCRIBE head of the same number.
    amPendingClear(1);
    amPendingAdd(AM_PENDING_TYPE_BLF, 1, "201", 0);
    EXPECT_EQ(amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "201"), 0);
    EXPECT_EQ(amPendingNumber(1), 0);
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
    EXPECT_EQ(sent(), "201 ") << "nothing is sent for discarded requests";
    EXPECT_EQ(devhost::liveBlocks(), mark + 1) << "only the line info stays";
    amPendingClear(9);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingClear: Line Info Not Find! line=[9]."));
    amPendingTimerExpired(9);
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingTimerExpired: Line Info Not Find! line=[9]."));
}

TEST_F(PendingQueue, UnsupportedHeadIsLoggedAndLeavesByTimeout) {
    amPendingAdd(7, 1, "201", 1);
    amPendingAdd(AM_PENDING_TYPE_BLF, 1, "202", 1);
    EXPECT_EQ(amPendingNodeProcessNext(1, nullptr), -1);
    devhost::advance(5);
    EXPECT_EQ(sent(), "202 ");
    amPendingAdd(7, 1, "203", 1);
    amPendingConfirm(AM_PENDING_TYPE_BLF, 1, "202");
    EXPECT_TRUE(hasLog(2, kTraffic, "amPendingNodeProcessNext: not supported type[7]."));
}

TEST_F(PendingQueue, ResultsDeliveredFromInsideTheSendLeaveOneTimer) {
    // The protocol manager answers 202 at once, re-entering the queue with its mutex held,
    // from the timer context's send and then from a confirm's send.
    devhost::setSubscribeObserver([](const devhost::Request &r) {
        if (r.number == "202") amDialogRecvSubscribeResult(r.line, r.number.c_str(), 200);
    });
    for (const char *number : {"201", "202", "203", "202"}) amRequestBlf(1, number);
    devhost::advance(5);  // 201 times out, 202 is sent and confirmed, 203 is sent
    EXPECT_EQ(devhost::armedTimers(), 1);
    amDialogRecvSubscribeResult(1, "203", 200);  // 202 is sent and confirmed
    EXPECT_EQ(sent(), "201 202 203 202 ");
    EXPECT_EQ(amPendingNumber(1), 0);
    EXPECT_EQ(devhost::armedTimers(), 1);
}

TEST_F(PendingQueue, CreationAndAllocationFailuresLeaveNothingHalfBuilt) {
    long mutexes = devhost::liveMutexes();
    devhost::failNth(1);  // the queue's first use creates its mutex
    EXPECT_EQ(amPendingAdd(AM_PENDING_TYPE_BLF, 0, "100", 1), 0) << "runs unlocked";
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    amPendingClear(0);  // the mutex is tried again: it and the line-info list exist from here
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
    EXPECT_EQ(devhost::failedCalls(), 6) << "the mutex, then one step of each add";
    EXPECT_EQ(devhost::armedTimers(), 2);
    EXPECT_EQ(devhost::liveBlocks(), blocks + 2) << "two line infos, no node";
    EXPECT_EQ(devhost::liveLists(), lists + 2);
    devhost::advance(5);
    EXPECT_EQ(devhost::armedTimers(), 0) << "an empty queue's timer leaves the line idle";
    EXPECT_EQ(amPendingAdd(AM_PENDING_TYPE_BLF, 15, "202", 1), 0);
    EXPECT_EQ(amPendingNumber(15), 1);
    EXPECT_EQ(devhost::liveMutexes(), mutexes + 1) << "created once";
}

}  // namespace
