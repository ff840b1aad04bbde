// Presence documents: PIDF and XPIDF bodies are searched as plain text (servers send
// them with every namespace prefix imaginable, and half of them are not well-formed),
// reduced to one presence state and reported as AM_PRESENCE_EVENT_NAME.
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.presence";

template <std::size_t N>
constexpr int length(const char (&)[N]) {
    return static_cast<int>(N - 1);
}

// Copies the text between `from` and `to` into a caller buffer of `size` bytes, cut to
// size - 1. A buffer without room is left alone.
void copyBetween(char *out, int size, const char *from, const char *to) {
    if (out != nullptr && size > 0) uStrnSafeCopy(out, size, from, static_cast<int>(to - from));
}

void setText(char *out, int size, const char *text) {
    if (out != nullptr && size > 0) uStrSafeCopy(out, size, text);
}

// A heap copy of [from, to), exactly as long as it needs to be; NULL when memory runs out.
char *heapCopy(const char *from, const char *to) {
    std::size_t size = static_cast<std::size_t>(to - from);
    char *copy = static_cast<char *>(uMalloc(size + 1));
    if (copy == nullptr) return nullptr;
    std::memcpy(copy, from, size);
    copy[size] = '\0';
    return copy;
}

// The text between the first `open` found from `from` and the first `close` after it;
// false when either is missing. Also reads quoted attribute values: open `name="`, close `"`.
bool elementText(const char *from, const char *open, const char *close, const char **value, const char **end) {
    const char *at = std::strstr(from, open);
    if (at == nullptr) return false;
    const char *start = at + std::strlen(open);
    const char *stop = std::strstr(start, close);
    if (stop == nullptr) return false;
    *value = start;
    *end = stop;
    return true;
}

// Copies what elementText finds into a caller buffer; leaves the buffer alone otherwise.
void copyElementText(const char *from, const char *open, const char *close, char *out, int size) {
    const char *value = nullptr;
    const char *end = nullptr;
    if (elementText(from, open, close, &value, &end)) copyBetween(out, size, value, end);
}

void readBasic(const char *body, char *basic, int basicSize) {
    static constexpr char kStatus[] = "<status>";
    if (std::strstr(body, "<tuple") == nullptr) return;
    const char *status = std::strstr(body, kStatus);
    if (status != nullptr) copyElementText(status + length(kStatus), "<basic>", "</basic>", basic, basicSize);
}

// A device note describes the call itself ("Talking", "Ringing", "Call from ..."); only its
// first word matters, and it replaces whatever the person note said.
void readDeviceNote(const char *body, char *note, int noteSize) {
    static constexpr char kOpen[] = "<dm:note>";
    const char *open = std::strstr(body, kOpen);
    const char *close = std::strstr(body, "</dm:note>");
    if (open == nullptr || close == nullptr || noteSize <= 0) return;
    const char *value = open + length(kOpen);
    if (value >= close) return;
    char scratch[32];
    am::copyTextN(scratch, value, static_cast<int>(close - value));
    uStrStripCrlf(scratch);
    if (std::strncmp(scratch, "Ring", 4) == 0) {
        setText(note, noteSize, "ringing");
    } else if (std::strncmp(scratch, "Call", 4) == 0 || std::strncmp(scratch, "Talk", 4) == 0 ||
               std::strncmp(scratch, "Hold", 4) == 0) {
        setText(note, noteSize, "on the phone");
    } else {
        setText(note, noteSize, "");
        return;
    }
    ostraPrintLog(1, kLog, "%s:note is [%s]", "amPresencePidfXmlContentGet", note);
}

// Activities outrank every note: a watched user "on-the-phone" is talking whatever the
// note says, and an activities element without a call word clears the note.
void readActivities(const char *body, char *note, int noteSize, char **callId) {
    const char *value = nullptr;
    const char *close = nullptr;
    if (!elementText(body, "<e:activities>", "</e:activities>", &value, &close)) return;
    char *activities = heapCopy(value, close);
    if (activities == nullptr) return;
    if (noteSize > 0) {
        if (std::strstr(activities, "on-the-phone") != nullptr) {
            setText(note, noteSize, "on the phone");
        } else if (std::strstr(activities, "ringing") != nullptr) {
            setText(note, noteSize, "ringing");
        } else if (std::strstr(activities, "alerting") != nullptr) {
            setText(note, noteSize, "alerting");
        } else {
            setText(note, noteSize, "");
        }
    }
    const char *id = nullptr;
    const char *idEnd = nullptr;
    if (callId != nullptr && elementText(activities, "call-id=\"", "\"", &id, &idEnd)) {
        if (char *copy = heapCopy(id, idEnd)) *callId = copy;
    }
    uFree(activities);
}

struct StateRow {
    const char *basic;
    const char *note;   // nullptr: any note
    int state;
};

// First matching row wins; a basic value that no row names is offline.
constexpr StateRow kStates[] = {
    {"open", "On the phone", AM_PRESENCE_STATE_TALKING},
    {"open", "Ringing", AM_PRESENCE_STATE_RINGING},
    {"open", "Alerting", AM_PRESENCE_STATE_ALERTING},
    {"open", nullptr, AM_PRESENCE_STATE_READY},
    {"inuse", nullptr, AM_PRESENCE_STATE_TALKING},
    {"failed", nullptr, AM_PRESENCE_STATE_FAILED},
    {"closed", "On the phone", AM_PRESENCE_STATE_TALKING},
    {"closed", "On hold", AM_PRESENCE_STATE_TALKING},
    {"closed", "Ringing", AM_PRESENCE_STATE_RINGING},
    {"closed", "Alerting", AM_PRESENCE_STATE_ALERTING},
};

constexpr const char *kStateTexts[] = {
    "presence Offline", "presence Ready",  "presence Talking",  "presence Ringing",
    "presence Failed",  "presence Ongoing", "presence Alerting",
};

}  // namespace

extern "C" {

int amPresencePidfXmlContentGet(const char *body, char *basic, int basicSize, char *note, int noteSize,
                                char **callId) {
    if (body == nullptr || basic == nullptr || note == nullptr) return -1;
    setText(basic, basicSize, "");
    setText(note, noteSize, "");
    readBasic(body, basic, basicSize);
    copyElementText(body, "<note>", "</note>", note, noteSize);
    readDeviceNote(body, note, noteSize);
    readActivities(body, note, noteSize, callId);
    return 0;
}

int amPresenceXpidfXmlContentGet(const char *body, char *status, int statusSize, char *substatus,
                                 int substatusSize) {
    setText(status, statusSize, "");
    setText(substatus, substatusSize, "");
    if (body == nullptr) return -1;
    static constexpr char kStatus[] = "<status";
    if (const char *element = std::strstr(body, kStatus)) {
        copyElementText(element + length(kStatus), "status=\"", "\"", status, statusSize);
    }
    copyElementText(body, "substatus=\"", "\"", substatus, substatusSize);
    return 0;
}

int amPresenceStateConvert(const char *basic, const char *note) {
    if (basic == nullptr || basic[0] == '\0') return AM_PRESENCE_STATE_OFFLINE;
    const char *noteText = am::orEmpty(note);
    for (const StateRow &row : kStates) {
        if (strcasecmp(row.basic, basic) != 0) continue;
        if (row.note == nullptr || strcasecmp(row.note, noteText) == 0) return row.state;
    }
    return AM_PRESENCE_STATE_OFFLINE;
}

const char *amPresenceStateToStr(int state) {
    if (state < 0 || state >= static_cast<int>(sizeof kStateTexts / sizeof kStateTexts[0])) {
        return "presence send failed";
    }
    return kStateTexts[state];
}

int amPresenceStatusReport(int line, const char *number, int state, char *callId) {
    AmPresenceStatus record;
    std::memset(&record, 0, sizeof record);
    std::snprintf(record.number, sizeof record.number, "%s", am::orEmpty(number));
    record.callId = callId;
    record.line = line;
    record.state = state;
    return uEventRaise(AM_PRESENCE_EVENT_NAME, &record, static_cast<int>(sizeof record));
}

int amRecvPresenceProcess(int line, const char *number, const char *basic, const char *note, char *callId) {
    return amPresenceStatusReport(line, number, amPresenceStateConvert(basic, note), callId);
}

void amRecvPresenceParse(int line, const char *number, const char *contentType, const char *body) {
    static constexpr char kFunction[] = "amRecvPresenceParse";
    ostraPrintLog(0, kLog, "%s: line=[%d], num=[%s], accept=[%s]\n", kFunction, line, am::orEmpty(number),
                  am::orEmpty(contentType));
    char basic[16] = {};
    char note[16] = {};
    const char *text = am::orEmpty(body);
    if (amMsgContentEqual("application/pidf+xml", contentType) != 0) {
        char *callId = nullptr;
        amPresencePidfXmlContentGet(text, basic, am::capacity(basic), note, am::capacity(note), &callId);
        amRecvPresenceProcess(line, number, basic, note, callId);
        if (callId != nullptr) uFree(callId);
    } else if (amMsgContentEqual("application/xpidf+xml", contentType) != 0) {
        amPresenceXpidfXmlContentGet(text, basic, am::capacity(basic), note, am::capacity(note));
        amRecvPresenceProcess(line, number, basic, note, nullptr);
    } else {
        ostraPrintLog(2, kLog, "%s: Unknown accept type\n", kFunction);
    }
}

}  // extern "C"
