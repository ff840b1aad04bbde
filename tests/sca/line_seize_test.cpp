// Seizing an appearance of a shared line and reporting the outcomes to the channel.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSeize[] = "ostra.am.lineSeize";

class LineSeize : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::line(1).scaEnable = 1;
        devhost::line(1).registerNumber = "2001";
        devhost::line(1).registerServer = "pbx.example.com";
    }
};

std::string reports() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_LINE_SEIZE_EVENT_NAME)) {
        AmLineSeizeStatus r = amtest::record<AmLineSeizeStatus>(event);
        out += "(" + std::to_string(r.line) + "," + std::to_string(r.index) + "," + std::to_string(r.channel) + "," +
               std::to_string(r.result) + ")";
    }
    return out;
}
int outcome(int result, int index, int line = 1) {
    return amRecvLineSeizeParse(line, result, ("<x appearance-index=" + std::to_string(index) + ">").c_str());
}

TEST_F(LineSeize, RequestAndCancelGoToTheLinesOwnNumber) {
    EXPECT_EQ(amRequestLineSeize(1, 2, 5), 0);
    EXPECT_EQ(amRequestLineSeize(2, 2, 5), -1);  // shared call appearance is off on line 2
    EXPECT_TRUE(amtest::hasLog(1, kSeize, "amRequestLineSeize: line=[2], not enable sca\n"));
    ASSERT_EQ(amtest::subscribes().size(), 1u);
    devhost::Request r = amtest::subscribes().front();
    EXPECT_EQ(std::to_string(r.reserved) + " " + std::to_string(r.line) + " " + r.number + " " +
                  std::to_string(r.expires) + " " + std::to_string(r.flag) + " " + r.event,
              "0 1 2001 15 1 line-seize");
    EXPECT_FALSE(r.hasAccept || r.hasContentType || r.hasBody);
    EXPECT_EQ(r.extra, "<sip:pbx.example.com>;appearance-index=2");

    // The cancel is sent whatever the setting and whether or not the appearance was asked for.
    devhost::line(1).scaEnable = 0;
    EXPECT_EQ(amRequestLineSeizeCancel(1, 9), 0);
    devhost::setSubscribeCancelResult(-1);
    EXPECT_EQ(amRequestLineSeizeCancel(1, 2), -1);
    ASSERT_EQ(amtest::unsubscribes().size(), 2u);
    r = amtest::unsubscribes().back();
    EXPECT_EQ(std::to_string(r.reserved) + " " + std::to_string(r.line) + " " + r.number + " " + r.event,
              "0 1 2001 line-seize");
    EXPECT_FALSE(r.hasAccept);
}

TEST_F(LineSeize, OutcomesFollowTheSeizureUntilItEnds) {
    const char *body = "<x appearance-index=2>";
    ASSERT_EQ(amRequestLineSeize(1, 2, 5), 0);
    EXPECT_EQ(amRecvSubscribeResult(1, "2001", "line-seize", nullptr, 1, body), 0);
    EXPECT_EQ(amRecvNotify(1, "2001", "line-seize", "Active;expires=15", "ct", body), 0);
    EXPECT_TRUE(amtest::hasLog(0, kSeize, "amLineSeizeStatusReport: line=[1], index=[2], chan=[5], result=[2]\n"));
    long blocks = devhost::liveBlocks();
    EXPECT_EQ(amRecvNotify(1, "2001", "line-seize", "terminated", "ct", body), 0);
    EXPECT_EQ(devhost::liveBlocks(), blocks - 1);  // the entry is gone...
    EXPECT_EQ(outcome(2, 2), 0);                   // ...so this is silent

    // A refused SUBSCRIBE ends its seizure at once; a body without an index means 1.
    ASSERT_EQ(amRequestLineSeize(1, 1, 7), 0);
    ASSERT_EQ(amRequestLineSeize(1, 3, 8), 0);
    EXPECT_EQ(amRecvLineSeizeParse(1, 0, "no index"), 0);
    EXPECT_EQ(outcome(2, 3, 2), 0);  // another line's appearance
    EXPECT_EQ(amRecvLineSeizeParse(1, 2, nullptr), -1);
    EXPECT_TRUE(amtest::hasLog(1, kSeize, "amRecvLineSeizeParse: line=[1], result=[2], body is NULL.\n"));

    // Channel 0 is remembered but never told, not even of the end.
    blocks = devhost::liveBlocks();
    ASSERT_EQ(amRequestLineSeize(1, 4, 0), 0);
    EXPECT_EQ(outcome(1, 4) + outcome(0, 4), 0);
    amRequestLineSeizeCancel(1, 4);  // still listed: only the cancel removes it, without a report
    amRequestLineSeizeCancel(1, 3);
    EXPECT_EQ(devhost::liveBlocks(), blocks - 1);
    EXPECT_EQ(reports(), "(1,2,5,1)(1,2,5,2)(1,2,5,0)(1,1,7,0)");
}

TEST_F(LineSeize, RefusedOrUnrememberedRequestsReportNothing) {
    devhost::setSubscribeResult(-1);
    EXPECT_EQ(amRequestLineSeize(1, 2, 5), -1);
    devhost::setSubscribeResult(0);
    EXPECT_EQ(outcome(1, 2), 0);
    EXPECT_TRUE(amtest::hasLog(1, kSeize, "amLineSeizeAppearanceIdGet: amLineSeizeList null\n"));
    amRequestLineSeizeCancel(1, 2);
    EXPECT_TRUE(amtest::hasLog(1, kSeize, "amLineSeizeDataDelete: amLineSeizeList null\n"));
    // Sent but not remembered: first the list (at first after its mutex), then the entry
    // or the list's room for it.
    const long failing[2][2] = {{2, 1}, {1, 2}};
    for (const auto &phase : failing) {
        for (long nth : phase) {
            devhost::failNth(nth);
            EXPECT_EQ(amRequestLineSeize(1, 2, 5), 0) << nth;
            EXPECT_EQ(outcome(1, 2), 0) << nth;
        }
        ASSERT_EQ(amRequestLineSeize(1, 6, 6), 0);  // the list exists from here on
        amRequestLineSeizeCancel(1, 6);
    }
    EXPECT_EQ(amtest::countLogs(1, kSeize, "amLineSeizeDataAdd: amLineSeizeList null\n"), 2);
    EXPECT_EQ(amtest::countLogs(1, kSeize, "amLineSeizeDataAdd: malloc error\n"), 2);
    EXPECT_EQ(reports(), "");
    EXPECT_EQ(devhost::liveBlocks(), 0);
}

}  // namespace
