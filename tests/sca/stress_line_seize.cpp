// Seizures requested and cancelled by an application while the protocol manager's thread
// delivers their outcomes: every entry ends up either reported-and-removed or cancelled.
#include <atomic>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 1500;
constexpr int kAppearances = 6;

TEST(LineSeizeStress, OutcomesRaceRequestsAndCancels) {
    devhost::reset();
    devhost::setRecordEvents(false);
    devhost::line(1).scaEnable = 1;
    devhost::line(1).registerNumber = "2001";
    devhost::line(1).registerServer = "pbx";
    std::atomic<int> reported{0};
    devhost::setEventObserver([&](const char *, const void *, int) { ++reported; });
    long blocks = devhost::liveBlocks();
    std::atomic<bool> go{false}, done{false};
    std::thread protocolManager([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; !done.load() || i < kRounds; ++i) {
            std::string body = "appearance-index=" + std::to_string(1 + i % kAppearances);
            amRecvLineSeizeParse(1, i % 3, body.c_str());
            if (i > 50 * kRounds) break;
        }
    });
    go = true;
    int failed = 0;
    for (int i = 0; i < kRounds; ++i) {
        int index = 1 + i % kAppearances;
        if (amRequestLineSeize(1, index, 1 + i % 4) != 0) ++failed;
        if (i % 3 == 0) amRequestLineSeizeCancel(1, index);
    }
    done = true;
    protocolManager.join();
    devhost::setEventObserver(nullptr);
    EXPECT_EQ(failed, 0);
    EXPECT_GT(reported.load(), 0);
    // Whatever is still listed goes with a cancel per appearance and request.
    for (int i = 0; i < kRounds; ++i) amRequestLineSeizeCancel(1, 1 + i % kAppearances);
    EXPECT_EQ(devhost::liveBlocks(), blocks);
}

}  // namespace
