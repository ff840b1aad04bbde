// State shared by the parts of the development host.
#ifndef OSTRA_HOST_INTERNAL_H
#define OSTRA_HOST_INTERNAL_H

#include <memory_resource>
#include <mutex>
#include <vector>

// The list behind uList; the XML node parser builds its element lists directly, so that
// they are the host's own and never count as the module's allocations. Their storage
// comes from the parser's arena (released with the parser); every other list's from the
// heap, through the default memory resource.
struct uList {
    std::pmr::vector<void *> items;
};

namespace devhost {
namespace detail {

// One allocating host call: false when the failure injection refuses it.
bool allocationAllowed();
void countList(int delta);
void countMutex(int delta);
void countParser(int delta);

void resetMemory();
void resetEvents();
void resetAsync();
void resetTimers();
void resetPm();
void resetMisc();

}  // namespace detail
}  // namespace devhost

#endif
