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
char *AmVisualParkInfo::*const kTexts[] = {&AmVisualParkInfo::retrieveNumber, &AmVisualParkInfo::parkerDisplay,
                                           &AmVisualParkInfo::parkerUri,      &AmVisualParkInfo::parkedDisplay,
                                           &AmVisualParkInfo::parkedUri,      &AmVisualParkInfo::callId};

std::string doc(const std::string &callId, const std::string &state = "parked",
                const std::string &rest = kRetrieve + kIdentities) {
    return "<?xml version=\"1.0\"?>\n<park-info><call-id>" + callId + "</call-id><state>" + state + "</state>" + rest +
           "</park-info>";
}
int parse(const std::string &text, int line = 1) { return amVisualParkParse(line, text.c_str()); }

// A text getter's answer at a position: the text, or "-1" after checking that the
// buffer was left all zero.
std::string textAt(int (*get)(int, char *, int), int index) {
    char buffer[8];
    std::memset(buffer, 'x', sizeof buffer);
    if (get(index, buffer, sizeof buffer) == 0) return buffer;
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string(sizeof buffer, '\0'));
    return "-1";
}
// A number getter's answers at the positions 0 to 3.
std::string across(int (*get)(int)) {
    std::string text;
    for (int i = 0; i < 4; ++i) text += std::to_string(get(i)) + " ";
    return text;
}
std::string order() {
    std::string text;
    for (int i = 0; i < amGetCallParkNum(); ++i) text += textAt(amGetVisualParkCallid, i) + " ";
    return text;
}
int updateLogs(int result) {
    return amtest::countLogs(1, kPark, "amVisualParkInfoUpdate: update result=[" + std::to_string(result) + "]");
}

// Module start creates the list; the record and lifecycle tests go without it.
class VisualPark : public HostTest {};

TEST_F(VisualPark, CopiesOwnEveryTextAndAreAllOrNothing) {
    amFreeVisualParkInfo(nullptr);
    AmVisualParkInfo *info = amCreateVisualParkInfo(), zero;
    std::memset(&zero, 0, sizeof zero);
    ASSERT_EQ(std::memcmp(info, &zero, sizeof zero), 0);
    for (auto &text : kTexts) info->*text = uStrGetCopy(std::to_string(&text - kTexts).c_str());
    long full = devhost::liveBlocks();
    for (long nth = 1; nth <= 7; ++nth) {  // the record, then each text
        devhost::failNth(nth);
        EXPECT_EQ(amCopyVisualParkInfo(info), nullptr) << nth;
        EXPECT_EQ(devhost::liveBlocks(), full) << nth;
    }
    devhost::failNone();
    AmVisualParkInfo *copy = amCopyVisualParkInfo(info);
    amFreeVisualParkInfo(info);
    for (auto &text : kTexts) EXPECT_EQ(copy->*text, std::to_string(&text - kTexts));
    amFreeVisualParkInfo(copy);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    EXPECT_EQ(amCopyVisualParkInfo(nullptr), nullptr);
}

TEST_F(VisualPark, ListAndLockAreCreatedOnceAndStopsAreHarmless) {
    amVisualParkInfoListUnInit();  // never started
    amVisualParkLockUninit();
    devhost::failNth(1);
    amVisualParkLockInit();  // no lock: the list still works, unlocked
    devhost::failNth(1);
    EXPECT_EQ(amVisualParkInfoListInit(), -1);
    amVisualParkLockInit();
    amVisualParkLockInit();
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(devhost::liveMutexes() * 10 + devhost::liveLists(), 11);
    EXPECT_EQ(parse(doc("c1")) + parse(doc("c2")), 0);
    amVisualParkInfoListUnInit();
    EXPECT_EQ(devhost::liveBlocks(), 0);  // every entry with all its texts
    EXPECT_EQ(amVisualParkInfoListInit() + amGetCallParkNum(), 0);
    amModuleUnInit();  // the module's own stop takes both down
    amVisualParkInfoListUnInit();
    amVisualParkLockUninit();
    EXPECT_EQ(devhost::liveLists() + devhost::liveMutexes() + devhost::liveBlocks(), 0);
}

TEST_F(VisualPark, UpdatesAddReplaceAndRemoveWithAnEventEach) {
    ASSERT_EQ(amModuleInit(), 0);
    EXPECT_EQ(parse(doc("c1"), 2), 0);
    EXPECT_EQ(parse(doc("c2")), 0);
    EXPECT_EQ(amRecvNotify(1, "201", "park-info", "active", "Application/Park-Info+XML", doc("c3").c_str()), 0);
    EXPECT_EQ(parse(doc("c1", "parked", "<retrieve-number>*9</retrieve-number>" + kIdentities), 4), 2);
    EXPECT_EQ(order(), "c2 c3 c1 ");  // replaced and moved to the end
    EXPECT_EQ(textAt(amGetVisualParkRetrieveNumber, 2), "*9");
    EXPECT_EQ(amGetVisualParkLine(2), 4);
    EXPECT_EQ(parse(doc("c3", "terminated")), 1);
    EXPECT_EQ(parse(doc("c9", "terminated")), -1);
    EXPECT_EQ(order(), "c2 c1 ");
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 5);
    for (const devhost::Event &event : devhost::events()) EXPECT_TRUE(event.data.empty());
    EXPECT_EQ(std::to_string(updateLogs(0)) + std::to_string(updateLogs(1)) + std::to_string(updateLogs(2)) +
                  std::to_string(updateLogs(-1)),
              "3111");
}

TEST_F(VisualPark, IncompleteDocumentsChangeNothing) {
    ASSERT_EQ(amModuleInit(), 0);
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
    ASSERT_EQ(amModuleInit(), 0);
    parse(doc("v", "parked", "<call-type>video</call-type>" + kRetrieve + kIdentities), 3);
    parse(doc("e", "parked", "<call-type/>" + kRetrieve + kIdentities), 3);
    parse(doc("b", "parked", kRetrieve + "<parker-identity/><parked-identity>sip:302@pbx</parked-identity>"), 3);
    EXPECT_TRUE(amtest::hasLog(1, kPark, "amVisualParkParse: callType=[video]"));
    EXPECT_TRUE(amtest::hasLog(1, kPark, "amVisualParkParse: callType=[]"));
    EXPECT_EQ(amHasVisualPark(), 1);
    // Call types given, given without a value and not given; past the end, the defaults.
    EXPECT_EQ(across(amGetVisualParkCallType), "2 1 0 1 ");
    EXPECT_EQ(across(amGetVisualParkState), "2 2 2 0 ");
    EXPECT_EQ(across(amGetVisualParkLine), "3 3 3 -1 ");
    EXPECT_EQ(amGetVisualParkState(-1), 0);
    const std::pair<int (*)(int, char *, int), const char *> texts[] = {
        {amGetVisualParkParkerUri, "-1"},      {amGetVisualParkParkerDisplay, "-1"},
        {amGetVisualParkParkedDisplay, "-1"}, {amGetVisualParkParkedUri, "sip:302"},  // cut to the buffer
        {amGetVisualParkRetrieveNumber, "*881"}, {amGetVisualParkCallid, "b"},
    };
    for (const auto &text : texts) EXPECT_EQ(textAt(text.first, 2), text.second);
    EXPECT_EQ(textAt(amGetVisualParkParkerDisplay, 0) + textAt(amGetVisualParkParkedDisplay, 0), "AnnBob");
    EXPECT_EQ(textAt(amGetVisualParkCallid, 3), "-1");
    EXPECT_EQ(amGetVisualParkRetrieveNumber(0, nullptr, 8), -1);

    EXPECT_EQ(amGetVisualCallParkInfoByIndex(-1), nullptr);
    EXPECT_EQ(amGetVisualCallParkInfoByIndex(3), nullptr);
    AmVisualParkInfo *own = amGetVisualParkInfoByCallId("v");
    ASSERT_NE(own, nullptr);
    EXPECT_EQ(own, amGetVisualParkInfoByCallId("v"));
    EXPECT_EQ(amGetVisualParkInfoByCallId("V"), nullptr);
    EXPECT_EQ(amGetVisualParkInfoByCallId(nullptr), nullptr);
    AmVisualParkInfo *copy = amGetVisualCallParkInfoByIndex(2);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId("b"), 1);
    EXPECT_EQ(amRemoveVisualParkInfoByCallId("b") + amRemoveVisualParkInfoByCallId(nullptr), 0);
    EXPECT_EQ(order(), "v e ");
    // The copy outlives its entry, absent texts included.
    EXPECT_EQ(std::string(copy->callId) + copy->retrieveNumber + copy->parkedUri, "b*881sip:302@pbx");
    EXPECT_EQ(copy->parkerUri == nullptr && copy->parkerDisplay == nullptr && copy->parkedDisplay == nullptr, true);
    EXPECT_EQ(copy->state * 100 + copy->line * 10 + copy->callType, 230);
    amFreeVisualParkInfo(copy);
    EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME), 3);  // removal by call id raises nothing
}

TEST_F(VisualPark, AllocationFailureChangesNothing) {
    ASSERT_EQ(amModuleInit(), 0);
    parse(doc("old"));
    long mark = devhost::liveBlocks();
    for (const char *callId : {"new", "old"}) {  // an addition and a replacement
        for (long nth = 1; nth <= 9; ++nth) {    // record, parser, six texts, list append
            devhost::failNth(nth);
            parse(doc(callId));
            const std::string where = callId + std::to_string(nth);
            EXPECT_EQ(amtest::countEvents(AM_VISUAL_PARK_EVENT_NAME) + devhost::liveParsers(), 1) << where;
            EXPECT_EQ(order(), "old ") << where;
            EXPECT_EQ(devhost::liveBlocks(), mark) << where;
        }
    }
}

}  // namespace
