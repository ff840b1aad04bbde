// MD5 texts against the reference values of RFC 1321, and the rotation of result slots.
#include <cstring>
#include <set>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
class Digest : public HostTest {};

TEST_F(Digest, ReferenceVectors) {
    const struct {
        std::string input;
        const char *md5;
    } vectors[] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"a", "0cc175b9c0f1b6a831c399e269772661"},
        {"abc", "900150983cd24fb0d6963f7d28e17f72"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"abcdefghijklmnopqrstuvwxyz", "c3fcd3d76192e4007dfb496cca67e13b"},
        {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "d174ab98d277d9f5a5611c2c9f419d9f"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
        {std::string("a\0b", 3), "70350f6027bce3713f6b76473084309b"},  // the length counts, not the NUL
    };
    for (const auto &v : vectors) {
        char out[40];
        std::memset(out, 0, sizeof out);
        out[33] = 'x';
        const char *slot = mtGet32BytesDigestByMemory(v.input.data(), static_cast<int>(v.input.size()), out);
        ASSERT_NE(slot, nullptr);
        EXPECT_STREQ(out, v.md5) << v.input;
        EXPECT_STREQ(slot, v.md5) << v.input;
        EXPECT_EQ(out[33], 'x');  // 32 characters, and the caller's terminator
    }
    const unsigned char bytes[16] = {0x00, 0x01, 0x0f, 0x10, 0x7f, 0x80, 0x9a, 0xab,
                                     0xbc, 0xcd, 0xde, 0xef, 0xf0, 0xfe, 0xff, 0x5a};
    char out[33] = {};
    EXPECT_STREQ(digestTransformation32(bytes, out), "00010f107f809aabbccddeeff0feff5a");
    EXPECT_STREQ(out, "00010f107f809aabbccddeeff0feff5a");

    EXPECT_EQ(mtGet32BytesDigestByMemory(nullptr, 3, out), nullptr);
    EXPECT_EQ(mtGet32BytesDigestByMemory("abc", -1, out), nullptr);
    EXPECT_EQ(digestTransformation32(nullptr, out), nullptr);
}

TEST_F(Digest, SlotsComeRoundAfterTenCalls) {
    std::set<const char *> slots;
    const char *first = nullptr;
    for (int i = 0; i < 10; ++i) {
        char out[33] = {};
        const char *slot = mtGet32BytesDigestByMemory("abc", 3, out);
        if (i == 0) first = slot;
        slots.insert(slot);
    }
    EXPECT_EQ(slots.size(), 10u);
    char out[33] = {};
    const char *eleventh = mtGet32BytesDigestByMemory("a", 1, out);
    EXPECT_EQ(eleventh, first);
    EXPECT_STREQ(first, "0cc175b9c0f1b6a831c399e269772661");  // overwritten by the eleventh call
}

}  // namespace
