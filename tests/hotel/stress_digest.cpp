// Two threads computing digests at once: each gets its own input's digest, and the slot
// counter is never torn.
#include <cstring>
#include <set>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

TEST(DigestStress, ConcurrentCallersGetTheirOwnDigests) {
    devhost::reset();
    const char *const inputs[2][2] = {{"abc", "900150983cd24fb0d6963f7d28e17f72"},
                                      {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"}};
    int wrong[2] = {};
    auto work = [&](int which) {
        for (int i = 0; i < 4000; ++i) {
            char out[33] = {};
            mtGet32BytesDigestByMemory(inputs[which][0], static_cast<int>(std::strlen(inputs[which][0])), out);
            if (std::strcmp(out, inputs[which][1]) != 0) ++wrong[which];
        }
    };
    std::thread a(work, 0), b(work, 1);
    a.join();
    b.join();
    EXPECT_EQ(wrong[0] + wrong[1], 0);
    std::set<const char *> slots;
    for (int i = 0; i < 10; ++i) slots.insert(digestTransformation32(reinterpret_cast<const unsigned char *>("0123456789abcdef"), nullptr));
    EXPECT_EQ(slots.size(), 10u);
}
