// Records of parked calls and the start and stop of the phone-wide list and its lock.
#include <cstring>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;

class ParkRecords : public HostTest {};

AmVisualParkInfo *fullRecord() {
    AmVisualParkInfo *info = amCreateVisualParkInfo();
    info->state = AM_VISUAL_PARK_STATE_PARKED;
    info->line = 3;
    info->callType = AM_VISUAL_PARK_CALL_TYPE_VIDEO;
    info->retrieveNumber = uStrGetCopy("*88");
    info->parkerDisplay = uStrGetCopy("Ann");
    info->parkerUri = uStrGetCopy("sip:201@pbx");
    info->parkedDisplay = uStrGetCopy("Bob");
    info->parkedUri = uStrGetCopy("sip:302@pbx");
    info->callId = uStrGetCopy("c1@pbx");
    return info;
}

TEST_F(ParkRecords, CreateCopyAndFreeOwnEveryText) {
    long mark = devhost::liveBlocks();
    amFreeVisualParkInfo(nullptr);
    AmVisualParkInfo *empty = amCreateVisualParkInfo();
    ASSERT_NE(empty, nullptr);
    AmVisualParkInfo zero;
    std::memset(&zero, 0, sizeof zero);
    EXPECT_EQ(std::memcmp(empty, &zero, sizeof zero), 0);
    empty->state = AM_VISUAL_PARK_STATE_TERMINATED;
    empty->line = 7;
    empty->callType = AM_VISUAL_PARK_CALL_TYPE_AUDIO;
    AmVisualParkInfo *emptyCopy = amCopyVisualParkInfo(empty);
    ASSERT_NE(emptyCopy, nullptr);
    EXPECT_EQ(std::memcmp(emptyCopy, empty, sizeof zero), 0);  // same numbers, every text NULL
    amFreeVisualParkInfo(empty);
    amFreeVisualParkInfo(emptyCopy);
    EXPECT_EQ(devhost::liveBlocks(), mark);

    AmVisualParkInfo *full = fullRecord();
    AmVisualParkInfo *copy = amCopyVisualParkInfo(full);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(devhost::liveBlocks(), mark + 14);
    EXPECT_NE(copy->callId, full->callId);
    amFreeVisualParkInfo(full);  // the copy owns texts of its own
    EXPECT_EQ(copy->state, AM_VISUAL_PARK_STATE_PARKED);
    EXPECT_EQ(copy->line, 3);
    EXPECT_EQ(copy->callType, AM_VISUAL_PARK_CALL_TYPE_VIDEO);
    EXPECT_STREQ(copy->retrieveNumber, "*88");
    EXPECT_STREQ(copy->parkerDisplay, "Ann");
    EXPECT_STREQ(copy->parkerUri, "sip:201@pbx");
    EXPECT_STREQ(copy->parkedDisplay, "Bob");
    EXPECT_STREQ(copy->parkedUri, "sip:302@pbx");
    EXPECT_STREQ(copy->callId, "c1@pbx");
    amFreeVisualParkInfo(copy);
    EXPECT_EQ(devhost::liveBlocks(), mark);
    EXPECT_EQ(amCopyVisualParkInfo(nullptr), nullptr);
}

TEST_F(ParkRecords, CopyGivesNothingWhenAnyAllocationFails) {
    AmVisualParkInfo *full = fullRecord();
    long mark = devhost::liveBlocks();
    for (long nth = 1; nth <= 7; ++nth) {  // the record, then its six texts
        devhost::failNth(nth);
        EXPECT_EQ(amCopyVisualParkInfo(full), nullptr) << nth;
        devhost::failNone();
        EXPECT_EQ(devhost::liveBlocks(), mark) << nth;
    }
    devhost::failNth(1);
    EXPECT_EQ(amCreateVisualParkInfo(), nullptr);
    devhost::failNone();
    amFreeVisualParkInfo(full);
}

TEST_F(ParkRecords, StateAndCallTypeTablesCompareExactly) {
    EXPECT_EQ(amGetVisualParkInfoStateByStr(nullptr), 0);
    EXPECT_EQ(amGetVisualParkInfoStateByStr("terminated"), 1);
    EXPECT_EQ(amGetVisualParkInfoStateByStr("parked"), 2);
    EXPECT_EQ(amGetVisualParkInfoStateByStr("Parked"), 0);
    EXPECT_EQ(amGetVisualParkInfoStateByStr("parked "), 0);
    EXPECT_EQ(amGetVisualParkInfoStateByStr(""), 0);
    EXPECT_EQ(amGetVisualParkCallTypeByStr("video"), 2);
    EXPECT_EQ(amGetVisualParkCallTypeByStr("Video"), 1);
    EXPECT_EQ(amGetVisualParkCallTypeByStr("audio"), 1);
    EXPECT_EQ(amGetVisualParkCallTypeByStr(""), 1);
    EXPECT_EQ(amGetVisualParkCallTypeByStr(nullptr), 1);
}

TEST_F(ParkRecords, ListAndLockAreCreatedOnceAndStopsAreHarmless) {
    // Stopping what was never started does nothing.
    amVisualParkInfoListUnInit();
    amVisualParkLockUninit();
    long lists = devhost::liveLists(), mutexes = devhost::liveMutexes();
    amVisualParkLockInit();
    amVisualParkLockInit();
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    EXPECT_EQ(devhost::liveMutexes(), mutexes + 1);
    EXPECT_EQ(devhost::liveLists(), lists + 1);
    amVisualParkInfoListUnInit();
    amVisualParkInfoListUnInit();
    amVisualParkLockUninit();
    amVisualParkLockUninit();
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    EXPECT_EQ(devhost::liveLists(), lists);
}

TEST_F(ParkRecords, FailedCreationIsReportedAndRetried) {
    long lists = devhost::liveLists();
    devhost::failNth(1);
    amVisualParkLockInit();  // no lock: the list still works, unlocked
    devhost::failNth(1);
    EXPECT_EQ(amVisualParkInfoListInit(), -1);
    EXPECT_EQ(devhost::liveLists(), lists);
    EXPECT_EQ(amVisualParkInfoListInit(), 0);
    amVisualParkInfoListUnInit();
    amVisualParkLockUninit();
    EXPECT_EQ(devhost::liveLists(), lists);
}

TEST_F(ParkRecords, ModuleStartAndStopOwnTheListAndLock) {
    long lists = devhost::liveLists(), mutexes = devhost::liveMutexes(), blocks = devhost::liveBlocks();
    EXPECT_EQ(amModuleInit(), 0);
    EXPECT_GT(devhost::liveLists(), lists);
    EXPECT_GT(devhost::liveMutexes(), mutexes);
    amModuleUnInit();
    EXPECT_EQ(devhost::liveLists(), lists);
    EXPECT_EQ(devhost::liveMutexes(), mutexes);
    EXPECT_EQ(devhost::liveBlocks(), blocks);
}

}  // namespace
