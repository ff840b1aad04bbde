// The phone-wide visual park list and its lock, shared by the record/list file and the
// file that reads park-info documents and answers the applications' queries.
#ifndef OSTRA_AM_PARK_INTERNAL_H
#define OSTRA_AM_PARK_INTERNAL_H

#include "platform/am.h"

namespace am {

// Both exist from module start to module stop; NULL outside that time (a NULL lock means
// the list is used unlocked, a NULL list behaves as an empty one).
SEM_ID visualParkLock();
uList *visualParkList();

}  // namespace am

#endif
