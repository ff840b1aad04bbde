// BLF states, the writable state texts and the multi-dialog store.
#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr char kDialog[] = "ostra.am.dialogInfo";

class BlfStore : public amtest::HostTest {
protected:
    // One document's records for 201 on line 1, from {state word, dialog id} pairs.
    static uList *records(std::vector<std::pair<const char *, const char *>> dialogs, int line = 1,
                          const char *number = "201") {
        uList *list = uListInit(0);
        for (const auto &d : dialogs) {
            uListAppend(list, amRecvDialogInfoProcess(line, number, nullptr, d.first, d.second, nullptr, nullptr, nullptr));
        }
        return list;
    }
    // Reports one dialog as a partial document; the status it went out with.
    int report(int line, const char *number, const char *stateWord, const char *id) {
        amBlfDialogInfoUpdateAndClear(line, records({{stateWord, id}}, line, number), nullptr, 0);
        auto found = amtest::eventsNamed(AM_BLF_EVENT_NAME);
        return found.empty() ? -1 : amtest::record<AmBlfStatus>(found.back()).status;
    }
    // Multi-dialog line 1 with dialogs a (confirmed), b (early) and c stored for 201.
    void storeThree(const char *stateOfC) {
        devhost::line(1).multiDialog = 1;
        report(1, "201", "confirmed", "a");
        report(1, "201", "early", "b");
        report(1, "201", stateOfC, "c");
        devhost::clearEvents();
    }
    // "id:state/status" of every BLF event, in order.
    static std::string reported() {
        std::string text;
        for (const devhost::Event &e : amtest::eventsNamed(AM_BLF_EVENT_NAME)) {
            auto r = amtest::record<AmBlfStatus>(e);
            text += std::string(r.dialogId) + ":" + std::to_string(r.state) + "/" + std::to_string(r.status) + " ";
        }
        return text;
    }
    static std::string shown() {
        testing::internal::CaptureStdout();
        amBlfDialogShow();
        return testing::internal::GetCapturedStdout();
    }
};

TEST_F(BlfStore, StateWordsAndTexts) {
    // Table texts match in any case, the other words only as written.
    struct {
        const char *word, *direction;
        int state;
    } cases[] = {
        {"early", "initiator", 4}, {"early", "Initiator", 4}, {"early", "recipient", 7}, {"Early", nullptr, 7},
        {"Confirmed", nullptr, 4}, {"proceeding", "initiator", 4}, {"Proceeding", nullptr, 0}, {"reset", nullptr, 11},
        {"No status", nullptr, 16}, {"DND", nullptr, 13}, {"dnd", nullptr, 0}, {"", nullptr, 0},
        {nullptr, "initiator", 0},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(amDialogInfoStateConvert(c.word, c.direction), c.state) << (c.word != nullptr ? c.word : "null");
    }
    EXPECT_STREQ(amBlfStateToStr(AM_BLF_STATE_SUCCESS), "blf Sucess");
    EXPECT_STREQ(amBlfStateToStr(AM_BLF_STATE_OFFLINE), "blf offline");
    for (int state : {-1, 8, 10, AM_BLF_STATE_RESET, 17, 1000}) EXPECT_STREQ(amBlfStateToStr(state), "blf Unknown State");
}

TEST_F(BlfStore, CustomTextsTakePrecedenceAndStayTerminated) {
    char buf[64];
    EXPECT_EQ(amBlfStateCustomTextQuery(AM_BLF_STATE_TALKING, buf, sizeof buf), 0);
    EXPECT_STREQ(buf, "confirmed");
    EXPECT_EQ(amBlfStateTextSet(8, "x"), -1);
    EXPECT_EQ(amBlfStateCustomTextQuery(8, buf, sizeof buf), -1);
    EXPECT_EQ(amBlfStateCustomTextQuery(AM_BLF_STATE_TALKING, nullptr, 4), -1);
    EXPECT_EQ(amBlfStateCustomTextQuery(AM_BLF_STATE_TALKING, buf, -1), -1);

    EXPECT_EQ(amBlfStateTextSet(AM_BLF_STATE_RINGING, nullptr), 0);
    EXPECT_EQ(amDialogInfoStateConvert("early", nullptr), AM_BLF_STATE_RINGING) << "fallback word";
    EXPECT_EQ(amDialogInfoStateConvert("Early", nullptr), AM_BLF_STATE_IDLE);
    EXPECT_EQ(amBlfStateTextSet(AM_BLF_STATE_DIALING, "trying"), 0);
    EXPECT_EQ(amDialogInfoStateConvert("TRYING", nullptr), AM_BLF_STATE_DIALING);

    std::string tooLong(60, 'w');
    EXPECT_EQ(amBlfStateTextSet(AM_BLF_STATE_PARKED, tooLong.c_str()), 0);
    EXPECT_EQ(amBlfStateCustomTextQuery(AM_BLF_STATE_PARKED, buf, sizeof buf), 0);
    EXPECT_EQ(std::string(buf), std::string(39, 'w'));
    EXPECT_EQ(amBlfStateCustomTextQuery(AM_BLF_STATE_PARKED, buf, 5), 0);
    EXPECT_STREQ(buf, "wwww");
}

TEST_F(BlfStore, MasksFollowEveryDialogOfANumberInMultiDialogModeOnly) {
    devhost::line(1).multiDialog = 1;
    devhost::line(2).multiDialog = 1;
    EXPECT_EQ(report(1, "201", "confirmed", "a"), 16);
    EXPECT_EQ(report(1, "201", "early", "b"), 144);
    // Another number or line sees only its own dialogs.
    EXPECT_EQ(report(1, "202", "early", "c"), 128);
    EXPECT_EQ(report(2, "201", "early", "c"), 128);
    EXPECT_TRUE(amtest::hasLog(0, kDialog, "amBlfDialogInfoUpdateAndClear: status=128\n"));
    EXPECT_EQ(report(1, "201", "terminated", "a"), 128);
    EXPECT_EQ(report(1, "201", "terminated", "b"), 1);
    // An idle report of a dialog never stored keeps the idle bit beside the others.
    report(1, "201", "confirmed", "c");
    EXPECT_EQ(report(1, "201", "terminated", "zz"), 17);

    // Single-dialog mode: each report carries its own bit alone, and nothing is stored.
    long mark = devhost::liveBlocks();
    EXPECT_EQ(report(3, "201", "confirmed", "a"), 16);
    EXPECT_EQ(report(3, "201", "early", "b"), 128);
    EXPECT_TRUE(amtest::hasLog(0, kDialog, "amBlfStatusPriorityGet: multi dialog not enable\n"));
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(BlfStore, FullDocumentSettlesTheStore) {
    storeThree("confirmed");
    // The full document keeps b (now confirmed) and adds d; a and c are gone.
    uList *old = amBlfDialogInfoRemove(1, "201");
    ASSERT_EQ(uListSize(old), 3);
    amBlfDialogInfoUpdateAndClear(1, records({{"confirmed", "b"}, {"early", "d"}, {"terminated", "e"}}), old, 1);
    // Each record carries the mask of itself and the records before it; the ended ones last.
    EXPECT_EQ(reported(), "b:4/16 d:7/144 e:0/145 a:0/145 c:0/145 ");
    EXPECT_TRUE(amtest::hasLog(0, kDialog, "amBlfDialogInfoUpdateAndClear: full status=144 realstate=[7]\n"));
    EXPECT_EQ(shown(), "amBlfDialogShow: [1] [201] [b] [16]\namBlfDialogShow: [1] [201] [d] [144]\n");
}

TEST_F(BlfStore, ClearsAndShow) {
    devhost::line(1).multiDialog = 1;
    devhost::line(2).multiDialog = 1;
    long mark = devhost::liveBlocks();
    EXPECT_EQ(shown(), "amBlfDialogShow: No dialog info exist!\n");
    report(1, "201", "confirmed", "a");
    report(1, "202", "confirmed", "b");
    report(2, "201", "confirmed", "c");
    amBlfDialogInfoClearByNumber(1, nullptr);
    EXPECT_EQ(shown(), "amBlfDialogShow: [1] [201] [a] [0]\namBlfDialogShow: [1] [202] [b] [0]\n"
                       "amBlfDialogShow: [2] [201] [c] [0]\n");
    amBlfDialogInfoClearByNumber(1, "201");
    EXPECT_TRUE(amtest::hasLog(1, kDialog, "amBlfDialogInfoClear: line=[1] number=[201] "));
    EXPECT_EQ(shown(), "amBlfDialogShow: [1] [202] [b] [0]\namBlfDialogShow: [2] [201] [c] [0]\n");
    amBlfDialogInfoClearByLine(1);
    EXPECT_TRUE(amtest::hasLog(1, kDialog, "amBlfDialogInfoClear: line=[1] number=[null] "));
    EXPECT_EQ(shown(), "amBlfDialogShow: [2] [201] [c] [0]\n");
    amBlfDialogInfoClearByLine(2);
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(BlfStore, AllocationFailuresNeverLeakOrStoreHalfRecords) {
    devhost::line(1).multiDialog = 1;
    long mark = devhost::liveBlocks();
    devhost::failNth(1);
    EXPECT_EQ(amRecvDialogInfoProcess(1, "201", nullptr, "early", "a", nullptr, nullptr, nullptr), nullptr);
    devhost::failNth(1);
    EXPECT_EQ(amBlfDialogInfoRemove(1, "201"), nullptr);
    devhost::failNone();
    // The store's own record cannot be made: the report still goes out with its own bit.
    devhost::failNth(2);  // store list, then the stored copy
    EXPECT_EQ(amBlfStatusPriorityGet(1, "201", AM_BLF_STATE_RINGING, "a"), 128);
    devhost::failNone();
    EXPECT_EQ(amBlfStatusPriorityGet(1, "201", AM_BLF_STATE_TALKING, "b"), 16) << "a was never stored";
    EXPECT_EQ(amBlfDialogInfoAppend(nullptr), -1);
    amBlfDialogInfoClearByLine(1);
    EXPECT_EQ(devhost::liveBlocks(), mark);
}

TEST_F(BlfStore, FullDocumentUnderAllocationFailureKeepsEachDialogOnce) {
    storeThree("holding");
    long blocks = devhost::liveBlocks();
    // The hand-over of a fails: a is dropped, not left stored beside its successor.
    devhost::failNth(2);  // the new list, then a's place in it
    uList *old = amBlfDialogInfoRemove(1, "201");
    devhost::failNone();
    ASSERT_EQ(uListSize(old), 2);

    uList *document = records({{"confirmed", "a"}, {"confirmed", "b"}});
    devhost::failNth(2);  // a is stored, b's place in the store cannot be made: b is freed
    amBlfDialogInfoUpdateAndClear(1, document, old, 1);
    devhost::failNone();
    EXPECT_EQ(reported(), "a:4/16 b:4/16 c:0/16 ");
    EXPECT_EQ(shown(), "amBlfDialogShow: [1] [201] [a] [16]\n");
    amBlfDialogInfoClearByLine(1);
    EXPECT_EQ(devhost::liveBlocks(), blocks - 3);
}

}  // namespace
