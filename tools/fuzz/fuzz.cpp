// The start shared by every fuzz target: the module started once per process in a quiet
// host.
#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    amModuleInit();
    fuzz::configureHost();
    if (fuzz::setUp != nullptr) fuzz::setUp();
    return 0;
}
