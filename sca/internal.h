// Pieces shared by the shared-call-appearance and line-seize files: both keep a
// module-wide list that the protocol manager's thread writes and the applications'
// threads read, each guarded by a mutex of its own.
#ifndef OSTRA_AM_SCA_INTERNAL_H
#define OSTRA_AM_SCA_INTERNAL_H

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
