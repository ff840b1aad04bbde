// The BLF state model and the dialog store. Dialog state words become BLF states, and,
// with multi-dialog mode on, every dialog of a monitored number is kept per line so that
// each report carries the bitmask of all of that number's dialogs.
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.dialogInfo";
constexpr char kUnknownState[] = "blf Unknown State";

// The texts that amBlfStateToStr gives; states 8 to 11 have none.
constexpr const char *kStateTexts[] = {
    "blf Idle",    "blf Ongoing", "blf Sucess", "blf Failed",  "blf Talking",  "blf Holding",
    "blf parked",  "blf Ringing", nullptr,      nullptr,       nullptr,        nullptr,
    "blf dialing", "blf dnd",     "blf away",   "blf only-sip", "blf offline",
};

// The dialog state words the phone may rename at run time. Rows and states are fixed; the
// texts are the one writable copy, always terminated within their 40 bytes.
struct StateTextRow {
    int state;
    char text[40];
};
StateTextRow gStateTexts[] = {
    {AM_BLF_STATE_IDLE, "terminated"}, {AM_BLF_STATE_RINGING, "early"},   {AM_BLF_STATE_DIALING, ""},
    {AM_BLF_STATE_TALKING, "confirmed"}, {AM_BLF_STATE_HOLDING, "holding"}, {AM_BLF_STATE_FAILED, "failed"},
    {AM_BLF_STATE_PARKED, "parked"},
};

StateTextRow *stateTextRow(int state) {
    for (StateTextRow &row : gStateTexts) {
        if (row.state == state) return &row;
    }
    return nullptr;
}

// Words that are not in the text table, matched as written, in this order.
struct FallbackWord {
    const char *word;
    int state;  // -1: ringing, or talking for an outgoing dialog
};
constexpr FallbackWord kFallbackWords[] = {
    {"early", -1},
    {"proceeding", -1},
    {"trying", AM_BLF_STATE_TALKING},
    {"confirmed", AM_BLF_STATE_TALKING},
    {"failed", AM_BLF_STATE_FAILED},
    {"success", AM_BLF_STATE_SUCCESS},
    {"holding", AM_BLF_STATE_HOLDING},
    {"reset", AM_BLF_STATE_RESET},
    {"parked", AM_BLF_STATE_PARKED},
    {"Away", AM_BLF_STATE_AWAY},
    {"DND", AM_BLF_STATE_DND},
    {"Only-SIP", AM_BLF_STATE_ONLY_SIP},
    {"Offline", AM_BLF_STATE_OFFLINE},
    {"No status", AM_BLF_STATE_OFFLINE},
};

uList *gStore = nullptr;
am::LazyMutex gStoreMutex;

// Holds the store mutex for a scope (see amBlfDialogLock).
class StoreLock {
public:
    StoreLock() : guard_(gStoreMutex.get()) {}

private:
    am::SemGuard guard_;
};

// The store, created on first use; NULL when it cannot be. Called with the lock held.
uList *store() {
    if (gStore == nullptr) gStore = uListInit(0);
    return gStore;
}

constexpr int bit(int state) { return state >= 0 && state < 31 ? 1 << state : 0; }

bool sameNumber(const AmBlfStatus *record, int line, const char *number) {
    return record->line == line && std::strcmp(record->number, number) == 0;
}

AmBlfStatus *newRecord() {
    auto *record = static_cast<AmBlfStatus *>(uMalloc(sizeof(AmBlfStatus)));
    if (record != nullptr) std::memset(record, 0, sizeof *record);
    return record;
}

void raise(const AmBlfStatus *record) { uEventRaise(AM_BLF_EVENT_NAME, record, sizeof *record); }

// Removes and frees the first record of `list` for this dialog.
void dropDialog(uList *list, const AmBlfStatus *dialog) {
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        auto *old = static_cast<AmBlfStatus *>(uListGet(list, pos));
        if (old != nullptr && sameNumber(old, dialog->line, dialog->number) &&
            std::strcmp(old->dialogId, dialog->dialogId) == 0) {
            uListRemoveAndFree(list, pos, nullptr);
            return;
        }
    }
}

}  // namespace

extern "C" {

void amBlfDialogLock(void) {
    SEM_ID mutex = gStoreMutex.get();
    if (mutex != nullptr) semTake(mutex, -1);
}

const char *amBlfStateToStr(int state) {
    constexpr int count = static_cast<int>(sizeof kStateTexts / sizeof kStateTexts[0]);
    if (state < 0 || state >= count || kStateTexts[state] == nullptr) return kUnknownState;
    return kStateTexts[state];
}

int amDialogInfoStateConvert(const char *stateWord, const char *direction) {
    bool outgoing = direction != nullptr && strcasecmp(direction, "initiator") == 0;
    if (stateWord == nullptr || stateWord[0] == '\0') return AM_BLF_STATE_IDLE;
    for (const StateTextRow &row : gStateTexts) {
        if (row.text[0] != '\0' && strcasecmp(stateWord, row.text) == 0) {
            return row.state == AM_BLF_STATE_RINGING && outgoing ? AM_BLF_STATE_TALKING : row.state;
        }
    }
    for (const FallbackWord &word : kFallbackWords) {
        if (std::strcmp(stateWord, word.word) != 0) continue;
        if (word.state >= 0) return word.state;
        return outgoing ? AM_BLF_STATE_TALKING : AM_BLF_STATE_RINGING;
    }
    return AM_BLF_STATE_IDLE;
}

int amBlfStateTextSet(int state, const char *text) {
    StateTextRow *row = stateTextRow(state);
    if (row == nullptr) return -1;
    std::memset(row->text, 0, sizeof row->text);
    if (text != nullptr) am::copyText(row->text, text);
    return 0;
}

int amBlfStateCustomTextQuery(int state, char *buf, int size) {
    StateTextRow *row = stateTextRow(state);
    if (buf == nullptr || size < 0 || row == nullptr) return -1;
    uStrSafeCopy(buf, size, row->text);
    return 0;
}

AmBlfStatus *amRecvDialogInfoProcess(int line, const char *number, const char *direction, const char *stateWord,
                                     const char *dialogId, const char *remote, const char *subscriptionNumber,
                                     const char *remoteDisplay) {
    int state = amDialogInfoStateConvert(stateWord, direction);
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, direction=%s, state=%s, status=%s\n",
                  "amRecvDialogInfoProcess", line, am::orEmpty(number), am::orEmpty(direction),
                  am::orEmpty(stateWord), amBlfStateToStr(state));
    AmBlfStatus *record = newRecord();
    if (record == nullptr) return nullptr;
    record->line = line;
    record->state = state;
    am::copyText(record->number, number);
    am::copyText(record->dialogId, dialogId);
    am::copyText(record->remote, remote);
    am::copyText(record->subscriptionNumber, subscriptionNumber);
    am::copyText(record->remoteDisplay, remoteDisplay);
    return record;
}

int amBlfStatusPriorityGet(int line, const char *number, int state, const char *dialogId) {
    int mask = bit(state);
    if (!pmLineConfigGetMultiDialogEnable(line)) {
        ostraPrintLog(0, kLog, "%s: multi dialog not enable\n", "amBlfStatusPriorityGet");
        return mask;
    }
    if (number == nullptr) return mask != 0 ? mask : 1;
    {
        StoreLock lock;
        uList *list = store();
        if (list == nullptr) return mask != 0 ? mask : 1;
        bool found = false;
        for (int pos = 0; !uListEol(list, pos);) {
            auto *record = static_cast<AmBlfStatus *>(uListGet(list, pos));
            if (record == nullptr || !sameNumber(record, line, number)) {
                ++pos;
                continue;
            }
            if (dialogId == nullptr || std::strcmp(dialogId, record->dialogId) != 0) {
                mask |= bit(record->state);
                ++pos;
            } else if (state != AM_BLF_STATE_IDLE) {
                record->state = state;
                found = true;
                ++pos;
            } else {
                // The dialog ended: it leaves the store and the idle bit goes.
                uListRemoveAndFree(list, pos, nullptr);
                mask &= ~bit(AM_BLF_STATE_IDLE);
                found = true;
            }
        }
        if (!found && dialogId != nullptr && dialogId[0] != '\0' && state != AM_BLF_STATE_IDLE) {
            AmBlfStatus *record = newRecord();
            if (record != nullptr) {
                am::copyText(record->number, number);
                am::copyText(record->dialogId, dialogId);
                record->line = line;
                record->state = state;
                if (uListAppend(list, record) != 0) uFree(record);
            }
        }
    }
    return mask != 0 ? mask : 1;
}

int amBlfDialogInfoAppend(AmBlfStatus *record) {
    if (record == nullptr) return -1;
    StoreLock lock;
    uList *list = store();
    if (list == nullptr || record->state == AM_BLF_STATE_IDLE || record->dialogId[0] == '\0') return -1;
    return uListAppend(list, record) == 0 ? 0 : -1;
}

int amBlfDialogInfoUpdateAndClear(int line, uList *newRecords, uList *oldRecords, int full) {
    bool multiDialog = pmLineConfigGetMultiDialogEnable(line) != 0;
    int mask = 0;
    // Walked in place and released whole: every record is stored or freed on the way.
    for (int pos = 0; !uListEol(newRecords, pos); ++pos) {
        auto *record = static_cast<AmBlfStatus *>(uListGet(newRecords, pos));
        if (record == nullptr) continue;
        if (multiDialog && full) {
            dropDialog(oldRecords, record);  // the dialog goes on
            mask |= bit(record->state);
            record->status = mask;
            ostraPrintLog(0, kLog, "%s: full status=%d realstate=[%d]\n", "amBlfDialogInfoUpdateAndClear", mask,
                          record->state);
            raise(record);
            if (amBlfDialogInfoAppend(record) != 0) uFree(record);
        } else {
            mask = amBlfStatusPriorityGet(record->line, record->number, record->state, record->dialogId);
            record->status = mask;
            ostraPrintLog(0, kLog, "%s: status=%d\n", "amBlfDialogInfoUpdateAndClear", mask);
            raise(record);
            uFree(record);
        }
    }
    uListUninit(newRecords);
    // What is left of the old dialogs is missing from the full document: those ended.
    for (int pos = 0; !uListEol(oldRecords, pos); ++pos) {
        auto *record = static_cast<AmBlfStatus *>(uListGet(oldRecords, pos));
        if (record == nullptr) continue;
        if (multiDialog) {
            record->state = AM_BLF_STATE_IDLE;
            record->status = mask;
            raise(record);
        }
        uFree(record);
    }
    uListUninit(oldRecords);
    return 0;
}

uList *amBlfDialogInfoRemove(int line, const char *number) {
    uList *moved = uListInit(0);
    if (moved == nullptr) return nullptr;
    ostraPrintLog(1, kLog, "%s: line=[%d] number=[%s] ", "amBlfDialogInfoRemove", line, am::orEmpty(number));
    if (number == nullptr) return moved;
    StoreLock lock;
    uList *list = store();
    for (int pos = 0; !uListEol(list, pos);) {
        auto *record = static_cast<AmBlfStatus *>(uListGet(list, pos));
        if (record == nullptr || !sameNumber(record, line, number)) {
            ++pos;
            continue;
        }
        uListRemove(list, pos);
        // A dialog that cannot be handed over is dropped: left stored, it would be stored
        // twice once the document is settled, or outlive its end if the document lacks it.
        if (uListAppend(moved, record) != 0) uFree(record);
    }
    return moved;
}

int amBlfDialogInfoClear(int line, const char *number) {
    ostraPrintLog(1, kLog, "%s: line=[%d] number=[%s] ", "amBlfDialogInfoClear", line,
                  number != nullptr ? number : "null");
    StoreLock lock;
    uList *list = store();
    for (int pos = 0; !uListEol(list, pos);) {
        auto *record = static_cast<AmBlfStatus *>(uListGet(list, pos));
        if (record != nullptr && record->line == line &&
            (number == nullptr || std::strcmp(record->number, number) == 0)) {
            uListRemoveAndFree(list, pos, nullptr);
        } else {
            ++pos;
        }
    }
    return 0;
}

int amBlfDialogInfoClearByLine(int line) { return amBlfDialogInfoClear(line, nullptr); }

int amBlfDialogInfoClearByNumber(int line, const char *number) {
    if (number == nullptr) return -1;
    return amBlfDialogInfoClear(line, number);
}

int amBlfDialogShow(void) {
    StoreLock lock;
    uList *list = store();
    if (uListSize(list) == 0) {
        std::printf("%s: No dialog info exist!\n", "amBlfDialogShow");
        return 0;
    }
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        auto *record = static_cast<AmBlfStatus *>(uListGet(list, pos));
        if (record == nullptr) continue;
        std::printf("%s: [%d] [%s] [%s] [%d]\n", "amBlfDialogShow", record->line, record->number, record->dialogId,
                    record->status);
    }
    return 0;
}

}  // extern "C"

