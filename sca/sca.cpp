// The last known state of every appearance of every shared line, from call-info NOTIFYs,
// and the two questions the applications ask about it. Entries are only ever added or
// updated, so the list grows to the number of appearances the server has named.
#include <climits>
#include <cstring>
#include <strings.h>

#include "core/util.h"
#include "sca/internal.h"

namespace {

constexpr char kLog[] = "ostra.am.sca";
constexpr char kIndexKey[] = "appearance-index=";
constexpr char kStateKey[] = "appearance-state=";

struct ScaInfo {
    int line;
    int state;
    int index;
};

am::LazyLockedList amScaInfoList;

struct StateToken {
    const char *token;
    int state;
};
// Matched as prefixes in this order: "held-private" must come before "held".
constexpr StateToken kTokens[] = {
    {"idle", AM_SCA_STATE_IDLE},
    {"seized", AM_SCA_STATE_SEIZED},
    {"progressing", AM_SCA_STATE_PROGRESSING},
    {"alerting", AM_SCA_STATE_ALERTING},
    {"active", AM_SCA_STATE_ACTIVE},
    {"held-private", AM_SCA_STATE_HELD_PRIVATE},
    {"held", AM_SCA_STATE_HELD},
    {"bridge-active", AM_SCA_STATE_BRIDGE_ACTIVE},
    {"bridge-held", AM_SCA_STATE_BRIDGE_HELD},
};

constexpr const char *kStateTexts[] = {
    "sca idle",         "sca seized",        "sca progressing",   "sca alerting",    "sca active",
    "sca held",         "sca held private",  "sca bridge active", "sca bridge held",
};

int stateOfToken(const char *value) {
    for (const StateToken &entry : kTokens) {
        if (am::startsWithNoCase(value, entry.token)) return entry.state;
    }
    return AM_SCA_STATE_IDLE;
}

ScaInfo *entryAt(uList *list, int pos) { return static_cast<ScaInfo *>(uListGet(list, pos)); }

// The caller holds the list's mutex.
ScaInfo *find(uList *list, int line, int index) {
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        ScaInfo *entry = entryAt(list, pos);
        if (entry->line == line && entry->index == index) return entry;
    }
    return nullptr;
}

void resetLine(int line, int state) {
    ostraPrintLog(1, kLog, "%s: line=[%d], state=[%d]\n", "amScaStatusReset", line, state);
    if (uList *list = amScaInfoList.existing()) {
        am::SemGuard guard(amScaInfoList.lock());
        for (int pos = 0; !uListEol(list, pos); ++pos) {
            ScaInfo *entry = entryAt(list, pos);
            if (entry->line == line) entry->state = state;
        }
    } else if (amScaInfoList.create() != nullptr) {
        amScaStatusSet(line, 1, state);
    } else {
        ostraPrintLog(1, kLog, "%s: amScaInfoList null\n", "amScaStatusReset");
    }
}

void report(int line, int index, int state) {
    AmScaStatus record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.index = index;
    record.state = state;
    uEventRaise(AM_SCA_EVENT_NAME, &record, static_cast<int>(sizeof record));
    ostraPrintLog(0, kLog, "%s: line=[%d], index=[%d], state=[%s]\n", "amScaStatusReport", line, index,
                  amScaStateToStr(state));
}

}  // namespace

extern "C" void amRecvScaParse(int line, const char *body) {
    if (line <= 0 || body == nullptr) {
        ostraPrintLog(1, kLog, "%s: param error\n", "amRecvScaParse");
        return;
    }
    ostraPrintLog(0, kLog, "%s: line=[%d], body=[%s]\n", "amRecvScaParse", line, body);
    int index = -1;  // no appearance named
    if (const char *at = std::strstr(body, kIndexKey)) {
        const char *value = at + sizeof kIndexKey - 1;
        index = *value == '*' ? 0 : am::decimalAt(value);
    }
    const char *at = std::strstr(body, kStateKey);
    if (at == nullptr) return;
    const char *value = at + sizeof kStateKey - 1;
    const char *end = std::strchr(value, ';');
    char token[64];
    am::copyTextN(token, value, static_cast<int>(end != nullptr ? end - value : std::strlen(value)));
    if (index < 0 || token[0] == '\0') return;
    int state = stateOfToken(token);
    if (index > 0) {
        amScaStatusSet(line, index, state);
    } else {
        resetLine(line, state);  // 0 addresses every appearance of the line
    }
    report(line, index, state);
}

extern "C" int amScaStatusSet(int line, int index, int state) {
    ostraPrintLog(1, kLog, "%s: line=[%d], state=[%d], index=[%d]\n", "amScaStatusSet", line, state, index);
    uList *list = amScaInfoList.create();
    if (list == nullptr) {
        ostraPrintLog(1, kLog, "%s: amScaInfoList null\n", "amScaStatusSet");
        return -1;
    }
    am::SemGuard guard(amScaInfoList.lock());
    if (ScaInfo *entry = find(list, line, index)) {
        entry->state = state;
        return 0;
    }
    if (am::appendCopy(list, ScaInfo{line, state, index})) return 0;
    ostraPrintLog(1, kLog, "%s: malloc error\n", "amScaStatusSet");
    return -1;
}

extern "C" int amScaStatusGet(int line, int index) {
    uList *list = amScaInfoList.existing();
    if (list == nullptr) {
        ostraPrintLog(1, kLog, "%s: amScaInfoList null\n", "amScaStatusGet");
        return -1;
    }
    am::SemGuard guard(amScaInfoList.lock());
    const ScaInfo *entry = find(list, line, index);
    return entry != nullptr ? entry->state : -1;
}

extern "C" int amScaAvailableAppearanceIndexGet(int line) {
    uList *list = amScaInfoList.existing();
    if (list == nullptr) {
        ostraPrintLog(1, kLog, "%s: amScaInfoList null\n", "amScaAvailableAppearanceIndexGet");
        return 0;
    }
    am::SemGuard guard(amScaInfoList.lock());
    int highest = 0;
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        const ScaInfo *entry = entryAt(list, pos);
        if (entry->line != line) continue;
        if (entry->state == AM_SCA_STATE_IDLE) return entry->index;
        if (entry->index > highest) highest = entry->index;
    }
    // The next appearance after the highest busy one; none to offer past the int range.
    return highest > 0 && highest < INT_MAX ? highest + 1 : 0;
}

extern "C" const char *amScaStateToStr(int state) {
    if (state < 0 || state >= am::capacity(kStateTexts)) {
        return "sca Unknown State";
    }
    return kStateTexts[state];
}
