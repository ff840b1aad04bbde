// The entry points of the module linked into the executable, for tools and tests that do
// not load it with dlopen.
#ifndef OSTRA_SIPPM_LINKED_H
#define OSTRA_SIPPM_LINKED_H

#include "platform/am.h"
#include "sippm.h"

// An entry point of a feature the build lacks resolves to null instead of failing the
// link; Call::invoke then answers -1.
#pragma weak amRecvMessage
#pragma weak amRecvInfo
#pragma weak amRecvSubscribeResult
#pragma weak amRecvUnsubscribeResult
#pragma weak amRecvMessageResult

namespace sippm {

inline ModuleApi linkedModule() {
    ModuleApi module;
    module.recvNotify = amRecvNotify;
    module.recvMessage = amRecvMessage;
    module.recvInfo = amRecvInfo;
    module.recvSubscribeResult = amRecvSubscribeResult;
    module.recvUnsubscribeResult = amRecvUnsubscribeResult;
    module.recvMessageResult = amRecvMessageResult;
    return module;
}

}  // namespace sippm

#endif
