// Remote control: a CTI server drives the phone with INFO commands and hears the phone's
// call state back as INFOs of the same content type. The INFO body is a run of loose
// elements rather than one XML document, so it is read as text.
#include <cstdio>
#include <cstring>
#include <strings.h>

#include "core/util.h"
#include "platform/am.h"

extern "C" char *amRemoteControlInfoCmdKeyParse(char *command);

namespace {

constexpr char kLog[] = "am.remotecontrol";
constexpr char kContentType[] = "application/remotecontrol+xml";

constexpr uMapEntry kActions[] = {
    {AM_REMOTE_CTL_ACTION_INVALID, "invalid"},
    {AM_REMOTE_CTL_ACTION_OFFHOOK, "offhook"},
    {AM_REMOTE_CTL_ACTION_ONHOOK, "onhook"},
    {AM_REMOTE_CTL_ACTION_RINGING, "ringing"},
    {AM_REMOTE_CTL_ACTION_OUTGOING, "outgoing"},
    {AM_REMOTE_CTL_ACTION_ESTABLISHED, "established"},
    {AM_REMOTE_CTL_ACTION_ONLINE, "online"},
    {-1, "unknown"},
};

struct Command {
    const char *value;
    int command;
};
// Whole values, case ignored; "audiocall" carries a number and is read apart.
constexpr Command kCommands[] = {
    {"startjoint", AM_REMOTE_CTL_CMD_START_JOINT},
    {"stopjoint", AM_REMOTE_CTL_CMD_STOP_JOINT},
    {"speaker", AM_REMOTE_CTL_CMD_SPEAKER},
    {"x", AM_REMOTE_CTL_CMD_X},
};
constexpr char kAudioCall[] = "audiocall";

// The two texts the event points into; freed together once the event is delivered.
struct Copies {
    char *command;
    char *callId;
};

bool remoteControlRefused(int line) {
    int instance = pmLineToProtocolInstance(line);
    if (instance < 0) {
        ostraPrintLog(2, kLog, "%s: invalid line[%d]", "amRemoteControlRecvInfoMsg", line);
        return true;
    }
    // The first instance of a peer-to-peer protocol has no server to take orders from.
    if (instance == 0 && pmGetProtocolSupportP2p(pmGetProtocolbyLine(line)) != 0) {
        ostraPrintLog(1, kLog, "%s: P2P line[%d] not support remote control", "amRemoteControlRecvInfoMsg", line);
        return true;
    }
    return false;
}

// Fills `record` from the command text; false (logged) when no event is to be raised.
// `parsed` tells the caller whether the failure still needs the generic parse log.
bool readCommand(char *commandText, const char *body, char (&callNumber)[40], AmRemoteCtlCmd &record,
                 bool &parsed) {
    parsed = false;
    const char *value = amRemoteControlInfoCmdKeyParse(commandText);
    if (value == nullptr) return false;
    for (const Command &entry : kCommands) {
        if (strcasecmp(value, entry.value) == 0) {
            record.command = entry.command;
            parsed = true;
            return true;
        }
    }
    if (strncasecmp(value, kAudioCall, sizeof kAudioCall - 1) != 0) {
        ostraPrintLog(2, kLog, "%s: Unsupported cmd[%s]", "amRemoteControlInfoCmdKeyParse", commandText);
        return false;
    }
    parsed = true;
    const char *plus = std::strchr(value, '+');
    if (plus != nullptr) am::copyText(callNumber, plus + 1);
    uStrStripCrlf(callNumber);
    if (callNumber[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: audio call without number, msg=[%s]", "amRemoteControlRecvInfoMsg", body);
        return false;
    }
    record.command = AM_REMOTE_CTL_CMD_AUDIO_CALL;
    return true;
}

}  // namespace

// The key value inside `command` (the text after the first "=" that follows "key"), or
// NULL, logged, when the command names none.
extern "C" char *amRemoteControlInfoCmdKeyParse(char *command) {
    char *key = uStrCaseStr(command, "key");
    char *equals = key != nullptr ? std::strchr(key, '=') : nullptr;
    if (equals == nullptr) {
        ostraPrintLog(2, kLog, "%s: Unsupported cmd[%s]", "amRemoteControlInfoCmdKeyParse", am::orEmpty(command));
        return nullptr;
    }
    return uStrStripCrlf(equals + 1);
}

extern "C" int amRemoteControlRecvInfoMsg(int line, const char *number, const char *body) {
    if (body == nullptr || remoteControlRefused(line)) return -1;
    auto *copies = static_cast<Copies *>(uMalloc(sizeof(Copies)));
    if (copies == nullptr) return -1;
    char command[64] = {};
    char callId[32] = {};
    amParseSingleTagFromBuf("<cmd>", "</cmd>", body, command, am::capacity(command));
    amParseSingleTagFromBuf("<callID>", "</callID>", body, callId, am::capacity(callId));
    uStrStripCrlf(command);
    uStrStripCrlf(callId);
    copies->command = uStrGetCopy(command);
    copies->callId = uStrGetCopy(callId);

    int result = -1;
    bool parsed = false;
    char callNumber[40] = {};
    AmRemoteCtlCmd record;
    std::memset(&record, 0, sizeof record);
    // A call id that could not be kept would reach call control as no call at all.
    if (copies->command != nullptr && copies->command[0] != '\0' && copies->callId != nullptr &&
        readCommand(copies->command, body, callNumber, record, parsed)) {
        record.line = line;
        record.number = number;
        record.callNumber = callNumber;
        record.callId = copies->callId;
        uEventRaise(AM_REMOTE_CTL_CMD_EVENT, &record, static_cast<int>(sizeof record));
        result = 0;
    } else if (!parsed) {
        ostraPrintLog(2, kLog, "%s: parse cmd failed! msg=[%s]", "amRemoteControlRecvInfoMsg", body);
    }
    uFree(copies->command);
    uFree(copies->callId);
    uFree(copies);
    return result;
}

extern "C" int amRemoteControlActionInfoReport(int line, const char *number, int action, const char *callNum,
                                               const char *callId) {
    if (number == nullptr || action < AM_REMOTE_CTL_ACTION_OFFHOOK || action > AM_REMOTE_CTL_ACTION_ONLINE) {
        return -1;
    }
    const char *name = uMapStringById(kActions, action);
    char actionText[64] = {};
    bool withNumber = action == AM_REMOTE_CTL_ACTION_RINGING || action == AM_REMOTE_CTL_ACTION_OUTGOING ||
                      action == AM_REMOTE_CTL_ACTION_ESTABLISHED;
    if (withNumber) {
        if (callNum == nullptr || callNum[0] == '\0') {
            ostraPrintLog(2, kLog, "%s: action=[%s] with callNum invalid!", "amRemoteControlActionInfoReport",
                          name);
            return -1;
        }
        std::snprintf(actionText, sizeof actionText, "%s+%s", name, callNum);
    } else {
        am::copyText(actionText, name);
    }
    char body[128] = {};
    int length = std::snprintf(body, sizeof body,
                               "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<status>action=%s</status>\r\n",
                               actionText);
    if (callId != nullptr && length < am::capacity(body)) {
        std::snprintf(body + length, sizeof body - static_cast<std::size_t>(length), "<callID>callid=%s</callID>\r\n",
                      callId);
    }
    const pmInfoRecord info = {line, number, kContentType, body};
    pmSendInfo(&info);
    return 0;
}
