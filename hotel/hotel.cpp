// Hoteling: a guest takes over this phone's line by a "x-broadworks-hoteling" SUBSCRIBE to
// the line's own address. The server either names the guest now associated or challenges
// with a nonce, which is answered at once with the agent's MD5 digest; nothing is kept
// between messages.
#include <cstdio>
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.hotel";
constexpr char kEvent[] = "x-broadworks-hoteling";
constexpr char kContentType[] = "application/x-broadworks-hoteling+xml";
constexpr char kShortBody[] =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
    "<SetHoteling xmlns=\"http://schema.broadsoft.com/hoteling\">\r\n"
    "<guestAddress>%s</guestAddress>\r\n"
    "</SetHoteling>";
constexpr char kAuthenticatedBody[] =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
    "<SetHoteling xmlns=\"http://schema.broadsoft.com/hoteling\">\r\n"
    "<guestAddress>%s</guestAddress>\r\n"
    "<authenticationData>\r\n"
    "<nonce>%s</nonce>\r\n"
    "<algorithm>MD5</algorithm>\r\n"
    "<response>%s</response>\r\n"
    "</authenticationData>\r\n"
    "</SetHoteling>";

// The agent credentials live in the phone's feature configuration, under labels padded
// with blanks that have to match exactly.
constexpr char kConfigModule[] = "<PHONE FEATURE MODULE>";
constexpr char kConfigGroup[] = "-- Agent Config--  :";
constexpr char kAgentNumber[] = "Agent Number       :";
constexpr char kAgentPassword[] = "Agent Password     :";

constexpr int kBodySize = 1024;

// Sends a SetHoteling body to the line's own number. `number` is sized by the caller: the
// authenticated answer reads it into a smaller buffer than sign-in and sign-out do.
template <std::size_t N>
void sendSetHoteling(int line, char (&number)[N], int flag, const char *body) {
    pmLineConfigGetRegisterNumber(line, number, am::capacity(number));
    am::subscribeWithBody(line, number, flag, kEvent, kContentType, body);
}

void sendSignInOrOut(int line, const char *guest, int flag) {
    char body[kBodySize] = {};
    amHotelXmlContentGet(line, body, guest, nullptr, nullptr);
    char number[64] = {};
    sendSetHoteling(line, number, flag, body);
}

// Answers a challenge: MD5 of "nonce:password", sent back with the agent as the guest.
void answerChallenge(int line, const char *nonce) {
    char agent[40] = {};
    char password[200] = {};
    configItemValueGetWithLen(kConfigModule, kConfigGroup, kAgentNumber, agent, am::capacity(agent));
    configItemValueGetWithLen(kConfigModule, kConfigGroup, kAgentPassword, password, am::capacity(password));
    // An over-long password is cut with the input; the digest covers what the input holds.
    char input[128] = {};
    int length = std::snprintf(input, sizeof input, "%s:%s", nonce, password);
    if (length >= am::capacity(input)) length = am::capacity(input) - 1;
    char response[33] = {};
    mtGet32BytesDigestByMemory(input, length < 0 ? 0 : length, response);

    char body[kBodySize] = {};
    amHotelXmlContentGet(line, body, agent, response, nonce);
    char number[32] = {};
    sendSetHoteling(line, number, 1, body);
}

}  // namespace

extern "C" {

int amHotelStatusReport(int line, int status, const char *guestNumber) {
    AmHotelStatus record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.status = status;
    am::copyText(record.guestNumber, guestNumber);
    uEventRaise(AM_HOTEL_EVENT_NAME, &record, static_cast<int>(sizeof record));
    ostraPrintLog(0, kLog, "%s: line=[%d], status=[%d], guestNumber=[%s] \n", "amHotelStatusReport", line, status,
                  record.guestNumber);
    return 0;
}

int amHotelXmlContentGet(int line, char *out, const char *number, const char *response, const char *nonce) {
    if (out == nullptr) return 0;
    std::memset(out, 0, kBodySize);
    char server[256] = {};
    pmLineConfigGetRegisterServer(line, server, am::capacity(server));
    char guest[512] = {};
    if (number != nullptr && number[0] != '\0') std::snprintf(guest, sizeof guest, "%s@%s", number, server);
    if (nonce == nullptr) {
        std::snprintf(out, kBodySize, kShortBody, guest);
        return 0;
    }
    // The answer is built from a copy of the response; without memory for one the
    // challenge is still answered, with an empty response that the server will refuse.
    char *copy = uStrGetCopy(response);
    std::snprintf(out, kBodySize, kAuthenticatedBody, guest, nonce, am::orEmpty(copy));
    uFree(copy);
    return 0;
}

int amHotelBodyContentParse(int line, const char *body) {
    if (body == nullptr) return -1;
    char nonce[96] = {};
    if (amParseSingleTagFromBuf("<nonce>", "</nonce>", body, nonce, am::capacity(nonce))) {
        answerChallenge(line, nonce);
        return 0;
    }
    char guest[96] = {};
    if (amParseSingleTagFromBuf("<guestAddress>", "</guestAddress>", body, guest, am::capacity(guest)) &&
        guest[0] != '\0') {
        return amHotelStatusReport(line, AM_HOTEL_STATUS_GUEST, guest);
    }
    return amHotelStatusReport(line, AM_HOTEL_STATUS_SIGNED_OUT, "");
}

int amRequestHotelEvent(int line, const char *number) {
    ostraPrintLog(0, kLog, "%s: line=[%d], number=[%s] \n", "amRequestHotelEvent", line, am::orEmpty(number));
    sendSignInOrOut(line, number, 1);
    return 0;
}

int amRequestHotelCancel(int line) {
    ostraPrintLog(0, kLog, "%s: line=[%d]\n", "amRequestHotelCancel", line);
    sendSignInOrOut(line, nullptr, 0);
    return 0;
}

int amRecvHotelSubscribeResult(int line, int result) {
    ostraPrintLog(0, kLog, "%s: line=[%d], result=[%d] \n", "amRecvHotelSubscribeResult", line, result);
    return amHotelStatusReport(line, result > 0 ? AM_HOTEL_STATUS_SUBSCRIBED : AM_HOTEL_STATUS_SIGNED_OUT, "");
}

int amRecvHotelParse(int line, const char *contentType, const char *body) {
    if (body == nullptr || contentType == nullptr) {
        ostraPrintLog(2, kLog, "%s: param error \n", "amRecvHotelParse");
        return -1;
    }
    if (!amMsgContentEqual(kContentType, contentType)) return 0;
    return amHotelBodyContentParse(line, body);
}

}  // extern "C"
