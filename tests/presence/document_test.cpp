// PIDF and XPIDF documents, the state table and the presence report.
#include <cstddef>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr char kPresence[] = "ostra.am.presence";
constexpr char kPidf[] = "application/pidf+xml";

class PresenceDocument : public amtest::HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::setEventTextFields(AM_PRESENCE_EVENT_NAME, {offsetof(AmPresenceStatus, callId)});
    }
};

// The last report as "line number state" plus " id=<call-id>" when one was carried; the
// call-id is the text as it was during the raise.
std::string lastReport() {
    auto events = amtest::eventsNamed(AM_PRESENCE_EVENT_NAME);
    if (events.empty()) return "none";
    AmPresenceStatus record = amtest::record<AmPresenceStatus>(events.back());
    std::string text = std::to_string(record.line) + " " + record.number + " " + std::to_string(record.state);
    return events.back().present.at(0) ? text + " id=" + events.back().texts.at(0) : text;
}

std::string notify(const std::string &body, const char *contentType = kPidf) {
    devhost::clearEvents();
    amRecvPresenceParse(3, "201", contentType, body.c_str());
    EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 1) << body;
    return lastReport();
}

std::string pidf(const std::string &basic, const std::string &person = "") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<presence xmlns=\"urn:ietf:params:xml:ns:pidf\" "
           "xmlns:dm=\"urn:ietf:params:xml:ns:pidf:data-model\" xmlns:e=\"urn:ietf:params:xml:ns:pidf:rpid\" "
           "entity=\"sip:201@pbx.example.com\">\r\n<tuple id=\"t1\"><status><basic>" +
           basic + "</basic></status></tuple>\r\n<dm:person id=\"p1\">" + person + "</dm:person>\r\n</presence>\r\n";
}

std::string xpidf(const std::string &status, const std::string &substatus) {
    return "<?xml version=\"1.0\"?>\r\n<presence><presentity uri=\"sip:201@pbx;method=SUBSCRIBE\"/>\r\n"
           "<atom id=\"1000\"><address uri=\"sip:201@pbx;user=ip\" priority=\"0.8\"><status status=\"" +
           status + "\"/><msnsubstatus substatus=\"" + substatus + "\"/></address></atom></presence>\r\n";
}

TEST_F(PresenceDocument, DocumentsReduceToOneState) {
    const char *x = "application/XPIDF+xml";
    const struct {
        std::string body;
        int state;
        const char *contentType;
    } cases[] = {
        {pidf("open", "<note>On the phone</note>"), 2, kPidf},
        {pidf("open", "<note>Busy</note>"), 1, kPidf},
        {pidf("closed"), 0, kPidf},
        {pidf("closed", "<dm:note>Talking</dm:note>"), 2, kPidf},
        {pidf("closed", "<dm:note>Ringing from 300</dm:note>"), 3, kPidf},
        {pidf("closed", "<dm:note>\r\nHold</dm:note>"), 2, kPidf},
        // The device note replaces the person note, even with a word it does not know.
        {pidf("open", "<note>Ringing</note><dm:note>talking</dm:note>"), 1, kPidf},
        // Activities win over both notes; without a call word they clear the note.
        {pidf("open", "<note>On the phone</note><e:activities><e:busy/></e:activities>"), 1, kPidf},
        {pidf("closed", "<dm:note>Talking</dm:note><e:activities><e:ringing/></e:activities>"), 3, kPidf},
        {pidf("open", "<e:activities><e:alerting/><e:on-the-phone/></e:activities>"), 2, kPidf},
        {pidf("open" + std::string(40, ' ')), 0, kPidf},
        // Basic is read only with a tuple, and every delimiter must be there.
        {"<presence><status><basic>open</basic></status></presence>", 0, kPidf},
        {"<tuple><status><basic>open</status>", 0, kPidf},
        {"<tuple><basic>open</basic><status></status>", 0, kPidf},
        {pidf("open", "<note>On the phone"), 1, kPidf},
        {pidf("open", "<note>Ringing</note></dm:note><dm:note>Talking"), 3, kPidf},
        {pidf("open", "<note>Ringing</note><dm:note></dm:note>"), 3, kPidf},
        {pidf("open", "<note>Ringing</note><e:activities><e:on-the-phone/>"), 3, kPidf},
        {xpidf("inuse", "onthephone"), 2, x},
        {xpidf("open", "Ringing"), 3, x},
        {"<status substatus=\"inuse\" status=\"open\"/>", 2, x},
        {"<status status=\"open/>", 0, x},
        {"substatus=\"Ringing\" <status status=\"open\">", 3, x},
        {"", 0, x},
    };
    for (const auto &c : cases) EXPECT_EQ(notify(c.body, c.contentType), "3 201 " + std::to_string(c.state)) << c.body;
    EXPECT_EQ(amtest::countLogs(1, kPresence, "amPresencePidfXmlContentGet:note is [on the phone]"), 3);
    EXPECT_EQ(amtest::countLogs(1, kPresence, "amPresencePidfXmlContentGet:note is [ringing]"), 1);
}

TEST_F(PresenceDocument, CallIdLivesAsLongAsTheRaiseAndAllocationFailureLosesOneStep) {
    long mark = devhost::liveBlocks();
    std::string body = pidf("open", "<e:activities><e:on-the-phone call-id=\"abc123@10.0.0.5\"/></e:activities>");
    EXPECT_EQ(amRecvNotify(2, "2002", "Presence", "active", "APPLICATION/PIDF+XML", body.c_str()), 0);
    EXPECT_EQ(lastReport(), "2 2002 2 id=abc123@10.0.0.5");
    std::string longId(3000, 'c');
    EXPECT_EQ(notify(pidf("closed", "<e:activities>call-id=\"" + longId + "\" ringing</e:activities>")),
              "3 201 3 id=" + longId);
    EXPECT_EQ(notify(pidf("open", "<e:activities>call-id=\"\"</e:activities>")), "3 201 1 id=");
    // Only a quoted value inside the activities counts.
    EXPECT_EQ(notify(pidf("open", "<e:activities><e:on-the-phone call-id=abc/></e:activities>")), "3 201 2");
    EXPECT_EQ(notify(pidf("open", "<e:activities><e:on-the-phone call-id=\"a/></e:activities>\"")), "3 201 2");

    body = pidf("open", "<note>Ringing</note><e:activities><e:on-the-phone call-id=\"c1\"/></e:activities>");
    devhost::failNth(1);  // the activities copy: the note stands
    EXPECT_EQ(notify(body), "3 201 3");
    devhost::failNth(2);  // the call-id copy
    EXPECT_EQ(notify(body), "3 201 2");
    EXPECT_EQ(devhost::failedCalls(), 2);
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(PresenceDocument, ScannersCutToTheirBuffers) {
    char basic[6] = "x", note[5] = "x";
    char *callId = basic;
    std::string body = pidf("closed", "<note>On the phone</note>");
    EXPECT_EQ(amPresencePidfXmlContentGet(body.c_str(), basic, sizeof basic, note, sizeof note, &callId), 0);
    EXPECT_EQ(std::string(basic) + "|" + note, "close|On t");
    EXPECT_EQ(callId, basic);  // written only when a call-id is found

    char none[1] = {'z'};
    std::string full = pidf("open", "<note>x</note><dm:note>Talking</dm:note><e:activities>ringing</e:activities>");
    amPresencePidfXmlContentGet(full.c_str(), basic, 0, none, 0, nullptr);
    EXPECT_EQ(std::string(basic) + "|" + none[0], "close|z");
    amPresencePidfXmlContentGet(full.c_str(), none, 1, note, sizeof note, nullptr);
    EXPECT_EQ(none[0] + std::string("|") + note, std::string(1, '\0') + "|ring");
    EXPECT_EQ(amPresencePidfXmlContentGet(nullptr, basic, sizeof basic, note, sizeof note, nullptr), -1);
    EXPECT_STREQ(note, "ring");

    char status[4], substatus[8];
    std::string longValues =
        "<status status=\"" + std::string(100, 'o') + "\" substatus=\"" + std::string(100, 's') + "\"/>";
    amPresenceXpidfXmlContentGet(longValues.c_str(), status, sizeof status, substatus, sizeof substatus);
    EXPECT_EQ(std::string(status) + "|" + substatus, "ooo|sssssss");
}

TEST_F(PresenceDocument, StateTableAndTexts) {
    const struct {
        const char *basic, *note;
        int state;
    } rows[] = {
        {nullptr, "On the phone", 0}, {"", "Ringing", 0},        {"open", nullptr, 1},       {"Open", "on the PHONE", 2},
        {"open", "RINGING", 3},       {"open", "alerting", 6},   {"open", "On hold", 1},     {"open", "On the phone ", 1},
        {"InUse", nullptr, 2},        {"inuse", "Ringing", 2},   {"failed", "", 4},          {"CLOSED", "on hold", 2},
        {"closed", "Alerting", 6},    {"closed", nullptr, 0},    {"away", "On the phone", 0}, {"opens", nullptr, 0},
    };
    for (const auto &row : rows) {
        EXPECT_EQ(amPresenceStateConvert(row.basic, row.note), row.state)
            << (row.basic ? row.basic : "null") << "/" << (row.note ? row.note : "null");
    }
    const char *texts[] = {"send failed", "Offline", "Ready", "Talking", "Ringing", "Failed", "Ongoing", "Alerting"};
    for (int s = -1; s <= 7; ++s) EXPECT_EQ(amPresenceStateToStr(s), "presence " + std::string(texts[(s + 1) % 8]));
}

TEST_F(PresenceDocument, ReportsAndContentTypes) {
    std::string longNumber(80, '7');
    amRecvPresenceParse(0, longNumber.c_str(), kPidf, nullptr);
    EXPECT_EQ(lastReport(), "0 " + longNumber.substr(0, 63) + " 0");

    devhost::clearEvents();
    amRecvPresenceParse(1, "201", "application/dialog-info+xml", pidf("open").c_str());
    amRecvPresenceParse(1, "201", "application/pidf+xml;charset=utf-8", pidf("open").c_str());
    amRecvPresenceParse(1, nullptr, nullptr, pidf("open").c_str());
    EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 0);
    EXPECT_EQ(amtest::countLogs(2, kPresence, "amRecvPresenceParse: Unknown accept type\n"), 3);
    EXPECT_TRUE(amtest::hasLog(0, kPresence,
                               "amRecvPresenceParse: line=[1], num=[201], accept=[application/dialog-info+xml]\n"));
}

}  // namespace
