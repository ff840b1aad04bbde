// Outgoing messages and the outcomes the protocol manager reports for them.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSms[] = "ostra.am.sms";

class SmsSend : public HostTest {};

// "number line status id type" of every send report, blank-separated.
std::string reports() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_SMS_SEND_EVENT_NAME)) {
        AmSmsSendStatus r = amtest::record<AmSmsSendStatus>(event);
        out += (out.empty() ? "" : "|") + std::string(r.number) + " " + std::to_string(r.line) + " " +
               std::to_string(r.status) + " " + std::to_string(r.id) + " " + std::to_string(r.type);
    }
    devhost::clearEvents();
    return out;
}

TEST_F(SmsSend, EachSenderNamesItsContentTypeAndOnlyARefusalIsReportedAtOnce) {
    struct Case {
        int (*send)(int, const char *, const char *, int);
        const char *contentType;
        int type;
    };
    const Case cases[] = {{amSendSms, "text/plain", 0},
                          {amSendMessagePushXml, "text/xml-pushinfo", 1},
                          {amSendMessageAppliciationXml, "application/xml", 2},
                          {amSendMedicalSms, "text/medical", 3}};
    for (const Case &c : cases) {
        devhost::clearRequests();
        devhost::setMessageResult(7);
        EXPECT_EQ(c.send(2, "301", "Grüße, ünïcode ✓", 40 + c.type), 7);
        EXPECT_EQ(reports(), "") << c.contentType;
        devhost::setMessageResult(-1);
        EXPECT_EQ(c.send(2, "301", "x", 50 + c.type), -1);
        EXPECT_EQ(reports(), "301 2 2 " + std::to_string(50 + c.type) + " " + std::to_string(c.type));
        ASSERT_EQ(amtest::messages().size(), 2u);
        devhost::Request r = amtest::messages().front();
        EXPECT_EQ(r.contentType + " " + r.number + " " + r.body + " " + std::to_string(r.id),
                  std::string(c.contentType) + " 301 Grüße, ünïcode ✓ " + std::to_string(40 + c.type));
    }
    EXPECT_EQ(amSmsSend(1, "301", "x", 1, 4), -1);
    EXPECT_EQ(amtest::messages().size(), 2u);
}

TEST_F(SmsSend, OutcomesAreMatchedByContentTypeAndResult) {
    std::string longNumber(80, '7');
    amRecvMessageResult(1, "201", "TEXT/MEDICAL", 9, 1);
    amRecvMessageResult(1, "201", "text/plain", 10, 0);
    amRecvMessageResult(3, "201", "Text/Xml-PushInfo", 11, -4);
    amRecvMessageResult(1, longNumber.c_str(), "text/plain", 12, 200);
    EXPECT_EQ(reports(), "201 1 1 9 3|201 1 2 10 0|201 3 2 11 1|" + longNumber.substr(0, 63) + " 1 1 12 0");
    EXPECT_EQ(amRecvMessageResult(1, "201", "application/xml", 13, 1), -1);
    EXPECT_EQ(amRecvMessageResult(1, "201", nullptr, 14, 1), -1);
    EXPECT_EQ(amRecvMessageResult(1, nullptr, "text/plain", 15, 1), -1);
    EXPECT_EQ(reports(), "");
    std::string warnings;
    for (const devhost::LogLine &line : amtest::logsOf(kSms, 2)) warnings += line.text;
    EXPECT_EQ(warnings, "amRecvMessageResult: event=[application/xml] error\n"
                        "amRecvMessageResult: event is null\n"
                        "amSmsSendStatusReport: number is null\n");
    EXPECT_TRUE(amtest::hasLog(0, kSms, "line=[1], number=[201], id=[9], status=[1]\n"));
}

}  // namespace
