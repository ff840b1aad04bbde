// Message waiting: message-summary bodies (the line's own mailbox and the summaries of
// watched numbers) become one AM_MWI_EVENT_NAME each. No state, no lock, no log of its
// own; every buffer lives on the caller's stack and every copy is bounded.
#include <climits>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kSummaryType[] = "application/simple-message-summary";

// A blank is a space or a tab, here and where the old count ends.
constexpr char kBlanks[] = " \t";

const char *skipBlanks(const char *text) {
    return text + std::strspn(text, kBlanks);
}

// A header value that is "yes" (in any case) after optional blanks.
bool yesAfter(const char *header, std::size_t headerLength) {
    return strncasecmp(skipBlanks(header + headerLength), "yes", 3) == 0;
}

// Count texts go through a small scratch buffer so that a count written without its
// delimiter cannot drag strtol through the rest of the body.
int countBetween(const char *from, const char *to) {
    char scratch[32];
    am::copyTextN(scratch, from, static_cast<int>(to - from));
    return am::decimalAt(scratch);
}

// A mailbox may claim any counts it likes; their sum must not overflow.
int addCounts(int a, int b) {
    long long sum = static_cast<long long>(a) + b;
    if (sum > INT_MAX) return INT_MAX;
    if (sum < INT_MIN) return INT_MIN;
    return static_cast<int>(sum);
}

// The urgent pair "(new/old)" that follows the old count; each part needs the delimiter
// before it, and a missing one ends the reading quietly.
void readUrgent(const char *from, int &urgentNew, int &urgentOld) {
    const char *open = std::strchr(from, '(');
    if (open == nullptr) return;
    const char *slash = std::strchr(open + 1, '/');
    if (slash == nullptr) return;
    urgentNew = countBetween(open + 1, slash);
    const char *close = std::strchr(slash + 1, ')');
    if (close == nullptr) return;
    urgentOld = countBetween(slash + 1, close);
}

// The mailbox number from a "Message-Account:" header: the value runs to the first CR
// (or, in a body without one, the first LF) and may be a SIP URI or a bare number.
template <std::size_t N>
void readAccount(const char *body, char (&account)[N]) {
    static constexpr char kHeader[] = "Message-Account:";
    const char *header = uStrCaseStr(body, kHeader);
    if (header == nullptr) return;
    const char *value = header + sizeof kHeader - 1;
    const char *end = std::strchr(value, '\r');
    if (end == nullptr) end = std::strchr(value, '\n');
    if (end == nullptr) end = value + std::strlen(value);
    char copy[96];
    am::copyTextN(copy, value, static_cast<int>(end - value));
    char parsed[80] = {};
    amBlfParseNumFromUri(copy, parsed, am::capacity(parsed));
    if (parsed[0] != '\0') am::copyText(account, parsed);
}

}  // namespace

extern "C" {

int amMwiNormalMessageParse(const char *body, int *newCount, int *oldCount, int *urgentNew, int *urgentOld,
                            int *waiting) {
    // Callers may leave out what they do not need; the reading is the same.
    int newValue = 0, oldValue = 0, urgentNewValue = 0, urgentOldValue = 0;
    int waitingValue = waiting != nullptr ? *waiting : 0;
    int result = -1;
    static constexpr char kWaiting[] = "Messages-Waiting:";
    static constexpr char kVoiceMessage[] = "Voice-Message: ";
    static constexpr char kVoicemail[] = "Voicemail:";

    const char *waitingHeader = body != nullptr ? uStrCaseStr(body, kWaiting) : nullptr;
    const char *voice = body != nullptr ? uStrCaseStr(body, kVoiceMessage) : nullptr;
    if (waitingHeader != nullptr || voice != nullptr) {
        if (waitingHeader != nullptr) waitingValue = yesAfter(waitingHeader, sizeof kWaiting - 1) ? 1 : 0;
        const char *start = nullptr;
        if (voice != nullptr) {
            start = voice + sizeof kVoiceMessage - 1;
        } else if (const char *voicemail = uStrCaseStr(body, kVoicemail)) {
            start = voicemail + sizeof kVoicemail - 1;
        }
        if (start == nullptr) {
            // A bare "yes" still means at least one message is waiting.
            if (waitingValue == 1) newValue = 1;
            result = 0;
        } else if (const char *slash = std::strchr(start, '/')) {
            newValue = countBetween(start, slash);
            if (const char *blank = std::strpbrk(slash + 1, kBlanks)) {
                oldValue = countBetween(slash + 1, blank);
                readUrgent(blank, urgentNewValue, urgentOldValue);
            } else if (const char *crlf = std::strstr(slash + 1, "\r\n")) {
                oldValue = countBetween(slash + 1, crlf);
            }
            // The counts are what the mailbox holds; they win over the header.
            waitingValue = (newValue > 0 || urgentNewValue > 0) ? 1 : 0;
            result = 0;
        }
    }
    if (newCount != nullptr) *newCount = newValue;
    if (oldCount != nullptr) *oldCount = oldValue;
    if (urgentNew != nullptr) *urgentNew = urgentNewValue;
    if (urgentOld != nullptr) *urgentOld = urgentOldValue;
    if (waiting != nullptr) *waiting = waitingValue;
    return result;
}

int amMwiSpecialServicesParse(const char *body, int *specialServices) {
    static constexpr char kHeader[] = "Special-Services:";
    if (body == nullptr || specialServices == nullptr) return -1;
    const char *header = uStrCaseStr(body, kHeader);
    if (header == nullptr) return -1;
    *specialServices = yesAfter(header, sizeof kHeader - 1) ? 1 : 0;
    return 0;
}

int amMwiHasMsgType(int msgTypes, int type) { return msgTypes & type; }

int amMwiStatusReport(int line, int newCount, int oldCount, int waiting, int specialServices, int msgTypes,
                      const char *account, int dialogFlag) {
    AmMwiStatus record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.oldCount = oldCount;
    record.newCount = newCount;
    record.waiting = waiting;
    record.specialServices = specialServices;
    record.msgTypes = msgTypes;
    am::copyText(record.account, account);
    record.dialogFlag = dialogFlag;
    uEventRaise(AM_MWI_EVENT_NAME, &record, static_cast<int>(sizeof record));
    return 0;
}

int amRecvMwiSubscribeFailed(int line, const char *number, int dialogFlag) {
    return amMwiStatusReport(line, 0, 0, -1, 0, 0, number, dialogFlag);
}

int amRecvMwiParse(int line, const char *contentType, const char *body, const char *number, int dialogFlag) {
    if (amMsgContentEqual(kSummaryType, contentType) == 0) return -1;
    int newCount = 0, oldCount = 0, urgentNew = 0, urgentOld = 0, waiting = 0;
    int specialServices = -1;
    int msgTypes = 0;
    char account[40] = {};
    if (body != nullptr) {
        if (amMwiNormalMessageParse(body, &newCount, &oldCount, &urgentNew, &urgentOld, &waiting) == 0) {
            readAccount(body, account);
            msgTypes |= AM_MWI_MSG_TYPE_VOICE;
        }
        if (amMwiSpecialServicesParse(body, &specialServices) == 0) msgTypes |= AM_MWI_MSG_TYPE_SPECIAL;
    }
    char registered[40] = {};
    const char *reported = account;
    if (account[0] == '\0') {
        if (dialogFlag != 1) {
            pmLineConfigGetRegisterNumber(line, registered, am::capacity(registered));
            reported = registered;
        } else {
            reported = number;
        }
    }
    return amMwiStatusReport(line, addCounts(newCount, urgentNew), addCounts(oldCount, urgentOld), waiting, specialServices, msgTypes,
                             reported, dialogFlag);
}

}  // extern "C"
