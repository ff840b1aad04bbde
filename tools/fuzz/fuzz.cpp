// The start shared by every fuzz target: the module started once per process in a quiet
// host, with every feature's per-line settings on so that no path is closed to the input
// by configuration.
#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    amModuleInit();
    for (int line = 0; line < 4; ++line) {
        devhost::line(line).multiDialog = 1;
        devhost::line(line).scaEnable = 1;
    }
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    if (fuzz::setUp != nullptr) fuzz::setUp();
    return 0;
}
