// Pushed XML documents: tested and copied on the caller's thread, raised later on the
// host's asynchronous context so that the protocol manager's call returns at once.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {
constexpr char kLog[] = "ostra.am.main";
}  // namespace

extern "C" int amRecvPushXml(int line, const char *number, const char *xml) {
    if (number == nullptr || xml == nullptr) return -1;
    if (uStrCaseStr(xml, "<RetCode>") != nullptr) {
        // A response to something the phone sent, not a push.
        ostraPrintLog(2, kLog, "%s: recv resp xml, will not process!", "amRecvPushXml");
        return -1;
    }
    uXmlParseState state;
    std::memset(&state, 0, sizeof state);
    if (uXmlParseFromBuf(xml, 0, &state, nullptr, nullptr, nullptr) != 0) {
        ostraPrintLog(2, kLog, "%s: recv xml parse error!", "amRecvPushXml");
        return -1;
    }
    auto *record = static_cast<AmPushXml *>(uMalloc(sizeof(AmPushXml)));
    if (record == nullptr) {
        ostraPrintLog(2, kLog, "%s: no more resource available!", "amRecvPushXml");
        return -1;
    }
    std::memset(record, 0, sizeof *record);
    record->line = line;
    am::copyText(record->number, number);
    // A failed copy still goes through: the asynchronous step frees it without an event.
    record->xml = uStrGetCopy(xml);
    if (uAsyncCall(amPushXmlEventRaise, record) != 0) {
        // Refused: the record is still ours and is dropped without an event.
        uFree(record->xml);
        uFree(record);
        return -1;
    }
    return 0;
}

extern "C" void amPushXmlEventRaise(void *record) {
    if (record == nullptr) return;
    auto *push = static_cast<AmPushXml *>(record);
    if (push->xml != nullptr) {
        uEventRaise(AM_PUSH_XML_EVENT_NAME, push, static_cast<int>(sizeof *push));
        uFree(push->xml);
    }
    uFree(push);
}
