// Single-event reports and the small body parsers.
#include <climits>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::onlyRecord;
constexpr char kMain[] = "ostra.am.main";

class CoreReports : public amtest::HostTest {};

TEST_F(CoreReports, ChannelIsTheNumberTheBodyBeginsWith) {
    const struct {
        const char *body;
        int channel;
    } cases[] = {{"3", 3}, {"12 x", 12}, {"abc", 0}, {nullptr, 0}, {"99999999999", INT_MAX}, {"-99999999999", INT_MIN}};
    for (const auto &c : cases) {
        devhost::clearEvents();
        amRecvHoldProcess(c.body);
        EXPECT_EQ(onlyRecord<int>(AM_HOLD_EVENT_NAME), c.channel) << (c.body != nullptr ? c.body : "null");
    }
    EXPECT_TRUE(amtest::hasLog(0, kMain, "amRecvHoldProcess: body=3, chan=3\n"));
}

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
    EXPECT_EQ(std::string(click.number) + "/" + std::to_string(click.line) + "/" + std::to_string(click.flag),
              longText.substr(0, 63) + "/2/1");
    amRecvRegisterDateReport(longText.c_str());
    std::vector<unsigned char> date(64, '7');
    date.back() = 0;
    EXPECT_EQ(amtest::eventsNamed(AM_REGISTER_DATE_EVENT_NAME).at(0).data, date);
}

TEST_F(CoreReports, InfoRoutesAndCommands) {
    EXPECT_EQ(amRecvInfo(nullptr), -1);
    std::vector<AmInfoRecord> infos;
    for (const char *body : {"Queue", "cancelQueue", "phonebookSize", "phonebookName", "phonebookNumber", "lineBusy"})
        infos.push_back({4, "300", "KTS", body});
    infos.insert(infos.end(), {{4, "300", "kts", nullptr},
                               {1, "201", "application/RemoteControl+xml", "<c/>"},
                               {4, "300", "text/plain", "ab"},
                               {4, "300", "TEXT/PLAIN", "ab"},
                               {1, nullptr, nullptr, "x"}});
    for (const AmInfoRecord &info : infos) amRecvInfo(&info);
    // KTS commands as digits, the text/plain record as its bytes.
    std::string seen, warnings;
    for (const devhost::Event &event : devhost::events()) {
        seen += event.name == AM_KTS_INFO_EVENT ? std::to_string(amtest::record<AmKtsInfo>(event).command)
                                                : std::string(event.data.begin(), event.data.end());
    }
    EXPECT_EQ(seen, std::string("012345ab\0\0", 10));
    for (const devhost::LogLine &line : amtest::logsOf(kMain, 2)) warnings += line.text + "|";
    EXPECT_EQ(warnings, "amRecvInfo: kts info without body, ignored\n|amRecvInfo: Unknown content type[TEXT/PLAIN]|"
                        "amMsgContentEqual: param is null \n|amMsgContentEqual: param is null \n|"
                        "amRecvInfo: Unknown content type[]|");
    EXPECT_TRUE(amtest::hasLog(1, kMain, "amRecvInfo: line=[1] number=[] contentType=[]"));
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
    EXPECT_EQ(std::string(server) + "|" + filename + "|" + user + "|" + password + "|" + std::to_string(protocol),
              " " + std::string(46, 's') + "|fw.bin|| pw|1");
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
