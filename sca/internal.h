// Pieces shared by the shared-call-appearance and line-seize files: both keep a
// module-wide list that the protocol manager's thread writes and the applications'
// threads read, each guarded by a mutex of its own.
#ifndef OSTRA_AM_SCA_INTERNAL_H
#define OSTRA_AM_SCA_INTERNAL_H

#include <atomic>
#include <climits>
#include <cstdlib>
#include <mutex>

#include "platform/am.h"

extern "C" {
int amLineSeizeDataAdd(int line, int index, int channel);
int amLineSeizeDataDelete(int line, int index);
// The channel of the first entry for (line, index), or 0 when there is none.
int amLineSeizeAppearanceIdGet(int line, int index);
int amLineSeizeStatusReport(int line, int index, int channel, int result);
}

namespace am {

// A host list created on first use together with its mutex, both kept until the process
// ends. The mutex is published before the list, so whoever sees the list also sees the
// mutex; if either cannot be created neither is kept, and the next use tries again.
class LazyLockedList {
public:
    uList *existing() const { return list_.load(std::memory_order_acquire); }
    SEM_ID lock() const { return lock_.load(std::memory_order_acquire); }

    uList *create() {
        uList *list = existing();
        if (list != nullptr) return list;
        // Only two callers ever race here, once; a plain mutex settles who creates.
        std::lock_guard<std::mutex> creating(creating_);
        list = list_.load(std::memory_order_relaxed);
        if (list != nullptr) return list;
        list = uListInit(0);
        if (list == nullptr) return nullptr;
        SEM_ID sem = semMCreate(0);
        if (sem == nullptr) {
            uListUninit(list);
            return nullptr;
        }
        lock_.store(sem, std::memory_order_release);
        list_.store(list, std::memory_order_release);
        return list;
    }

private:
    std::atomic<uList *> list_{nullptr};
    std::atomic<SEM_ID> lock_{nullptr};
    std::mutex creating_;
};

// Appends a heap copy of a plain entry; false, with nothing kept, when memory runs out.
// The caller holds the list's mutex.
template <typename Entry>
bool appendCopy(uList *list, const Entry &value) {
    auto *entry = static_cast<Entry *>(uMalloc(sizeof(Entry)));
    if (entry == nullptr) return false;
    *entry = value;
    if (uListAppend(list, entry) == 0) return true;
    uFree(entry);
    return false;
}

// The decimal number that `text` begins with (strtol rules), kept inside the int range.
inline int decimalAt(const char *text) {
    long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

}  // namespace am

#endif
