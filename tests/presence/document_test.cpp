// PIDF and XPIDF documents, the state table and the presence report.
#include <cstddef>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kPresence[] = "ostra.am.presence";
constexpr char kPidf[] = "application/pidf+xml";
constexpr char kXpidf[] = "application/xpidf+xml";

// What one NOTIFY reported: the record and the call-id text as it was during the raise.
struct Report {
    int state = -99;
    int line = -99;
    std::string number;
    bool hasCallId = false;
    std::string callId;
};

class PresenceDocument : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::setEventTextFields(AM_PRESENCE_EVENT_NAME, {offsetof(AmPresenceStatus, callId)});
    }

    static Report last() {
        Report report;
        auto events = amtest::eventsNamed(AM_PRESENCE_EVENT_NAME);
        if (events.empty()) return report;
        AmPresenceStatus record = amtest::record<AmPresenceStatus>(events.back());
        report.state = record.state;
        report.line = record.line;
        report.number = record.number;
        report.hasCallId = events.back().present.at(0);
        report.callId = events.back().texts.at(0);
        return report;
    }

    static Report notify(const std::string &body, const char *contentType = kPidf) {
        devhost::clearEvents();
        amRecvPresenceParse(3, "201", contentType, body.c_str());
        EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 1) << body;
        return last();
    }
};

std::string pidf(const std::string &basic, const std::string &person = "") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
           "<presence xmlns=\"urn:ietf:params:xml:ns:pidf\" xmlns:dm=\"urn:ietf:params:xml:ns:pidf:data-model\" "
           "xmlns:e=\"urn:ietf:params:xml:ns:pidf:rpid\" entity=\"sip:201@pbx.example.com\">\r\n"
           "<tuple id=\"t1\"><status><basic>" +
           basic + "</basic></status></tuple>\r\n<dm:person id=\"p1\">" + person + "</dm:person>\r\n</presence>\r\n";
}

std::string xpidf(const std::string &status, const std::string &substatus) {
    return "<?xml version=\"1.0\"?>\r\n<!DOCTYPE presence PUBLIC \"-//IETF//DTD RFCxxxx XPIDF 1.0//EN\" "
           "\"xpidf.dtd\">\r\n<presence><presentity uri=\"sip:201@pbx;method=SUBSCRIBE\"/>\r\n"
           "<atom id=\"1000\"><address uri=\"sip:201@pbx;user=ip\" priority=\"0.8\">"
           "<status status=\"" +
           status + "\"/><msnsubstatus substatus=\"" + substatus + "\"/></address></atom></presence>\r\n";
}

struct Case {
    std::string body;
    int state;
};

TEST_F(PresenceDocument, PidfNotesDeviceNotesAndActivities) {
    const Case cases[] = {
        {pidf("open", "<note>On the phone</note>"), AM_PRESENCE_STATE_TALKING},
        {pidf("open", "<note>Busy</note>"), AM_PRESENCE_STATE_READY},
        {pidf("open", "<note>ringing</note>"), AM_PRESENCE_STATE_RINGING},
        {pidf("OPEN", "<note>Alerting</note>"), AM_PRESENCE_STATE_ALERTING},
        {pidf("closed"), AM_PRESENCE_STATE_OFFLINE},
        {pidf("closed", "<dm:note>Talking</dm:note>"), AM_PRESENCE_STATE_TALKING},
        {pidf("closed", "<dm:note>Ringing from 300</dm:note>"), AM_PRESENCE_STATE_RINGING},
        {pidf("closed", "<dm:note>\r\nHold</dm:note>"), AM_PRESENCE_STATE_TALKING},
        {pidf("closed", "<dm:note>CallingHome</dm:note>"), AM_PRESENCE_STATE_TALKING},
        // The device note replaces the person note, even with nothing it knows.
        {pidf("open", "<note>On the phone</note><dm:note>Idle</dm:note>"), AM_PRESENCE_STATE_READY},
        {pidf("open", "<note>Ringing</note><dm:note>talking</dm:note>"), AM_PRESENCE_STATE_READY},
        // Activities win over both notes; without a call word they clear the note.
        {pidf("open", "<note>On the phone</note><e:activities><e:busy/></e:activities>"), AM_PRESENCE_STATE_READY},
        {pidf("closed", "<dm:note>Talking</dm:note><e:activities><e:ringing/></e:activities>"),
         AM_PRESENCE_STATE_RINGING},
        {pidf("open", "<e:activities><e:alerting/><e:on-the-phone/></e:activities>"), AM_PRESENCE_STATE_TALKING},
        {pidf("closed", "<e:activities><e:alerting/></e:activities>"), AM_PRESENCE_STATE_ALERTING},
        {pidf("inuse"), AM_PRESENCE_STATE_TALKING},
        {pidf("failed", "<note>On the phone</note>"), AM_PRESENCE_STATE_FAILED},
        {pidf("opened"), AM_PRESENCE_STATE_OFFLINE},
        // Cut to 15 characters, "open" followed by blanks is no longer "open".
        {pidf("open" + std::string(20, ' ')), AM_PRESENCE_STATE_OFFLINE},
        {pidf(" open"), AM_PRESENCE_STATE_OFFLINE},
        // A basic value is read only in a document with a tuple.
        {"<presence><status><basic>open</basic></status></presence>", AM_PRESENCE_STATE_OFFLINE},
        {"<tuple/><status><basic>open</basic></status>", AM_PRESENCE_STATE_READY},
        // Missing delimiters.
        {"<tuple><status><basic>open</status>", AM_PRESENCE_STATE_OFFLINE},
        {"<tuple><basic>open</basic><status></status>", AM_PRESENCE_STATE_OFFLINE},
        {pidf("open", "<note>On the phone"), AM_PRESENCE_STATE_READY},
        {pidf("closed", "</dm:note><dm:note>Talking"), AM_PRESENCE_STATE_OFFLINE},
        {pidf("closed", "<dm:note></dm:note>"), AM_PRESENCE_STATE_OFFLINE},
        {pidf("open", "<note>Ringing</note><e:activities><e:on-the-phone/>"), AM_PRESENCE_STATE_RINGING},
        {"", AM_PRESENCE_STATE_OFFLINE},
    };
    for (const Case &c : cases) {
        Report report = notify(c.body);
        EXPECT_EQ(report.state, c.state) << c.body;
        EXPECT_FALSE(report.hasCallId) << c.body;
        EXPECT_EQ(report.line, 3);
        EXPECT_EQ(report.number, "201");
    }
    EXPECT_EQ(amtest::countLogs(1, kPresence, "amPresencePidfXmlContentGet:note is [on the phone]"), 4);
    EXPECT_EQ(amtest::countLogs(1, kPresence, "amPresencePidfXmlContentGet:note is [ringing]"), 1);
}

TEST_F(PresenceDocument, CallIdLivesExactlyAsLongAsTheRaise) {
    long mark = devhost::liveBlocks();
    Report report = notify(pidf("open", "<e:activities><e:on-the-phone call-id=\"abc123@10.0.0.5\"/></e:activities>"));
    EXPECT_EQ(report.state, AM_PRESENCE_STATE_TALKING);
    EXPECT_TRUE(report.hasCallId);
    EXPECT_EQ(report.callId, "abc123@10.0.0.5");
    EXPECT_EQ(devhost::liveBlocks(), mark);

    std::string longId(3000, 'c');
    report = notify(pidf("closed", "<e:activities>call-id=\"" + longId + "\" ringing</e:activities>"));
    EXPECT_EQ(report.state, AM_PRESENCE_STATE_RINGING);
    EXPECT_EQ(report.callId, longId);

    // Only a quoted value counts, and only inside the activities.
    const std::string noIds[] = {
        pidf("open", "<e:activities><e:on-the-phone call-id=abc/></e:activities>"),
        pidf("open", "<e:activities><e:on-the-phone call-id=\"abc/></e:activities>\""),
        pidf("open", "<e:activities><e:on-the-phone/></e:activities><x call-id=\"abc\"/>"),
        pidf("open", "<e:activities><e:on-the-phone call-id=\"abc\"/>"),
    };
    for (const std::string &body : noIds) EXPECT_FALSE(notify(body).hasCallId) << body;
    EXPECT_EQ(notify(pidf("open", "<e:activities>call-id=\"\"</e:activities>")).callId, "");
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(PresenceDocument, AllocationFailureLosesOnlyThatStep) {
    std::string body =
        pidf("open", "<note>Ringing</note><e:activities><e:on-the-phone call-id=\"c1\"/></e:activities>");
    long mark = devhost::liveBlocks();
    devhost::failNth(1);  // the activities copy
    Report report = notify(body);
    EXPECT_EQ(report.state, AM_PRESENCE_STATE_RINGING);
    EXPECT_FALSE(report.hasCallId);
    devhost::failNth(2);  // the call-id copy
    report = notify(body);
    EXPECT_EQ(report.state, AM_PRESENCE_STATE_TALKING);
    EXPECT_FALSE(report.hasCallId);
    EXPECT_EQ(devhost::failedCalls(), 2);
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(PresenceDocument, PidfScannerBuffersAndCallIdOwnership) {
    char basic[6] = "x", note[5] = "x";
    char keep = 'k';
    char *callId = &keep;
    std::string body = pidf("closed", "<note>On the phone</note>");
    EXPECT_EQ(amPresencePidfXmlContentGet(body.c_str(), basic, sizeof basic, note, sizeof note, &callId), 0);
    EXPECT_STREQ(basic, "close");
    EXPECT_STREQ(note, "On t");
    EXPECT_EQ(callId, &keep);  // written only when a call-id is found

    char tiny[1] = {'z'};
    char untouched[4] = "abc";
    std::string full = pidf("open", "<note>x</note><dm:note>Talking</dm:note><e:activities>ringing</e:activities>");
    amPresencePidfXmlContentGet(full.c_str(), untouched, 0, tiny, 0, nullptr);
    EXPECT_STREQ(untouched, "abc");
    EXPECT_EQ(tiny[0], 'z');
    amPresencePidfXmlContentGet(full.c_str(), tiny, 1, note, sizeof note, nullptr);
    EXPECT_EQ(tiny[0], '\0');
    EXPECT_STREQ(note, "ring");

    EXPECT_EQ(amPresencePidfXmlContentGet(nullptr, basic, sizeof basic, note, sizeof note, nullptr), -1);
    EXPECT_STREQ(note, "ring");
}

TEST_F(PresenceDocument, XpidfStatusAndSubstatus) {
    const Case cases[] = {
        {xpidf("inuse", "onthephone"), AM_PRESENCE_STATE_TALKING},
        {xpidf("open", "Ringing"), AM_PRESENCE_STATE_RINGING},
        {xpidf("open", "online"), AM_PRESENCE_STATE_READY},
        {xpidf("closed", "on the phone"), AM_PRESENCE_STATE_TALKING},
        {xpidf("closed", "offline"), AM_PRESENCE_STATE_OFFLINE},
        {"<status status=open substatus=\"Ringing\"/>", AM_PRESENCE_STATE_OFFLINE},
        {"<status substatus=\"inuse\" status=\"open\"/>", AM_PRESENCE_STATE_TALKING},
        {"<status status=\"open/>", AM_PRESENCE_STATE_OFFLINE},
        {"substatus=\"Ringing\" <status status=\"open\">", AM_PRESENCE_STATE_RINGING},
        {"<status>open</status>", AM_PRESENCE_STATE_OFFLINE},
    };
    for (const Case &c : cases) {
        Report report = notify(c.body, "Application/XPIDF+XML");
        EXPECT_EQ(report.state, c.state) << c.body;
        EXPECT_FALSE(report.hasCallId);
    }
    char status[4], substatus[8];
    std::string longValues = "<status status=\"" + std::string(100, 'o') + "\" substatus=\"" +
                             std::string(100, 's') + "\"/>";
    amPresenceXpidfXmlContentGet(longValues.c_str(), status, sizeof status, substatus, sizeof substatus);
    EXPECT_EQ(std::string(status), "ooo");
    EXPECT_EQ(std::string(substatus), "sssssss");
    amPresenceXpidfXmlContentGet("", status, sizeof status, substatus, sizeof substatus);
    EXPECT_STREQ(status, "");
    EXPECT_STREQ(substatus, "");
}

TEST_F(PresenceDocument, StateTable) {
    struct Row {
        const char *basic, *note;
        int state;
    };
    const Row rows[] = {
        {nullptr, "On the phone", 0}, {"", "Ringing", 0},          {"open", nullptr, 1},
        {"open", "", 1},              {"Open", "on the PHONE", 2}, {"open", "RINGING", 3},
        {"open", "alerting", 6},      {"open", "On hold", 1},      {"open", "On the phone ", 1},
        {"InUse", nullptr, 2},        {"inuse", "Ringing", 2},     {"failed", "", 4},
        {"closed", "On the phone", 2}, {"CLOSED", "on hold", 2},   {"closed", "Ringing", 3},
        {"closed", "Alerting", 6},    {"closed", "", 0},           {"closed", nullptr, 0},
        {"closed", "Busy", 0},        {"away", "On the phone", 0}, {"opens", nullptr, 0},
    };
    for (const Row &row : rows) {
        EXPECT_EQ(amPresenceStateConvert(row.basic, row.note), row.state)
            << amtest::dumpLogs() << (row.basic ? row.basic : "null") << "/" << (row.note ? row.note : "null");
    }
    const char *texts[] = {"presence send failed", "presence Offline", "presence Ready",   "presence Talking",
                           "presence Ringing",     "presence Failed",  "presence Ongoing", "presence Alerting",
                           "presence send failed"};
    for (int state = -1; state <= 7; ++state) EXPECT_STREQ(amPresenceStateToStr(state), texts[state + 1]);
    EXPECT_STREQ(amPresenceStateToStr(-1000), "presence send failed");
}

TEST_F(PresenceDocument, ReportContentTypesAndLogs) {
    std::string longNumber(80, '7');
    amRecvPresenceParse(0, longNumber.c_str(), kPidf, nullptr);
    Report report = last();
    EXPECT_EQ(report.number, longNumber.substr(0, 63));
    EXPECT_EQ(report.state, AM_PRESENCE_STATE_OFFLINE);
    EXPECT_EQ(report.line, 0);

    devhost::clearEvents();
    amRecvPresenceParse(1, "201", "application/dialog-info+xml", pidf("open").c_str());
    amRecvPresenceParse(1, "201", "application/pidf+xml;charset=utf-8", pidf("open").c_str());
    amRecvPresenceParse(1, nullptr, nullptr, pidf("open").c_str());
    EXPECT_EQ(amtest::countEvents(AM_PRESENCE_EVENT_NAME), 0);
    EXPECT_EQ(amtest::countLogs(2, kPresence, "amRecvPresenceParse: Unknown accept type\n"), 3);
    EXPECT_TRUE(amtest::hasLog(0, kPresence,
                               "amRecvPresenceParse: line=[1], num=[201], accept=[application/dialog-info+xml]\n"));

    amRecvPresenceParse(1, "201", "APPLICATION/PIDF+XML", pidf("open").c_str());
    EXPECT_EQ(last().state, AM_PRESENCE_STATE_READY);
    EXPECT_EQ(amtest::eventsNamed(AM_PRESENCE_EVENT_NAME).back().data.size(), sizeof(AmPresenceStatus));
}

TEST_F(PresenceDocument, ArrivesThroughTheInboundDispatch) {
    long mark = devhost::liveBlocks();
    std::string body = pidf("open", "<e:activities><e:on-the-phone call-id=\"77@pbx\"/></e:activities>");
    EXPECT_EQ(amRecvNotify(2, "2002", "Presence", "active", kPidf, body.c_str()), 0);
    Report report = last();
    EXPECT_EQ(report.state, AM_PRESENCE_STATE_TALKING);
    EXPECT_EQ(report.callId, "77@pbx");
    EXPECT_EQ(report.number + "/" + std::to_string(report.line), "2002/2");
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

}  // namespace
