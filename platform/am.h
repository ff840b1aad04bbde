/*
 * libostra_am: the module's exported interface.
 *
 * Every result leaves the module as a module event: one of the event names below and a
 * fixed-layout record, raised with uEventRaise(name, &record, sizeof record). Records are
 * zero-filled before they are filled; text fields are NUL-terminated and cut to their
 * capacity - 1. A pointer carried inside a record is valid only while the event is being
 * delivered: the module frees or reuses the text right after the raise.
 *
 * Sizes given in the checks below are those of the 32-bit target (4-byte pointers).
 */
#ifndef OSTRA_AM_H
#define OSTRA_AM_H

#include <stddef.h>
#include <stdint.h>

#include "host.h"

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__cplusplus)
#define AM_CHECK_SIZE(type, size) static_assert(sizeof(type) == (size), #type " has the wrong size")
#else
#define AM_CHECK_SIZE(type, size) typedef char am_size_check_##type[(sizeof(type) == (size)) ? 1 : -1]
#endif
#if UINTPTR_MAX == 0xFFFFFFFFu
#define AM_CHECK_SIZE_32(type, size) AM_CHECK_SIZE(type, size)
#else
#define AM_CHECK_SIZE_32(type, size) struct am_size_unchecked_##type
#endif

/* ---- Module events --------------------------------------------------------------- */

#define AM_TALK_EVENT_NAME             "AM_TALK_EVENT_NAME"
#define AM_HOLD_EVENT_NAME             "AM_HOLD_EVENT_NAME"
#define AM_CLICK_TO_TALK_EVENT_NAME    "AM_CLICK_TO_TALK_EVENT_NAME"
#define AM_ACS_REQUEST_EVENT_NAME      "AM_ACS_REQUEST_EVENT_NAME"
#define AM_REGISTER_DATE_EVENT_NAME    "AM_REGISTER_DATE_EVENT_NAME"
#define AM_ACTIVE_URI_EVENT_NAME       "AM_ACTIVE_URI_EVENT_NAME"
#define AM_MISSED_CALL_EVENT_NAME      "AM_MISSED_CALL_EVENT_NAME"
#define AM_KTS_INFO_EVENT              "AM_KTS_INFO_EVENT"
#define AM_TEXT_PLAIN_INFO_EVENT_NAME  "AM_TEXT_PLAIN_INFO_EVENT_NAME"
#define AM_PUSH_XML_EVENT_NAME         "AM_PUSH_XML_EVENT_NAME"
#define AM_BLF_EVENT_NAME              "AM_BLF_EVENT_NAME"
#define AM_BLF_LIST_EVENT_NAME         "AM_BLF_LIST_EVENT_NAME"
#define AM_PRESENCE_EVENT_NAME         "AM_PRESENCE_EVENT_NAME"
#define AM_MWI_EVENT_NAME              "AM_MWI_EVENT_NAME"
#define AM_SCA_EVENT_NAME              "AM_SCA_EVENT_NAME"
#define AM_LINE_SEIZE_EVENT_NAME       "AM_LINE_SEIZE_EVENT_NAME"
#define AM_CALL_PARK_EVENT_NAME        "AM_CALL_PARK_EVENT_NAME"
#define AM_VISUAL_PARK_EVENT_NAME      "AM_VISUAL_PARK_EVENT_NAME"
#define AM_HOTEL_EVENT_NAME            "AM_HOTEL_EVENT_NAME"
#define AM_FEATURE_SYNC_INFORM         "AM_FEATURE_SYNC_INFORM"
#define AM_SMS_SEND_EVENT_NAME         "AM_SMS_SEND_EVENT_NAME"
#define AM_DYNAMIC_MCAST_EVENT_NAME    "AM_DYNAMIC_MCAST_EVENT_NAME"
#define AM_REMOTE_CTL_CMD_EVENT        "AM_REMOTE_CTL_CMD_EVENT"

/* ---- Lifecycle and inbound entry points ------------------------------------------- */

/* An INFO, as received and as sent: {line, number, contentType, body}. The host owns the
 * layout; the alias only gives it a name in the module's own family. */
typedef pmInfoRecord AmInfoRecord;
AM_CHECK_SIZE_32(AmInfoRecord, 16);

/* A received MESSAGE handed to the message callbacks; every text is a heap copy owned by
 * the module, freed after the last callback returns. */
typedef struct AmRecvMessage {
    int   line;
    char *number;
    char *name;
    char *contentType;
    char *body;
} AmRecvMessage;
AM_CHECK_SIZE_32(AmRecvMessage, 20);

int  amModuleInit(void);
int  amModuleUnInit(void);

int  amRecvNotify(int line, const char *number, const char *event, const char *subscriptionState,
                  const char *contentType, const char *body);
int  amRecvMessage(int line, const char *number, const char *name, const char *contentType,
                   const char *body);
int  amRecvInfo(const pmInfoRecord *info);
int  amRecvSubscribeResult(int line, const char *number, const char *event, const char *contentType,
                           int state, const char *body);
int  amRecvUnsubscribeResult(int line, const char *number, const char *event, const char *contentType,
                             int state);

int  amRecvRefer(int line, const char *number, int flag);
int  amRecvRegisterDate(const char *date);
int  amRecvSyncTimeStop(void);
int  amRecvSubscribe(void);
void amSipPnpStartReport(void);
void amAutoProvisionStartFromUrlReport(void);
void amRebootReport(void);
void amFirmwareUpdateReport(const char *server, const char *user, const char *password,
                            const char *filename, int protocol);

/* ---- Body helpers ----------------------------------------------------------------- */

int amMsgContentEqual(const char *expected, const char *contentType);
int amParseSingleTagFromBuf(const char *startTag, const char *endTag, const char *buf, char *out,
                            int outSize);

/* ---- Single-event reports --------------------------------------------------------- */

/* AM_TALK_EVENT_NAME and AM_HOLD_EVENT_NAME carry one int: the channel.
 * AM_MISSED_CALL_EVENT_NAME carries one int, passed through.
 * AM_REGISTER_DATE_EVENT_NAME carries the date text and its NUL (at most 64 bytes).
 * AM_TEXT_PLAIN_INFO_EVENT_NAME carries the first four bytes of the INFO body. */

typedef struct AmClickToTalk {
    char number[64];
    int  line;
    int  flag;
} AmClickToTalk;
AM_CHECK_SIZE_32(AmClickToTalk, 72);

typedef struct AmAcsRequest {
    char server[128];
} AmAcsRequest;
AM_CHECK_SIZE_32(AmAcsRequest, 128);

#define AM_ACTIVE_URI_SOURCE_NOTIFY  0
#define AM_ACTIVE_URI_SOURCE_MESSAGE 1
typedef struct AmActiveUri {
    int         source;
    int         line;
    char        number[64];
    const char *body;
} AmActiveUri;
AM_CHECK_SIZE_32(AmActiveUri, 76);

#define AM_KTS_CMD_QUEUE            0
#define AM_KTS_CMD_CANCEL_QUEUE     1
#define AM_KTS_CMD_PHONEBOOK_SIZE   2
#define AM_KTS_CMD_PHONEBOOK_NAME   3
#define AM_KTS_CMD_PHONEBOOK_NUMBER 4
#define AM_KTS_CMD_LINE_BUSY        5
typedef struct AmKtsInfo {
    int  line;
    char number[192];
    int  command;
} AmKtsInfo;
AM_CHECK_SIZE_32(AmKtsInfo, 200);

int amRecvTalkProcess(const char *body);
int amRecvHoldProcess(const char *body);
int amClickToTalkReport(int line, const char *number, int flag);
int amAcsRequestReport(const char *eventText);
int amRecvRegisterDateReport(const char *date);
int amActiveUriReport(int line, const char *number, const char *body, int source);
int amMissedCallReport(int value);
int amCheckOnlineEventContentParse(const char *text, char *host, int hostSize, char *port, int portSize);
int amFirmwareUpdateBodyContentParse(const char *body, char *server, char *filename, char *user,
                                     char *password, int *protocol);
int amRecvSyncServerTimeParse(int line, const char *body);

/* ---- Push XML and message callbacks ----------------------------------------------- */

typedef struct AmPushXml {
    int   line;
    char  number[64];
    char *xml;
} AmPushXml;
AM_CHECK_SIZE_32(AmPushXml, 72);

/* A message callback sees every MESSAGE that no messaging receiver handles, on the host's
 * asynchronous context, in registration order. It must not keep pointers into the record,
 * and must not register or unregister callbacks from inside the call (not supported). */
typedef void (*AmMessageProcessCb)(const AmRecvMessage *message);

int  amRecvPushXml(int line, const char *number, const char *xml);
int  amMessageProcessCbRegister(AmMessageProcessCb callback);
int  amMessageProcessCbUnregister(AmMessageProcessCb callback);
/* Asynchronous steps, run through uAsyncCall with an AmPushXml / AmRecvMessage record. */
void amPushXmlEventRaise(void *record);
void amMessageProcessCbDispatch(void *record);

/* ---- Pending subscription queue --------------------------------------------------- */

#define AM_PENDING_TYPE_BLF      0
#define AM_PENDING_TYPE_PRESENCE 1

int  amPendingAdd(int type, int line, const char *number, int subscribe);
int  amPendingCancel(int type, int line, const char *number);
int  amPendingNumber(int line);
int  amPendingConfirm(int type, int line, const char *number);
void amPendingClear(int line);
void amPendingTimerExpired(int line);
int  amPendingNodeProcessNext(int line, uList *queue);

/* ---- Busy lamp field -------------------------------------------------------------- */

#define AM_BLF_STATE_IDLE      0
#define AM_BLF_STATE_ONGOING   1
#define AM_BLF_STATE_SUCCESS   2
#define AM_BLF_STATE_FAILED    3
#define AM_BLF_STATE_TALKING   4
#define AM_BLF_STATE_HOLDING   5
#define AM_BLF_STATE_PARKED    6
#define AM_BLF_STATE_RINGING   7
#define AM_BLF_STATE_RESET     11
#define AM_BLF_STATE_DIALING   12
#define AM_BLF_STATE_DND       13
#define AM_BLF_STATE_AWAY      14
#define AM_BLF_STATE_ONLY_SIP  15
#define AM_BLF_STATE_OFFLINE   16

/* Markers in the status of a list record (the bits of states 9 and 10, never used). */
#define AM_BLF_LIST_CLEAR  512
#define AM_BLF_LIST_FINISH 1024

/* The payload of AM_BLF_EVENT_NAME, and the element of the dialog store. */
typedef struct AmBlfStatus {
    char number[64];
    char display[64];
    char subscriptionNumber[64];
    int  line;
    int  status;   /* bit n set: a dialog of this number is in BLF state n */
    int  state;
    char dialogId[64];
    char remote[64];
    char remoteDisplay[64];
} AmBlfStatus;
AM_CHECK_SIZE(AmBlfStatus, 396);

/* One dialog element as read from a dialog-info document. */
typedef struct AmBlfParsedDialog {
    char number[64];
    char display[64];
    char direction[16];
    char state[16];
    char id[64];
    char ext[64];
    char remote[64];
    char remoteDisplay[64];
} AmBlfParsedDialog;
AM_CHECK_SIZE(AmBlfParsedDialog, 416);

/* A call parked against a monitored extension. */
typedef struct AmBlfParkedInfo {
    char number[64];
    char display[64];
} AmBlfParkedInfo;
AM_CHECK_SIZE(AmBlfParkedInfo, 128);

/* The payload of AM_BLF_LIST_EVENT_NAME. */
typedef struct AmBlfList {
    char            ext[64];
    char            number[64];
    char            name[64];
    int             line;
    int             status;
    AmBlfParkedInfo parked;
} AmBlfList;
AM_CHECK_SIZE(AmBlfList, 328);

/* Subscriptions */
int amRequestBlf(int line, const char *number);
int amRequestBlfCancel(int line, const char *number);
int amSendBlfSubscribe(int line, const char *number, int subscribe);
int amSendBlfSubscribeWithBody(int line, const char *number, int subscribe, const char *body);
int amDialogRecvSubscribeResult(int line, const char *number, int result);
int amDialogRecvUnsubscribeResult(int line, const char *number, int result);
int amBlfStatusReport(int line, const char *number, int status, const char *dialogId, const char *remote,
                      int state);

/* Text scanner (limit NULL: up to the NUL of the text) */
int amBlfParseItem(const char *text, const char *limit, const char *name, const char **start,
                   const char **end);
int amBlfParseItemValue(const char *text, const char *limit, const char *name, char *out, int outSize);
int amBlfParseItemAttr(const char *text, const char *limit, const char *attr, char *out, int outSize);
int amBlfParseDialog(const char *text, const char *limit, const char *entity, AmBlfParsedDialog *out,
                     AmBlfParkedInfo *parked);
int amBlfParseNumFromUri(const char *uri, char *out, int outSize);
int amBlfParseExtFromUri(const char *uri, char *number, char *ext); /* number: 96 bytes, ext: 64 */

/* States and the dialog store */
const char  *amBlfStateToStr(int state);
int          amDialogInfoStateConvert(const char *stateWord, const char *direction);
int          amBlfStateTextSet(int state, const char *text);
int          amBlfStateCustomTextQuery(int state, char *buf, int size);
AmBlfStatus *amRecvDialogInfoProcess(int line, const char *number, const char *direction,
                                     const char *stateWord, const char *dialogId, const char *remote,
                                     const char *subscriptionNumber, const char *remoteDisplay);
int          amBlfDialogInfoAppend(AmBlfStatus *record);
int          amBlfDialogInfoUpdateAndClear(int line, uList *newRecords, uList *oldRecords, int full);
int          amBlfDialogInfoClearByLine(int line);
int          amBlfDialogInfoClearByNumber(int line, const char *number);
int          amBlfDialogShow(void);
int          amBlfDialogInfoClear(int line, const char *number);
uList       *amBlfDialogInfoRemove(int line, const char *number);
int          amBlfStatusPriorityGet(int line, const char *number, int state, const char *dialogId);

/* Dialog-info documents and resource lists */
int amRecvDialogInfoParse(int line, const char *number, const char *contentType,
                          const char *subscriptionState, const char *body);
int amDialogInfoXmlContentGet(int line, const char *number, const char *body, const char *contentType,
                              const char *subscriptionState);
int amDialogInfoTxtContentGet(int line, const char *number, const char *body, const char *contentType,
                              const char *subscriptionState);
int amRecvBlfListStateProcess(int line, const char *number, const char *ext, const char *name,
                              const char *direction, const char *stateWord, const char *dialogId,
                              const AmBlfParkedInfo *parked);
int amBlfListStatusReport(int line, const char *number, const char *ext, const char *name, int status,
                          const AmBlfParkedInfo *parked);
int amBlfListClearReport(int line);
int amBlfListFinishReport(int line);
int amDialogResourceXmlContentGet(int line, const char *number, const char *body, const char *contentType,
                                  const char *subscriptionState);
int amDialogResourceTxtContentGet(int line, const char *number, const char *body, const char *contentType,
                                  const char *subscriptionState);
int amBlfListFullStateValueGet(const char *body);

/* ---- Presence --------------------------------------------------------------------- */

#define AM_PRESENCE_STATE_SEND_FAILED (-1)
#define AM_PRESENCE_STATE_OFFLINE     0
#define AM_PRESENCE_STATE_READY       1
#define AM_PRESENCE_STATE_TALKING     2
#define AM_PRESENCE_STATE_RINGING     3
#define AM_PRESENCE_STATE_FAILED      4
#define AM_PRESENCE_STATE_ONGOING     5
#define AM_PRESENCE_STATE_ALERTING    6

typedef struct AmPresenceStatus {
    char  number[64];
    char *callId;   /* valid only during the raise; NULL when none */
    int   line;
    int   state;
} AmPresenceStatus;
AM_CHECK_SIZE_32(AmPresenceStatus, 76);

int         amRequestPresence(int line, const char *number);
void        amRequestPresenceCancel(int line, const char *number);
int         amSendPresenceSubscribe(int line, const char *number, int subscribe);
int         amPresenceRecvSubscribeResult(int line, const char *number, int state);
int         amPresenceRecvUnsubscribeResult(int line, const char *number, int state);
void        amRecvPresenceParse(int line, const char *number, const char *contentType, const char *body);
int         amPresencePidfXmlContentGet(const char *body, char *basic, int basicSize, char *note,
                                        int noteSize, char **callId);
int         amPresenceXpidfXmlContentGet(const char *body, char *status, int statusSize, char *substatus,
                                         int substatusSize);
int         amRecvPresenceProcess(int line, const char *number, const char *basic, const char *note,
                                  char *callId);
int         amPresenceStateConvert(const char *basic, const char *note);
int         amPresenceStatusReport(int line, const char *number, int state, char *callId);
const char *amPresenceStateToStr(int state);

/* ---- Message waiting -------------------------------------------------------------- */

#define AM_MWI_MSG_TYPE_VOICE   1
#define AM_MWI_MSG_TYPE_SPECIAL 2

typedef struct AmMwiStatus {
    int  line;
    int  oldCount;
    int  newCount;
    int  waiting;          /* 1 waiting, 0 not, -1 the subscription failed */
    int  specialServices;  /* 1 yes, 0 other, -1 no such header */
    int  msgTypes;
    char account[40];
    int  dialogFlag;
} AmMwiStatus;
AM_CHECK_SIZE(AmMwiStatus, 68);

int amRecvMwiParse(int line, const char *contentType, const char *body, const char *number, int dialogFlag);
int amRecvMwiSubscribeFailed(int line, const char *number, int dialogFlag);
int amMwiNormalMessageParse(const char *body, int *newCount, int *oldCount, int *urgentNew, int *urgentOld,
                            int *waiting);
int amMwiSpecialServicesParse(const char *body, int *specialServices);
int amMwiHasMsgType(int msgTypes, int type);
int amMwiStatusReport(int line, int newCount, int oldCount, int waiting, int specialServices, int msgTypes,
                      const char *account, int dialogFlag);

/* ---- Shared call appearance ------------------------------------------------------- */

#define AM_SCA_STATE_IDLE          0
#define AM_SCA_STATE_SEIZED        1
#define AM_SCA_STATE_PROGRESSING   2
#define AM_SCA_STATE_ALERTING      3
#define AM_SCA_STATE_ACTIVE        4
#define AM_SCA_STATE_HELD          5
#define AM_SCA_STATE_HELD_PRIVATE  6
#define AM_SCA_STATE_BRIDGE_ACTIVE 7
#define AM_SCA_STATE_BRIDGE_HELD   8

typedef struct AmScaStatus {
    int line;
    int index;     /* 0: every appearance */
    int reserved;  /* always 0 */
    int state;
} AmScaStatus;
AM_CHECK_SIZE(AmScaStatus, 16);

void        amRecvScaParse(int line, const char *body);
int         amScaStatusSet(int line, int index, int state);
int         amScaStatusGet(int line, int index);
int         amScaAvailableAppearanceIndexGet(int line);
const char *amScaStateToStr(int state);

/* ---- Line seize ------------------------------------------------------------------- */

#define AM_LINE_SEIZE_RESULT_FAILED   0
#define AM_LINE_SEIZE_RESULT_ACCEPTED 1
#define AM_LINE_SEIZE_RESULT_ACTIVE   2

typedef struct AmLineSeizeStatus {
    int line;
    int index;
    int channel;
    int result;
} AmLineSeizeStatus;
AM_CHECK_SIZE(AmLineSeizeStatus, 16);

int amRequestLineSeize(int line, int index, int channel);
int amRequestLineSeizeCancel(int line, int index);
int amRecvLineSeizeParse(int line, int result, const char *body);

/* ---- Call park -------------------------------------------------------------------- */

#define AM_CALL_PARK_STATUS_TERMINATED (-1)
#define AM_CALL_PARK_STATUS_NONE       0
#define AM_CALL_PARK_STATUS_PARKED     1

typedef struct AmCallParkStatus {
    int line;
    int count;   /* always 1 */
    int status;
} AmCallParkStatus;
AM_CHECK_SIZE(AmCallParkStatus, 12);

int amRecvCallParkParse(int line, const char *number, const char *contentType, const char *subscriptionState,
                        const char *body);
int amCallParkStatusReport(int line, int status);

/* ---- Visual park list ------------------------------------------------------------- */

#define AM_VISUAL_PARK_STATE_UNKNOWN    0
#define AM_VISUAL_PARK_STATE_TERMINATED 1
#define AM_VISUAL_PARK_STATE_PARKED     2

#define AM_VISUAL_PARK_CALL_TYPE_NONE  0
#define AM_VISUAL_PARK_CALL_TYPE_AUDIO 1
#define AM_VISUAL_PARK_CALL_TYPE_VIDEO 2

/* One parked call; the record and every text belong to whoever holds the record. */
typedef struct AmVisualParkInfo {
    int   state;
    int   line;
    char *retrieveNumber;
    char *parkerDisplay;
    char *parkerUri;
    char *parkedDisplay;
    char *parkedUri;
    char *callId;
    int   callType;
} AmVisualParkInfo;
AM_CHECK_SIZE_32(AmVisualParkInfo, 36);

void              amVisualParkLockInit(void);
int               amVisualParkInfoListInit(void);
void              amVisualParkInfoListUnInit(void);
void              amVisualParkLockUninit(void);
AmVisualParkInfo *amCreateVisualParkInfo(void);
void              amFreeVisualParkInfo(void *info); /* an AmVisualParkInfo; also a list free function */
AmVisualParkInfo *amCopyVisualParkInfo(const AmVisualParkInfo *info);
int               amGetVisualParkInfoStateByStr(const char *text);
int               amGetVisualParkCallTypeByStr(const char *text);

int               amVisualParkParse(int line, const char *body);
int               amVisualParkRaiseEvent(void);
int               amHasVisualPark(void);
int               amGetCallParkNum(void);
AmVisualParkInfo *amGetVisualCallParkInfoByIndex(int index);          /* a copy: free it */
AmVisualParkInfo *amGetVisualParkInfoByCallId(const char *callId);    /* the list's own entry */
int               amRemoveVisualParkInfoByCallId(const char *callId);
int               amGetVisualParkState(int index);
int               amGetVisualParkLine(int index);
int               amGetVisualParkCallType(int index);
int               amGetVisualParkRetrieveNumber(int index, char *buffer, int size);
int               amGetVisualParkParkerDisplay(int index, char *buffer, int size);
int               amGetVisualParkParkerUri(int index, char *buffer, int size);
int               amGetVisualParkParkedDisplay(int index, char *buffer, int size);
int               amGetVisualParkParkedUri(int index, char *buffer, int size);
int               amGetVisualParkCallid(int index, char *buffer, int size);

/* ---- Hoteling --------------------------------------------------------------------- */

#define AM_HOTEL_STATUS_SIGNED_OUT 0
#define AM_HOTEL_STATUS_GUEST      1
#define AM_HOTEL_STATUS_SUBSCRIBED 2

typedef struct AmHotelStatus {
    int  line;
    int  status;
    char guestNumber[32];
} AmHotelStatus;
AM_CHECK_SIZE(AmHotelStatus, 40);

int amRequestHotelEvent(int line, const char *number);
int amRequestHotelCancel(int line);
int amRecvHotelSubscribeResult(int line, int result);
int amRecvHotelParse(int line, const char *contentType, const char *body);
int amHotelStatusReport(int line, int status, const char *guestNumber);
int amHotelXmlContentGet(int line, char *out, const char *number, const char *response, const char *nonce);
int amHotelBodyContentParse(int line, const char *body);
/* Both answer the module's own result slot (ten rotating 33-byte slots), which a later call
 * overwrites; a caller keeps the 32 characters written to its zeroed `out` instead. */
const char *mtGet32BytesDigestByMemory(const void *data, int length, char *out);
const char *digestTransformation32(const unsigned char digest[16], char *out);

/* ---- Feature synchronisation ------------------------------------------------------ */

#define AM_FEATURE_DND               0
#define AM_FEATURE_FORWARD_ALWAYS    1
#define AM_FEATURE_FORWARD_NO_ANSWER 2
#define AM_FEATURE_FORWARD_BUSY      3
#define AM_FEATURE_AGENT_STATE       4
#define AM_FEATURE_DND_STATUS        5
#define AM_FEATURE_FINISH            6
#define AM_FEATURE_AWAY              7

#define AM_AGENT_STATE_LOGGED_ON          0
#define AM_AGENT_STATE_LOGGED_OFF         1
#define AM_AGENT_STATE_NOT_READY          2
#define AM_AGENT_STATE_READY              3
#define AM_AGENT_STATE_WORKING_AFTER_CALL 4

/* A feature change to send, and the payload of AM_FEATURE_SYNC_INFORM. */
typedef struct AmFeatureSync {
    int  line;
    int  ringTime;
    int  value;
    int  feature;
    char forwardTo[40];
    char reason[40];
} AmFeatureSync;
AM_CHECK_SIZE(AmFeatureSync, 96);

int amFeatureSyncRequest(int line, const char *number, const AmFeatureSync *request);
int amRecvFeatureSyncProcess(int line, const char *contentType, const char *body);
int amRecvDndStatusSyncProcess(int line, const char *body);

/* ---- Messaging -------------------------------------------------------------------- */

#define AM_SMS_TYPE_TEXT     0
#define AM_SMS_TYPE_PUSH_XML 1
#define AM_SMS_TYPE_APP_XML  2
#define AM_SMS_TYPE_MEDICAL  3

#define AM_SMS_STATUS_SENT   1
#define AM_SMS_STATUS_FAILED 2

typedef struct AmSmsSendStatus {
    char number[64];
    int  line;
    int  status;
    int  id;
    int  type;
} AmSmsSendStatus;
AM_CHECK_SIZE(AmSmsSendStatus, 80);

/* A receiver of inbound text messages; a user-defined receiver answers 0 when it took one.
 * Receivers run on the thread that delivered the MESSAGE, with their list locked: a
 * receiver must not register or unregister a receiver from inside its own call. */
typedef int (*AmSmsRecvFunc)(int line, const char *number, const char *name, const char *body);
/* The receiver of XML text messages; content and msgId are valid only for the call. */
typedef int (*AmXmlSmsRecvFunc)(int line, const char *number, const char *name, const char *content,
                                const char *msgId);

int amSendSms(int line, const char *number, const char *body, int id);
int amSendMedicalSms(int line, const char *number, const char *body, int id);
int amSendMessagePushXml(int line, const char *number, const char *body, int id);
int amSendMessageAppliciationXml(int line, const char *number, const char *body, int id);
int amRecvMessageResult(int line, const char *number, const char *contentType, int id, int result);
int amSmsSend(int line, const char *number, const char *body, int id, int type);
int amSmsSendStatusReport(int line, const char *number, int id, int status, int type);

/* Receivers by name (at most 31 characters are kept); a name already on a list is refused.
 * Inbound XML text messages reach only the callback of amXmlSmsRecvCbRegister: the XML
 * list is kept for its names. */
int amSmsPlainRecvCallBackRegister(const char *name, AmSmsRecvFunc receiver);
int amSmsPlainRecvCallBackUnRegister(const char *name);
int amSmsUserDefineRecvCbRegister(const char *name, AmSmsRecvFunc receiver);
int amSmsUserDefineRecvCbUnRegister(const char *name);
int amSmsXmlRecvCallBackRegister(const char *name, AmSmsRecvFunc receiver);
int amSmsXmlRecvCallBackUnRegister(const char *name);
int amXmlSmsRecvCbRegister(AmXmlSmsRecvFunc callback);
int amSmsRecvUserDefineReport(int line, const char *number, const char *name, const char *body);
int amSmsRecvReport(int line, const char *number, const char *name, const char *body);
int amXmlSmsParse(int line, const char *number, const char *name, const char *body);
int amPushMessageRecvParse(int line, const char *number, const char *name, const char *body);

/* ---- Dynamic multicast ------------------------------------------------------------ */

#define AM_MCAST_ACTION_START 1
#define AM_MCAST_ACTION_END   2
#define AM_MCAST_TYPE_CALL    0
#define AM_MCAST_TYPE_STREAM  1

typedef struct AmDynamicMcast {
    int            action;
    int            type;
    char          *host;
    unsigned short port;
    unsigned short priority;
    int            volume;
    char          *codecName;
    int            payload;
    char          *fmtp;
    char          *caller;
    char          *callee;
} AmDynamicMcast;
AM_CHECK_SIZE_32(AmDynamicMcast, 40);

int  amParseDynamicMcast(int line, const char *number, const char *body);
int  amDynamicMcastRaiseEvent(int action, int type, const char *host, unsigned short port, int priority,
                              int volume, const char *codecName, int payload, const char *fmtp,
                              const char *caller, const char *callee);
void amDynamicMcastInfoFree(AmDynamicMcast *record);

/* ---- Remote control --------------------------------------------------------------- */

#define AM_REMOTE_CTL_CMD_START_JOINT 0
#define AM_REMOTE_CTL_CMD_STOP_JOINT  1
#define AM_REMOTE_CTL_CMD_AUDIO_CALL  2
#define AM_REMOTE_CTL_CMD_SPEAKER     3
#define AM_REMOTE_CTL_CMD_X           4

#define AM_REMOTE_CTL_ACTION_INVALID     0
#define AM_REMOTE_CTL_ACTION_OFFHOOK     1
#define AM_REMOTE_CTL_ACTION_ONHOOK      2
#define AM_REMOTE_CTL_ACTION_RINGING     3
#define AM_REMOTE_CTL_ACTION_OUTGOING    4
#define AM_REMOTE_CTL_ACTION_ESTABLISHED 5
#define AM_REMOTE_CTL_ACTION_ONLINE      6

typedef struct AmRemoteCtlCmd {
    int         line;
    const char *number;
    int         command;
    const char *callNumber;
    const char *callId;
} AmRemoteCtlCmd;
AM_CHECK_SIZE_32(AmRemoteCtlCmd, 20);

int amRemoteControlRecvInfoMsg(int line, const char *number, const char *body);
int amRemoteControlActionInfoReport(int line, const char *number, int action, const char *callNum,
                                    const char *callId);

#ifdef __cplusplus
}
#endif

#endif
