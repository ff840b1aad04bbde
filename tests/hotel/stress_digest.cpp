// Two threads computing digests at once: each call takes its own slot, and every caller
// gets its own input's digest.
#include <atomic>
#include <set>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 4000;

TEST(DigestStress, ConcurrentCallersGetTheirOwnDigests) {
    devhost::reset();
    const struct {
        const char *input;
        const char *md5;
    } inputs[2] = {{"abc", "900150983cd24fb0d6963f7d28e17f72"}, {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"}};
    std::atomic<int> wrong{0};
    std::atomic<bool> go{false};
    auto work = [&](int which) {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < kRounds; ++i) {
            char out[33] = {};
            if (mtGet32BytesDigestByMemory(inputs[which].input, static_cast<int>(std::strlen(inputs[which].input)),
                                           out) == nullptr ||
                std::strcmp(out, inputs[which].md5) != 0) {
                ++wrong;
            }
        }
    };
    std::thread a(work, 0), b(work, 1);
    go = true;
    a.join();
    b.join();
    EXPECT_EQ(wrong.load(), 0);
    // The counter was never torn: the next ten calls still take ten different slots.
    std::set<const char *> slots;
    for (int i = 0; i < 10; ++i) {
        char out[33] = {};
        slots.insert(mtGet32BytesDigestByMemory("a", 1, out));
    }
    EXPECT_EQ(slots.size(), 10u);
}

}  // namespace
