// The pending queue under real threads: applications requesting and cancelling BLF and
// presence subscriptions, the protocol manager answering what was actually sent (some
// answers at once from inside the send, some never), and the host's timer context timing
// heads out. Every queue must drain by results and timeouts alone, and free every node.
#include <atomic>
#include <chrono>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kLines = 3;

void answer(const devhost::Request &r, int result) {
    if (r.kind == devhost::Request::Subscribe) {
        amRecvSubscribeResult(r.line, r.number.c_str(), r.event.c_str(), nullptr, result, nullptr);
    } else {
        amRecvUnsubscribeResult(r.line, r.number.c_str(), r.event.c_str(), nullptr, result);
    }
}

bool allDrained() {
    for (int line = 1; line <= kLines; ++line) {
        if (amPendingNumber(line) > 0) return false;
    }
    return devhost::armedTimers() == 0;
}

class PendingStress : public amtest::HostTest {};

TEST_F(PendingStress, ThreeContextsEndWithEveryQueueDrained) {
    devhost::setRecordEvents(false);
    // Warm up so that what stays for the process (mutexes, line infos, lists) exists first.
    for (int line = 1; line <= kLines; ++line) {
        amPendingAdd(AM_PENDING_TYPE_BLF, line, "0", 1);
        amPendingClear(line);
    }
    amBlfDialogInfoClearByLine(1);
    long blocks = devhost::liveBlocks();
    long lists = devhost::liveLists();

    // What the protocol manager has been handed and not answered yet.
    std::mutex outboxMutex;
    std::deque<devhost::Request> outbox;
    std::atomic<int> sends{0};
    devhost::setSubscribeObserver([&](const devhost::Request &r) {
        int n = sends.fetch_add(1);
        if (n % 11 == 0) {
            answer(r, n % 2 == 0 ? 200 : 0);  // at once, with the queue mutex possibly held
        } else if (n % 13 != 0) {             // every 13th is never answered: it must time out
            std::lock_guard<std::mutex> lock(outboxMutex);
            outbox.push_back(r);
        }
    });

    std::atomic<bool> stop{false};
    std::vector<std::thread> applications;
    for (int t = 0; t < 3; ++t) {
        applications.emplace_back([t] {
            for (int i = 0; i < 300; ++i) {
                std::string number = std::to_string(200 + (i * 7 + t) % 9);
                int line = 1 + (i + t) % kLines;
                int kind = (i + t) % 6;
                if (kind < 3) amRequestBlf(line, number.c_str());
                if (kind == 3) amRequestBlfCancel(line, number.c_str());
                if (kind == 4) amRequestPresence(line, number.c_str());
                if (kind == 5) amRequestPresenceCancel(line, number.c_str());
            }
        });
    }
    std::thread protocolManager([&] {
        for (int i = 0; !stop.load(); ++i) {
            std::unique_lock<std::mutex> lock(outboxMutex);
            if (outbox.empty()) {
                lock.unlock();
                std::this_thread::yield();
                continue;
            }
            devhost::Request r = outbox.front();
            outbox.pop_front();
            lock.unlock();
            answer(r, i % 5 == 0 ? 0 : 200);
        }
    });
    // The host's timer context on the virtual clock: every armed queue timer fires on this
    // thread, racing the results and the requests. A virtual second per 100 microseconds
    // lets most heads be answered before their 5 seconds run out.
    std::thread timer([&stop] {
        while (!stop.load()) {
            devhost::advance(1);
            std::this_thread::sleep_for(std::chrono::microseconds(100));
        }
    });

    for (std::thread &t : applications) t.join();
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    bool drained = false;
    while (!drained && std::chrono::steady_clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
        drained = allDrained();
    }
    stop = true;
    protocolManager.join();
    timer.join();
    devhost::setSubscribeObserver(nullptr);

    EXPECT_TRUE(drained) << "queues or timers left after the results and timeouts ran out";
    EXPECT_GT(sends.load(), 3 * kLines);
    EXPECT_FALSE(amtest::logsOf("ostra.am.traffic", 1).empty()) << "unanswered requests leave by timeout";
    EXPECT_EQ(devhost::liveBlocks(), blocks) << "every node freed";
    EXPECT_EQ(devhost::liveLists(), lists);
}

}  // namespace
