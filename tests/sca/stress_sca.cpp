// The appearance and line-seize lists written on the protocol manager's thread while an
// application thread reads and changes them, from the very first use on (each list and
// its mutex are created lazily, possibly by either thread).
#include <atomic>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 1500;
constexpr int kAppearances = 8;
const char *const kStates[] = {"idle", "seized", "active", "held", "held-private", "alerting"};

// Runs `applications` on a thread of its own, started together with `protocolManager`.
template <typename Apps, typename Pm>
void race(Apps applications, Pm protocolManager) {
    std::atomic<bool> go{false};
    std::thread other([&] {
        while (!go.load()) std::this_thread::yield();
        applications();
    });
    go = true;
    protocolManager();
    other.join();
}

TEST(ScaStress, NotifiesRaceTheQueries) {
    devhost::reset();
    devhost::setRecordEvents(false);
    std::atomic<int> badAnswers{0};
    race(
        [&] {
            for (int i = 0; i < 10 * kRounds; ++i) {
                if (i < kAppearances) amScaStatusSet(3, i + 1, 4);  // may create the list
                int state = amScaStatusGet(1, 1 + i % kAppearances);
                int index = amScaAvailableAppearanceIndexGet(1);
                if (state < -1 || state > 8 || index < 0 || index > kAppearances + 1) ++badAnswers;
            }
        },
        [] {
            for (int i = 0; i < kRounds; ++i) {
                std::string index = i % 50 == 49 ? "*" : std::to_string(1 + i % kAppearances);
                std::string body = "appearance-index=" + index + ";appearance-state=" + kStates[i % 6];
                amRecvScaParse(1, body.c_str());
            }
        });
    EXPECT_EQ(badAnswers.load(), 0);
    amRecvScaParse(1, "appearance-index=*;appearance-state=active");
    amRecvScaParse(1, "appearance-index=5;appearance-state=idle");
    for (int index = 1; index <= kAppearances; ++index) {
        EXPECT_EQ(amScaStatusGet(1, index), index == 5 ? 0 : 4);
        EXPECT_EQ(amScaStatusGet(3, index), 4);
    }
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 5);
    EXPECT_EQ(devhost::liveLists(), 1);
    EXPECT_EQ(devhost::liveMutexes(), 1);
}

TEST(LineSeizeStress, OutcomesRaceRequestsAndCancels) {
    devhost::reset();
    devhost::setRecordEvents(false);
    devhost::line(1).scaEnable = 1;
    std::atomic<int> reported{0}, refused{0};
    devhost::setEventObserver([&](const char *, const void *, int) { ++reported; });
    race(
        [&] {
            for (int i = 0; i < kRounds; ++i) {
                if (amRequestLineSeize(1, 1 + i % kAppearances, 1 + i % 4) != 0) ++refused;
                if (i % 3 == 0) amRequestLineSeizeCancel(1, 1 + i % kAppearances);
            }
        },
        [] {
            for (int i = 0; i < 2 * kRounds; ++i) {
                std::string body = "appearance-index=" + std::to_string(1 + i % kAppearances);
                amRecvLineSeizeParse(1, i % 3, body.c_str());
            }
        });
    devhost::setEventObserver(nullptr);
    EXPECT_EQ(refused.load(), 0);
    EXPECT_GT(reported.load(), 0);
    // Whatever is still listed goes with one cancel per request.
    for (int i = 0; i < kRounds; ++i) amRequestLineSeizeCancel(1, 1 + i % kAppearances);
    EXPECT_EQ(devhost::liveBlocks(), 0);
}

}  // namespace
