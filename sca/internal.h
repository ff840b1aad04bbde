// Pieces shared by the shared-call-appearance and line-seize files: both keep a
// module-wide list that the protocol manager's thread writes and the applications'
// threads read, each guarded by a mutex of its own.
#ifndef OSTRA_AM_SCA_INTERNAL_H
#define OSTRA_AM_SCA_INTERNAL_H

#include <atomic>
#include <cstdlib>

#include "core/util.h"
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
// ends. The mutex is made first, so whoever sees the list also sees it; racing first users
// install only one list, and a list that cannot be created is tried again by the next use.
class LazyLockedList {
public:
    uList *existing() const { return list_.load(std::memory_order_acquire); }
    // NULL until the list exists: there is nothing to guard before.
    SEM_ID lock() { return existing() != nullptr ? lock_.get() : nullptr; }

    uList *create() {
        uList *list = existing();
        if (list != nullptr) return list;
        // A list nobody could guard is not made: the next use tries both again.
        if (lock_.get() == nullptr) return nullptr;
        uList *created = uListInit(0);
        if (created == nullptr) return nullptr;
        if (list_.compare_exchange_strong(list, created, std::memory_order_acq_rel)) return created;
        uListUninit(created);  // another thread won; `list` now holds its list
        return list;
    }

private:
    std::atomic<uList *> list_{nullptr};
    LazyMutex lock_;
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

}  // namespace am

#endif
