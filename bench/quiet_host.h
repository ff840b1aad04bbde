// The host set up as a phone's host runs below its log level: events and trace lines are
// dropped, so that what is measured is the module's own work.
#ifndef OSTRA_AM_BENCH_QUIET_HOST_H
#define OSTRA_AM_BENCH_QUIET_HOST_H

#include "host/dev_host.h"

inline void quietHost() {
    devhost::reset();
    devhost::setRecordEvents(false);
    devhost::setEventObserver([](const char *, const void *, int) {});
    devhost::setLogPrintLevel(-1);
    devhost::setRecordLogs(false);
}

#endif
