// Module start and stop, and the message callbacks: the module mutex and the callback
// list are created here and guard nothing else, so both live in this one file.
#include <cstring>

#include "core/internal.h"
#include "core/util.h"

namespace {

constexpr char kLog[] = "ostra.am.main";

// Read without a lock by design: they change only at module start and stop, when the
// host guarantees that no inbound traffic or registration is in progress.
SEM_ID gModuleMutex = nullptr;
uList *gCallbacks = nullptr;

void *asElement(AmMessageProcessCb callback) { return reinterpret_cast<void *>(callback); }

void freeRecvMessage(AmRecvMessage *message) {
    uFree(message->number);
    uFree(message->name);
    uFree(message->contentType);
    uFree(message->body);
    uFree(message);
}

}  // namespace

extern "C" int amModuleInit(void) {
    // A second start keeps what the first created instead of leaking it.
    if (gModuleMutex == nullptr) gModuleMutex = semMCreate(0);
    if (gCallbacks == nullptr) gCallbacks = uListInit(0);
    amVisualParkLockInit();
    return amVisualParkInfoListInit();
}

extern "C" int amModuleUnInit(void) {
    while (!uListEol(gCallbacks, 0)) uListRemove(gCallbacks, 0);
    uListUninit(gCallbacks);
    gCallbacks = nullptr;
    if (gModuleMutex != nullptr) semDelete(gModuleMutex);
    gModuleMutex = nullptr;
    amVisualParkInfoListUnInit();
    amVisualParkLockUninit();
    return 0;
}

extern "C" int amMessageProcessCbRegister(AmMessageProcessCb callback) {
    am::SemGuard guard(gModuleMutex);
    if (gCallbacks == nullptr) return -1;
    if (uListPosGetByElement(gCallbacks, asElement(callback)) >= 0) {
        ostraPrintLog(2, kLog, "%s: cb[%p] already registered!", "amMessageProcessCbRegister", asElement(callback));
        return -1;
    }
    if (uListAppend(gCallbacks, asElement(callback)) != 0) {
        ostraPrintLog(2, kLog, "%s: no more resource available!", "amMessageProcessCbRegister");
        return -1;
    }
    return 0;
}

extern "C" int amMessageProcessCbUnregister(AmMessageProcessCb callback) {
    am::SemGuard guard(gModuleMutex);
    if (gCallbacks == nullptr) return -1;
    int pos = uListPosGetByElement(gCallbacks, asElement(callback));
    if (pos < 0) {
        ostraPrintLog(2, kLog, "%s: cb[%p] not registered!", "amMessageProcessCbUnregister", asElement(callback));
        return -1;
    }
    uListRemove(gCallbacks, pos);
    return 0;
}

// Runs on the host's asynchronous context and owns the record from the hand-off on.
extern "C" void amMessageProcessCbDispatch(void *record) {
    if (record == nullptr) return;
    AmRecvMessage *message = static_cast<AmRecvMessage *>(record);
    {
        // Held across the callbacks, so a registration from another thread waits for the
        // whole walk rather than changing the list under it.
        am::SemGuard guard(gModuleMutex);
        int size = uListSize(gCallbacks);
        for (int pos = 0; pos < size; ++pos) {
            auto callback = reinterpret_cast<AmMessageProcessCb>(uListGet(gCallbacks, pos));
            if (callback != nullptr) callback(message);
        }
    }
    freeRecvMessage(message);
}

namespace am {

int recvMessageFanOut(int line, const char *number, const char *name, const char *contentType, const char *body) {
    auto *message = static_cast<AmRecvMessage *>(uMalloc(sizeof(AmRecvMessage)));
    if (message == nullptr) return 0;
    std::memset(message, 0, sizeof *message);
    message->line = line;
    message->number = uStrGetCopy(number);
    message->name = uStrGetCopy(name);
    message->contentType = uStrGetCopy(contentType);
    message->body = uStrGetCopy(body);
    // A copy that could not be made drops the message like a record that could not be
    // made: callbacks never see a NULL where the sender gave a text.
    bool complete = message->number != nullptr && message->contentType != nullptr && message->body != nullptr &&
                    (name == nullptr || message->name != nullptr);
    if (!complete) {
        freeRecvMessage(message);
        return 0;
    }
    int result = uAsyncCall(amMessageProcessCbDispatch, message);
    if (result != 0) freeRecvMessage(message);  // refused: still ours
    return result;
}

}  // namespace am
