// Notifications that need no state of their own: each becomes exactly one module event.
// Also the two small body parsers (check-online, firmware update) that other parts of the
// phone call directly.
#include <cstdlib>
#include <cstring>

#include "core/internal.h"
#include "core/util.h"

namespace {

constexpr char kLog[] = "ostra.am.main";

int raise(const char *name, const void *record, std::size_t size) {
    return uEventRaise(name, record, static_cast<int>(size));
}

// A channel is whatever decimal number the body begins with; anything else is channel 0.
int channelOf(const char *body) { return body != nullptr ? am::decimalAt(body) : 0; }

int channelReport(const char *eventName, const char *function, const char *body) {
    int channel = channelOf(body);
    int result = raise(eventName, &channel, sizeof channel);
    ostraPrintLog(0, kLog, "%s: body=%s, chan=%d\n", function, am::orEmpty(body), channel);
    return result;
}

struct KtsCommand {
    const char *word;
    int command;
};
constexpr KtsCommand kKtsCommands[] = {
    {"queue", AM_KTS_CMD_QUEUE},
    {"cancelQueue", AM_KTS_CMD_CANCEL_QUEUE},
    {"phonebookSize", AM_KTS_CMD_PHONEBOOK_SIZE},
    {"phonebookName", AM_KTS_CMD_PHONEBOOK_NAME},
    {"phonebookNumber", AM_KTS_CMD_PHONEBOOK_NUMBER},
    {"lineBusy", AM_KTS_CMD_LINE_BUSY},
};

// Copies the value that follows `key` up to the next CRLF into `out`, cut to its
// capacity. A missing key or an unterminated value leaves `out` as the caller set it.
template <std::size_t N>
void firmwareField(const char *body, const char *key, char *out) {
    if (out == nullptr) return;
    const char *at = std::strstr(body, key);
    if (at == nullptr) return;
    const char *value = at + std::strlen(key);
    const char *end = std::strstr(value, "\r\n");
    if (end == nullptr) return;
    uStrnSafeCopy(out, static_cast<int>(N), value, static_cast<int>(end - value));
}

}  // namespace

namespace am {

int ktsInfoReport(const AmInfoRecord &info) {
    AmKtsInfo record;
    std::memset(&record, 0, sizeof record);
    record.line = info.line;
    copyText(record.number, info.number);
    for (const KtsCommand &entry : kKtsCommands) {
        if (info.body != nullptr && std::strcmp(entry.word, info.body) == 0) {
            record.command = entry.command;
            break;
        }
    }
    return raise(AM_KTS_INFO_EVENT, &record, sizeof record);
}

int textPlainInfoReport(const AmInfoRecord &info) {
    char head[4] = {};
    if (info.body != nullptr) std::memcpy(head, info.body, strnlen(info.body, sizeof head));
    return raise(AM_TEXT_PLAIN_INFO_EVENT_NAME, head, sizeof head);
}

}  // namespace am

extern "C" int amRecvTalkProcess(const char *body) {
    return channelReport(AM_TALK_EVENT_NAME, "amRecvTalkProcess", body);
}

extern "C" int amRecvHoldProcess(const char *body) {
    return channelReport(AM_HOLD_EVENT_NAME, "amRecvHoldProcess", body);
}

extern "C" int amClickToTalkReport(int line, const char *number, int flag) {
    AmClickToTalk record;
    std::memset(&record, 0, sizeof record);
    am::copyText(record.number, number);
    record.line = line;
    record.flag = flag;
    int result = raise(AM_CLICK_TO_TALK_EVENT_NAME, &record, sizeof record);
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s\n", "amClickToTalkReport", line, am::orEmpty(number));
    return result;
}

extern "C" int amAcsRequestReport(const char *eventText) {
    AmAcsRequest record;
    std::memset(&record, 0, sizeof record);
    const char *server = eventText != nullptr ? std::strstr(eventText, "server=") : nullptr;
    if (server != nullptr) {
        // Everything after "server=" is the value, later parameters included.
        am::copyText(record.server, server + std::strlen("server="));
        uStrStripSpace(record.server);
        std::size_t length = std::strlen(record.server);
        if (length >= 2 && record.server[0] == '"' && record.server[length - 1] == '"') {
            std::memmove(record.server, record.server + 1, length - 2);
            record.server[length - 2] = '\0';
        }
    }
    return raise(AM_ACS_REQUEST_EVENT_NAME, &record, sizeof record);
}

extern "C" int amRecvRegisterDateReport(const char *date) {
    char text[64] = {};
    am::copyText(text, date);
    int result = raise(AM_REGISTER_DATE_EVENT_NAME, text, std::strlen(text) + 1);
    ostraPrintLog(0, kLog, "%s: date=%s\n", "amRecvRegisterDateReport", am::orEmpty(date));
    return result;
}

extern "C" int amActiveUriReport(int line, const char *number, const char *body, int source) {
    AmActiveUri record;
    std::memset(&record, 0, sizeof record);
    record.source = source;
    record.line = line;
    am::copyText(record.number, number);
    record.body = body;
    return raise(AM_ACTIVE_URI_EVENT_NAME, &record, sizeof record);
}

extern "C" int amMissedCallReport(int value) { return raise(AM_MISSED_CALL_EVENT_NAME, &value, sizeof value); }

// The text looks like: server="host:port".
extern "C" int amCheckOnlineEventContentParse(const char *text, char *host, int hostSize, char *port,
                                              int portSize) {
    if (text == nullptr) return 0;
    const char *server = std::strstr(text, "server=");
    if (server == nullptr) return 0;
    const char *value = server + std::strlen("server=");
    const char *colon = std::strchr(value, ':');
    if (colon == nullptr) return 0;
    // The value's first character is its opening quote. A colon right after "server="
    // leaves nothing to copy (a negative count copies nothing).
    if (host != nullptr) uStrnSafeCopy(host, hostSize, value + 1, static_cast<int>(colon - (value + 1)));
    if (port != nullptr && portSize > 0) {
        uStrSafeCopy(port, portSize, colon + 1);
        std::size_t length = std::strlen(port);
        if (length > 0) port[length - 1] = '\0';  // the closing quote
    }
    return 0;
}

extern "C" int amFirmwareUpdateBodyContentParse(const char *body, char *server, char *filename, char *user,
                                                char *password, int *protocol) {
    if (body == nullptr) return 0;
    // The dispatch hands buffers of these sizes; the parser never writes beyond them.
    firmwareField<48>(body, "Server:", server);
    firmwareField<48>(body, "Filename:", filename);
    firmwareField<32>(body, "User:", user);
    firmwareField<32>(body, "Password:", password);
    const char *flag = std::strstr(body, "Protocol:");
    if (flag != nullptr && protocol != nullptr) *protocol = flag[std::strlen("Protocol:")] == '0' ? 0 : 1;
    return 0;
}
