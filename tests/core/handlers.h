// The feature handlers that the core routes into, replaced in this test program by
// recorders: the core's tests check which handler a request reaches and with what, never
// what the feature then does.
#ifndef OSTRA_AM_TESTS_CORE_HANDLERS_H
#define OSTRA_AM_TESTS_CORE_HANDLERS_H

#include <string>
#include <vector>

namespace coretest {

// One line per call, "name(arg,arg,...)", NULL texts written as "null".
std::vector<std::string> &handlerCalls();
// What the recorded amVisualParkInfoListInit answers.
extern int gVisualParkListInitResult;

}  // namespace coretest

#endif
