// The per-line pending subscription queue: one BLF or presence SUBSCRIBE (or unSUBSCRIBE)
// outstanding per line at a time. The head of a line's queue is the request on the wire;
// the next one goes out when the head's result arrives or when the line's 5-second timer
// drops the head. Applications, the protocol manager's thread and the host's timer context
// all come through here, serialised by the queue's own mutex.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

// One queued request, owned by its line's queue.
struct PendingNode {
    int type;
    char number[40];
    int subscribe;
};

// One per line that ever queued a request; kept for the life of the process.
struct PendingLineInfo {
    int line;
    uList *queue;
    int timerId;  // -1 when no timer is armed
};

namespace {

constexpr char kLog[] = "ostra.am.traffic";
constexpr int kTimeoutSeconds = 5;

uList *gLineInfos = nullptr;
am::LazyMutex gQueueMutex;

// Holds the queue mutex for a scope (see amPendingLock).
class QueueLock {
public:
    QueueLock() : guard_(gQueueMutex.get()) {}

private:
    am::SemGuard guard_;
};

PendingNode *head(const PendingLineInfo *info) { return static_cast<PendingNode *>(uListGet(info->queue, 0)); }

void armTimer(PendingLineInfo *info) {
    info->timerId = uTimerAddSecWithWakeup(amPendingTimerExpired, info->line, kTimeoutSeconds);
}

bool sameRequest(const PendingNode *node, int type, const char *number) {
    return node->type == type && std::strcmp(node->number, number) == 0;
}

bool validLine(const char *function, int line) {
    if (line >= 0) return true;
    ostraPrintLog(2, kLog, "%s: Invalid parameter! line=[%d].", function, line);
    return false;
}

bool validLineAndNumber(const char *function, int line, const char *number) {
    if (number != nullptr && line >= 0) return true;
    ostraPrintLog(2, kLog, "%s: Invalid parameter! line=[%d], number=[%s].", function, line,
                  number != nullptr ? number : "null");
    return false;
}

}  // namespace

extern "C" {

// The host's mutexes are recursive, which lets a protocol manager report a result from
// inside the SUBSCRIBE that the queue is sending with the mutex held.
void amPendingLock(void) {
    SEM_ID mutex = gQueueMutex.get();
    if (mutex != nullptr) semTake(mutex, -1);
}

PendingLineInfo *amPendingLineInfoGet(int line) {
    if (gLineInfos == nullptr) {
        gLineInfos = uListInit(0);
        if (gLineInfos == nullptr) return nullptr;
    }
    for (int pos = 0; !uListEol(gLineInfos, pos); ++pos) {
        auto *info = static_cast<PendingLineInfo *>(uListGet(gLineInfos, pos));
        if (info != nullptr && info->line == line) return info;
    }
    return nullptr;
}

int amPendingAdd(int type, int line, const char *number, int subscribe) {
    if (!validLineAndNumber("amPendingAdd", line, number)) return -1;
    QueueLock lock;
    PendingLineInfo *info = amPendingLineInfoGet(line);
    if (info == nullptr) {
        info = static_cast<PendingLineInfo *>(uMalloc(sizeof(PendingLineInfo)));
        if (info == nullptr) return -1;
        info->queue = uListInit(0);
        if (info->queue == nullptr) {
            uFree(info);
            return -1;
        }
        info->line = line;
        info->timerId = -1;
        if (uListAppend(gLineInfos, info) != 0) {
            // Never keep a line info that the list could not take.
            uListUninit(info->queue);
            uFree(info);
            return -1;
        }
    }

    int result = -1;
    auto *node = static_cast<PendingNode *>(uMalloc(sizeof(PendingNode)));
    if (node != nullptr) {
        node->type = type;
        am::copyText(node->number, number);
        node->subscribe = subscribe;
        if (uListAppend(info->queue, node) == 0) {
            result = 0;
        } else {
            uFree(node);
        }
    }
    // An armed timer keeps running: it is not restarted for the new node.
    if (info->timerId < 0) armTimer(info);
    return result;
}

int amPendingNodeProcessNext(int line, uList *queue) {
    auto *node = static_cast<PendingNode *>(uListGet(queue, 0));
    if (node == nullptr) return -1;
    int subscribe = node->subscribe != 0 ? 1 : 0;
    // A protocol manager that reports the result from inside the send retires (and frees)
    // this node before the send returns; what it was handed must outlive that.
    char number[sizeof node->number];
    std::memcpy(number, node->number, sizeof number);
    switch (node->type) {
        case AM_PENDING_TYPE_BLF:
            amSendBlfSubscribe(line, number, subscribe);
            return 0;
        case AM_PENDING_TYPE_PRESENCE:
            amSendPresenceSubscribe(line, number, subscribe);
            return 0;
        default:
            ostraPrintLog(2, kLog, "%s: not supported type[%d].", "amPendingNodeProcessNext", node->type);
            return -1;
    }
}

int amPendingConfirm(int type, int line, const char *number) {
    if (!validLineAndNumber("amPendingConfirm", line, number)) return -1;
    enum { NotFound, Empty, NotFirst, Confirmed } outcome;
    {
        QueueLock lock;
        PendingLineInfo *info = amPendingLineInfoGet(line);
        PendingNode *first = info != nullptr ? head(info) : nullptr;
        if (info == nullptr) {
            outcome = NotFound;
        } else if (first == nullptr) {
            outcome = Empty;
        } else if (!sameRequest(first, type, number)) {
            // Whether the head is a SUBSCRIBE or an unSUBSCRIBE plays no part.
            outcome = NotFirst;
        } else {
            outcome = Confirmed;
            uFree(uListRemove(info->queue, 0));
            if (amPendingNodeProcessNext(line, info->queue) == 0) {
                // The request just sent gets a full timeout of its own.
                uTimerDel(info->timerId);
                armTimer(info);
            }
        }
    }
    switch (outcome) {
        case NotFound:
            ostraPrintLog(2, kLog, "%s: Line Info Not Find! line=[%d], number=[%s].", "amPendingConfirm", line,
                          number);
            return -1;
        case Empty:
            ostraPrintLog(0, kLog, "%s: no pending request!", "amPendingConfirm");
            return 0;
        case NotFirst:
            ostraPrintLog(0, kLog, "%s: It isn't first Node, Do nothing.", "amPendingConfirm");
            return 0;
        case Confirmed:
            break;
    }
    return 0;
}

void amPendingTimerExpired(int line) {
    if (!validLine("amPendingTimerExpired", line)) return;
    QueueLock lock;
    PendingLineInfo *info = amPendingLineInfoGet(line);
    if (info == nullptr) {
        ostraPrintLog(2, kLog, "%s: Line Info Not Find! line=[%d].", "amPendingTimerExpired", line);
        return;
    }
    // A fired timer is spent, so the host is not asked to delete it. A firing that a confirm
    // or a clear came too late to stop is taken as an ordinary expiry; its line may then run
    // two timers until its queue drains.
    auto *timedOut = static_cast<PendingNode *>(uListRemove(info->queue, 0));
    if (timedOut == nullptr) {
        info->timerId = -1;  // idle until the next request
        return;
    }
    ostraPrintLog(1, kLog, "%s: Line=[%d] number=[%s] timeout.", "amPendingTimerExpired", line, timedOut->number);
    uFree(timedOut);
    int timerId = info->timerId;
    amPendingNodeProcessNext(line, info->queue);
    // Rearmed even when nothing is left, so an idle line is reached one timeout later;
    // unless a result delivered from inside the send has already armed a timer for the
    // head now on the wire, which a second one would only duplicate.
    if (info->timerId == timerId) armTimer(info);
}

int amPendingCancel(int type, int line, const char *number) {
    if (!validLineAndNumber("amPendingCancel", line, number)) return -1;
    QueueLock lock;
    PendingLineInfo *info = amPendingLineInfoGet(line);
    if (info == nullptr) {
        ostraPrintLog(2, kLog, "%s: Line Info Not Find! line=[%d], number=[%s].", "amPendingCancel", line, number);
        return -1;
    }
    for (int pos = 0; !uListEol(info->queue, pos); ++pos) {
        auto *node = static_cast<PendingNode *>(uListGet(info->queue, pos));
        if (node == nullptr || node->subscribe != 1 || !sameRequest(node, type, number)) continue;
        // The head is already on the wire: it cannot be withdrawn.
        if (pos == 0) return -1;
        uFree(uListRemove(info->queue, pos));
        return 0;
    }
    return -1;
}

int amPendingNumber(int line) {
    if (!validLine("amPendingNumber", line)) return -1;
    QueueLock lock;
    PendingLineInfo *info = amPendingLineInfoGet(line);
    if (info == nullptr) return -1;
    int size = uListSize(info->queue);
    ostraPrintLog(0, kLog, "%s: Line=[%d] pending Node num=[%d].", "amPendingNumber", line, size);
    return size;
}

void amPendingClear(int line) {
    if (!validLine("amPendingClear", line)) return;
    QueueLock lock;
    PendingLineInfo *info = amPendingLineInfoGet(line);
    if (info == nullptr) {
        ostraPrintLog(2, kLog, "%s: Line Info Not Find! line=[%d].", "amPendingClear", line);
        return;
    }
    uTimerDel(info->timerId);
    info->timerId = -1;
    while (uListRemoveAndFree(info->queue, 0, nullptr) == 0) {
    }
}

}  // extern "C"

