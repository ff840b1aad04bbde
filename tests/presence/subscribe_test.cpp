// Presence SUBSCRIBE and unSUBSCRIBE requests through the line's pending queue.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::subscribes;
using amtest::unsubscribes;
constexpr char kPresence[] = "ostra.am.presence";
constexpr char kAccept[] = "application/pidf+xml, application/xpidf+xml";

class PresenceSubscribe : public amtest::HostTest {};

// The numbers of the requests of one kind, in order.
std::string numbers(const std::vector<devhost::Request> &requests) {
    std::string text;
    for (const devhost::Request &r : requests) text += r.number + " ";
    return text;
}

TEST_F(PresenceSubscribe, OneRequestAtATimePerLine) {
    devhost::line(0).subscribeExpires = 1800;
    devhost::line(0).registered = false;  // not consulted
    for (const char *number : {"201", "202", "203"}) EXPECT_EQ(amRequestPresence(0, number), 0);
    EXPECT_EQ(amRequestPresence(1, "sip:301@pbx"), 0);
    EXPECT_EQ(numbers(subscribes()), "201 sip:301@pbx ");
    const devhost::Request first = subscribes().at(0);
    EXPECT_EQ(first.line * 10000 + first.expires * 10 + first.flag, 18001);
    EXPECT_EQ(first.event + "|" + first.accept, std::string("presence|") + kAccept);
    EXPECT_FALSE(first.reserved || first.hasContentType || first.hasBody || first.hasExtra);

    EXPECT_EQ(amPresenceRecvSubscribeResult(0, "201", 200), 0);
    devhost::advance(5);  // 202 never answers
    EXPECT_EQ(numbers(subscribes()), "201 sip:301@pbx 202 203 ");
    EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 0);  // the first NOTIFY brings the state

    // A failed SUBSCRIBE is reported with no call-id, and the queue moves on.
    amRequestPresence(2, "401");
    amRequestPresence(2, "402");
    EXPECT_EQ(amRecvSubscribeResult(2, "401", "presence", nullptr, 0, nullptr), 0);
    AmPresenceStatus failed = amtest::onlyRecord<AmPresenceStatus>(AM_PRESENCE_EVENT_NAME);
    EXPECT_EQ(std::to_string(failed.line) + " " + failed.number + " " + std::to_string(failed.state) +
                  (failed.callId != nullptr ? " id" : ""),
              "2 401 -1");
    EXPECT_EQ(numbers(subscribes()), "201 sip:301@pbx 202 203 401 402 ");
    EXPECT_EQ(amPresenceRecvSubscribeResult(5, "9", 0), -1);  // no queue, still reported
    EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 2);
}

TEST_F(PresenceSubscribe, CancelWithdrawsWaitingRequestsOrQueuesAnUnsubscribe) {
    amRequestPresence(1, "201");
    amRequestPresence(1, "202");
    amRequestPresenceCancel(1, "202");
    EXPECT_TRUE(amtest::hasLog(0, kPresence, "amRequestPresenceCancel: have pending request, no need cancel."));
    EXPECT_EQ(amPendingNumber(1), 1);

    amRequestPresenceCancel(1, "201");  // on the wire: its unSUBSCRIBE waits behind it
    EXPECT_TRUE(unsubscribes().empty());
    EXPECT_EQ(amPresenceRecvSubscribeResult(1, "201", 200), 0);
    const devhost::Request cancel = unsubscribes().at(0);
    EXPECT_EQ(std::to_string(cancel.line) + cancel.number + cancel.event + cancel.accept,
              std::string("1201presence") + kAccept);
    EXPECT_EQ(amRecvUnsubscribeResult(1, "201", "presence", nullptr, 200), 0);

    amRequestPresenceCancel(1, "203");  // idle line: at once
    EXPECT_EQ(numbers(unsubscribes()), "201 203 ");
    EXPECT_EQ(amPresenceRecvUnsubscribeResult(1, "203", 0), 0);
    EXPECT_EQ(amPendingNumber(1), 0);
    EXPECT_EQ(numbers(subscribes()), "201 ");
    EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 0);
}

TEST_F(PresenceSubscribe, InvalidArgumentsSendAndQueueNothing) {
    EXPECT_EQ(amRequestPresence(-1, "201") + amRequestPresence(1, "") + amRequestPresence(1, nullptr), -3);
    amRequestPresenceCancel(-1, "201");
    amRequestPresenceCancel(1, "");
    EXPECT_EQ(amSendPresenceSubscribe(1, nullptr, 1) + amSendPresenceSubscribe(-2, "201", 0), -2);
    EXPECT_TRUE(devhost::requests().empty());
    EXPECT_EQ(amtest::countLogs(2, kPresence, "amRequestPresence: param invalid\n"), 3);
    EXPECT_EQ(amtest::countLogs(2, kPresence, "amRequestPresenceCancel: param invalid\n"), 2);
    EXPECT_EQ(amtest::countLogs(2, kPresence, "amSendPresenceSubscribe: param invalid\n"), 2);

    // The sender goes straight to the protocol manager, around the queue.
    EXPECT_EQ(amSendPresenceSubscribe(1, "201", 7) + amSendPresenceSubscribe(1, "201", 0), 0);
    EXPECT_EQ(numbers(subscribes()) + "| " + numbers(unsubscribes()), "201 | 201 ");
    EXPECT_EQ(amPendingNumber(1), -1);
}

}  // namespace
