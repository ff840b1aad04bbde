// Presence subscriptions. Requests share the line's pending queue with the BLF keys, so
// that a page of presence keys never floods the server with SUBSCRIBEs at once; the
// queue calls amSendPresenceSubscribe for every request after the first.
#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.presence";

bool validRequest(const char *function, int line, const char *number) {
    if (number != nullptr && number[0] != '\0' && line >= 0) return true;
    ostraPrintLog(2, kLog, "%s: param invalid\n", function);
    return false;
}

}  // namespace

extern "C" {

int amSendPresenceSubscribe(int line, const char *number, int subscribe) {
    if (!validRequest("amSendPresenceSubscribe", line, number)) return -1;
    am::subscribeOrCancel(line, number, subscribe, "presence", "application/pidf+xml, application/xpidf+xml");
    return 0;
}

int amRequestPresence(int line, const char *number) {
    if (!validRequest("amRequestPresence", line, number)) return -1;
    if (amPendingNumber(line) < 1) amSendPresenceSubscribe(line, number, 1);
    amPendingAdd(AM_PENDING_TYPE_PRESENCE, line, number, 1);
    return 0;
}

void amRequestPresenceCancel(int line, const char *number) {
    static constexpr char kFunction[] = "amRequestPresenceCancel";
    if (!validRequest(kFunction, line, number)) return;
    // A SUBSCRIBE that never left the phone needs no unSUBSCRIBE.
    if (amPendingCancel(AM_PENDING_TYPE_PRESENCE, line, number) == 0) {
        ostraPrintLog(0, kLog, "%s: have pending request, no need cancel.", kFunction);
        return;
    }
    if (amPendingNumber(line) < 1) amSendPresenceSubscribe(line, number, 0);
    amPendingAdd(AM_PENDING_TYPE_PRESENCE, line, number, 0);
}

int amPresenceRecvSubscribeResult(int line, const char *number, int state) {
    if (state == 0) amPresenceStatusReport(line, number, AM_PRESENCE_STATE_SEND_FAILED, nullptr);
    return amPendingConfirm(AM_PENDING_TYPE_PRESENCE, line, number);
}

int amPresenceRecvUnsubscribeResult(int line, const char *number, int state) {
    (void)state;
    return amPendingConfirm(AM_PENDING_TYPE_PRESENCE, line, number);
}

}  // extern "C"
