/* Host framework: recursive mutexes. */
#ifndef OSTRA_HOST_SEM_H
#define OSTRA_HOST_SEM_H

#ifdef __cplusplus
extern "C" {
#endif

typedef struct uSem *SEM_ID;
SEM_ID semMCreate(int options);
int    semTake(SEM_ID sem, int timeoutMs);
int    semGive(SEM_ID sem);
int    semDelete(SEM_ID sem);

#ifdef __cplusplus
}
#endif
#endif
