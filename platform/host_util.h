/* Host framework: memory, texts, lists, events, asynchronous calls, timers, maps, digest. */
#ifndef OSTRA_HOST_UTIL_H
#define OSTRA_HOST_UTIL_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

void *uMalloc(size_t size);
void  uFree(void *block);
char *uStrGetCopy(const char *text);
int   uStrSafeCopy(char *dst, int dstSize, const char *src);
int   uStrnSafeCopy(char *dst, int dstSize, const char *src, int count);
char *uStrStr(const char *text, const char *word);
char *uStrCaseStr(const char *text, const char *word);
char *uStrStripSpace(char *text);
char *uStrStripCrlf(char *text);
char *uStrUrlDecode(char *text);

typedef struct uList uList;
typedef void (*uListFreeFunc)(void *element);
uList *uListInit(int options);
void   uListUninit(uList *list);
int    uListSize(const uList *list);
void  *uListGet(const uList *list, int pos);
int    uListEol(const uList *list, int pos);
int    uListAppend(uList *list, void *element);
void  *uListRemove(uList *list, int pos);
int    uListRemoveAndFree(uList *list, int pos, uListFreeFunc freeFn);
int    uListPosGetByElement(const uList *list, const void *element);

int uEventRaise(const char *name, const void *data, int size);
typedef void (*uAsyncFunc)(void *arg);
int uAsyncCall(uAsyncFunc fn, void *arg);
typedef void (*uTimerFunc)(int arg);
int uTimerAddSecWithWakeup(uTimerFunc fn, int arg, int seconds);
int uTimerDel(int timerId);

typedef struct uMapEntry { int id; const char *name; } uMapEntry;
const char *uMapStringById(const uMapEntry *table, int id);
int         uMapIdByString(const uMapEntry *table, const char *name);
int         uDigestMD5(const void *data, int length, unsigned char *digest, int digestSize);

#ifdef __cplusplus
}
#endif
#endif
