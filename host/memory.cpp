// Counted heap blocks, failure injection and the text helpers.
#include <atomic>
#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "dev_host.h"
#include "internal.h"

namespace devhost {
namespace {

// A header in front of every block lets uFree catch blocks that did not come from
// uMalloc (and double frees) instead of corrupting the heap silently.
struct alignas(std::max_align_t) BlockHeader {
    std::uint64_t magic;
    std::size_t size;
};
constexpr std::uint64_t kLive = 0x6f737472614d454dULL;
constexpr std::uint64_t kFreed = 0x667265656421ULL;

std::atomic<long> gLiveBlocks{0};
std::atomic<long> gLiveLists{0};
std::atomic<long> gLiveMutexes{0};
std::atomic<long> gLiveParsers{0};
std::mutex gFailMutex;
long gCalls = 0;
long gFailNth = 0;     // 0: off; else the call number (from gCalls) that fails
long gFailAfter = -1;  // -1: off; else calls beyond this number fail
long gFailed = 0;

}  // namespace

namespace detail {

bool allocationAllowed() {
    std::lock_guard<std::mutex> lock(gFailMutex);
    ++gCalls;
    bool fail = (gFailNth != 0 && gCalls == gFailNth) || (gFailAfter >= 0 && gCalls > gFailAfter);
    if (fail) ++gFailed;
    return !fail;
}
void countList(int delta) { gLiveLists += delta; }
void countMutex(int delta) { gLiveMutexes += delta; }
void countParser(int delta) { gLiveParsers += delta; }

void resetMemory() {
    std::lock_guard<std::mutex> lock(gFailMutex);
    gCalls = 0;
    gFailNth = 0;
    gFailAfter = -1;
    gFailed = 0;
}

}  // namespace detail

long liveBlocks() { return gLiveBlocks; }
long liveLists() { return gLiveLists; }
long liveMutexes() { return gLiveMutexes; }
long liveParsers() { return gLiveParsers; }
long allocationCalls() {
    std::lock_guard<std::mutex> lock(gFailMutex);
    return gCalls;
}
void failNth(long n) {
    std::lock_guard<std::mutex> lock(gFailMutex);
    gFailNth = n > 0 ? gCalls + n : 0;
}
void failAfter(long n) {
    std::lock_guard<std::mutex> lock(gFailMutex);
    gFailAfter = n >= 0 ? gCalls + n : -1;
}
void failNone() {
    std::lock_guard<std::mutex> lock(gFailMutex);
    gFailNth = 0;
    gFailAfter = -1;
}
long failedCalls() {
    std::lock_guard<std::mutex> lock(gFailMutex);
    return gFailed;
}

}  // namespace devhost

using devhost::BlockHeader;

extern "C" {

void *uMalloc(size_t size) {
    if (!devhost::detail::allocationAllowed()) return nullptr;
    auto *header = static_cast<BlockHeader *>(std::malloc(sizeof(BlockHeader) + size));
    if (header == nullptr) return nullptr;
    header->magic = devhost::kLive;
    header->size = size;
    ++devhost::gLiveBlocks;
    return header + 1;
}

void uFree(void *block) {
    if (block == nullptr) return;
    BlockHeader *header = static_cast<BlockHeader *>(block) - 1;
    if (header->magic != devhost::kLive) {
        std::fprintf(stderr, "uFree: %p is not a live block of uMalloc\n", block);
        std::abort();
    }
    header->magic = devhost::kFreed;
    --devhost::gLiveBlocks;
    std::free(header);
}

char *uStrGetCopy(const char *text) {
    if (text == nullptr) return nullptr;
    std::size_t length = std::strlen(text);
    char *copy = static_cast<char *>(uMalloc(length + 1));
    if (copy != nullptr) std::memcpy(copy, text, length + 1);
    return copy;
}

int uStrnSafeCopy(char *dst, int dstSize, const char *src, int count) {
    if (dst == nullptr || dstSize <= 0) return 0;
    std::size_t copied = 0;
    if (src != nullptr && count > 0) {
        copied = strnlen(src, static_cast<std::size_t>(count < dstSize - 1 ? count : dstSize - 1));
        std::memmove(dst, src, copied);
    }
    dst[copied] = '\0';
    return static_cast<int>(copied);
}

int uStrSafeCopy(char *dst, int dstSize, const char *src) {
    return uStrnSafeCopy(dst, dstSize, src, dstSize);
}

char *uStrStr(const char *text, const char *word) {
    if (text == nullptr || word == nullptr) return nullptr;
    return const_cast<char *>(std::strstr(text, word));
}

char *uStrCaseStr(const char *text, const char *word) {
    if (text == nullptr || word == nullptr) return nullptr;
    std::size_t n = std::strlen(word);
    if (n == 0) return const_cast<char *>(text);
    // SIP texts are ASCII: folding inline spares a library call per character.
    auto fold = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    const char first = fold(word[0]);
    for (const char *p = text; *p != '\0'; ++p) {
        if (fold(*p) == first && strncasecmp(p, word, n) == 0) return const_cast<char *>(p);
    }
    return nullptr;
}

char *uStrStripSpace(char *text) {
    if (text == nullptr) return nullptr;
    char *start = text;
    while (*start != '\0' && std::isspace(static_cast<unsigned char>(*start))) ++start;
    std::size_t length = std::strlen(start);
    while (length > 0 && std::isspace(static_cast<unsigned char>(start[length - 1]))) --length;
    std::memmove(text, start, length);
    text[length] = '\0';
    return text;
}

char *uStrStripCrlf(char *text) {
    if (text == nullptr) return nullptr;
    char *out = text;
    for (const char *in = text; *in != '\0'; ++in) {
        if (*in != '\r' && *in != '\n') *out++ = *in;
    }
    *out = '\0';
    return text;
}

static int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

char *uStrUrlDecode(char *text) {
    if (text == nullptr) return nullptr;
    char *out = text;
    for (const char *in = text; *in != '\0';) {
        int high = in[0] == '%' ? hexValue(in[1]) : -1;
        int low = high >= 0 ? hexValue(in[2]) : -1;
        if (low >= 0) {
            *out++ = static_cast<char>(high * 16 + low);
            in += 3;
        } else {
            *out++ = *in++;
        }
    }
    *out = '\0';
    return text;
}

}  // extern "C"
