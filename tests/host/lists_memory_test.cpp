// The development host's lists, text helpers and allocation failure injection.
#include "am_test.h"

namespace {

using amtest::HostTest;

class HostMemory : public HostTest {};

TEST_F(HostMemory, ListKeepsOrderAcrossRemovalsAndNullElements) {
    uList *list = uListInit(0);
    ASSERT_NE(list, nullptr);
    int a = 1, b = 2, c = 3;
    ASSERT_EQ(uListAppend(list, &a), 0);
    ASSERT_EQ(uListAppend(list, nullptr), 0);
    ASSERT_EQ(uListAppend(list, &b), 0);
    ASSERT_EQ(uListAppend(list, &c), 0);
    EXPECT_EQ(uListSize(list), 4);
    EXPECT_EQ(uListGet(list, 1), nullptr);
    EXPECT_FALSE(uListEol(list, 1));
    EXPECT_EQ(uListPosGetByElement(list, &b), 2);
    EXPECT_EQ(uListRemove(list, 1), nullptr);
    EXPECT_EQ(uListGet(list, 1), &b);
    EXPECT_EQ(uListPosGetByElement(list, &c), 2);
    EXPECT_TRUE(uListEol(list, 3));
    EXPECT_TRUE(uListEol(list, -1));
    EXPECT_EQ(uListRemove(list, 7), nullptr);
    EXPECT_EQ(uListPosGetByElement(list, &list), -1);
    uListUninit(list);
    EXPECT_EQ(devhost::liveLists(), 0);
}

TEST_F(HostMemory, NullListBehavesAsEmpty) {
    EXPECT_EQ(uListSize(nullptr), 0);
    EXPECT_EQ(uListGet(nullptr, 0), nullptr);
    EXPECT_TRUE(uListEol(nullptr, 0));
    EXPECT_EQ(uListAppend(nullptr, nullptr), -1);
    EXPECT_EQ(uListRemove(nullptr, 0), nullptr);
    EXPECT_EQ(uListRemoveAndFree(nullptr, 0, nullptr), -1);
    EXPECT_EQ(uListPosGetByElement(nullptr, nullptr), -1);
    uListUninit(nullptr);
}

int gFreedByCallback = 0;
void countingFree(void *element) {
    ++gFreedByCallback;
    uFree(element);
}

TEST_F(HostMemory, RemoveAndFreeUsesTheGivenFunctionOrUFree) {
    uList *list = uListInit(0);
    uListAppend(list, uMalloc(8));
    uListAppend(list, uStrGetCopy("x"));
    EXPECT_EQ(devhost::liveBlocks(), 2);
    EXPECT_EQ(uListRemoveAndFree(list, 0, countingFree), 0);
    EXPECT_EQ(gFreedByCallback, 1);
    EXPECT_EQ(uListRemoveAndFree(list, 0, nullptr), 0);
    EXPECT_EQ(uListRemoveAndFree(list, 0, nullptr), -1);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    uListUninit(list);
}

TEST_F(HostMemory, FailureInjectionCountsEveryAllocatingCall) {
    devhost::failNth(3);
    void *first = uMalloc(4);
    char *second = uStrGetCopy("abc");
    uList *third = uListInit(0);
    SEM_ID fourth = semMCreate(0);
    EXPECT_NE(first, nullptr);
    EXPECT_NE(second, nullptr);
    EXPECT_EQ(third, nullptr);
    EXPECT_NE(fourth, nullptr);
    EXPECT_EQ(devhost::failedCalls(), 1);

    uList *list = uListInit(0);
    devhost::failAfter(1);
    EXPECT_EQ(uListAppend(list, first), 0);
    EXPECT_EQ(uListAppend(list, second), -1);
    EXPECT_EQ(ncCreatePrivate("x"), nullptr);
    EXPECT_EQ(uMalloc(1), nullptr);
    EXPECT_EQ(devhost::failedCalls(), 4);
    devhost::failNone();
    EXPECT_EQ(uListSize(list), 1);

    uFree(first);
    uFree(second);
    uListUninit(list);
    semDelete(fourth);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    EXPECT_EQ(devhost::liveMutexes(), 0);
}

TEST_F(HostMemory, BoundedCopiesAlwaysTerminate) {
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(uStrSafeCopy(buffer, 4, "abcdef"), 3);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(uStrSafeCopy(buffer, 4, nullptr), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(uStrnSafeCopy(buffer, 4, "abcdef", 2), 2);
    EXPECT_STREQ(buffer, "ab");
    EXPECT_EQ(uStrnSafeCopy(buffer, 4, "abcdef", -1), 0);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(uStrnSafeCopy(buffer, 1, "abcdef", 6), 0);
    EXPECT_STREQ(buffer, "");
}

TEST_F(HostMemory, TextHelpers) {
    EXPECT_STREQ(uStrCaseStr("Content-Type: TEXT/plain", "text/PLAIN"), "TEXT/plain");
    EXPECT_EQ(uStrCaseStr("abc", "abcd"), nullptr);
    EXPECT_EQ(uStrStr(nullptr, "a"), nullptr);
    EXPECT_EQ(uStrCaseStr("a", nullptr), nullptr);
    char spaced[] = " \t value here \r\n";
    EXPECT_STREQ(uStrStripSpace(spaced), "value here");
    char lines[] = "a\r\nb\nc\r";
    EXPECT_STREQ(uStrStripCrlf(lines), "abc");
    char url[] = "sip%3A201%40host%zz%4";
    EXPECT_STREQ(uStrUrlDecode(url), "sip:201@host%zz%4");
    EXPECT_EQ(uStrStripSpace(nullptr), nullptr);
    char *empty = uStrGetCopy("");
    EXPECT_STREQ(empty, "");
    uFree(empty);
    EXPECT_EQ(uStrGetCopy(nullptr), nullptr);
}

TEST_F(HostMemory, MapsAndDigest) {
    static const uMapEntry table[] = {{1, "one"}, {2, "two"}, {-1, "unknown"}};
    EXPECT_STREQ(uMapStringById(table, 2), "two");
    EXPECT_STREQ(uMapStringById(table, 9), "unknown");
    EXPECT_EQ(uMapIdByString(table, "one"), 1);
    EXPECT_EQ(uMapIdByString(table, "ONE"), 0);
    EXPECT_EQ(uMapIdByString(table, "unknown"), 0);
    EXPECT_EQ(uMapIdByString(table, nullptr), 0);

    unsigned char digest[16];
    ASSERT_EQ(uDigestMD5("abc", 3, digest, 16), 0);
    static const unsigned char expected[16] = {0x90, 0x01, 0x50, 0x98, 0x3c, 0xd2, 0x4f, 0xb0,
                                               0xd6, 0x96, 0x3f, 0x7d, 0x28, 0xe1, 0x7f, 0x72};
    EXPECT_EQ(std::memcmp(digest, expected, 16), 0);
    EXPECT_EQ(uDigestMD5("abc", 3, digest, 15), -1);
}

TEST_F(HostMemory, RecursiveMutex) {
    SEM_ID sem = semMCreate(0);
    ASSERT_EQ(semTake(sem, -1), 0);
    EXPECT_EQ(semTake(sem, 10), 0);
    EXPECT_EQ(semGive(sem), 0);
    EXPECT_EQ(semGive(sem), 0);
    EXPECT_EQ(semDelete(sem), 0);
    EXPECT_EQ(semTake(nullptr, -1), -1);
}

}  // namespace
