// Appearance states of shared lines from call-info NOTIFYs, and the two queries on them.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSca[] = "ostra.am.sca";

class Sca : public HostTest {};

std::string body(const std::string &index, const std::string &state) {
    return "appearance-index=" + index + ";appearance-state=" + state;
}

void notify(int line, const std::string &text) { amRecvScaParse(line, text.c_str()); }

AmScaStatus lastEvent() {
    auto found = amtest::eventsNamed(AM_SCA_EVENT_NAME);
    return found.empty() ? AmScaStatus{-9, -9, -9, -9} : amtest::record<AmScaStatus>(found.back());
}

TEST_F(Sca, StateTokensArePrefixesWithoutCase) {
    struct Case {
        const char *token;
        int state;
    } cases[] = {
        {"idle", 0},          {"seized", 1},          {"progressing", 2},     {"alerting", 3},
        {"ACTIVE", 4},        {"held", 5},            {"Held-Private", 6},    {"bridge-active", 7},
        {"bridge-held\r\n", 8}, {"held-privateX", 6}, {"heldover", 5},        {"ringing", 0},
        {"activ", 0},
    };
    int index = 1;
    for (const Case &c : cases) {
        notify(1, body(std::to_string(index), c.token) + ";x=y");
        EXPECT_EQ(amScaStatusGet(1, index), c.state) << c.token;
        AmScaStatus event = lastEvent();
        EXPECT_EQ(event.line, 1);
        EXPECT_EQ(event.index, index);
        EXPECT_EQ(event.reserved, 0);
        EXPECT_EQ(event.state, c.state) << c.token;
        ++index;
    }
    EXPECT_TRUE(amtest::hasLog(0, kSca, "amScaStatusReport: line=[1], index=[5], state=[sca active]\n"));
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusSet: line=[1], state=[6], index=[7]\n"));
    // The state may come first, and a value without a ';' runs to the end of the body.
    notify(2, "appearance-state=held;appearance-index=3");
    notify(2, "x;appearance-index=4;appearance-state=alerting");
    EXPECT_EQ(amScaStatusGet(2, 3), 5);
    EXPECT_EQ(amScaStatusGet(2, 4), 3);
}

TEST_F(Sca, AnAppearanceKeepsOneEntry) {
    notify(1, body("2", "active"));
    long blocks = devhost::liveBlocks();
    notify(1, body("2", "held-private"));
    EXPECT_EQ(devhost::liveBlocks(), blocks);
    EXPECT_EQ(amScaStatusGet(1, 2), 6);
    EXPECT_EQ(amScaStatusGet(1, 1), -1);
    EXPECT_EQ(amScaStatusGet(3, 2), -1);
    EXPECT_EQ(amtest::countEvents(AM_SCA_EVENT_NAME), 2);
}

TEST_F(Sca, StarOrZeroResetsEveryKnownAppearanceOfTheLine) {
    notify(1, body("1", "active"));
    notify(1, body("2", "held"));
    notify(2, body("1", "active"));
    long blocks = devhost::liveBlocks();
    notify(1, body("*", "idle"));
    EXPECT_EQ(amScaStatusGet(1, 1), 0);
    EXPECT_EQ(amScaStatusGet(1, 2), 0);
    EXPECT_EQ(amScaStatusGet(2, 1), 4);
    EXPECT_EQ(amScaStatusGet(1, 3), -1);  // nothing added
    EXPECT_EQ(devhost::liveBlocks(), blocks);
    AmScaStatus event = lastEvent();
    EXPECT_EQ(event.index, 0);
    EXPECT_EQ(event.state, 0);
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusReset: line=[1], state=[0]\n"));
    notify(1, body("0", "held"));
    EXPECT_EQ(amScaStatusGet(1, 1), 5);
    EXPECT_EQ(amScaStatusGet(1, 2), 5);
    EXPECT_EQ(lastEvent().index, 0);
    EXPECT_EQ(amtest::countEvents(AM_SCA_EVENT_NAME), 5);
}

TEST_F(Sca, FirstNotifyBeingAResetCreatesAppearanceOne) {
    EXPECT_EQ(amScaStatusGet(1, 1), -1);
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusGet: amScaInfoList null\n"));
    notify(1, body("*", "seized"));
    EXPECT_EQ(amScaStatusGet(1, 1), 1);
    EXPECT_EQ(amScaStatusGet(1, 2), -1);
    EXPECT_EQ(lastEvent().index, 0);
}

TEST_F(Sca, IncompleteBodiesAreIgnored) {
    amRecvScaParse(0, body("1", "active").c_str());
    amRecvScaParse(-1, body("1", "active").c_str());
    amRecvScaParse(1, nullptr);
    EXPECT_EQ(amtest::countLogs(1, kSca, "amRecvScaParse: param error\n"), 3);
    EXPECT_EQ(devhost::logs().size(), 3u);
    notify(1, "appearance-state=alerting");
    notify(1, "appearance-index=1");
    notify(1, "appearance-index=1;appearance-state=;x");
    notify(1, "appearance-index=-2;appearance-state=active");
    notify(1, "Appearance-Index=1;appearance-state=active");
    EXPECT_TRUE(amtest::hasLog(0, kSca, "amRecvScaParse: line=[1], body=[appearance-index=1]\n"));
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(amScaStatusGet(1, 1), -1);
}

TEST_F(Sca, AvailableAppearanceIsFirstIdleElseNextAfterHighest) {
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 0);
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaAvailableAppearanceIndexGet: amScaInfoList null\n"));
    notify(1, body("1", "active"));
    notify(1, body("3", "held"));
    notify(2, body("1", "idle"));
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 4);
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(2), 1);
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(5), 0);
    notify(1, body("3", "idle"));
    notify(1, body("1", "idle"));
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 1);  // list order, not index order
    notify(1, body("2147483647", "active"));
    notify(1, body("*", "active"));
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 0);  // nothing past the int range
}

TEST_F(Sca, StateTexts) {
    const char *texts[] = {"sca idle",         "sca seized",        "sca progressing",
                           "sca alerting",     "sca active",        "sca held",
                           "sca held private", "sca bridge active", "sca bridge held"};
    for (int state = 0; state < 9; ++state) EXPECT_STREQ(amScaStateToStr(state), texts[state]);
    EXPECT_STREQ(amScaStateToStr(-1), "sca Unknown State");
    EXPECT_STREQ(amScaStateToStr(9), "sca Unknown State");
}

TEST_F(Sca, AllocationFailuresAreLoggedAndTheEventStillGoesOut) {
    long blocks = devhost::liveBlocks(), lists = devhost::liveLists(), mutexes = devhost::liveMutexes();
    for (long nth : {1, 2}) {  // the list, then its mutex
        devhost::failNth(nth);
        notify(1, body("1", "active"));
        devhost::failNth(nth);
        notify(1, body("*", "held"));
        devhost::failNone();
    }
    EXPECT_EQ(amtest::countLogs(1, kSca, "amScaStatusSet: amScaInfoList null\n"), 2);
    EXPECT_EQ(amtest::countLogs(1, kSca, "amScaStatusReset: amScaInfoList null\n"), 2);
    EXPECT_EQ(amtest::countEvents(AM_SCA_EVENT_NAME), 4);
    EXPECT_EQ(devhost::liveLists(), lists);
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    EXPECT_EQ(devhost::liveBlocks(), blocks);

    notify(1, body("1", "active"));
    blocks = devhost::liveBlocks();
    for (long nth : {1, 2}) {  // the entry, then the list's room for it
        devhost::failNth(nth);
        notify(1, body("2", "active"));
        devhost::failNone();
    }
    EXPECT_EQ(amtest::countLogs(1, kSca, "amScaStatusSet: malloc error\n"), 2);
    EXPECT_EQ(amtest::countEvents(AM_SCA_EVENT_NAME), 7);
    EXPECT_EQ(devhost::liveBlocks(), blocks);
    EXPECT_EQ(amScaStatusGet(1, 2), -1);
    notify(1, body("2", "active"));
    EXPECT_EQ(amScaStatusGet(1, 2), 4);
}

TEST_F(Sca, CallInfoNotifiesOtherThanCallParkReachHere) {
    std::string text = body("2", "active");
    EXPECT_EQ(amRecvNotify(1, "201", "call-info", "active", nullptr, text.c_str()), 0);
    EXPECT_EQ(amRecvNotify(1, "201", "Call-Info", "active", "application/x-broadworks-sca", text.c_str()), 0);
    EXPECT_EQ(amtest::countEvents(AM_SCA_EVENT_NAME), 2);
    EXPECT_EQ(amScaStatusGet(1, 2), 4);
}

}  // namespace
