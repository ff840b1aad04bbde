/* Host framework: logging. */
#ifndef OSTRA_HOST_LOG_H
#define OSTRA_HOST_LOG_H
#ifdef __cplusplus
extern "C" {
#endif
#if defined(__GNUC__)
#define OSTRA_PRINTF_LIKE(f, a) __attribute__((format(printf, f, a)))
#else
#define OSTRA_PRINTF_LIKE(f, a)
#endif
void ostraPrintLog(int level, const char *module, const char *format, ...) OSTRA_PRINTF_LIKE(3, 4);
#ifdef __cplusplus
}
#endif
#endif
