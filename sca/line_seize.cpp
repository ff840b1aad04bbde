// Seizing one appearance of a shared line before dialling: a "line-seize" SUBSCRIBE to
// the line's own number, and the outcomes the server sends back, reported to the
// application channel that asked.
#include <cstdio>
#include <cstring>

#include "core/util.h"
#include "sca/internal.h"

namespace {

constexpr char kLog[] = "ostra.am.lineSeize";
constexpr char kEvent[] = "line-seize";
constexpr char kIndexKey[] = "appearance-index=";
constexpr int kSeizeExpires = 15;  // a seizure only has to last until the call starts

struct LineSeize {
    int line;
    int index;
    int channel;
};

am::LazyLockedList amLineSeizeList;

// Position of the first entry for (line, index), or -1. The caller holds the mutex.
int positionOf(uList *list, int line, int index) {
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        auto *entry = static_cast<const LineSeize *>(uListGet(list, pos));
        if (entry->line == line && entry->index == index) return pos;
    }
    return -1;
}

}  // namespace

extern "C" int amRequestLineSeize(int line, int index, int channel) {
    if (pmLineConfigGetScaEnable(line) == 0) {
        ostraPrintLog(1, kLog, "%s: line=[%d], not enable sca\n", "amRequestLineSeize", line);
        return -1;
    }
    char server[256] = {};
    pmLineConfigGetRegisterServer(line, server, am::capacity(server));
    char appearance[512];
    std::snprintf(appearance, sizeof appearance, "<sip:%s>;appearance-index=%d", server, index);
    char number[64] = {};
    pmLineConfigGetRegisterNumber(line, number, am::capacity(number));

    pmSubscribeRequest request;
    std::memset(&request, 0, sizeof request);
    request.line = line;
    request.number = number;
    request.expires = kSeizeExpires;
    request.flag = 1;
    request.event = kEvent;
    request.extra = appearance;
    if (pmSubscribe(&request) != 0) return -1;
    // Sent: the request counts even if it cannot be remembered; its outcomes then go
    // unreported.
    amLineSeizeDataAdd(line, index, channel);
    return 0;
}

extern "C" int amRequestLineSeizeCancel(int line, int index) {
    char number[64] = {};
    pmLineConfigGetRegisterNumber(line, number, am::capacity(number));
    amLineSeizeDataDelete(line, index);
    pmUnsubscribeRequest request;
    std::memset(&request, 0, sizeof request);
    request.line = line;
    request.number = number;
    request.event = kEvent;
    return pmSubscribeCancel(&request);
}

extern "C" int amLineSeizeDataAdd(int line, int index, int channel) {
    uList *list = amLineSeizeList.create();
    if (list == nullptr) {
        ostraPrintLog(1, kLog, "%s: amLineSeizeList null\n", "amLineSeizeDataAdd");
        return -1;
    }
    {
        am::SemGuard guard(amLineSeizeList.lock());
        if (am::appendCopy(list, LineSeize{line, index, channel})) return 0;
    }
    ostraPrintLog(1, kLog, "%s: malloc error\n", "amLineSeizeDataAdd");
    return -1;
}

extern "C" int amLineSeizeDataDelete(int line, int index) {
    uList *list = amLineSeizeList.existing();
    if (list == nullptr) {
        ostraPrintLog(1, kLog, "%s: amLineSeizeList null\n", "amLineSeizeDataDelete");
        return -1;
    }
    void *removed = nullptr;
    {
        am::SemGuard guard(amLineSeizeList.lock());
        int pos = positionOf(list, line, index);
        if (pos >= 0) removed = uListRemove(list, pos);
    }
    uFree(removed);
    return removed != nullptr ? 0 : -1;
}

extern "C" int amLineSeizeAppearanceIdGet(int line, int index) {
    uList *list = amLineSeizeList.existing();
    if (list == nullptr) {
        ostraPrintLog(1, kLog, "%s: amLineSeizeList null\n", "amLineSeizeAppearanceIdGet");
        return 0;
    }
    am::SemGuard guard(amLineSeizeList.lock());
    int pos = positionOf(list, line, index);
    return pos >= 0 ? static_cast<const LineSeize *>(uListGet(list, pos))->channel : 0;
}

extern "C" int amLineSeizeStatusReport(int line, int index, int channel, int result) {
    AmLineSeizeStatus record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.index = index;
    record.channel = channel;
    record.result = result;
    int raised = uEventRaise(AM_LINE_SEIZE_EVENT_NAME, &record, static_cast<int>(sizeof record));
    ostraPrintLog(0, kLog, "%s: line=[%d], index=[%d], chan=[%d], result=[%d]\n", "amLineSeizeStatusReport", line,
                  index, channel, result);
    return raised;
}

extern "C" int amRecvLineSeizeParse(int line, int result, const char *body) {
    if (body == nullptr) {
        ostraPrintLog(1, kLog, "%s: line=[%d], result=[%d], body is NULL.\n", "amRecvLineSeizeParse", line, result);
        return -1;
    }
    ostraPrintLog(0, kLog, "%s: line=[%d], result=[%d], body=[%s]\n", "amRecvLineSeizeParse", line, result, body);
    const char *at = std::strstr(body, kIndexKey);
    int index = at != nullptr ? am::decimalAt(at + sizeof kIndexKey - 1) : 1;
    int channel = 0;
    {
        // Lookup and removal as one step, so that a cancel cannot come between them (the
        // mutex is recursive: both steps take it again).
        am::SemGuard guard(amLineSeizeList.lock());
        channel = amLineSeizeAppearanceIdGet(line, index);
        // A channel that is not positive asked not to be told; such an entry stays.
        if (channel <= 0 || index <= 0) return 0;
        if (result == AM_LINE_SEIZE_RESULT_FAILED) amLineSeizeDataDelete(line, index);
    }
    amLineSeizeStatusReport(line, index, channel, result);
    return 0;
}
