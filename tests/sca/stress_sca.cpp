// The appearance list written by NOTIFYs on one thread while applications query it on
// another, from the very first NOTIFY on (the list and its mutex are created lazily).
#include <atomic>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 1500;
constexpr int kAppearances = 8;
const char *const kStates[] = {"idle", "seized", "active", "held", "held-private", "alerting"};

TEST(ScaStress, NotifiesRaceTheQueries) {
    devhost::reset();
    devhost::setRecordEvents(false);
    std::atomic<bool> go{false}, done{false};
    std::atomic<int> badAnswers{0};
    std::thread applications([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < 20 * kRounds && !done.load(); ++i) {
            int state = amScaStatusGet(1 + i % 2, 1 + i % kAppearances);
            int index = amScaAvailableAppearanceIndexGet(1 + i % 2);
            if (state < -1 || state > 8 || index < 0 || index > kAppearances + 1) ++badAnswers;
        }
    });
    go = true;
    for (int i = 0; i < kRounds; ++i) {
        int line = 1 + i % 2;
        std::string appearance = (i % 50 == 49) ? "*" : std::to_string(1 + (i / 2) % kAppearances);
        std::string body = "appearance-index=" + appearance + ";appearance-state=" + kStates[i % 6];
        amRecvScaParse(line, body.c_str());
    }
    amRecvScaParse(1, "appearance-index=*;appearance-state=active");
    amRecvScaParse(1, "appearance-index=5;appearance-state=idle");
    done = true;
    applications.join();
    EXPECT_EQ(badAnswers.load(), 0);
    for (int index = 1; index <= kAppearances; ++index) EXPECT_EQ(amScaStatusGet(1, index), index == 5 ? 0 : 4);
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 5);
}

TEST(ScaStress, TwoThreadsSettingTheirOwnAppearances) {
    devhost::reset();
    devhost::setRecordEvents(false);
    std::atomic<bool> go{false};
    auto writer = [&](int line) {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < kRounds; ++i) amScaStatusSet(line, 1 + i % kAppearances, i % 9);
    };
    std::thread first(writer, 1), second(writer, 2);
    go = true;
    first.join();
    second.join();
    // Every appearance got exactly one entry, whichever thread created the list.
    for (int line = 1; line <= 2; ++line) {
        for (int index = 1; index <= kAppearances; ++index) {
            int last = kRounds - 1;
            while (1 + last % kAppearances != index) --last;
            EXPECT_EQ(amScaStatusGet(line, index), last % 9) << line << "/" << index;
        }
    }
    EXPECT_EQ(amScaStatusGet(1, kAppearances + 1), -1);
    EXPECT_EQ(devhost::liveLists(), 1);
    EXPECT_EQ(devhost::liveMutexes(), 1);
}

}  // namespace
