// MD5 digests as 32 lower-case hexadecimal characters. Callers on any thread may ask at
// once; each call takes its own result slot, so a slot's text stays put until ten later
// calls have passed.
#include <atomic>
#include <cstring>

#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.hotel";
constexpr int kSlots = 10;
constexpr int kHexLength = 32;

char gSlots[kSlots][kHexLength + 1];
std::atomic<int> gNextSlot{0};

// Takes the slot for this call and moves the counter on in the same atomic step, so that
// two threads never share a slot; the counter itself stays within 0..9.
char *takeSlot() {
    int slot = gNextSlot.load(std::memory_order_relaxed);
    while (!gNextSlot.compare_exchange_weak(slot, (slot + 1) % kSlots, std::memory_order_acq_rel,
                                            std::memory_order_relaxed)) {
    }
    return gSlots[slot];
}

}  // namespace

extern "C" const char *digestTransformation32(const unsigned char digest[16], char *out) {
    if (digest == nullptr) {
        ostraPrintLog(2, kLog, "%s: param error \n", "digestTransformation32");
        return nullptr;
    }
    static constexpr char kHex[] = "0123456789abcdef";
    char text[kHexLength + 1];
    for (int i = 0; i < 16; ++i) {
        text[2 * i] = kHex[digest[i] >> 4];
        text[2 * i + 1] = kHex[digest[i] & 0x0f];
    }
    text[kHexLength] = '\0';
    char *slot = takeSlot();
    // A caller held up for ten further calls may still be writing its slot when the slot
    // comes round again: byte-wise atomic stores keep that overlap defined, and the
    // caller's own copy is taken from the text above, never from the shared slot.
    for (std::size_t i = 0; i < sizeof text; ++i) __atomic_store_n(&slot[i], text[i], __ATOMIC_RELAXED);
    if (out != nullptr) std::memcpy(out, text, kHexLength);
    return slot;
}

extern "C" const char *mtGet32BytesDigestByMemory(const void *data, int length, char *out) {
    unsigned char digest[16] = {};
    if (length < 0 || (data == nullptr && length > 0) || uDigestMD5(data != nullptr ? data : "", length, digest, 16) != 0) {
        ostraPrintLog(2, kLog, "%s: digest failed, length=[%d]\n", "mtGet32BytesDigestByMemory", length);
        return nullptr;
    }
    return digestTransformation32(digest, out);
}
