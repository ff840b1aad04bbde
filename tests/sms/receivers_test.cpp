// Inbound MESSAGEs reaching the receivers registered by name, and the XML text messages
// reaching the XML message callback before anything falls through to push XML.
#include <cstddef>
#include <string>
#include <vector>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSms[] = "ostra.am.sms";

class SmsReceivers : public HostTest {};

std::vector<std::string> gCalls;
int gAnswer[4] = {};

template <int N>
int receiver(int line, const char *number, const char *name, const char *body) {
    gCalls.push_back(std::to_string(N) + ":" + std::to_string(line) + "," + number + "," +
                     (name != nullptr ? name : "null") + "," + body);
    return gAnswer[N];
}

std::string calls() {
    std::string out;
    for (const std::string &call : gCalls) out += (out.empty() ? "" : " ") + call;
    gCalls.clear();
    return out;
}

std::string logText(int level) {
    std::string out;
    for (const devhost::LogLine &line : amtest::logsOf(kSms, level)) out += line.text + "|";
    devhost::clearLogs();
    return out;
}

TEST_F(SmsReceivers, NamesAreUniquePerListAsStored) {
    const std::string forty(40, 'n');
    EXPECT_EQ(amSmsPlainRecvCallBackRegister("ui", receiver<0>), 0);
    EXPECT_EQ(amSmsPlainRecvCallBackRegister("ui", receiver<1>), -1);
    EXPECT_EQ(amSmsUserDefineRecvCbRegister("ui", receiver<2>), 0);  // another list
    EXPECT_EQ(amSmsXmlRecvCallBackRegister("ui", receiver<3>), 0);
    EXPECT_EQ(amSmsXmlRecvCallBackRegister("ui", receiver<3>), -1);
    EXPECT_EQ(logText(1), "amSmsPlainRecvCallBackRegister: ui register success.\n|"
                          "amSmsPlainRecvCallBackRegister: ui has exist!|"
                          "amSmsUserDefineRecvCbRegister: ui register success.\n|"
                          "amSmsXmlRecvCallBackRegister: ui register success.\n|"
                          "amSmsXmlRecvCallBackRegister: ui has exist!|");
    // Kept as its first 31 characters: the long name itself is never found again.
    EXPECT_EQ(amSmsPlainRecvCallBackRegister(forty.c_str(), receiver<1>), 0);
    EXPECT_EQ(amSmsPlainRecvCallBackRegister(forty.c_str(), receiver<1>), 0);
    EXPECT_EQ(amSmsPlainRecvCallBackUnRegister(forty.c_str()), -1);
    EXPECT_EQ(amSmsPlainRecvCallBackUnRegister(forty.substr(0, 31).c_str()), 0);
    EXPECT_EQ(amSmsPlainRecvCallBackUnRegister("UI") + amSmsXmlRecvCallBackUnRegister("ui") +
                  amSmsXmlRecvCallBackUnRegister("ui"),
              -2);
    devhost::clearLogs();
    EXPECT_EQ(amSmsPlainRecvCallBackRegister(nullptr, receiver<1>) + amSmsUserDefineRecvCbUnRegister(nullptr), -2);
    EXPECT_EQ(logText(-1), "amSmsPlainRecvCallBackRegister: param error!|amSmsUserDefineRecvCbUnRegister: param error \n|");
    // The XML list is only a registry: its receivers never see a message.
    gAnswer[2] = 1;
    amRecvMessage(1, "201", "Ann", "text/plain", "hi");
    EXPECT_EQ(calls(), "2:1,201,Ann,hi 0:1,201,Ann,hi 1:1,201,Ann,hi");
}

TEST_F(SmsReceivers, UserDefinedReceiversTakeTextBeforeThePlainOnes) {
    // Nobody registered: silent apart from the plain trace, and nothing goes to the callbacks.
    EXPECT_EQ(amRecvMessage(1, "201", "Ann", "text/plain", "hi"), 0);
    EXPECT_EQ(logText(1), "amSmsRecvReport: line=[1], number=[201], name=[Ann]\n|");
    amSmsPlainRecvCallBackRegister("p1", receiver<2>);
    amSmsPlainRecvCallBackRegister("p2", receiver<3>);
    amSmsUserDefineRecvCbRegister("u1", receiver<0>);
    amSmsUserDefineRecvCbRegister("u2", receiver<1>);
    gAnswer[0] = 1;
    gAnswer[1] = 0;
    EXPECT_EQ(amRecvMessage(4, "201", nullptr, "TEXT/MEDICAL", "Blutdruck 120/80 ♥"), 0);
    EXPECT_EQ(calls(), "0:4,201,null,Blutdruck 120/80 ♥ 1:4,201,null,Blutdruck 120/80 ♥");
    gAnswer[1] = -1;
    EXPECT_EQ(amRecvMessage(4, "201", "Ann", "text/plain", "b"), 0);
    EXPECT_EQ(calls(), "0:4,201,Ann,b 1:4,201,Ann,b 2:4,201,Ann,b 3:4,201,Ann,b");
    amSmsUserDefineRecvCbUnRegister("u1");
    amSmsUserDefineRecvCbUnRegister("u2");
    devhost::clearLogs();
    EXPECT_EQ(amSmsRecvUserDefineReport(1, "201", "Ann", "b"), -1);  // emptied: not even traced
    EXPECT_EQ(logText(-1), "");
    EXPECT_EQ(devhost::asyncPending(), 0);
}

int gXmlCalls = 0;
std::string gXmlSeen;
int xmlCallback(int line, const char *number, const char *name, const char *content, const char *id) {
    ++gXmlCalls;
    gXmlSeen = std::to_string(line) + "," + number + "," + (name != nullptr ? name : "null") + "," + content + "," + id;
    return 0;
}

TEST_F(SmsReceivers, XmlTextMessagesReachTheCallbackElseFallToPushXml) {
    const char *message = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Message id=\"m-17\">\n"
                          "  <content>\n    Tom &amp; Jerry &lt;3 caf\xC3\xA9 &#x263A;\n  </content>\n</Message>";
    // No callback yet: straight to push XML, without a word from messaging.
    EXPECT_EQ(amRecvMessage(1, "201", "Ann", "application/xml", message), 0);
    EXPECT_EQ(devhost::drainAsync(), 1);
    EXPECT_EQ(amXmlSmsRecvCbRegister(nullptr), -1);
    EXPECT_EQ(amXmlSmsRecvCbRegister(xmlCallback), 0);
    EXPECT_EQ(amRecvMessage(1, "201", "Ann", "application/xml", message), 0);
    EXPECT_EQ(gXmlSeen, "1,201,Ann,Tom & Jerry <3 caf\xC3\xA9 \xE2\x98\xBA,m-17");
    EXPECT_EQ(logText(2), "");

    struct Case {
        const char *body, *warning;
    };
    const Case refused[] = {
        {"<Message><content>hi</content></Message>", "amXmlSmsParse: msgId is NULL!|"},
        {"<Message id=\"\"><content>hi</content></Message>", "amXmlSmsParse: msgId is NULL!|"},
        {"<Message id=\"1\"><body>hi</body></Message>", "amXmlSmsParse: Message.content is NULL!|"},
        {"<Message id=\"1\"><content>  </content></Message>", "amXmlSmsParse: content is NULL!|"},
        {"<Message id=\"1\"><content/></Message>", "amXmlSmsParse: content is NULL!|"},
        {"<Push><Message id=\"1\"><content>hi</content></Message></Push>", "amXmlSmsParse: element is NULL!|"},
    };
    for (const Case &c : refused) {
        devhost::clearEvents();
        EXPECT_EQ(amRecvMessage(1, "201", "Ann", "application/xml", c.body), 0);
        EXPECT_EQ(logText(2), c.warning) << c.body;
        devhost::drainAsync();
        EXPECT_EQ(amtest::countEvents(AM_PUSH_XML_EVENT_NAME), 1) << c.body;
    }
    EXPECT_EQ(amRecvMessage(1, "201", "Ann", "application/xml", "<Message id='1'>"), -1);
    EXPECT_EQ(logText(2), "amXmlSmsParse: nc parse msg[<Message id='1'>] failed!|");
    devhost::failNth(1);
    EXPECT_EQ(amXmlSmsParse(1, "201", "Ann", message), -1);
    EXPECT_EQ(logText(2), "amXmlSmsParse: create blf nc failed!|");
    EXPECT_EQ(gXmlCalls, 1);
    EXPECT_EQ(devhost::liveParsers(), 0);
    // Push information is only answered with the length of the service request it names.
    EXPECT_EQ(amRecvMessage(1, "201", "Ann", "text/xml-pushinfo", "<x/>"), 30);
    EXPECT_EQ(devhost::asyncPending() + static_cast<int>(devhost::requests().size()), 0);
}

TEST_F(SmsReceivers, FailedAllocationsKeepNothingButTheListAndItsMutex) {
    // The mutex, the list, the entry and the list's room for it fail in turn; what was made
    // before each failure is kept, so each later failure is the second call of its try.
    for (long n : {1, 2, 2, 2}) {
        long blocks = devhost::liveBlocks();
        devhost::failNth(n);
        EXPECT_EQ(amSmsUserDefineRecvCbRegister("u", receiver<0>), -1) << n;
        EXPECT_EQ(devhost::liveBlocks(), blocks) << n;
    }
    EXPECT_EQ(logText(2), "amSmsUserDefineRecvCbRegister: amUserDefineRecvCbList==NULL \n|"
                          "amSmsUserDefineRecvCbRegister: amUserDefineRecvCbList==NULL \n|"
                          " amSmsRecvCB_t malloc error\n|"
                          " amSmsRecvCB_t malloc error\n|");
    EXPECT_EQ(devhost::liveLists() * 10 + devhost::liveMutexes(), 11);
    EXPECT_EQ(amSmsUserDefineRecvCbRegister("u", receiver<0>), 0);
    gAnswer[0] = 0;
    amRecvMessage(1, "201", "Ann", "text/plain", "hi");
    EXPECT_EQ(calls(), "0:1,201,Ann,hi");
}

}  // namespace
