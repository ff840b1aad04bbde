// Single-event reports and the small body parsers.
#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
using amtest::onlyRecord;
constexpr char kMain[] = "ostra.am.main";

class CoreReports : public HostTest {};

std::string acsServer(const char *eventText) {
    devhost::clearEvents();
    amAcsRequestReport(eventText);
    return onlyRecord<AmAcsRequest>(AM_ACS_REQUEST_EVENT_NAME).server;
}

TEST_F(CoreReports, AcsRequestTakesEverythingAfterServer) {
    EXPECT_EQ(acsServer("acs-request;server=\"http://acs:7547\""), "http://acs:7547");
    EXPECT_EQ(acsServer("acs-request;server=\"open"), "\"open");
    EXPECT_EQ(acsServer("acs-request;server=\"\""), "");
    EXPECT_EQ(acsServer("acs-request;server=  host;x=1 "), "host;x=1");
    EXPECT_EQ(acsServer("acs-request"), "");
    EXPECT_EQ(acsServer(("server=" + std::string(200, 'h')).c_str()), std::string(127, 'h'));
}

TEST_F(CoreReports, FixedFieldsAreCutToCapacity) {
    std::string longText(300, '7');
    amRecvRefer(2, longText.c_str(), 1);
    AmClickToTalk click = onlyRecord<AmClickToTalk>(AM_CLICK_TO_TALK_EVENT_NAME);
    EXPECT_EQ(std::string(click.number), longText.substr(0, 63));
    EXPECT_EQ(click.line * 10 + click.flag, 21);
    amRecvRegisterDateReport(longText.c_str());
    auto date = amtest::eventsNamed(AM_REGISTER_DATE_EVENT_NAME).at(0).data;
    EXPECT_EQ(date.size(), 64u);
    EXPECT_EQ(date.back(), 0);
    amActiveUriReport(1, longText.c_str(), "b", 0);
    EXPECT_EQ(std::string(onlyRecord<AmActiveUri>(AM_ACTIVE_URI_EVENT_NAME).number), longText.substr(0, 63));
    AmInfoRecord kts = {4, longText.c_str(), "kts", "queue"};
    amRecvInfo(&kts);
    EXPECT_EQ(std::string(onlyRecord<AmKtsInfo>(AM_KTS_INFO_EVENT).number), longText.substr(0, 191));
}

TEST_F(CoreReports, KtsCommandsAndTextPlainInfo) {
    const char *bodies[] = {"Queue", "cancelQueue", "phonebookSize", "phonebookName", "phonebookNumber", "lineBusy"};
    for (const char *body : bodies) {
        AmInfoRecord request = {4, "300", "KTS", body};
        EXPECT_EQ(amRecvInfo(&request), 0);
    }
    auto events = amtest::eventsNamed(AM_KTS_INFO_EVENT);
    ASSERT_EQ(events.size(), 6u);
    for (int i = 0; i < 6; ++i) EXPECT_EQ(amtest::record<AmKtsInfo>(events[i]).command, i) << bodies[i];
    devhost::clearLogs();
    AmInfoRecord empty = {4, "300", "kts", nullptr};
    EXPECT_EQ(amRecvInfo(&empty), -1);
    EXPECT_EQ(amtest::countEvents(AM_KTS_INFO_EVENT), 6);
    EXPECT_EQ(amtest::logsOf(kMain, 2).size(), 1u);

    AmInfoRecord shortBody = {4, "300", "text/plain", "ab"};
    AmInfoRecord capitals = {4, "300", "TEXT/PLAIN", "ab"};
    EXPECT_EQ(amRecvInfo(&shortBody), 0);
    EXPECT_EQ(amRecvInfo(&capitals), -1);
    EXPECT_EQ(amtest::eventsNamed(AM_TEXT_PLAIN_INFO_EVENT_NAME).at(0).data,
              (std::vector<unsigned char>{'a', 'b', 0, 0}));
    EXPECT_TRUE(amtest::hasLog(2, kMain, "amRecvInfo: Unknown content type[TEXT/PLAIN]"));
}

TEST_F(CoreReports, CheckOnlineAndFirmwareParsers) {
    char host[32] = "keep", port[8] = "keep";
    amCheckOnlineEventContentParse("server=\"10.0.0.1\"", host, sizeof host, port, sizeof port);
    amCheckOnlineEventContentParse("check-online;server=\"10.0.0.1:8080\"", host, 5, port, sizeof port);
    EXPECT_EQ(std::string(host) + "|" + port, "10.0|8080");
    char server[48] = {}, filename[48] = {}, user[32] = {}, password[32] = {};
    int protocol = 0;
    std::string body = "Server: " + std::string(60, 's') + "\r\nFilename:fw.bin\r\nPassword: pw\r\nProtocol:x\r\n";
    amFirmwareUpdateBodyContentParse(body.c_str(), server, filename, user, password, &protocol);
    EXPECT_EQ(std::string(server), " " + std::string(46, 's'));
    EXPECT_STREQ(filename, "fw.bin");
    EXPECT_STREQ(user, "");
    EXPECT_STREQ(password, " pw");
    EXPECT_EQ(protocol, 1);
    amFirmwareUpdateBodyContentParse("User: unterminated Protocol:0", server, filename, user, password, &protocol);
    EXPECT_STREQ(user, "");
    EXPECT_EQ(protocol, 0);
}

TEST_F(CoreReports, ServerTimeGoesToTheClock) {
    EXPECT_EQ(amRecvNotify(1, "s", "sync-server-time", nullptr, "application/date", "Date: Tue, 01 Oct 2024"), 0);
    EXPECT_EQ(amRecvSyncServerTimeParse(2, "no date"), -1);
    EXPECT_EQ(amRecvSyncServerTimeParse(2, nullptr), -1);
    EXPECT_EQ(devhost::syncedDates(), (std::vector<std::string>{" Tue, 01 Oct 2024"}));
    EXPECT_TRUE(amtest::hasLog(3, "ostra.am.syncservertime",
                               "amRecvSyncServerTimeParse: line=[2], body=[no date] parse time error, body cannot "
                               "find date:\n"));
}

}  // namespace
