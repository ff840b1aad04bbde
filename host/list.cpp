// Lists of element pointers, and recursive mutexes on pthreads.
#include <pthread.h>

#include <cerrno>
#include <ctime>
#include <new>
#include <vector>

#include "dev_host.h"
#include "internal.h"

struct uSem {
    pthread_mutex_t mutex;
};

extern "C" {

uList *uListInit(int) {
    if (!devhost::detail::allocationAllowed()) return nullptr;
    uList *list = new (std::nothrow) uList;
    if (list != nullptr) devhost::detail::countList(1);
    return list;
}

void uListUninit(uList *list) {
    if (list == nullptr) return;
    devhost::detail::countList(-1);
    delete list;
}

int uListSize(const uList *list) { return list == nullptr ? 0 : static_cast<int>(list->items.size()); }

int uListEol(const uList *list, int pos) { return pos < 0 || pos >= uListSize(list) ? 1 : 0; }

void *uListGet(const uList *list, int pos) { return uListEol(list, pos) ? nullptr : list->items[pos]; }

int uListAppend(uList *list, void *element) {
    if (list == nullptr || !devhost::detail::allocationAllowed()) return -1;
    list->items.push_back(element);
    return 0;
}

void *uListRemove(uList *list, int pos) {
    if (uListEol(list, pos)) return nullptr;
    void *element = list->items[pos];
    list->items.erase(list->items.begin() + pos);
    return element;
}

int uListRemoveAndFree(uList *list, int pos, uListFreeFunc freeFn) {
    if (uListEol(list, pos)) return -1;
    void *element = uListRemove(list, pos);
    if (freeFn != nullptr) {
        freeFn(element);
    } else {
        uFree(element);
    }
    return 0;
}

int uListPosGetByElement(const uList *list, const void *element) {
    for (int pos = 0; pos < uListSize(list); ++pos) {
        if (list->items[pos] == element) return pos;
    }
    return -1;
}

SEM_ID semMCreate(int) {
    if (!devhost::detail::allocationAllowed()) return nullptr;
    uSem *sem = new (std::nothrow) uSem;
    if (sem == nullptr) return nullptr;
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&sem->mutex, &attr);
    pthread_mutexattr_destroy(&attr);
    devhost::detail::countMutex(1);
    return sem;
}

int semTake(SEM_ID sem, int timeoutMs) {
    if (sem == nullptr) return -1;
    if (timeoutMs < 0) return pthread_mutex_lock(&sem->mutex) == 0 ? 0 : -1;
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += timeoutMs / 1000;
    deadline.tv_nsec += static_cast<long>(timeoutMs % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    return pthread_mutex_timedlock(&sem->mutex, &deadline) == 0 ? 0 : -1;
}

int semGive(SEM_ID sem) {
    if (sem == nullptr) return -1;
    return pthread_mutex_unlock(&sem->mutex) == 0 ? 0 : -1;
}

int semDelete(SEM_ID sem) {
    if (sem == nullptr) return -1;
    pthread_mutex_destroy(&sem->mutex);
    devhost::detail::countMutex(-1);
    delete sem;
    return 0;
}

}  // extern "C"
