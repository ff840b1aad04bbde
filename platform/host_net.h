/* Host framework: network. */
#ifndef OSTRA_HOST_NET_H
#define OSTRA_HOST_NET_H
#ifdef __cplusplus
extern "C" {
#endif
int nmGetMacAddress(char *buffer, int option);
int sockIsValidAddr(const char *text);
#ifdef __cplusplus
}
#endif
#endif
