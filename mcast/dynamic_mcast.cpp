// Multicast paging groups that the server starts and stops with "mcast-dynamic-set"
// NOTIFYs. The module only reads the document and tells the phone's media side; it keeps
// no state, so a refused document leaves whatever is playing untouched.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "am.dynamic.mcast";

constexpr uMapEntry kActions[] = {
    {AM_MCAST_ACTION_START, "IBC_MC_START"},
    {AM_MCAST_ACTION_END, "IBC_MC_END"},
    {-1, "error"},
};

constexpr uMapEntry kTypes[] = {
    {AM_MCAST_TYPE_CALL, "call"},
    {AM_MCAST_TYPE_STREAM, "stream"},
    {-1, "error"},
};

// Port and payload type travel in 16 bits whatever the document wrote.
constexpr int kLow16 = 0xFFFF;
constexpr int kNoPayload = 65535;

int low16(const char *text) { return am::decimalAt(text) & kLow16; }

bool isEmpty(const char *text) { return text == nullptr || text[0] == '\0'; }

// Copies a text for the record; false only when a text was given and could not be copied.
bool copyInto(char *&field, const char *text) {
    field = uStrGetCopy(text);
    return text == nullptr || field != nullptr;
}

int parse(ncContext *doc) {
    ncElement *action = ncGetElementByName(doc, "action");
    if (action == nullptr) {
        ostraPrintLog(2, kLog, "%s: action not find", "amParseDynamicMcast");
        return 0;
    }
    int actionId = uMapIdByString(kActions, ncGetElementAttr(action, "name"));
    const char *vol = ncGetElementAttr(ncSearchElement(action, "action.phone"), "vol");
    int volume = vol != nullptr ? am::decimalAt(vol) : 0;

    ncElement *entry = ncSearchElement(action, "action.mcEntry");
    if (entry == nullptr) {
        ostraPrintLog(2, kLog, "%s: mcEntry not find", "amParseDynamicMcast");
        return 0;
    }
    const char *host = ncGetElementAttr(entry, "host");
    if (isEmpty(host)) {
        ostraPrintLog(2, kLog, "%s: mcast addr not find", "amParseDynamicMcast");
        return 0;
    }
    const char *port = ncGetElementAttr(entry, "port");
    if (isEmpty(port)) {
        ostraPrintLog(2, kLog, "%s: mcast port not find", "amParseDynamicMcast");
        return 0;
    }
    const char *priority = ncGetElementAttr(entry, "priority");

    // A missing type element reads as no name, which the table answers with 0 (call).
    int type = uMapIdByString(kTypes, ncGetElementValue(ncSearchElement(action, "action.type")));
    const char *payload = ncGetElementValue(ncSearchElement(action, "action.codec.payload"));
    return amDynamicMcastRaiseEvent(actionId, type, host, static_cast<unsigned short>(low16(port)),
                                    priority != nullptr ? am::decimalAt(priority) : -1, volume,
                                    ncGetElementValue(ncSearchElement(action, "action.codec.name")),
                                    payload != nullptr ? low16(payload) : kNoPayload,
                                    ncGetElementValue(ncSearchElement(action, "action.codec.fmtp")),
                                    ncGetElementValue(ncSearchElement(action, "action.caller")),
                                    ncGetElementValue(ncSearchElement(action, "action.callee")));
}

}  // namespace

extern "C" int amParseDynamicMcast(int, const char *, const char *body) {
    if (isEmpty(body)) {
        ostraPrintLog(2, kLog, "%s: invalid body[%s]", "amParseDynamicMcast", body != nullptr ? body : "NULL");
        return -1;
    }
    am::XmlDoc doc("Dynamic Multi Cast");
    // Values are read as written: this document's option word stays the host's.
    if (!doc.created() || ncParseFromBuf(doc.get(), body, 0) == -1) {
        ostraPrintLog(2, kLog, "%s: body parse failed", "amParseDynamicMcast");
        return -1;
    }
    return parse(doc.get());
}

extern "C" int amDynamicMcastRaiseEvent(int action, int type, const char *host, unsigned short port, int priority,
                                        int volume, const char *codecName, int payload, const char *fmtp,
                                        const char *caller, const char *callee) {
    if (host == nullptr) {
        ostraPrintLog(2, kLog, "%s: ip and port must not be NULL!", "amDynamicMcastRaiseEvent");
        return -1;
    }
    if (action == 0) {
        ostraPrintLog(2, kLog, "%s: action[%d] is invalid!", "amDynamicMcastRaiseEvent", action);
        return -1;
    }
    if (!sockIsValidAddr(host)) {
        ostraPrintLog(2, kLog, "%s: mcastIp[%s] is invalid!", "amDynamicMcastRaiseEvent", host);
        return -1;
    }
    auto *record = static_cast<AmDynamicMcast *>(uMalloc(sizeof(AmDynamicMcast)));
    if (record == nullptr) return -1;
    std::memset(record, 0, sizeof *record);
    record->action = action;
    record->type = type;
    record->port = port;
    record->priority = static_cast<unsigned short>(priority & kLow16);  // no priority (-1) reads 65535
    record->volume = volume;
    record->payload = payload;
    // Every copy is tried, so that the one free below releases whatever was made.
    bool copied = copyInto(record->host, host);
    copied = copyInto(record->codecName, codecName) && copied;
    copied = copyInto(record->fmtp, fmtp) && copied;
    copied = copyInto(record->caller, caller) && copied;
    copied = copyInto(record->callee, callee) && copied;
    // A paging group announced without one of its texts would be a different group.
    if (copied) uEventRaise(AM_DYNAMIC_MCAST_EVENT_NAME, record, static_cast<int>(sizeof *record));
    amDynamicMcastInfoFree(record);
    return copied ? 0 : -1;
}

extern "C" void amDynamicMcastInfoFree(AmDynamicMcast *record) {
    if (record == nullptr) return;
    uFree(record->host);
    uFree(record->codecName);
    uFree(record->fmtp);
    uFree(record->caller);
    uFree(record->callee);
    uFree(record);
}
