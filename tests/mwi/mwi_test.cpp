// Message-summary bodies, as mailboxes send them and as nobody should.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::onlyRecord;
constexpr char kSummary[] = "application/simple-message-summary";

class Mwi : public amtest::HostTest {};

// new/old waiting special mask account, as one comparable text.
std::string summary(const AmMwiStatus &s) {
    return std::to_string(s.newCount) + "/" + std::to_string(s.oldCount) + " w" + std::to_string(s.waiting) + " s" +
           std::to_string(s.specialServices) + " m" + std::to_string(s.msgTypes) + " " + s.account;
}

TEST_F(Mwi, SummaryBodies) {
    devhost::line(2).registerNumber = "4711";
    const std::string longUser(200, '9');
    const struct {
        std::string body, expected;
    } cases[] = {
        {"Messages-Waiting: yes\r\nMessage-Account: sip:201@pbx\r\nVoice-Message: 2/8 (0/2)\r\n", "2/10 w1 s-1 m1 201"},
        {"Messages-Waiting: yes\r\nVoice-Message: 0/3\r\n", "0/3 w0 s-1 m1 4711"},
        {"Messages-Waiting: no\r\nVoice-Message: 0/0 (1/0)\r\n", "1/0 w1 s-1 m1 4711"},
        {"Messages-Waiting:\t YES\r\n", "1/0 w1 s-1 m1 4711"},
        {"Messages-Waiting: yes\r\nVoicemail: 3/1\r\n", "3/1 w1 s-1 m1 4711"},
        {"messages-waiting: no\r\nvoice-message: 4/5 (2/1)\r\nFax-Message: 9/9\r\n", "6/6 w1 s-1 m1 4711"},
        {"Voicemail: 1/0\r\nMessage-Account: sip:201@h\r\n", "0/0 w0 s-1 m0 4711"},
        {"Voice-Message:1/0\r\n", "0/0 w0 s-1 m0 4711"},
        {"Messages-Waiting: yes\r\nVoice-Message: 5\r\n", "0/0 w1 s-1 m0 4711"},
        // The old count ends at the next blank, else CR LF, else is lost.
        {"Messages-Waiting: yes\r\nVoice-Message: 3/7", "3/0 w1 s-1 m1 4711"},
        {"Voice-Message: 3/7\nX: a b", "3/7 w1 s-1 m1 4711"},
        {"Voice-Message: 3/7\t(1/1)", "4/8 w1 s-1 m1 4711"},
        // Each urgent part needs its own delimiter.
        {"Voice-Message: 1/2 (4", "1/2 w1 s-1 m1 4711"},
        {"Voice-Message: 1/2 (4/5", "5/2 w1 s-1 m1 4711"},
        // Counts beyond int are held at its limits, and so are their sums.
        {"Voice-Message: 99999999999/0 (1/-99999999999)\r\n", "2147483647/-2147483648 w1 s-1 m1 4711"},
        {"Voice-Message: " + std::string(500, ' ') + "12/" + std::string(500, '0') + "4 (x", "0/0 w0 s-1 m1 4711"},
        {"Special-Services: yes\r\n", "0/0 w0 s1 m2 4711"},
        {"Voice-Message: 1/1\r\nspecial-services:   No\r\n", "1/1 w1 s0 m3 4711"},
        {"Voice-Message: 1/1\r\nSpecial-Services:", "1/1 w1 s0 m3 4711"},
        {"", "0/0 w0 s-1 m0 4711"},
        // The account runs to the first CR, and only without one to the first LF.
        {"Message-Account: <sips:20%231@h;user=phone>\r\nVoice-Message: 1/0\r\n", "1/0 w1 s-1 m1 20#1"},
        {"message-account:tel:+4930123;phone-context=x\r\nVoice-Message: 1/0\r\n", "1/0 w1 s-1 m1 +4930123"},
        {"Message-Account: 55\nVoice-Message: 1/0\r\n", "1/0 w1 s-1 m1  55\nVoice-Message: 1/0"},
        {"Message-Account: 55\nVoice-Message: 1/0\n", "1/0 w1 s-1 m1  55"},
        {"Message-Account: sip:@h\r\nVoice-Message: 1/0\r\n", "1/0 w1 s-1 m1 4711"},
        {"Message-Account: sip:" + longUser + "@h\r\nVoice-Message: 1/0\r\n",
         "1/0 w1 s-1 m1 " + longUser.substr(0, 39)},
    };
    for (const auto &c : cases) {
        devhost::clearEvents();
        EXPECT_EQ(amRecvMwiParse(2, kSummary, c.body.c_str(), "300", 0), 0);
        AmMwiStatus status = onlyRecord<AmMwiStatus>(AM_MWI_EVENT_NAME);
        EXPECT_EQ(summary(status), c.expected) << c.body;
        EXPECT_EQ(status.line * 10 + status.dialogFlag, 20);
    }
}

TEST_F(Mwi, ParsersLeaveWhatTheyDidNotRead) {
    int c[5] = {7, 7, 7, 7, 9};  // new, old, urgent new, urgent old, waiting
    auto parse = [&c](const char *body) { return amMwiNormalMessageParse(body, &c[0], &c[1], &c[2], &c[3], &c[4]); };
    EXPECT_EQ(parse("Voicemail: 1/0") + parse(nullptr), -2);
    EXPECT_EQ(c[4] * 10000 + c[0] * 1000 + c[1] * 100 + c[2] * 10 + c[3], 90000);

    int special = 5;
    EXPECT_EQ(amMwiSpecialServicesParse(nullptr, &special) + amMwiSpecialServicesParse("Special-Services:", nullptr), -2);
    EXPECT_EQ(special, 5);
}

TEST_F(Mwi, DispatchContentTypeAndFailedSubscription) {
    devhost::line(1).registerNumber = "100";
    const char *body = "Messages-Waiting: yes\r\nVoice-Message: 3/4 (1/0)\r\n";
    EXPECT_EQ(amRecvMwiParse(1, "application/simple-message-summary;v=1", body, "1", 0), -1);
    EXPECT_EQ(amRecvMwiParse(1, nullptr, body, "1", 0), -1);
    EXPECT_EQ(amtest::countEvents(AM_MWI_EVENT_NAME), 0);

    EXPECT_EQ(amRecvNotify(1, "2001", "message-summary", "active", "Application/Simple-Message-Summary", body), 0);
    EXPECT_EQ(amRecvNotify(1, "2001", "Dialog-Message-Summary", "active", kSummary, body), 0);
    EXPECT_EQ(amRecvNotify(1, "2001", "dialog-message-summary", "active", kSummary, nullptr), 0);
    amRecvSubscribeResult(1, "sip:2001@h", "dialog-message-summary", kSummary, 0, nullptr);
    auto events = amtest::eventsNamed(AM_MWI_EVENT_NAME);
    ASSERT_EQ(events.size(), 4u);
    const char *expected[] = {"4/4 w1 s-1 m1 100", "4/4 w1 s-1 m1 2001", "0/0 w0 s-1 m0 2001",
                              "0/0 w-1 s0 m0 sip:2001@h"};
    for (int i = 0; i < 4; ++i) {
        AmMwiStatus status = amtest::record<AmMwiStatus>(events[i]);
        EXPECT_EQ(summary(status), expected[i]);
        EXPECT_EQ(status.dialogFlag, i == 0 ? 0 : 1);
    }
}

}  // namespace
