// Appearance states of shared lines from call-info NOTIFYs, and the queries on them.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSca[] = "ostra.am.sca";

class Sca : public HostTest {};

void notify(int line, const std::string &index, const std::string &state) {
    std::string body = "appearance-index=" + index + ";appearance-state=" + state + ";x=y";
    amRecvScaParse(line, body.c_str());
}

// Every SCA event so far as "line/index/reserved/state ".
std::string reports() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_SCA_EVENT_NAME)) {
        AmScaStatus r = amtest::record<AmScaStatus>(event);
        out += std::to_string(r.line) + "/" + std::to_string(r.index) + "/" + std::to_string(r.reserved) + "/" +
               std::to_string(r.state) + " ";
    }
    return out;
}

TEST_F(Sca, StateTokensArePrefixesWithoutCaseHeldPrivateFirst) {
    const std::pair<const char *, int> cases[] = {
        {"idle", 0}, {"seized", 1}, {"progressing", 2}, {"alerting", 3}, {"ACTIVE", 4}, {"held", 5}, {"Held-Private", 6},
        {"bridge-active", 7}, {"bridge-held\r\n", 8}, {"heldover", 5}, {"ringing", 0}, {"activ", 0}};
    std::string expected;
    int index = 0;
    for (const auto &c : cases) {
        notify(1, std::to_string(++index), c.first);
        expected += "1/" + std::to_string(index) + "/0/" + std::to_string(c.second) + " ";
    }
    EXPECT_EQ(reports(), expected);
    EXPECT_EQ(amScaStatusGet(1, 7), 6);
    EXPECT_TRUE(amtest::hasLog(0, kSca, "amScaStatusReport: line=[1], index=[5], state=[sca active]\n"));
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusSet: line=[1], state=[6], index=[7]\n"));
    // The state may come first, and a value without a ';' runs to the end of the body.
    amRecvScaParse(2, "appearance-state=held;appearance-index=3");
    amRecvScaParse(2, "x;appearance-index=4;appearance-state=alerting");
    EXPECT_EQ(amScaStatusGet(2, 3) * 10 + amScaStatusGet(2, 4), 53);
    EXPECT_EQ(std::string(amScaStateToStr(-1)) + "," + amScaStateToStr(9), "sca Unknown State,sca Unknown State");
}

TEST_F(Sca, StarOrZeroResetsTheLinesKnownAppearances) {
    notify(1, "*", "seized");  // first NOTIFY of all: the list starts with appearance 1
    EXPECT_EQ(amScaStatusGet(1, 1), 1);
    notify(1, "2", "active");
    notify(2, "1", "active");
    long blocks = devhost::liveBlocks();
    notify(1, "2", "held-private");  // an appearance keeps its one entry
    devhost::clearEvents();
    notify(1, "*", "idle");
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusReset: line=[1], state=[0]\n"));
    EXPECT_EQ(amScaStatusGet(1, 1) * 10 + amScaStatusGet(1, 2), 0);
    EXPECT_EQ(amScaStatusGet(2, 1), 4);
    notify(1, "0", "held");
    EXPECT_EQ(amScaStatusGet(1, 2), 5);
    EXPECT_EQ(amScaStatusGet(1, 3), -1);  // a reset adds nothing
    EXPECT_EQ(devhost::liveBlocks(), blocks);
    EXPECT_EQ(reports(), "1/0/0/0 1/0/0/5 ");
}

TEST_F(Sca, IncompleteBodiesAreIgnored) {
    for (int line : {0, -1}) amRecvScaParse(line, "appearance-index=1;appearance-state=active");
    amRecvScaParse(1, nullptr);
    EXPECT_EQ(amtest::countLogs(1, kSca, "amRecvScaParse: param error\n"), 3);
    EXPECT_EQ(devhost::logs().size(), 3u);
    for (const char *body : {"appearance-state=alerting", "appearance-index=1", "appearance-index=1;appearance-state=;x",
                             "appearance-index=-2;appearance-state=active", "Appearance-Index=1;appearance-state=active"}) {
        amRecvScaParse(1, body);
    }
    EXPECT_TRUE(amtest::hasLog(0, kSca, "amRecvScaParse: line=[1], body=[appearance-index=1]\n"));
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(amScaStatusGet(1, 1), -1);
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusGet: amScaInfoList null\n"));
}

TEST_F(Sca, AvailableAppearanceIsFirstIdleElseNextAfterHighest) {
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 0);
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaAvailableAppearanceIndexGet: amScaInfoList null\n"));
    notify(1, "1", "active");
    notify(1, "3", "held");
    notify(2, "1", "idle");
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 4);
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(2), 1);
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(5), 0);
    notify(1, "3", "idle");
    notify(1, "1", "idle");
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 1);  // list order, not index order
    notify(1, "2147483647", "active");
    notify(1, "*", "active");
    EXPECT_EQ(amScaAvailableAppearanceIndexGet(1), 0);  // nothing past the int range
}

TEST_F(Sca, AllocationFailuresAreLoggedAndTheEventStillGoesOut) {
    devhost::failNth(2);  // the list, after its mutex
    notify(1, "1", "active");
    devhost::failNth(1);  // the list again: the mutex is kept
    notify(1, "*", "held");
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusSet: amScaInfoList null\n"));
    EXPECT_TRUE(amtest::hasLog(1, kSca, "amScaStatusReset: amScaInfoList null\n"));
    EXPECT_EQ(devhost::liveLists() + devhost::liveBlocks(), 0);
    notify(1, "1", "active");
    long blocks = devhost::liveBlocks();
    for (long nth : {1, 2}) {  // the entry, then the list's room for it
        devhost::failNth(nth);
        notify(1, "2", "active");
    }
    devhost::failNone();
    EXPECT_EQ(amtest::countLogs(1, kSca, "amScaStatusSet: malloc error\n"), 2);
    EXPECT_EQ(amtest::countEvents(AM_SCA_EVENT_NAME), 5);
    EXPECT_EQ(devhost::liveBlocks(), blocks);
    EXPECT_EQ(amScaStatusGet(1, 2), -1);
}

}  // namespace
