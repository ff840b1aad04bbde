// The pending queue under real threads: applications requesting and cancelling, the
// protocol manager delivering results, and the host's timer thread timing heads out.
#include <atomic>
#include <chrono>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

class PendingStress : public amtest::HostTest {};

TEST_F(PendingStress, ThreeContextsEndWithEveryQueueDrained) {
    devhost::setTimerMode(devhost::Mode::Threaded);
    devhost::setRecordEvents(false);
    long mark = devhost::liveBlocks();
    constexpr int kLines = 3;
    std::atomic<bool> stop{false};

    std::vector<std::thread> applications;
    for (int t = 0; t < 3; ++t) {
        applications.emplace_back([t] {
            for (int i = 0; i < 1000; ++i) {
                std::string number = std::to_string(100 + (i + t) % 7);
                int line = 1 + (i + t) % kLines;
                if (i % 3 == 2) {
                    amRequestBlfCancel(line, number.c_str());
                } else {
                    amRequestBlf(line, number.c_str());
                }
            }
        });
    }
    std::thread protocolManager([&stop] {
        int i = 0;
        while (!stop.load()) {
            std::string number = std::to_string(100 + i % 7);
            amDialogRecvSubscribeResult(1 + i % kLines, number.c_str(), i % 5 == 0 ? 0 : 200);
            amDialogRecvUnsubscribeResult(1 + (i + 1) % kLines, number.c_str(), 200);
            ++i;
        }
    });
    // The host's real timers would take 5 seconds to fire; this thread plays the timer
    // context at full speed through the same callback.
    std::thread timer([&stop] {
        for (int i = 0; !stop.load(); ++i) amPendingTimerExpired(1 + i % kLines);
    });
    for (std::thread &t : applications) t.join();
    stop = true;
    protocolManager.join();
    timer.join();

    for (int line = 1; line <= kLines; ++line) amPendingClear(line);
    devhost::setTimerMode(devhost::Mode::Manual);  // joins the timer thread
    for (int line = 1; line <= kLines; ++line) EXPECT_EQ(amPendingNumber(line), 0);
    EXPECT_EQ(devhost::liveBlocks(), mark + kLines) << "only the line infos stay";
}

}  // namespace
