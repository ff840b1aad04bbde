// The phone-wide visual park list and its lock, shared by the record/list file and the
// file that reads park-info documents and answers the applications' queries.
#ifndef OSTRA_AM_PARK_INTERNAL_H
#define OSTRA_AM_PARK_INTERNAL_H

#include "platform/am.h"

extern "C" {
// Takes a record read from a park-info document into the list, or frees it; the result
// tells what changed: -1 nothing, 0 added, 1 removed, 2 replaced and moved to the end.
int amVisualParkInfoUpdate(AmVisualParkInfo *info);
}

namespace am {

// Both exist from module start to module stop; NULL outside that time (a NULL lock means
// the list is used unlocked, a NULL list behaves as an empty one).
SEM_ID visualParkLock();
uList *visualParkList();

}  // namespace am

#endif
