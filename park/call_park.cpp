// Whether a call is parked against a line, from the server's call-park NOTIFYs. Each
// NOTIFY is judged by itself: nothing is kept between them.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.callpark";
constexpr char kCallParkType[] = "application/x-broadworks-callpark-info+xml";

bool isEmpty(const char *text) { return text == nullptr || *text == '\0'; }

}  // namespace

extern "C" int amCallParkStatusReport(int line, int status) {
    AmCallParkStatus record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.count = 1;
    record.status = status;
    ostraPrintLog(0, kLog, "%s: call park status=[%d]", "amCallParkStatusReport", status);
    return uEventRaise(AM_CALL_PARK_EVENT_NAME, &record, static_cast<int>(sizeof record));
}

extern "C" int amRecvCallParkParse(int line, const char * /*number*/, const char *contentType,
                                   const char *subscriptionState, const char *body) {
    if (isEmpty(contentType) || isEmpty(body)) return 0;
    // A terminated subscription ends the park indication whatever the body says.
    if (am::equalsNoCase(subscriptionState, "terminated")) {
        amCallParkStatusReport(line, AM_CALL_PARK_STATUS_TERMINATED);
        return 0;
    }
    am::XmlDoc doc("callpark");
    if (!doc.created()) {
        ostraPrintLog(2, kLog, "%s: call park nc create failed!", "amCallParkBodyContentParse");
        return 0;
    }
    if (!doc.parse(body, 1)) {
        ostraPrintLog(2, kLog, "%s: call park nc parse msg body error!", "amCallParkBodyContentParse");
        return 0;
    }
    if (amMsgContentEqual(kCallParkType, contentType)) {
        bool parked = doc.element("x-broadworks-callpark-info.callpark.parked.identity") != nullptr;
        amCallParkStatusReport(line, parked ? AM_CALL_PARK_STATUS_PARKED : AM_CALL_PARK_STATUS_NONE);
    }
    return 0;
}
