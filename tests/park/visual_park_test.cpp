// The visual park records, the phone-wide list fed by park-info documents, and the
// queries by position.
#include <cstring>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kPark[] = "ostra.am.parkInfo";
const std::string kRetrieve = "<retrieve-number>*881</retrieve-number>";
const std::string kIdentities = "<parker-identity display=\"Ann\">sip:201@pbx</parker-identity>"
                                "<parked-identity display=\"Bob\">sip:302@pbx</parked-identity>";

std::string doc(const std::string &callId, const std::string &state = "parked",
                const std::string &rest = kRetrieve + kIdentities) {
    return "<?xml version=\"1.0\"?>\n<park-info><call-id>" + callId + "</call-id><state>" + state + "</state>" + rest +
           "</park-info>";
}
int parse(const std::string &text, int line = 1) { return amVisualParkParse(line, text.c_str()); }

std::string order() {
    std::string text;
    char buffer[32];
    for (int i = 0; i < amGetCallParkNum(); ++i) {
        text += amGetVisualParkCallid(i, buffer, sizeof buffer) == 0 ? buffer : "?";
        text += " ";
    }
    return text;
}
int updateLogs(int result) {
    return amtest::countLogs(1, kPark, "amVisualParkInfoUpdate: update result=[" + std::to_string(result) + "]");
}

class VisualParkRecords : public HostTest {};

class VisualPark : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        ASSERT_EQ(amModuleInit(), 0);
    }
};

TEST_F(VisualParkRecords, CopiesOwnEveryTextAndAreAllOrNothing) {
    long mark = devhost::liveBlocks();
    amFreeVisualParkInfo(nullptr);
    AmVisualParkInfo *info = amCreateVisualParkInfo(), zero;
    std::memset(&zero, 0, sizeof zero);
    ASSERT_EQ(std::memcmp(info, &zero, sizeof zero), 0);
    *info = AmVisualParkInfo{1, 7, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 2};
    AmVisualParkInfo *copy = amCopyVisualParkInfo(info);
    EXPECT_EQ(copy->state * 100 + copy->line * 10 + copy->callType, 172);
    EXPECT_EQ(copy->callId, nullptr);  // NULL texts stay NULL
    EXPECT_EQ(copy->parkerDisplay, nullptr);
    amFreeVisualParkInfo(copy);

    char *AmVisualParkInfo::*texts[] = {&AmVisualParkInfo::retrieveNumber, &AmVisualParkInfo::parkerDisplay,
                                        &AmVisualParkInfo::parkerUri,      &AmVisualParkInfo::parkedDisplay,
                                        &AmVisualParkInfo::parkedUri,      &AmVisualParkInfo::callId};
    for (auto &text : texts) info->*text = uStrGetCopy(std::to_string(&text - texts).c_str());
    long full = devhost::liveBlocks();
    for (long nth = 1; nth <= 7; ++nth) {  // the record, then each text
        devhost::failNth(nth);
        EXPECT_EQ(amCopyVisualParkInfo(info), nullptr) << nth;
        EXPECT_EQ(devhost::liveBlocks(), full) << nth;
    }
    devhost::failNone();
    copy = amCopyVisualParkInfo(info);
    amFreeVisualParkInfo(info);
    for (auto &text : texts) EXPECT_EQ(copy->*text, std::to_string(&text - texts));
    amFreeVisualParkInfo(copy);
    EXPECT_EQ(devhost::liveBlocks(), mark);
    EXPECT_EQ(amCopyVisualParkInfo(nullptr), nullptr);
}

TEST_F(VisualParkRecords, ListAndLockAreCreatedOnceAndStopsAreHarmless) {
    amVisualParkInfoListUnInit();  // never started
    amVisualParkLockUninit();
    devhost::failNth(1);
    amVisualParkLockInit();  // no lock: the list still works, unlocked
    devhost::failNth(1);
    EXPECT_EQ(amVisualParkInfoListInit(), -1);
    EXPECT_EQ(devhost::liveLists(), 0);
    amVisualParkLockInit();
    amVisualParkLockInit();
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(devhost::liveMutexes(), 1);
    EXPECT_EQ(devhost::liveLists(), 1);
    EXPECT_EQ(parse(doc("c1")), 0);
    amModuleUnInit();  // the module's own stop takes both down
    amVisualParkInfoListUnInit();
    amVisualParkLockUninit();
    EXPECT_EQ(devhost::liveLists(), 0);
    EXPECT_EQ(devhost::liveMutexes(), 0);
    EXPECT_EQ(devhost::liveBlocks(), 0);
}

TEST_F(VisualPark, UpdatesAddReplaceAndRemoveWithAnEventEach) {
    EXPECT_EQ(parse(doc("c1"), 2), 0);
    EXPECT_EQ(parse(doc("c2")), 0);
    EXPECT_EQ(amRecvNotify(1, "201", "park-info", "active", "Application/Park-Info+XML", doc("c3").c_str()), 0);
    EXPECT_EQ(parse(doc("c1", "parked", "<retrieve-number>*9</retrieve-number>" + kIdentities), 4), 2);
    EXPECT_EQ(order(), "c2 c3 c1 ");  // replaced and moved to the end
    char buffer[8];
    EXPECT_EQ(amGetVisualParkRetrieveNumber(2, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "*9");
    EXPECT_EQ(amGetVisualParkLine(2), 4);
    EXPECT_EQ(parse(doc("c3", "terminated")), 1);
    EXPECT_EQ(parse(doc("c9", "terminated")), -1);
    EXPECT_EQ(order(), "c2 c1 ");
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 5);
    for (const devhost::Event &event : devhost::events()) EXPECT_TRUE(event.data.empty());
    EXPECT_EQ(updateLogs(0), 3);
    EXPECT_EQ(updateLogs(2), 1);
    EXPECT_EQ(updateLogs(1), 1);
    EXPECT_EQ(updateLogs(-1), 1);
}

TEST_F(VisualPark, IncompleteDocumentsChangeNothing) {
    EXPECT_EQ(amVisualParkParse(1, nullptr), -1);
    EXPECT_EQ(parse("<park-info><call-id>c1</call-id>"), -1);
    // A missing required element ends the handling without a log line.
    for (const std::string &rest : {kIdentities, kRetrieve + kIdentities.substr(0, 59), kRetrieve}) {
        EXPECT_EQ(parse(doc("c1", "parked", rest)), -1) << rest;
    }
    EXPECT_EQ(parse("<park-info><state>parked</state>" + kRetrieve + kIdentities + "</park-info>"), -1);
    EXPECT_TRUE(devhost::logs().empty()) << amtest::dumpLogs();
    // Present but unusable: the update step refuses it, with its log line.
    EXPECT_EQ(parse(doc("c1", "Parked")), -1);
    EXPECT_EQ(parse(doc("c1", " parked")), -1);  // values are read as written
    EXPECT_EQ(parse(doc("c1", "parked", "<retrieve-number/>" + kIdentities)), -1);
    EXPECT_EQ(parse(doc("", "parked")), -1);
    EXPECT_EQ(updateLogs(-1), 4);
    EXPECT_EQ(amHasVisualPark(), 0);
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 0);
}

TEST_F(VisualPark, QueriesGiveCopiesTheListsOwnEntryOrDefaults) {
    parse(doc("v", "parked", "<call-type>video</call-type>" + kRetrieve + kIdentities));
    parse(doc("e", "parked", "<call-type/>" + kRetrieve + kIdentities));
    parse(doc("b", "parked", kRetrieve + "<parker-identity/><parked-identity>sip:302@pbx</parked-identity>"));
    EXPECT_TRUE(amtest::hasLog(1, kPark, "amVisualParkParse: callType=[video]"));
    EXPECT_TRUE(amtest::hasLog(1, kPark, "amVisualParkParse: callType=[]"));
    EXPECT_EQ(amHasVisualPark(), 1);
    // Call types: given, given without a value, not given, no entry.
    EXPECT_EQ(std::to_string(amGetVisualParkCallType(0)) + std::to_string(amGetVisualParkCallType(1)) +
                  std::to_string(amGetVisualParkCallType(2)) + std::to_string(amGetVisualParkCallType(3)),
              "2101");
    EXPECT_EQ(amGetVisualParkState(2), 2);
    EXPECT_EQ(amGetVisualParkState(-1), 0);
    EXPECT_EQ(amGetVisualParkLine(3), -1);

    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(amGetVisualParkParkerUri(2, buffer, sizeof buffer), -1);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(sizeof buffer, '\0'));
    EXPECT_EQ(amGetVisualParkParkerDisplay(2, buffer, sizeof buffer), -1);
    EXPECT_EQ(amGetVisualParkParkedUri(2, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "sip:302");  // cut to the buffer
    EXPECT_EQ(amGetVisualParkParkerDisplay(0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "Ann");
    EXPECT_EQ(amGetVisualParkParkedDisplay(0, buffer, sizeof buffer), 0);
    EXPECT_STREQ(buffer, "Bob");
    EXPECT_EQ(amGetVisualParkRetrieveNumber(0, nullptr, 8), -1);

    EXPECT_EQ(amGetVisualCallParkInfoByIndex(-1), nullptr);
    EXPECT_EQ(amGetVisualCallParkInfoByIndex(3), nullptr);
    AmVisualParkInfo *own = amGetVisualParkInfoByCallId("v");
    EXPECT_EQ(amGetVisualParkInfoByCallId("v"), own);
    EXPECT_EQ(amGetVisualParkInfoByCallId("V"), nullptr);
    EXPECT_EQ(amGetVisualParkInfoByCallId(nullptr), nullptr);
    AmVisualParkInfo *copy = amGetVisualCallParkInfoByIndex(0);
    ASSERT_NE(copy, nullptr);
    EXPECT_NE(copy, own);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId("v"), 1);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId("v"), 0);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId(nullptr), 0);
    EXPECT_EQ(order(), "e b ");
    EXPECT_STREQ(copy->callId, "v");  // the copy outlives its entry
    EXPECT_STREQ(copy->parkerUri, "sip:201@pbx");
    amFreeVisualParkInfo(copy);
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 3);  // removal by call id raises nothing
    long mark = devhost::liveBlocks();
    devhost::failNth(1);
    EXPECT_EQ(amGetVisualCallParkInfoByIndex(0), nullptr);
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(VisualPark, AllocationFailureChangesNothingAndStopFreesEverything) {
    long empty = devhost::liveBlocks();
    parse(doc("old"));
    long mark = devhost::liveBlocks(), before = devhost::allocationCalls();
    ASSERT_EQ(parse(doc("new")), 0);
    long calls = devhost::allocationCalls() - before;
    EXPECT_EQ(calls, 9);  // record, parser, six texts, list append
    amRemoveVisualParkInfoByCallId("new");
    devhost::clearEvents();
    for (const char *callId : {"new", "old"}) {  // an addition and a replacement
        for (long nth = 1; nth <= calls; ++nth) {
            devhost::failNth(nth);
            parse(doc(callId));
            EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 0) << callId << nth;
            EXPECT_EQ(order(), "old ") << callId << nth;
            EXPECT_EQ(devhost::liveBlocks(), mark) << callId << nth;
            EXPECT_EQ(devhost::liveParsers(), 0) << callId << nth;
        }
    }
    devhost::failNone();
    parse(doc("c2", "parked", "<call-type>video</call-type>" + kRetrieve + kIdentities));
    EXPECT_EQ(devhost::liveBlocks(), empty + 2 * 7);
    amVisualParkInfoListUnInit();
    EXPECT_EQ(devhost::liveBlocks(), empty);
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(amGetCallParkNum(), 0);
}

}  // namespace
