/* Host framework: the SIP protocol manager. */
#ifndef OSTRA_HOST_PM_H
#define OSTRA_HOST_PM_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct pmSubscribeRequest {
    int         reserved;
    int         line;
    const char *number;
    int         expires;
    int         flag;
    const char *event;
    const char *accept;
    const char *contentType;
    const char *body;
    const char *extra;
} pmSubscribeRequest;

typedef struct pmUnsubscribeRequest {
    int         reserved;
    int         line;
    const char *number;
    const char *event;
    const char *accept;
} pmUnsubscribeRequest;

typedef struct pmInfoRecord {
    int         line;
    const char *number;
    const char *contentType;
    const char *body;
} pmInfoRecord;

int pmSubscribe(const pmSubscribeRequest *request);
int pmSubscribeCancel(const pmUnsubscribeRequest *request);
int pmMessage(int line, const char *number, const char *contentType, const char *body, int id);
int pmSendInfo(const pmInfoRecord *info);
int pmGetRegisterStatebyLine(int line, int *state, int options);
int pmLineConfigGetSubscribeExpires(int line);
int pmLineConfigGetMultiDialogEnable(int line);
int pmLineConfigGetScaEnable(int line);
int pmLineConfigGetRegisterNumber(int line, char *buffer, int size);
int pmLineConfigGetRegisterServer(int line, char *buffer, int size);
int pmLineIsWildixServer(int line);
int pmLineToProtocolInstance(int line);
int pmGetProtocolbyLine(int line);
int pmGetProtocolSupportP2p(int protocol);

#ifdef __cplusplus
}
#endif
#endif
