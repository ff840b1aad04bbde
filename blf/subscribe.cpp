// BLF subscriptions: the requests that start and stop watching an extension's dialogs,
// the sender the pending queue uses, the handlers of the subscription results, and the
// report of one BLF status. Requests go through the line's pending queue, so that only one
// SUBSCRIBE per line is on the wire at a time.
#include <cstdio>
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.dialogInfo";
constexpr int kFailedStatus = 1 << AM_BLF_STATE_FAILED;
constexpr int kSuccessStatus = 1 << AM_BLF_STATE_SUCCESS;

bool validRequest(const char *function, int line, const char *number) {
    if (line >= 1 && number != nullptr && number[0] != '\0') return true;
    ostraPrintLog(2, kLog, "%s: param invalid\n", function);
    return false;
}

}  // namespace

extern "C" {

int amRequestBlf(int line, const char *number) {
    if (!validRequest("amRequestBlf", line, number)) return -1;
    if (amPendingNumber(line) < 1) {
        amSendBlfSubscribe(line, number, 1);
    } else {
        ostraPrintLog(0, kLog, "%s: have pending blf, append it!", "amRequestBlf");
    }
    amPendingAdd(AM_PENDING_TYPE_BLF, line, number, 1);
    return 0;
}

int amRequestBlfCancel(int line, const char *number) {
    if (!validRequest("amRequestBlfCancel", line, number)) return -1;
    amBlfDialogInfoClearByNumber(line, number);
    if (amPendingCancel(AM_PENDING_TYPE_BLF, line, number) == 0) {
        // The SUBSCRIBE never left the phone: there is nothing to end.
        ostraPrintLog(0, kLog, "%s: have pending request, no need cancel.", "amRequestBlfCancel");
        return 0;
    }
    if (amPendingNumber(line) < 1) amSendBlfSubscribe(line, number, 0);
    amPendingAdd(AM_PENDING_TYPE_BLF, line, number, 0);
    return 0;
}

int amSendBlfSubscribe(int line, const char *number, int subscribe) {
    return amSendBlfSubscribeWithBody(line, number, subscribe, nullptr);
}

int amSendBlfSubscribeWithBody(int line, const char *number, int subscribe, const char *body) {
    if (!validRequest("amSendBlfSubscribeWithBody", line, number)) return -1;
    int state = 0;
    pmGetRegisterStatebyLine(line, &state, 0);
    if (state != 1) {
        ostraPrintLog(2, kLog, "%s: line[%d] not registered!", "amSendBlfSubscribeWithBody", line);
        return -1;
    }
    am::subscribeOrCancel(line, number, subscribe, "dialog", "application/dialog-info+xml", body);
    return 0;
}

int amDialogRecvSubscribeResult(int line, const char *number, int result) {
    bool failed = result < 1;
    // A refused subscription lights the key as failed; an accepted one waits for the
    // first NOTIFY to bring the state.
    if (failed) amBlfStatusReport(line, number, kFailedStatus, nullptr, nullptr, AM_BLF_STATE_FAILED);
    amPendingConfirm(AM_PENDING_TYPE_BLF, line, number);
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, result=%d, status=%d\n", "amDialogRecvSubscribeResult", line,
                  am::orEmpty(number), result, failed ? kFailedStatus : kSuccessStatus);
    return 0;
}

int amDialogRecvUnsubscribeResult(int line, const char *number, int result) {
    amPendingConfirm(AM_PENDING_TYPE_BLF, line, number);
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, result=%d\n", "amDialogRecvUnsubscribeResult", line,
                  am::orEmpty(number), result);
    return 0;
}

int amBlfStatusReport(int line, const char *number, int status, const char *dialogId, const char *remote,
                      int state) {
    AmBlfStatus record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.status = status;
    record.state = state;
    std::snprintf(record.number, sizeof record.number, "%s", am::orEmpty(number));
    am::copyText(record.dialogId, dialogId);
    am::copyText(record.remote, remote);
    return uEventRaise(AM_BLF_EVENT_NAME, &record, sizeof record);
}

}  // extern "C"
