// BLF subscriptions: requests through the pending queue, the SUBSCRIBE itself, results.
#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::hasLog;
using amtest::subscribes;
using amtest::unsubscribes;

constexpr char kDialog[] = "ostra.am.dialogInfo";

class BlfSubscribe : public amtest::HostTest {};

TEST_F(BlfSubscribe, SubscribeAndUnsubscribeRecords) {
    devhost::line(1).subscribeExpires = 1800;
    ASSERT_EQ(amRequestBlf(1, "201"), 0);
    ASSERT_EQ(subscribes().size(), 1u);
    const devhost::Request sub = subscribes()[0];
    EXPECT_EQ(std::to_string(sub.line) + "|" + sub.number + "|" + std::to_string(sub.expires) + "|" +
                  std::to_string(sub.flag) + "|" + sub.event + "|" + sub.accept,
              "1|201|1800|1|dialog|application/dialog-info+xml");
    EXPECT_FALSE(sub.reserved || sub.hasContentType || sub.hasBody || sub.hasExtra);

    EXPECT_EQ(amSendBlfSubscribeWithBody(1, "202", 1, "<x/>"), 0);
    EXPECT_EQ(subscribes().back().body, "<x/>");
    EXPECT_EQ(amSendBlfSubscribe(1, "202", 0), 0);
    ASSERT_EQ(unsubscribes().size(), 1u);
    const devhost::Request unsub = unsubscribes()[0];
    EXPECT_EQ(std::to_string(unsub.line) + "|" + unsub.number + "|" + unsub.event + "|" + unsub.accept,
              "1|202|dialog|application/dialog-info+xml");
}

TEST_F(BlfSubscribe, InvalidArgumentsAndUnregisteredLines) {
    EXPECT_EQ(amRequestBlf(0, "201"), -1);
    EXPECT_EQ(amRequestBlf(1, ""), -1);
    EXPECT_EQ(amRequestBlf(1, nullptr), -1);
    EXPECT_TRUE(hasLog(2, kDialog, "amRequestBlf: param invalid\n"));
    EXPECT_EQ(amPendingNumber(0), -1) << "nothing queued for a refused request";

    devhost::line(2).registered = false;
    EXPECT_EQ(amSendBlfSubscribe(2, "201", 1), -1);
    EXPECT_TRUE(hasLog(2, kDialog, "amSendBlfSubscribeWithBody: line[2] not registered!"));
    // The request is still taken and queued; it leaves by the queue's timeout.
    EXPECT_EQ(amRequestBlf(2, "201"), 0);
    EXPECT_EQ(amPendingNumber(2), 1);
    EXPECT_TRUE(subscribes().empty());
}

TEST_F(BlfSubscribe, ResultsAndReports) {
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    amDialogRecvSubscribeResult(1, "201", 0);
    auto failed = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    AmBlfStatus expected = {};
    std::strcpy(expected.number, "201");
    expected.line = 1;
    expected.status = 8;
    expected.state = AM_BLF_STATE_FAILED;
    EXPECT_EQ(std::memcmp(&failed, &expected, sizeof expected), 0) << "every other field empty";
    EXPECT_TRUE(hasLog(0, kDialog, "amDialogRecvSubscribeResult: line=1, number=201, result=0, status=8\n"));
    EXPECT_EQ(subscribes().back().number, "202") << "the queue moves on";

    amDialogRecvSubscribeResult(1, "202", 200);
    EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 1);
    EXPECT_TRUE(hasLog(0, kDialog, "amDialogRecvSubscribeResult: line=1, number=202, result=200, status=4\n"));
    amDialogRecvUnsubscribeResult(1, "202", 0);
    EXPECT_TRUE(hasLog(0, kDialog, "amDialogRecvUnsubscribeResult: line=1, number=202, result=0\n"));

    // A direct report cuts the number and the texts to their fields.
    const std::string longText(80, 'n');
    amBlfStatusReport(3, longText.c_str(), 16, longText.c_str(), nullptr, AM_BLF_STATE_TALKING);
    const AmBlfStatus cut = amtest::record<AmBlfStatus>(amtest::eventsNamed(AM_BLF_EVENT_NAME).back());
    const std::string kept(63, 'n');
    EXPECT_EQ(std::string(cut.number) + "|" + cut.dialogId + "|" + cut.remote, kept + "|" + kept + "|");
}

TEST_F(BlfSubscribe, CancelWithdrawsAWaitingSubscribeOrQueuesAnUnsubscribe) {
    devhost::line(1).multiDialog = 1;
    amRequestBlf(1, "201");
    amRequestBlf(1, "202");
    EXPECT_TRUE(hasLog(0, kDialog, "amRequestBlf: have pending blf, append it!"));
    amBlfStatusPriorityGet(1, "202", AM_BLF_STATE_TALKING, "a");
    amRequestBlfCancel(1, "202");
    EXPECT_TRUE(hasLog(0, kDialog, "amRequestBlfCancel: have pending request, no need cancel."));
    EXPECT_TRUE(unsubscribes().empty());
    EXPECT_EQ(amPendingNumber(1), 1);
    EXPECT_EQ(amBlfStatusPriorityGet(1, "202", AM_BLF_STATE_IDLE, "zz"), 1) << "the stored dialogs went";

    // 201 is on the wire: its unSUBSCRIBE waits behind it, then goes out.
    amRequestBlfCancel(1, "201");
    EXPECT_TRUE(unsubscribes().empty());
    EXPECT_EQ(amPendingNumber(1), 2);
    amDialogRecvSubscribeResult(1, "201", 200);
    ASSERT_EQ(unsubscribes().size(), 1u);
    EXPECT_EQ(unsubscribes()[0].number, "201");
    // On an idle line the unSUBSCRIBE goes at once.
    amDialogRecvUnsubscribeResult(1, "201", 200);
    amRequestBlfCancel(1, "203");
    EXPECT_EQ(unsubscribes().size(), 2u);
}

}  // namespace
