// Outgoing text and XML messages. The application chooses each message's id; the module
// only passes it on and echoes it with the outcome, so it keeps nothing between the send
// and the result.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.sms";

// Indexed by message type.
constexpr const char *kContentTypes[] = {"text/plain", "text/xml-pushinfo", "application/xml", "text/medical"};

// The outcome side knows no "application/xml": the protocol manager never reports one.
struct ResultType {
    const char *contentType;
    int type;
};
constexpr ResultType kResultTypes[] = {
    {"text/plain", AM_SMS_TYPE_TEXT},
    {"text/xml-pushinfo", AM_SMS_TYPE_PUSH_XML},
    {"text/medical", AM_SMS_TYPE_MEDICAL},
};

}  // namespace

extern "C" int amSmsSend(int line, const char *number, const char *body, int id, int type) {
    if (type < 0 || type >= am::capacity(kContentTypes)) {
        ostraPrintLog(2, kLog, "amSmsSend: type=[%d] error\n", type);
        return -1;
    }
    char contentType[32] = {};
    am::copyText(contentType, kContentTypes[type]);
    int result = pmMessage(line, number, contentType, body, id);
    // Only an immediate refusal is known here; a success is reported with the outcome.
    if (result == -1) amSmsSendStatusReport(line, number, id, AM_SMS_STATUS_FAILED, type);
    return result;
}

extern "C" int amSendSms(int line, const char *number, const char *body, int id) {
    return amSmsSend(line, number, body, id, AM_SMS_TYPE_TEXT);
}

extern "C" int amSendMedicalSms(int line, const char *number, const char *body, int id) {
    return amSmsSend(line, number, body, id, AM_SMS_TYPE_MEDICAL);
}

extern "C" int amSendMessagePushXml(int line, const char *number, const char *body, int id) {
    return amSmsSend(line, number, body, id, AM_SMS_TYPE_PUSH_XML);
}

extern "C" int amSendMessageAppliciationXml(int line, const char *number, const char *body, int id) {
    return amSmsSend(line, number, body, id, AM_SMS_TYPE_APP_XML);
}

extern "C" int amRecvMessageResult(int line, const char *number, const char *contentType, int id, int result) {
    if (contentType == nullptr) {
        ostraPrintLog(2, kLog, "amRecvMessageResult: event is null\n");
        return -1;
    }
    for (const ResultType &entry : kResultTypes) {
        if (am::equalsNoCase(entry.contentType, contentType)) {
            int status = result >= 1 ? AM_SMS_STATUS_SENT : AM_SMS_STATUS_FAILED;
            return amSmsSendStatusReport(line, number, id, status, entry.type);
        }
    }
    ostraPrintLog(2, kLog, "amRecvMessageResult: event=[%s] error\n", contentType);
    return -1;
}

extern "C" int amSmsSendStatusReport(int line, const char *number, int id, int status, int type) {
    if (number == nullptr) {
        ostraPrintLog(2, kLog, "amSmsSendStatusReport: number is null\n");
        return -1;
    }
    ostraPrintLog(0, kLog, "line=[%d], number=[%s], id=[%d], status=[%d]\n", line, number, id, status);
    AmSmsSendStatus record;
    std::memset(&record, 0, sizeof record);
    am::copyText(record.number, number);
    record.line = line;
    record.status = status;
    record.id = id;
    record.type = type;
    uEventRaise(AM_SMS_SEND_EVENT_NAME, &record, static_cast<int>(sizeof record));
    return 0;
}
