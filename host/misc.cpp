// Id/name maps, MD5, the clock sink, network, configuration items and logging.
#include <arpa/inet.h>
#include <openssl/evp.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <map>
#include <tuple>

#include "dev_host.h"
#include "internal.h"

namespace devhost {
namespace {

std::mutex gMiscMutex;
std::vector<std::string> gDates;
int gStopCalls = 0;
std::atomic<int> gSyncResult{0};
std::atomic<int> gStopResult{0};
std::string gMac = "001122aabbcc";
std::map<std::tuple<std::string, std::string, std::string>, std::string> gConfig;
std::vector<LogLine> gLogs;
std::atomic<int> gPrintLevel{-1};
std::atomic<bool> gRecordLogs{true};

}  // namespace

namespace detail {
void resetMisc() {
    std::lock_guard<std::mutex> lock(gMiscMutex);
    gDates.clear();
    gStopCalls = 0;
    gSyncResult = 0;
    gStopResult = 0;
    gMac = "001122aabbcc";
    gConfig.clear();
    gLogs.clear();
    gRecordLogs = true;
}
}  // namespace detail

void reset() {
    detail::resetAsync();
    detail::resetTimers();
    detail::resetEvents();
    detail::resetPm();
    detail::resetMisc();
    detail::resetMemory();
}

const std::vector<std::string> &syncedDates() { return gDates; }
int stopDateCalls() { return gStopCalls; }
void setTimeResults(int syncResult, int stopResult) {
    gSyncResult = syncResult;
    gStopResult = stopResult;
}
void setMacAddress(const std::string &twelveHexDigits) {
    std::lock_guard<std::mutex> lock(gMiscMutex);
    gMac = twelveHexDigits;
}
void setConfigItem(const std::string &module, const std::string &group, const std::string &item,
                   const std::string &value) {
    std::lock_guard<std::mutex> lock(gMiscMutex);
    gConfig[std::make_tuple(module, group, item)] = value;
}
const std::vector<LogLine> &logs() { return gLogs; }
void clearLogs() {
    std::lock_guard<std::mutex> lock(gMiscMutex);
    gLogs.clear();
}
void setLogPrintLevel(int level) { gPrintLevel = level; }
void setRecordLogs(bool on) { gRecordLogs = on; }

}  // namespace devhost

using namespace devhost;

extern "C" {

const char *uMapStringById(const uMapEntry *table, int id) {
    if (table == nullptr) return nullptr;
    const uMapEntry *row = table;
    while (row->id != -1 && row->id != id) ++row;
    return row->name;
}

int uMapIdByString(const uMapEntry *table, const char *name) {
    if (table == nullptr || name == nullptr) return 0;
    for (const uMapEntry *row = table; row->id != -1; ++row) {
        if (row->name != nullptr && std::strcmp(row->name, name) == 0) return row->id;
    }
    return 0;
}

int uDigestMD5(const void *data, int length, unsigned char *digest, int digestSize) {
    if (digest == nullptr || digestSize < 16 || length < 0 || (data == nullptr && length > 0)) return -1;
    unsigned int size = 0;
    unsigned char out[EVP_MAX_MD_SIZE];
    if (EVP_Digest(data, static_cast<std::size_t>(length), out, &size, EVP_md5(), nullptr) != 1 || size != 16) {
        return -1;
    }
    std::memcpy(digest, out, 16);
    return 0;
}

int tmSyncSipDate(const char *date) {
    std::lock_guard<std::mutex> lock(gMiscMutex);
    gDates.push_back(date != nullptr ? date : "");
    return gSyncResult;
}

int tmStopSipDate(void) {
    std::lock_guard<std::mutex> lock(gMiscMutex);
    ++gStopCalls;
    return gStopResult;
}

int nmGetMacAddress(char *buffer, int) {
    if (buffer == nullptr) return -1;
    std::lock_guard<std::mutex> lock(gMiscMutex);
    std::memcpy(buffer, gMac.c_str(), gMac.size() + 1);
    return 0;
}

int sockIsValidAddr(const char *text) {
    if (text == nullptr) return 0;
    unsigned char address[16];
    return inet_pton(AF_INET, text, address) == 1 || inet_pton(AF_INET6, text, address) == 1;
}

int configItemValueGetWithLen(const char *module, const char *group, const char *item, char *buffer, int size) {
    if (module == nullptr || group == nullptr || item == nullptr || buffer == nullptr || size <= 0) return -1;
    std::lock_guard<std::mutex> lock(gMiscMutex);
    auto found = gConfig.find(std::make_tuple(std::string(module), std::string(group), std::string(item)));
    if (found == gConfig.end()) return -1;
    uStrSafeCopy(buffer, size, found->second.c_str());
    return 0;
}

void ostraPrintLog(int level, const char *module, const char *format, ...) {
    if (format == nullptr) return;
    bool print = gPrintLevel >= 0 && level >= gPrintLevel;
    if (!gRecordLogs && !print) return;
    char stackBuffer[1024];
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    int length = std::vsnprintf(stackBuffer, sizeof stackBuffer, format, args);
    va_end(args);
    std::string text;
    if (length >= static_cast<int>(sizeof stackBuffer)) {
        text.resize(static_cast<std::size_t>(length) + 1);
        std::vsnprintf(&text[0], text.size(), format, again);
        text.resize(static_cast<std::size_t>(length));
    } else if (length >= 0) {
        text.assign(stackBuffer, static_cast<std::size_t>(length));
    }
    va_end(again);
    std::lock_guard<std::mutex> lock(gMiscMutex);
    if (print) {
        std::fprintf(stderr, "[%d] %s: %s%s", level, module != nullptr ? module : "", text.c_str(),
                     !text.empty() && text.back() == '\n' ? "" : "\n");
    }
    if (gRecordLogs) gLogs.push_back({level, module != nullptr ? module : "", text});
}

}  // extern "C"
