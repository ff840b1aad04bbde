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

TEST(ScaStress, NotifiesAndOutcomesRaceQueriesRequestsAndCancels) {
    devhost::reset();
    devhost::setRecordEvents(false);
    devhost::line(1).scaEnable = 1;
    std::atomic<int> badAnswers{0}, reported{0};
    devhost::setEventObserver([&](const char *name, const void *, int) {
        if (std::string(name) == AM_LINE_SEIZE_EVENT_NAME) ++reported;
    });
    std::atomic<bool> go{false};
    std::thread applications([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < 4 * kRounds; ++i) {
            int appearance = 1 + i % kAppearances;
            if (i < kAppearances) amScaStatusSet(3, appearance, 4);  // may create the list
            int state = amScaStatusGet(1, appearance), index = amScaAvailableAppearanceIndexGet(1);
            if (state < -1 || state > 8 || index < 0 || index > kAppearances + 1) ++badAnswers;
            if (i % 4 != 0) continue;
            int seized = 1 + i / 4 % kAppearances;
            if (amRequestLineSeize(1, seized, 1 + i % 3) != 0) ++badAnswers;
            if (i % 3 == 0) amRequestLineSeizeCancel(1, seized);
        }
    });
    go = true;
    for (int i = 0; i < 2 * kRounds; ++i) {
        std::string index = i % 50 == 49 ? "*" : std::to_string(1 + i % kAppearances);
        amRecvScaParse(1, ("appearance-index=" + index + ";appearance-state=" + kStates[i % 6]).c_str());
        amRecvLineSeizeParse(1, i % 3, ("appearance-index=" + std::to_string(1 + i % kAppearances)).c_str());
    }
    applications.join();
    devhost::setEventObserver(nullptr);
    EXPECT_EQ(badAnswers.load(), 0);
    EXPECT_GT(reported.load(), 0);

    amRecvScaParse(1, "appearance-index=*;appearance-state=active");
    amRecvScaParse(1, "appearance-index=5;appearance-state=idle");
    for (int index = 1; index <= kAppearances; ++index) {
        EXPECT_EQ(amScaStatusGet(1, index) * 10 + amScaStatusGet(3, index), index == 5 ? 4 : 44);
    }
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 5);
    // Whatever is still listed goes with one cancel per request.
    for (int i = 0; i < kRounds; ++i) amRequestLineSeizeCancel(1, 1 + i % kAppearances);
    EXPECT_EQ(devhost::liveBlocks(), kAppearances * 2);  // only the appearances are kept
    EXPECT_EQ(devhost::liveLists() * 10 + devhost::liveMutexes(), 22);
}

}  // namespace
