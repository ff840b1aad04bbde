// Message-summary bodies, as mailboxes send them and as nobody should.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
using amtest::onlyRecord;
constexpr char kSummary[] = "application/simple-message-summary";

class Mwi : public HostTest {
protected:
    AmMwiStatus notify(const std::string &body, int dialogFlag = 0, const char *number = "300") {
        devhost::clearEvents();
        EXPECT_EQ(amRecvMwiParse(2, kSummary, body.c_str(), number, dialogFlag), 0);
        return onlyRecord<AmMwiStatus>(AM_MWI_EVENT_NAME);
    }
};

struct Summary {
    const char *body;
    int newCount, oldCount, waiting, msgTypes;
};

TEST_F(Mwi, CountsAndWaitingFollowTheVoiceSummary) {
    const Summary cases[] = {
        {"Messages-Waiting: yes\r\nMessage-Account: sip:*97@h\r\nVoice-Message: 2/8 (0/2)\r\n", 2, 10, 1, 1},
        {"Messages-Waiting: yes\r\nVoice-Message: 0/3\r\n", 0, 3, 0, 1},
        {"Messages-Waiting: no\r\nVoice-Message: 0/0 (1/0)\r\n", 1, 0, 1, 1},
        {"Messages-Waiting: yes\r\n", 1, 0, 1, 1},
        {"Messages-Waiting:\t YES\r\n", 1, 0, 1, 1},
        {"Messages-Waiting: yes\r\nVoicemail: 3/1\r\n", 3, 1, 1, 1},
        {"messages-waiting: no\r\nvoice-message: 4/5 (2/1)\r\nFax-Message: 9/9\r\n", 6, 6, 1, 1},
        // Only "Voicemail:" is not a summary; "Voice-Message" needs its blank.
        {"Voicemail: 1/0\r\n", 0, 0, 0, 0},
        {"Voice-Message:1/0\r\n", 0, 0, 0, 0},
        // No '/' anywhere after the count: refused, but the header's yes stays.
        {"Messages-Waiting: yes\r\nVoice-Message: 5\r\n", 0, 0, 1, 0},
        // Old count without a blank or CR LF after it is lost; one without CR but with a
        // blank further on ends at that blank.
        {"Messages-Waiting: yes\r\nVoice-Message: 3/7", 3, 0, 1, 1},
        {"Voice-Message: 3/7\nX: a b", 3, 7, 1, 1},
        // Urgent pair cut short: each part needs its own delimiter.
        {"Voice-Message: 1/2 (4", 1, 2, 1, 1},
        {"Voice-Message: 1/2 (4/5", 5, 2, 1, 1},
        {"Voice-Message: 0/2 (0/5)\r\n", 0, 7, 0, 1},
        {"", 0, 0, 0, 0},
    };
    for (const Summary &c : cases) {
        AmMwiStatus status = notify(c.body);
        EXPECT_EQ(status.newCount, c.newCount) << c.body;
        EXPECT_EQ(status.oldCount, c.oldCount) << c.body;
        EXPECT_EQ(status.waiting, c.waiting) << c.body;
        EXPECT_EQ(status.msgTypes, c.msgTypes) << c.body;
        EXPECT_EQ(status.specialServices, -1) << c.body;
        EXPECT_EQ(status.line * 10 + status.dialogFlag, 20) << c.body;
    }
}

TEST_F(Mwi, SummaryParserKeepsCallersWaitingWhenItReadsNothing) {
    int counts[4] = {7, 7, 7, 7};
    int waiting = 9;
    EXPECT_EQ(amMwiNormalMessageParse("Voicemail: 1/0", &counts[0], &counts[1], &counts[2], &counts[3], &waiting), -1);
    EXPECT_EQ(waiting, 9);
    for (int count : counts) EXPECT_EQ(count, 0);
    EXPECT_EQ(amMwiNormalMessageParse(nullptr, &counts[0], &counts[1], &counts[2], &counts[3], &waiting), -1);
    EXPECT_EQ(waiting, 9);
    EXPECT_EQ(amMwiNormalMessageParse("Voice-Message: 2/1 (1/0)", &counts[0], &counts[1], &counts[2], &counts[3],
                                      &waiting),
              0);
    EXPECT_EQ(counts[0] * 1000 + counts[1] * 100 + counts[2] * 10 + counts[3], 2110);
    EXPECT_EQ(waiting, 1);
    // Over-long count texts go through a bounded scratch buffer.
    std::string longCounts = "Voice-Message: " + std::string(500, ' ') + "12/" + std::string(500, '0') + "4 (x";
    EXPECT_EQ(amMwiNormalMessageParse(longCounts.c_str(), &counts[0], &counts[1], &counts[2], &counts[3], &waiting),
              0);
    EXPECT_EQ(counts[0] * 100 + counts[1], 0);
    EXPECT_EQ(waiting, 0);
}

TEST_F(Mwi, AccountComesFromTheHeaderElseTheLineElseTheNumber) {
    devhost::line(2).registerNumber = "4711";
    const char *voice = "Messages-Waiting: yes\r\nVoice-Message: 1/0\r\n";
    EXPECT_STREQ(notify(std::string("Message-Account: sip:201@pbx.example.com\r\n") + voice).account, "201");
    EXPECT_STREQ(notify(std::string("Message-Account: <sips:20%231@h;user=phone>\r\n") + voice).account, "20#1");
    EXPECT_STREQ(notify(std::string("message-account:tel:+4930123;phone-context=x\r\n") + voice).account, "+4930123");
    // The value runs to the first CR, and only in a body without one to the first LF.
    EXPECT_STREQ(notify("Message-Account: 555\nVoice-Message: 1/0\r\n").account, " 555\nVoice-Message: 1/0");
    EXPECT_STREQ(notify("Message-Account: 555\nVoice-Message: 1/0\n").account, " 555");
    EXPECT_STREQ(notify(voice).account, "4711");
    EXPECT_STREQ(notify(voice, 1, "8000").account, "8000");
    EXPECT_STREQ(notify("Message-Account: sip:@h\r\n" + std::string(voice), 1, "8000").account, "8000");
    // The header is read only with a usable summary.
    EXPECT_STREQ(notify("Message-Account: sip:201@h\r\nVoicemail: 1/0\r\n", 1, "8000").account, "8000");
    std::string longUser(200, '9');
    AmMwiStatus cut = notify("Message-Account: sip:" + longUser + "@h\r\n" + voice);
    EXPECT_EQ(std::string(cut.account), std::string(39, '9'));
    EXPECT_STREQ(notify("", 1, std::string(60, '5').c_str()).account, std::string(39, '5').c_str());
}

TEST_F(Mwi, SpecialServicesIsIndependentOfTheVoiceSummary) {
    AmMwiStatus special = notify("Special-Services: yes\r\n");
    EXPECT_EQ(special.specialServices, 1);
    EXPECT_EQ(special.msgTypes, AM_MWI_MSG_TYPE_SPECIAL);
    EXPECT_EQ(special.newCount + special.oldCount + special.waiting, 0);
    AmMwiStatus both = notify("Messages-Waiting: yes\r\nVoice-Message: 1/1\r\nspecial-services:   No\r\n");
    EXPECT_EQ(both.specialServices, 0);
    EXPECT_EQ(both.msgTypes, AM_MWI_MSG_TYPE_VOICE | AM_MWI_MSG_TYPE_SPECIAL);
    EXPECT_NE(amMwiHasMsgType(both.msgTypes, AM_MWI_MSG_TYPE_SPECIAL), 0);
    EXPECT_EQ(amMwiHasMsgType(AM_MWI_MSG_TYPE_VOICE, AM_MWI_MSG_TYPE_SPECIAL), 0);

    int value = 5;
    EXPECT_EQ(amMwiSpecialServicesParse("Special-Services:", &value), 0);
    EXPECT_EQ(value, 0);
    value = 5;
    EXPECT_EQ(amMwiSpecialServicesParse("Special-Service: yes", &value), -1);
    EXPECT_EQ(amMwiSpecialServicesParse(nullptr, &value), -1);
    EXPECT_EQ(amMwiSpecialServicesParse("Special-Services: yes", nullptr), -1);
    EXPECT_EQ(value, 5);
}

TEST_F(Mwi, ContentTypeAbsentBodyAndFailedSubscription) {
    devhost::line(1).registerNumber = "100";
    EXPECT_EQ(amRecvMwiParse(1, "application/simple-message-summary;v=1", "Messages-Waiting: yes", "1", 0), -1);
    EXPECT_EQ(amRecvMwiParse(1, nullptr, "Messages-Waiting: yes", "1", 0), -1);
    EXPECT_EQ(amtest::countEvents(AM_MWI_EVENT_NAME), 0);

    EXPECT_EQ(amRecvMwiParse(1, "Application/Simple-Message-Summary", nullptr, "1", 0), 0);
    AmMwiStatus empty = onlyRecord<AmMwiStatus>(AM_MWI_EVENT_NAME);
    EXPECT_EQ(empty.specialServices, -1);
    EXPECT_EQ(empty.newCount + empty.oldCount + empty.waiting + empty.msgTypes, 0);
    EXPECT_STREQ(empty.account, "100");

    devhost::clearEvents();
    amRecvMwiSubscribeFailed(3, "sip:2001@h", 1);
    AmMwiStatus failed = onlyRecord<AmMwiStatus>(AM_MWI_EVENT_NAME);
    EXPECT_EQ(failed.line, 3);
    EXPECT_EQ(failed.waiting, -1);
    EXPECT_EQ(failed.specialServices + failed.msgTypes + failed.newCount + failed.oldCount, 0);
    EXPECT_STREQ(failed.account, "sip:2001@h");
    EXPECT_EQ(failed.dialogFlag, 1);
}

TEST_F(Mwi, ReportTakesNewBeforeOld) {
    amMwiStatusReport(4, 1, 2, 1, 0, 3, nullptr, 0);
    AmMwiStatus status = onlyRecord<AmMwiStatus>(AM_MWI_EVENT_NAME);
    EXPECT_EQ(status.newCount, 1);
    EXPECT_EQ(status.oldCount, 2);
    EXPECT_STREQ(status.account, "");
}

TEST_F(Mwi, ArrivesThroughTheInboundDispatch) {
    devhost::line(1).registerNumber = "100";
    const char *body = "Messages-Waiting: yes\r\nVoice-Message: 3/4 (1/0)\r\n";
    EXPECT_EQ(amRecvNotify(1, "2001", "message-summary", "active", kSummary, body), 0);
    EXPECT_EQ(amRecvNotify(1, "2001", "Dialog-Message-Summary", "active", kSummary, body), 0);
    auto events = amtest::eventsNamed(AM_MWI_EVENT_NAME);
    ASSERT_EQ(events.size(), 2u);
    AmMwiStatus own = amtest::record<AmMwiStatus>(events[0]);
    AmMwiStatus watched = amtest::record<AmMwiStatus>(events[1]);
    EXPECT_EQ(own.newCount * 10 + own.oldCount, 44);
    EXPECT_STREQ(own.account, "100");
    EXPECT_EQ(own.dialogFlag, 0);
    EXPECT_STREQ(watched.account, "2001");
    EXPECT_EQ(watched.dialogFlag, 1);

    devhost::clearEvents();
    amRecvSubscribeResult(1, "2001", "dialog-message-summary", kSummary, 1, nullptr);
    amRecvSubscribeResult(1, "2001", "message-summary", kSummary, 0, nullptr);
    EXPECT_EQ(amtest::countEvents(AM_MWI_EVENT_NAME), 0);
    amRecvSubscribeResult(1, "2001", "dialog-message-summary", kSummary, 0, nullptr);
    AmMwiStatus failed = onlyRecord<AmMwiStatus>(AM_MWI_EVENT_NAME);
    EXPECT_EQ(failed.waiting, -1);
    EXPECT_STREQ(failed.account, "2001");
    EXPECT_EQ(failed.dialogFlag, 1);
}

}  // namespace
