// The visual park list fed by park-info documents and read by position.
#include <cstring>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kPark[] = "ostra.am.parkInfo";

struct Doc {
    std::string callId = "c1";
    std::string state = "parked";
    const char *callType = nullptr;  // element left out when NULL
    const char *retrieve = "*881";   // element left out when NULL
    std::string parker = "<parker-identity display=\"Ann\">sip:201@pbx</parker-identity>";
    std::string parked = "<parked-identity display=\"Bob\">sip:302@pbx</parked-identity>";

    std::string text() const {
        std::string xml = "<?xml version=\"1.0\"?>\n<park-info>\n<call-id>" + callId + "</call-id>\n<state>" + state +
                          "</state>\n";
        if (callType != nullptr) xml += std::string("<call-type>") + callType + "</call-type>\n";
        if (retrieve != nullptr) xml += std::string("<retrieve-number>") + retrieve + "</retrieve-number>\n";
        return xml + parker + "\n" + parked + "\n</park-info>\n";
    }
};

int parse(const Doc &doc, int line = 1) { return amVisualParkParse(line, doc.text().c_str()); }

Doc parked(const std::string &callId, const char *retrieve = "*881") {
    Doc doc;
    doc.callId = callId;
    doc.retrieve = retrieve;
    return doc;
}

Doc terminated(const std::string &callId) {
    Doc doc = parked(callId);
    doc.state = "terminated";
    return doc;
}

std::string callIdAt(int index) {
    char buffer[64];
    return amGetVisualParkCallid(index, buffer, sizeof buffer) == 0 ? buffer : "-";
}

std::string order() {
    std::string text;
    for (int i = 0; i < amGetCallParkNum(); ++i) text += callIdAt(i) + " ";
    return text;
}

std::string updateLog(int result) { return "amVisualParkInfoUpdate: update result=[" + std::to_string(result) + "]"; }

class VisualPark : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        ASSERT_EQ(amModuleInit(), 0);
    }
    void TearDown() override {
        amModuleUnInit();
        HostTest::TearDown();
    }
};

TEST_F(VisualPark, UpdatesAddReplaceAndRemoveWithAnEventEach) {
    EXPECT_EQ(parse(parked("c1"), 2), 0);
    EXPECT_EQ(parse(parked("c2", "*882")), 0);
    EXPECT_EQ(parse(parked("c3")), 0);
    EXPECT_EQ(order(), "c1 c2 c3 ");
    EXPECT_EQ(amGetVisualParkLine(0), 2);
    EXPECT_EQ(amHasVisualPark(), 1);

    EXPECT_EQ(parse(parked("c1", "*999"), 4), 2);  // replaced and moved to the end
    EXPECT_EQ(order(), "c2 c3 c1 ");
    char buffer[16];
    EXPECT_EQ(amGetVisualParkRetrieveNumber(2, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "*999");
    EXPECT_EQ(amGetVisualParkLine(2), 4);

    EXPECT_EQ(parse(terminated("c3")), 1);
    EXPECT_EQ(order(), "c2 c1 ");
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 5);
    for (const devhost::Event &event : devhost::events()) EXPECT_TRUE(event.data.empty());

    EXPECT_EQ(amtest::countLogs(1, kPark, updateLog(0)), 3);
    devhost::clearLogs();
    EXPECT_EQ(parse(terminated("c9")), -1);
    EXPECT_EQ(order(), "c2 c1 ");
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 5);
    EXPECT_EQ(amtest::dumpLogs(), "[1] ostra.am.parkInfo: " + updateLog(-1) + "\n");
}

TEST_F(VisualPark, IncompleteDocumentsChangeNothing) {
    EXPECT_EQ(amVisualParkParse(1, nullptr), -1);
    EXPECT_EQ(amVisualParkParse(1, "<park-info><call-id>c1</call-id>"), -1);
    EXPECT_TRUE(devhost::logs().empty());

    Doc capital = parked("c1");
    capital.state = "Parked";
    Doc padded = parked("c1");
    padded.state = " parked";  // values are read as written, not trimmed
    Doc emptyRetrieve = parked("c1", "");
    Doc emptyCallId = parked("");
    for (const Doc &doc : {capital, padded, emptyRetrieve, emptyCallId}) EXPECT_EQ(parse(doc), -1) << doc.text();
    EXPECT_EQ(amtest::countLogs(1, kPark, updateLog(-1)), 4);

    // A required element that is missing ends the handling without a log line.
    devhost::clearLogs();
    Doc noParker = parked("c1");
    noParker.parker = "";
    Doc noParked = parked("c1");
    noParked.parked = "";
    for (const Doc &doc : {parked("c1", nullptr), noParker, noParked}) parse(doc);
    EXPECT_EQ(amVisualParkParse(1, "<park-info><state>parked</state><retrieve-number>1</retrieve-number>"
                                   "<parker-identity/><parked-identity/></park-info>"),
              -1);
    EXPECT_TRUE(devhost::logs().empty()) << amtest::dumpLogs();
    EXPECT_EQ(amGetCallParkNum(), 0);
    EXPECT_EQ(amHasVisualPark(), 0);
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 0);
}

TEST_F(VisualPark, CallTypeAndIdentitiesAreOptionalFields) {
    Doc video = parked("v");
    video.callType = "video";
    Doc emptyType = parked("e");
    emptyType.callType = "";
    Doc bare = parked("b");
    bare.parker = "<parker-identity/>";
    bare.parked = "<parked-identity>sip:302@pbx</parked-identity>";
    EXPECT_EQ(parse(video), 0);
    EXPECT_EQ(parse(emptyType), 0);
    EXPECT_EQ(parse(bare), 0);
    EXPECT_TRUE(amtest::hasLog(1, kPark, "amVisualParkParse: callType=[video]"));
    EXPECT_TRUE(amtest::hasLog(1, kPark, "amVisualParkParse: callType=[]"));
    EXPECT_EQ(amGetVisualParkCallType(0), 2);
    EXPECT_EQ(amGetVisualParkCallType(1), 1);
    EXPECT_EQ(amGetVisualParkCallType(2), 0);  // not given
    EXPECT_EQ(amGetVisualParkCallType(3), 1);  // no entry
    EXPECT_EQ(amGetVisualParkState(2), 2);
    EXPECT_EQ(amGetVisualParkState(3), 0);
    EXPECT_EQ(amGetVisualParkState(-1), 0);
    EXPECT_EQ(amGetVisualParkLine(3), -1);

    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(amGetVisualParkParkerUri(2, buffer, sizeof buffer), -1);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(sizeof buffer, '\0'));
    EXPECT_EQ(amGetVisualParkParkerDisplay(2, buffer, sizeof buffer), -1);
    EXPECT_EQ(amGetVisualParkParkedDisplay(2, buffer, sizeof buffer), -1);
    EXPECT_EQ(amGetVisualParkParkedUri(2, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "sip:302");  // cut to the buffer
    EXPECT_EQ(amGetVisualParkParkerDisplay(0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "Ann");
    EXPECT_EQ(amGetVisualParkParkedDisplay(0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "Bob");
    EXPECT_EQ(amGetVisualParkParkerUri(0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "sip:201");
    EXPECT_EQ(amGetVisualParkCallid(9, buffer, sizeof buffer), -1);
    EXPECT_EQ(amGetVisualParkRetrieveNumber(0, nullptr, 8), -1);
}

TEST_F(VisualPark, QueriesHandOutCopiesOrTheListsOwnEntry) {
    parse(parked("c1"));
    parse(parked("c2"));
    EXPECT_EQ(amGetVisualCallParkInfoByIndex(-1), nullptr);
    EXPECT_EQ(amGetVisualCallParkInfoByIndex(2), nullptr);
    AmVisualParkInfo *own = amGetVisualParkInfoByCallId("c2");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(amGetVisualParkInfoByCallId("c2"), own);
    EXPECT_EQ(amGetVisualParkInfoByCallId("C2"), nullptr);
    EXPECT_EQ(amGetVisualParkInfoByCallId(nullptr), nullptr);

    AmVisualParkInfo *copy = amGetVisualCallParkInfoByIndex(1);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, own);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId("c2"), 1);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId("c2"), 0);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId(nullptr), 0);
    EXPECT_EQ(order(), "c1 ");
    // The copy outlives the entry it was made from.
    EXPECT_STREQ(copy->callId, "c2");
    EXPECT_STREQ(copy->parkedUri, "sip:302@pbx");
    EXPECT_EQ(copy->state, 2);
    amFreeVisualParkInfo(copy);
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 2);  // removal by call id raises nothing

    long mark = devhost::liveBlocks();
    devhost::failNth(1);
    EXPECT_EQ(amGetVisualCallParkInfoByIndex(0), nullptr);
    devhost::failNone();
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(VisualPark, StoppingTheListFreesEveryTextOfEveryRecord) {
    long mark = devhost::liveBlocks();
    Doc video = parked("c3");
    video.callType = "video";
    for (const Doc &doc : {parked("c1"), parked("c2"), video}) parse(doc);
    EXPECT_EQ(devhost::liveBlocks(), mark + 3 * 7);
    amVisualParkInfoListUnInit();
    EXPECT_EQ(devhost::liveBlocks(), mark);
    EXPECT_EQ(amGetCallParkNum(), 0);
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(amGetCallParkNum(), 0);
}

TEST_F(VisualPark, AllocationFailureAnywhereInAnUpdateChangesNothing) {
    parse(parked("old"));
    devhost::clearEvents();
    Doc doc = parked("new");
    long before = devhost::allocationCalls();
    ASSERT_EQ(parse(doc), 0);
    long calls = devhost::allocationCalls() - before;
    amRemoveVisualParkInfoByCallId("new");
    EXPECT_GE(calls, 9);  // record, parser, six texts, list append
    long mark = devhost::liveBlocks();
    for (Doc attempt : {parked("new"), parked("old")}) {
        for (long nth = 1; nth <= calls; ++nth) {
            devhost::clearEvents();
            devhost::failNth(nth);
            parse(attempt);
            devhost::failNone();
            EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 0) << attempt.callId << " " << nth;
            EXPECT_EQ(order(), "old ") << attempt.callId << " " << nth;
            EXPECT_EQ(devhost::liveBlocks(), mark) << attempt.callId << " " << nth;
            EXPECT_EQ(devhost::liveParsers(), 0) << attempt.callId << " " << nth;
        }
    }
}

TEST_F(VisualPark, ParkInfoNotifiesReachTheList) {
    std::string body = parked("n1").text();
    EXPECT_EQ(amRecvNotify(1, "201", "park-info", "active", "Application/Park-Info+XML", body.c_str()), 0);
    EXPECT_EQ(amRecvNotify(1, "201", "park-info", "active", "application/xml", body.c_str()), 0);
    EXPECT_EQ(order(), "n1 ");
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 1);
}

}  // namespace
