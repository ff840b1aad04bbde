// Steps shared between the files of the core that have no exported name of their own.
#ifndef OSTRA_AM_CORE_INTERNAL_H
#define OSTRA_AM_CORE_INTERNAL_H

#include "platform/am.h"

namespace am {

// AM_KTS_INFO_EVENT for a "kts" INFO whose body is a command word.
int ktsInfoReport(const AmInfoRecord &info);
// AM_TEXT_PLAIN_INFO_EVENT_NAME with the first four bytes of a "text/plain" INFO body.
int textPlainInfoReport(const AmInfoRecord &info);
// Copies a MESSAGE and hands it to the message callbacks on the asynchronous context:
// the result of uAsyncCall, or 0 when the copy could not be made (the message is dropped).
int recvMessageFanOut(int line, const char *number, const char *name, const char *contentType, const char *body);

}  // namespace am

#endif
