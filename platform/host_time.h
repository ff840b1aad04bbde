/* Host framework: the clock. */
#ifndef OSTRA_HOST_TIME_H
#define OSTRA_HOST_TIME_H
#ifdef __cplusplus
extern "C" {
#endif
int tmSyncSipDate(const char *date);
int tmStopSipDate(void);
#ifdef __cplusplus
}
#endif
#endif
