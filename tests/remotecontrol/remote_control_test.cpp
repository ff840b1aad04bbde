// Remote-control INFOs from a CTI server, and the call states the phone reports back.
#include <cstddef>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kRc[] = "am.remotecontrol";
constexpr char kType[] = "application/remotecontrol+xml";

class RemoteControl : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::setEventTextFields(AM_REMOTE_CTL_CMD_EVENT, {offsetof(AmRemoteCtlCmd, number),
                                                              offsetof(AmRemoteCtlCmd, callNumber),
                                                              offsetof(AmRemoteCtlCmd, callId)});
    }
};

// Commands raised as "line,number,command,callNumber,callId", then the feature's log lines
// as "[level] text"; both forgotten.
std::string outcome() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_REMOTE_CTL_CMD_EVENT)) {
        AmRemoteCtlCmd r = amtest::record<AmRemoteCtlCmd>(event);
        out += std::to_string(r.line) + "," + event.texts.at(0) + "," + std::to_string(r.command) + "," +
               event.texts.at(1) + "," + event.texts.at(2);
    }
    for (const devhost::LogLine &line : amtest::logsOf(kRc)) out += "[" + std::to_string(line.level) + "] " + line.text;
    devhost::clearEvents();
    devhost::clearLogs();
    return out;
}

void info(const char *body, int line = 1) {
    const AmInfoRecord record = {line, "cti", kType, body};
    amRecvInfo(&record);
}

TEST_F(RemoteControl, CommandsFromLooseElementsBecomeEvents) {
    const std::string digits(50, '5');
    const std::string audioCall = "<cmd>key=audiocall+" + digits + "</cmd>";
    const std::string longId = "<cmd>key=x</cmd><callID>" + std::string(40, 'c') + "</callID>";
    struct Case {
        std::string body, expected;
    };
    const Case cases[] = {
        {"<cmd>Key=StartJoint</cmd>\r\n<callID>a84b4c76e66710@cti.example.com</callID>\r\n",
         "1,cti,0,,a84b4c76e66710@cti.example.com"},
        {"<callID>7</callID><cmd>\r\nkey=stopjoint\r\n</cmd>", "1,cti,1,,7"},
        {"<cmd>KEY=SPEAKER</cmd>", "1,cti,3,,"},
        {longId, "1,cti,4,," + std::string(31, 'c')},
        {"<cmd>key=audiocall+2005</cmd>", "1,cti,2,2005,"},
        {"<cmd>key=AudioCall+sip:2005@pbx+1</cmd>", "1,cti,2,sip:2005@pbx+1,"},
        {audioCall, "1,cti,2," + digits.substr(0, 39) + ","},
        {"<cmd>key=audiocall</cmd>", "[2] amRemoteControlRecvInfoMsg: audio call without number, msg=[<cmd>key=audiocall</cmd>]"},
        {"<cmd>key=audiocall+</cmd>",
         "[2] amRemoteControlRecvInfoMsg: audio call without number, msg=[<cmd>key=audiocall+</cmd>]"},
        {"<cmd>key=redial</cmd>", "[2] amRemoteControlInfoCmdKeyParse: Unsupported cmd[key=redial]"
                                  "[2] amRemoteControlRecvInfoMsg: parse cmd failed! msg=[<cmd>key=redial</cmd>]"},
        {"<cmd>key startjoint</cmd>", "[2] amRemoteControlInfoCmdKeyParse: Unsupported cmd[key startjoint]"
                                      "[2] amRemoteControlRecvInfoMsg: parse cmd failed! msg=[<cmd>key startjoint</cmd>]"},
        {"<cmd>action=x</cmd>", "[2] amRemoteControlInfoCmdKeyParse: Unsupported cmd[action=x]"
                                "[2] amRemoteControlRecvInfoMsg: parse cmd failed! msg=[<cmd>action=x</cmd>]"},
        {"<cmd>key=startjoint ", "[2] amRemoteControlRecvInfoMsg: parse cmd failed! msg=[<cmd>key=startjoint ]"},
        {"<callID>7</callID>", "[2] amRemoteControlRecvInfoMsg: parse cmd failed! msg=[<callID>7</callID>]"},
    };
    for (const Case &c : cases) {
        info(c.body.c_str());
        EXPECT_EQ(outcome(), c.expected) << c.body;
    }
    EXPECT_EQ(amRemoteControlRecvInfoMsg(1, "cti", nullptr), -1);
    EXPECT_EQ(outcome(), "");
}

TEST_F(RemoteControl, InvalidAndPeerToPeerLinesAreRefused) {
    devhost::line(2).protocolInstance = -1;
    devhost::line(3).protocol = 5;
    devhost::line(4).protocol = 5;
    devhost::line(4).protocolInstance = 1;
    devhost::setP2pSupport(5, 1);
    for (int line : {2, 3, 4}) info("<cmd>key=speaker</cmd>", line);
    EXPECT_EQ(outcome(), "4,cti,3,,"
                         "[2] amRemoteControlRecvInfoMsg: invalid line[2]"
                         "[1] amRemoteControlRecvInfoMsg: P2P line[3] not support remote control");
}

TEST_F(RemoteControl, FailedAllocationsRaiseNothingAndKeepNothing) {
    long blocks = devhost::liveBlocks();
    for (long n = 1; n <= 3; ++n) {  // the holder and its two copies
        devhost::failNth(n);
        EXPECT_EQ(amRemoteControlRecvInfoMsg(1, "cti", "<cmd>key=x</cmd><callID>9</callID>"), -1) << n;
        EXPECT_EQ(devhost::liveBlocks(), blocks) << n;
    }
    EXPECT_EQ(amtest::countEvents(AM_REMOTE_CTL_CMD_EVENT), 0);
}

TEST_F(RemoteControl, ActionsAreSentBackAsStatusInfos) {
    const std::string longNumber(100, '8');
    const char *xml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n";
    EXPECT_EQ(amRemoteControlActionInfoReport(1, "cti", 1, "ignored", nullptr), 0);
    amRemoteControlActionInfoReport(2, "cti", 4, "2005", "a84b4c76e66710");
    amRemoteControlActionInfoReport(1, "cti", 6, nullptr, "");
    amRemoteControlActionInfoReport(1, "cti", 5, longNumber.c_str(), longNumber.c_str());
    // Refused: silently for what is no action, logged for a missing call number.
    EXPECT_EQ(amRemoteControlActionInfoReport(1, "cti", 0, "1", nullptr) +
                  amRemoteControlActionInfoReport(1, "cti", 7, "1", nullptr) +
                  amRemoteControlActionInfoReport(1, nullptr, 1, "1", nullptr),
              -3);
    EXPECT_EQ(outcome(), "");
    EXPECT_EQ(amRemoteControlActionInfoReport(1, "cti", 4, "", nullptr), -1);
    EXPECT_EQ(amRemoteControlActionInfoReport(1, "cti", 3, nullptr, nullptr), -1);
    EXPECT_EQ(outcome(), "[2] amRemoteControlActionInfoReport: action=[outgoing] with callNum invalid!"
                         "[2] amRemoteControlActionInfoReport: action=[ringing] with callNum invalid!");

    std::string sent;
    for (const devhost::Request &r : amtest::infos()) {
        EXPECT_EQ(r.contentType + " " + r.number, std::string(kType) + " cti");
        sent += std::to_string(r.line) + ":" + r.body + "|";
    }
    std::string established = std::string(xml) + "<status>action=established+" + longNumber.substr(0, 51) +
                              "</status>\r\n<callID>callid=" + longNumber;
    EXPECT_EQ(sent, "1:" + std::string(xml) + "<status>action=offhook</status>\r\n|" +
                        "2:" + xml + "<status>action=outgoing+2005</status>\r\n<callID>callid=a84b4c76e66710</callID>\r\n|" +
                        "1:" + xml + "<status>action=online</status>\r\n<callID>callid=</callID>\r\n|" +
                        "1:" + established.substr(0, 127) + "|");
}

}  // namespace
