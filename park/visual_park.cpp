// The visual park list as the server describes it in park-info documents, one parked call
// per document, and the queries by list position that the phone's applications make.
// Every list access holds the visual park lock once and only for the list work; events
// and logs come after the lock is given back.
#include <cstdio>
#include <cstring>

#include "core/util.h"
#include "park/internal.h"

namespace {

constexpr char kLog[] = "ostra.am.parkInfo";

constexpr int kUpdateNoChange = -1;
constexpr int kUpdateAdded = 0;
constexpr int kUpdateRemoved = 1;
constexpr int kUpdateReplaced = 2;

AmVisualParkInfo *entryAt(int index) {
    if (index < 0) return nullptr;
    return static_cast<AmVisualParkInfo *>(uListGet(am::visualParkList(), index));
}

// Position of the entry with this call id, or -1. The caller holds the lock.
int positionOf(const char *callId) {
    uList *list = am::visualParkList();
    int size = uListSize(list);
    for (int pos = 0; pos < size; ++pos) {
        auto *entry = static_cast<const AmVisualParkInfo *>(uListGet(list, pos));
        if (entry != nullptr && entry->callId != nullptr && std::strcmp(entry->callId, callId) == 0) return pos;
    }
    return -1;
}

}  // namespace

// Takes `info` into the list or frees it, and tells the phone when the list changed. The
// result says which change was made.
extern "C" int amVisualParkInfoUpdate(AmVisualParkInfo *info) {
    int result = kUpdateNoChange;
    AmVisualParkInfo *dropped = info;
    if (info != nullptr && info->state != AM_VISUAL_PARK_STATE_UNKNOWN && info->retrieveNumber != nullptr &&
        *info->retrieveNumber != '\0' && info->callId != nullptr && *info->callId != '\0') {
        am::SemGuard guard(am::visualParkLock());
        uList *list = am::visualParkList();
        int found = positionOf(info->callId);
        if (info->state == AM_VISUAL_PARK_STATE_PARKED) {
            // Appending first leaves the old entry where it was if the list cannot grow.
            if (uListAppend(list, info) == 0) {
                dropped = found >= 0 ? static_cast<AmVisualParkInfo *>(uListRemove(list, found)) : nullptr;
                result = found >= 0 ? kUpdateReplaced : kUpdateAdded;
            }
        } else if (found >= 0) {
            amFreeVisualParkInfo(uListRemove(list, found));
            result = kUpdateRemoved;
        }
    }
    amFreeVisualParkInfo(dropped);
    ostraPrintLog(1, kLog, "%s: update result=[%d]", "amVisualParkInfoUpdate", result);
    if (result != kUpdateNoChange) amVisualParkRaiseEvent();
    return result;
}

namespace {

// Copies an element's value into an owned text; a missing value leaves the field NULL.
// False only when the copy could not be made.
bool takeValue(char *&field, const char *value) {
    if (value == nullptr) return true;
    field = uStrGetCopy(value);
    return field != nullptr;
}

// Fills `info` from the document; false when a required element is missing or a text
// could not be copied, which ends the handling without a change and without a log.
bool readDocument(const am::XmlDoc &doc, AmVisualParkInfo *info) {
    ncElement *callId = doc.element("park-info.call-id");
    if (callId == nullptr || !takeValue(info->callId, ncGetElementValue(callId))) return false;
    ncElement *state = doc.element("park-info.state");
    if (state == nullptr) return false;
    info->state = amGetVisualParkInfoStateByStr(ncGetElementValue(state));
    if (ncElement *callType = doc.element("park-info.call-type")) {
        const char *value = ncGetElementValue(callType);
        info->callType = amGetVisualParkCallTypeByStr(value);
        ostraPrintLog(1, kLog, "%s: callType=[%s]", "amVisualParkParse", am::orEmpty(value));
    }
    ncElement *retrieve = doc.element("park-info.retrieve-number");
    if (retrieve == nullptr || !takeValue(info->retrieveNumber, ncGetElementValue(retrieve))) return false;
    ncElement *parker = doc.element("park-info.parker-identity");
    if (parker == nullptr || !takeValue(info->parkerUri, ncGetElementValue(parker)) ||
        !takeValue(info->parkerDisplay, ncGetElementAttr(parker, "display"))) {
        return false;
    }
    ncElement *parked = doc.element("park-info.parked-identity");
    return parked != nullptr && takeValue(info->parkedUri, ncGetElementValue(parked)) &&
           takeValue(info->parkedDisplay, ncGetElementAttr(parked, "display"));
}

using TextField = char *AmVisualParkInfo::*;

int textAt(int index, char *buffer, int size, TextField field) {
    if (buffer == nullptr || size < 0) return -1;
    std::memset(buffer, 0, static_cast<std::size_t>(size));
    am::SemGuard guard(am::visualParkLock());
    const AmVisualParkInfo *entry = entryAt(index);
    if (entry == nullptr || entry->*field == nullptr) return -1;
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s", entry->*field);
    return 0;
}

int numberAt(int index, int AmVisualParkInfo::*field, int absent) {
    am::SemGuard guard(am::visualParkLock());
    const AmVisualParkInfo *entry = entryAt(index);
    return entry != nullptr ? entry->*field : absent;
}

}  // namespace

extern "C" int amVisualParkParse(int line, const char *body) {
    if (body == nullptr) return -1;
    AmVisualParkInfo *info = amCreateVisualParkInfo();
    if (info == nullptr) return -1;
    info->line = line;
    am::XmlDoc doc("receivedXml");
    // The option word stays as the parser instance was created: values are read untrimmed.
    if (!doc.created() || ncParseFromBuf(doc.get(), body, 0) == -1) {
        amFreeVisualParkInfo(info);
        return -1;
    }
    if (!readDocument(doc, info)) {
        amFreeVisualParkInfo(info);
        return -1;
    }
    return amVisualParkInfoUpdate(info);
}

extern "C" int amVisualParkRaiseEvent(void) { return uEventRaise(AM_VISUAL_PARK_EVENT_NAME, nullptr, 0); }

extern "C" int amHasVisualPark(void) { return amGetCallParkNum() > 0 ? 1 : 0; }

extern "C" int amGetCallParkNum(void) {
    am::SemGuard guard(am::visualParkLock());
    return uListSize(am::visualParkList());
}

extern "C" AmVisualParkInfo *amGetVisualCallParkInfoByIndex(int index) {
    if (index < 0) return nullptr;
    am::SemGuard guard(am::visualParkLock());
    const AmVisualParkInfo *entry = entryAt(index);
    return entry != nullptr ? amCopyVisualParkInfo(entry) : nullptr;
}

extern "C" AmVisualParkInfo *amGetVisualParkInfoByCallId(const char *callId) {
    if (callId == nullptr) return nullptr;
    am::SemGuard guard(am::visualParkLock());
    int pos = positionOf(callId);
    return pos >= 0 ? entryAt(pos) : nullptr;
}

extern "C" int amRemoveVisualParkInfoByCallId(const char *callId) {
    if (callId == nullptr) return 0;
    AmVisualParkInfo *removed = nullptr;
    {
        am::SemGuard guard(am::visualParkLock());
        int pos = positionOf(callId);
        if (pos >= 0) removed = static_cast<AmVisualParkInfo *>(uListRemove(am::visualParkList(), pos));
    }
    if (removed == nullptr) return 0;
    amFreeVisualParkInfo(removed);
    return 1;
}

extern "C" int amGetVisualParkState(int index) {
    return numberAt(index, &AmVisualParkInfo::state, AM_VISUAL_PARK_STATE_UNKNOWN);
}

extern "C" int amGetVisualParkLine(int index) { return numberAt(index, &AmVisualParkInfo::line, -1); }

extern "C" int amGetVisualParkCallType(int index) {
    return numberAt(index, &AmVisualParkInfo::callType, AM_VISUAL_PARK_CALL_TYPE_AUDIO);
}

extern "C" int amGetVisualParkRetrieveNumber(int index, char *buffer, int size) {
    return textAt(index, buffer, size, &AmVisualParkInfo::retrieveNumber);
}

extern "C" int amGetVisualParkParkerDisplay(int index, char *buffer, int size) {
    return textAt(index, buffer, size, &AmVisualParkInfo::parkerDisplay);
}

extern "C" int amGetVisualParkParkerUri(int index, char *buffer, int size) {
    return textAt(index, buffer, size, &AmVisualParkInfo::parkerUri);
}

extern "C" int amGetVisualParkParkedDisplay(int index, char *buffer, int size) {
    return textAt(index, buffer, size, &AmVisualParkInfo::parkedDisplay);
}

extern "C" int amGetVisualParkParkedUri(int index, char *buffer, int size) {
    return textAt(index, buffer, size, &AmVisualParkInfo::parkedUri);
}

extern "C" int amGetVisualParkCallid(int index, char *buffer, int size) {
    return textAt(index, buffer, size, &AmVisualParkInfo::callId);
}
