// The development host's lists, text helpers, mutexes, digest and allocation failure injection.
#include "am_test.h"

namespace {

using amtest::HostTest;

class HostMemory : public HostTest {};

TEST_F(HostMemory, ListKeepsOrderAcrossGrowthRemovalsAndNullElements) {
    // Enough elements for any storage to grow several times; every third one is NULL.
    static int values[200];
    auto expected = [](int i) -> void * { return i % 3 ? &values[i] : nullptr; };
    uList *list = uListInit(0);
    for (int i = 0; i < 200; ++i) ASSERT_EQ(uListAppend(list, expected(i)), 0);
    EXPECT_EQ(uListRemove(list, 0), nullptr);
    EXPECT_EQ(uListRemove(list, 99), &values[100]);
    EXPECT_EQ(uListRemove(list, 197), &values[199]);
    EXPECT_EQ(uListRemove(list, 197), nullptr);
    ASSERT_EQ(uListSize(list), 197);
    for (int pos = 0; pos < 197; ++pos) {
        int i = pos < 99 ? pos + 1 : pos + 2;
        EXPECT_EQ(uListGet(list, pos), expected(i)) << pos;
        if (i % 3) { EXPECT_EQ(uListPosGetByElement(list, &values[i]), pos); }
    }
    EXPECT_FALSE(uListEol(list, 196));
    EXPECT_TRUE(uListEol(list, 197));
    EXPECT_TRUE(uListEol(list, -1));
    EXPECT_EQ(uListPosGetByElement(list, &values[100]), -1);
    uListUninit(list);
    EXPECT_EQ(devhost::liveLists(), 0);

    // A NULL list is an empty one.
    EXPECT_TRUE(uListSize(nullptr) == 0 && uListGet(nullptr, 0) == nullptr && uListEol(nullptr, 0));
    EXPECT_TRUE(uListAppend(nullptr, nullptr) == -1 && uListRemove(nullptr, 0) == nullptr);
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
    EXPECT_EQ(uListRemoveAndFree(list, 0, countingFree), 0);
    EXPECT_EQ(gFreedByCallback, 1);
    EXPECT_EQ(uListRemoveAndFree(list, 0, nullptr), 0);
    EXPECT_EQ(uListRemoveAndFree(list, 0, nullptr), -1);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    uListUninit(list);
}

TEST_F(HostMemory, FailureInjectionCountsEveryAllocatingCallAndMutexesAreRecursive) {
    devhost::failNth(3);
    void *first = uMalloc(4);
    char *second = uStrGetCopy("abc");
    EXPECT_EQ(uListInit(0), nullptr);
    SEM_ID fourth = semMCreate(0);
    EXPECT_TRUE(first && second && fourth);

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
    ASSERT_EQ(semTake(fourth, -1), 0);
    EXPECT_EQ(semTake(fourth, 10), 0);
    EXPECT_TRUE(semGive(fourth) == 0 && semGive(fourth) == 0);
    EXPECT_EQ(semDelete(fourth), 0);
    EXPECT_EQ(semTake(nullptr, -1), -1);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    EXPECT_EQ(devhost::liveMutexes(), 0);
}

TEST_F(HostMemory, BoundedCopiesStayInsideAndTerminate) {
    const int kNoCount = -2;   // uStrSafeCopy
    static const char kUnterminated[3] = {'a', 'b', 'c'};  // read past `count`, ASan objects
    const struct { int size, count; const char *src; int copied; const char *result; } cases[] = {
        {4, kNoCount, "abcdef", 3, "abc"}, {4, kNoCount, nullptr, 0, ""}, {1, kNoCount, "ab", 0, ""},
        {4, 2, "abcdef", 2, "ab"},         {4, -1, "abcdef", 0, ""},      {1, 6, "abcdef", 0, ""},
        {8, 6, "ab", 2, "ab"},             {8, 3, kUnterminated, 3, "abc"},
    };
    for (const auto &c : cases) {
        std::vector<char> buffer(c.size, 'x');   // exactly sized, so an overrun is caught
        int copied = c.count == kNoCount ? uStrSafeCopy(buffer.data(), c.size, c.src)
                                         : uStrnSafeCopy(buffer.data(), c.size, c.src, c.count);
        EXPECT_EQ(copied, c.copied) << c.size << " " << c.count;
        EXPECT_STREQ(buffer.data(), c.result) << c.size << " " << c.count;
    }
}

TEST_F(HostMemory, TextHelpers) {
    EXPECT_STREQ(uStrCaseStr("Content-Type: TEXT/plain", "text/PLAIN"), "TEXT/plain");
    EXPECT_EQ(uStrCaseStr("abc", "abcd"), nullptr);
    EXPECT_TRUE(uStrStr(nullptr, "a") == nullptr && uStrCaseStr("a", nullptr) == nullptr);
    char spaced[] = " \t value here \r\n";
    EXPECT_STREQ(uStrStripSpace(spaced), "value here");
    char lines[] = "a\r\nb\nc\r";
    EXPECT_STREQ(uStrStripCrlf(lines), "abc");
    char url[] = "sip%3A201%40host%zz%4";
    EXPECT_STREQ(uStrUrlDecode(url), "sip:201@host%zz%4");
    EXPECT_TRUE(uStrStripSpace(nullptr) == nullptr && uStrGetCopy(nullptr) == nullptr);
    char *empty = uStrGetCopy("");
    EXPECT_STREQ(empty, "");
    uFree(empty);
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

}  // namespace
