// Records of parked calls and the phone-wide list that holds them. The list and its lock
// are created at module start and destroyed at module stop; between the two, every read
// and change of the list holds the lock.
#include <cstring>

#include "core/util.h"
#include "park/internal.h"

namespace {

// Written only by module start and stop, which the host never runs beside traffic.
SEM_ID gLock = nullptr;
uList *gList = nullptr;

// Every owned text of a record, so that copying and freeing cannot miss one.
constexpr char *AmVisualParkInfo::*kTexts[] = {
    &AmVisualParkInfo::retrieveNumber, &AmVisualParkInfo::parkerDisplay, &AmVisualParkInfo::parkerUri,
    &AmVisualParkInfo::parkedDisplay,  &AmVisualParkInfo::parkedUri,     &AmVisualParkInfo::callId,
};

}  // namespace

namespace am {

SEM_ID visualParkLock() { return gLock; }
uList *visualParkList() { return gList; }

}  // namespace am

extern "C" void amVisualParkLockInit(void) {
    if (gLock == nullptr) gLock = semMCreate(0);
}

extern "C" int amVisualParkInfoListInit(void) {
    am::SemGuard guard(gLock);
    if (gList == nullptr) gList = uListInit(0);
    return gList != nullptr ? 0 : -1;
}

extern "C" void amVisualParkInfoListUnInit(void) {
    am::SemGuard guard(gLock);
    // A list that was never created is NULL, which the host list functions take as empty.
    while (!uListEol(gList, 0)) uListRemoveAndFree(gList, 0, amFreeVisualParkInfo);
    uListUninit(gList);
    gList = nullptr;
}

extern "C" void amVisualParkLockUninit(void) {
    if (gLock == nullptr) return;
    semDelete(gLock);
    gLock = nullptr;
}

extern "C" AmVisualParkInfo *amCreateVisualParkInfo(void) {
    auto *info = static_cast<AmVisualParkInfo *>(uMalloc(sizeof(AmVisualParkInfo)));
    if (info != nullptr) std::memset(info, 0, sizeof *info);
    return info;
}

extern "C" void amFreeVisualParkInfo(void *record) {
    if (record == nullptr) return;
    auto *info = static_cast<AmVisualParkInfo *>(record);
    for (char *AmVisualParkInfo::*text : kTexts) uFree(info->*text);
    uFree(info);
}

extern "C" AmVisualParkInfo *amCopyVisualParkInfo(const AmVisualParkInfo *info) {
    if (info == nullptr) return nullptr;
    AmVisualParkInfo *copy = amCreateVisualParkInfo();
    if (copy == nullptr) return nullptr;
    copy->state = info->state;
    copy->line = info->line;
    copy->callType = info->callType;
    for (char *AmVisualParkInfo::*text : kTexts) {
        copy->*text = uStrGetCopy(info->*text);
        // A copy missing a text would tell the caller that the field is absent; no copy at
        // all is the honest answer when memory runs out.
        if (info->*text != nullptr && copy->*text == nullptr) {
            amFreeVisualParkInfo(copy);
            return nullptr;
        }
    }
    return copy;
}

extern "C" int amGetVisualParkInfoStateByStr(const char *text) {
    if (text == nullptr) return AM_VISUAL_PARK_STATE_UNKNOWN;
    if (std::strcmp(text, "terminated") == 0) return AM_VISUAL_PARK_STATE_TERMINATED;
    if (std::strcmp(text, "parked") == 0) return AM_VISUAL_PARK_STATE_PARKED;
    return AM_VISUAL_PARK_STATE_UNKNOWN;
}

extern "C" int amGetVisualParkCallTypeByStr(const char *text) {
    if (text != nullptr && std::strcmp(text, "video") == 0) return AM_VISUAL_PARK_CALL_TYPE_VIDEO;
    return AM_VISUAL_PARK_CALL_TYPE_AUDIO;
}
