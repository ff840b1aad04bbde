#include "decode.h"

#include <cstddef>
#include <cstring>
#include <vector>

#include "platform/am.h"

namespace amreplay {

namespace {

enum class Kind { Int, UShort, Chars, Text, Parked };

struct Field {
    const char *name;
    Kind kind;
    std::size_t offset;
    std::size_t size;
};

struct Layout {
    const char *event;
    std::size_t size;
    std::vector<Field> fields;
};

#define INT_(T, f) Field{#f, Kind::Int, offsetof(T, f), sizeof(int)}
#define USHORT_(T, f) Field{#f, Kind::UShort, offsetof(T, f), sizeof(unsigned short)}
#define CHARS_(T, f) Field{#f, Kind::Chars, offsetof(T, f), sizeof(static_cast<T *>(nullptr)->f)}
#define TEXT_(T, f) Field{#f, Kind::Text, offsetof(T, f), sizeof(char *)}
#define PARKED_(T, f) Field{#f, Kind::Parked, offsetof(T, f), sizeof(AmBlfParkedInfo)}

const std::vector<Layout> &layouts() {
    static const std::vector<Layout> table = {
        {AM_TALK_EVENT_NAME, sizeof(int), {Field{"channel", Kind::Int, 0, sizeof(int)}}},
        {AM_HOLD_EVENT_NAME, sizeof(int), {Field{"channel", Kind::Int, 0, sizeof(int)}}},
        {AM_MISSED_CALL_EVENT_NAME, sizeof(int), {Field{"value", Kind::Int, 0, sizeof(int)}}},
        {AM_REGISTER_DATE_EVENT_NAME, 0, {Field{"date", Kind::Chars, 0, 64}}},
        {AM_TEXT_PLAIN_INFO_EVENT_NAME, 4, {Field{"body", Kind::Chars, 0, 4}}},
        {AM_CLICK_TO_TALK_EVENT_NAME, sizeof(AmClickToTalk),
         {CHARS_(AmClickToTalk, number), INT_(AmClickToTalk, line), INT_(AmClickToTalk, flag)}},
        {AM_ACS_REQUEST_EVENT_NAME, sizeof(AmAcsRequest), {CHARS_(AmAcsRequest, server)}},
        {AM_ACTIVE_URI_EVENT_NAME, sizeof(AmActiveUri),
         {INT_(AmActiveUri, source), INT_(AmActiveUri, line), CHARS_(AmActiveUri, number), TEXT_(AmActiveUri, body)}},
        {AM_KTS_INFO_EVENT, sizeof(AmKtsInfo),
         {INT_(AmKtsInfo, line), CHARS_(AmKtsInfo, number), INT_(AmKtsInfo, command)}},
        {AM_PUSH_XML_EVENT_NAME, sizeof(AmPushXml),
         {INT_(AmPushXml, line), CHARS_(AmPushXml, number), TEXT_(AmPushXml, xml)}},
        {AM_BLF_EVENT_NAME, sizeof(AmBlfStatus),
         {CHARS_(AmBlfStatus, number), CHARS_(AmBlfStatus, display), CHARS_(AmBlfStatus, subscriptionNumber),
          INT_(AmBlfStatus, line), INT_(AmBlfStatus, status), INT_(AmBlfStatus, state),
          CHARS_(AmBlfStatus, dialogId), CHARS_(AmBlfStatus, remote), CHARS_(AmBlfStatus, remoteDisplay)}},
        {AM_BLF_LIST_EVENT_NAME, sizeof(AmBlfList),
         {CHARS_(AmBlfList, ext), CHARS_(AmBlfList, number), CHARS_(AmBlfList, name), INT_(AmBlfList, line),
          INT_(AmBlfList, status), PARKED_(AmBlfList, parked)}},
        {AM_PRESENCE_EVENT_NAME, sizeof(AmPresenceStatus),
         {CHARS_(AmPresenceStatus, number), TEXT_(AmPresenceStatus, callId), INT_(AmPresenceStatus, line),
          INT_(AmPresenceStatus, state)}},
        {AM_MWI_EVENT_NAME, sizeof(AmMwiStatus),
         {INT_(AmMwiStatus, line), INT_(AmMwiStatus, oldCount), INT_(AmMwiStatus, newCount),
          INT_(AmMwiStatus, waiting), INT_(AmMwiStatus, specialServices), INT_(AmMwiStatus, msgTypes),
          CHARS_(AmMwiStatus, account), INT_(AmMwiStatus, dialogFlag)}},
        {AM_SCA_EVENT_NAME, sizeof(AmScaStatus),
         {INT_(AmScaStatus, line), INT_(AmScaStatus, index), INT_(AmScaStatus, reserved), INT_(AmScaStatus, state)}},
        {AM_LINE_SEIZE_EVENT_NAME, sizeof(AmLineSeizeStatus),
         {INT_(AmLineSeizeStatus, line), INT_(AmLineSeizeStatus, index), INT_(AmLineSeizeStatus, channel),
          INT_(AmLineSeizeStatus, result)}},
        {AM_CALL_PARK_EVENT_NAME, sizeof(AmCallParkStatus),
         {INT_(AmCallParkStatus, line), INT_(AmCallParkStatus, count), INT_(AmCallParkStatus, status)}},
        {AM_VISUAL_PARK_EVENT_NAME, 0, {}},
        {AM_HOTEL_EVENT_NAME, sizeof(AmHotelStatus),
         {INT_(AmHotelStatus, line), INT_(AmHotelStatus, status), CHARS_(AmHotelStatus, guestNumber)}},
        {AM_FEATURE_SYNC_INFORM, sizeof(AmFeatureSync),
         {INT_(AmFeatureSync, line), INT_(AmFeatureSync, ringTime), INT_(AmFeatureSync, value),
          INT_(AmFeatureSync, feature), CHARS_(AmFeatureSync, forwardTo), CHARS_(AmFeatureSync, reason)}},
        {AM_SMS_SEND_EVENT_NAME, sizeof(AmSmsSendStatus),
         {CHARS_(AmSmsSendStatus, number), INT_(AmSmsSendStatus, line), INT_(AmSmsSendStatus, status),
          INT_(AmSmsSendStatus, id), INT_(AmSmsSendStatus, type)}},
        {AM_DYNAMIC_MCAST_EVENT_NAME, sizeof(AmDynamicMcast),
         {INT_(AmDynamicMcast, action), INT_(AmDynamicMcast, type), TEXT_(AmDynamicMcast, host),
          USHORT_(AmDynamicMcast, port), USHORT_(AmDynamicMcast, priority), INT_(AmDynamicMcast, volume),
          TEXT_(AmDynamicMcast, codecName), INT_(AmDynamicMcast, payload), TEXT_(AmDynamicMcast, fmtp),
          TEXT_(AmDynamicMcast, caller), TEXT_(AmDynamicMcast, callee)}},
        {AM_REMOTE_CTL_CMD_EVENT, sizeof(AmRemoteCtlCmd),
         {INT_(AmRemoteCtlCmd, line), TEXT_(AmRemoteCtlCmd, number), INT_(AmRemoteCtlCmd, command),
          TEXT_(AmRemoteCtlCmd, callNumber), TEXT_(AmRemoteCtlCmd, callId)}},
    };
    return table;
}

std::string chars(const unsigned char *p, std::size_t size) {
    std::size_t n = 0;
    while (n < size && p[n] != 0) ++n;
    return std::string(reinterpret_cast<const char *>(p), n);
}

}  // namespace

Json decodeRecord(const char *name, const void *data, int size) {
    Json record = Json::object();
    const unsigned char *bytes = static_cast<const unsigned char *>(data);
    std::size_t have = data != nullptr && size > 0 ? static_cast<std::size_t>(size) : 0;
    for (const Layout &layout : layouts()) {
        if (std::strcmp(layout.event, name) != 0) continue;
        // Records of a fixed layout must come whole; the date text is as long as it is.
        if (layout.size != 0 && have != layout.size)
            record["sizeError"] = "record of " + std::to_string(have) + " bytes, expected " + std::to_string(layout.size);
        for (const Field &f : layout.fields) {
            bool fits = f.offset + f.size <= have;
            if (f.kind == Kind::Chars) {
                record[f.name] = f.offset < have ? chars(bytes + f.offset, std::min(f.size, have - f.offset)) : "";
                continue;
            }
            if (!fits) {
                record[f.name] = nullptr;
                continue;
            }
            switch (f.kind) {
            case Kind::Int: {
                int v;
                std::memcpy(&v, bytes + f.offset, sizeof v);
                record[f.name] = v;
                break;
            }
            case Kind::UShort: {
                unsigned short v;
                std::memcpy(&v, bytes + f.offset, sizeof v);
                record[f.name] = v;
                break;
            }
            case Kind::Text: {
                const char *p;
                std::memcpy(&p, bytes + f.offset, sizeof p);
                if (p == nullptr) record[f.name] = nullptr;
                else record[f.name] = std::string(p);
                break;
            }
            case Kind::Parked: {
                AmBlfParkedInfo parked;
                std::memcpy(&parked, bytes + f.offset, sizeof parked);
                record[f.name] = Json{{"number", chars(reinterpret_cast<const unsigned char *>(parked.number), 64)},
                                      {"display", chars(reinterpret_cast<const unsigned char *>(parked.display), 64)}};
                break;
            }
            case Kind::Chars:
                break;
            }
        }
        return record;
    }
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (std::size_t i = 0; i < have; ++i) {
        out += hex[bytes[i] >> 4];
        out += hex[bytes[i] & 15];
    }
    record["bytes"] = out;
    return record;
}

namespace {

// A text as a JSON string literal, written here rather than through the JSON library,
// as the timeline does this for every field of every event.
void quote(std::string &out, const std::string &text) {
    static const char hex[] = "0123456789abcdef";
    out += '"';
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                out += "\\u00";
                out += hex[c >> 4];
                out += hex[c & 15];
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    out += '"';
}

}  // namespace

std::string recordText(const Json &record) {
    std::string out;
    for (auto it = record.begin(); it != record.end(); ++it) {
        const Json &v = it.value();
        if (v.is_string() && v.get_ref<const std::string &>().empty()) continue;
        std::string inner;
        if (v.is_object()) {
            inner = recordText(v);
            if (inner.empty()) continue;
        }
        if (!out.empty()) out += ' ';
        out += it.key();
        out += '=';
        if (v.is_string()) quote(out, v.get_ref<const std::string &>());
        else if (v.is_number_integer()) out += std::to_string(v.get<long long>());
        else if (v.is_object()) out += "{" + inner + "}";
        else out += v.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
    return out;
}

}  // namespace amreplay
