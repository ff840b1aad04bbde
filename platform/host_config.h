/* Host framework: configuration items. */
#ifndef OSTRA_HOST_CONFIG_H
#define OSTRA_HOST_CONFIG_H
#ifdef __cplusplus
extern "C" {
#endif
int configItemValueGetWithLen(const char *module, const char *group, const char *item,
                              char *buffer, int size);
#ifdef __cplusplus
}
#endif
#endif
