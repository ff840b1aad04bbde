// Stand-ins for feature handlers that the dispatch and module start already call but whose
// features are still being built. Each is weak, so the feature's own definition replaces
// it as soon as that feature's sources are in the library; each goes from this file when
// its feature lands, and the file goes with the last of them.
#include "platform/am.h"

#define AM_PENDING extern "C" __attribute__((weak))

// Busy lamp field: remove when blf/ lands.
AM_PENDING int amRecvDialogInfoParse(int, const char *, const char *, const char *, const char *) { return 0; }
AM_PENDING int amDialogRecvSubscribeResult(int, const char *, int) { return 0; }
AM_PENDING int amDialogRecvUnsubscribeResult(int, const char *, int) { return 0; }

// Presence: remove when presence/ lands.
AM_PENDING void amRecvPresenceParse(int, const char *, const char *, const char *) {}
AM_PENDING int amPresenceRecvSubscribeResult(int, const char *, int) { return 0; }
AM_PENDING int amPresenceRecvUnsubscribeResult(int, const char *, int) { return 0; }

// Message waiting: remove when mwi/ lands.
AM_PENDING int amRecvMwiParse(int, const char *, const char *, const char *, int) { return 0; }
AM_PENDING int amRecvMwiSubscribeFailed(int, const char *, int) { return 0; }

// Shared call appearance and line seize: remove when sca/ lands.
AM_PENDING void amRecvScaParse(int, const char *) {}
AM_PENDING int amRecvLineSeizeParse(int, int, const char *) { return 0; }

// Call park and the visual park list: remove when park/ lands.
AM_PENDING int amRecvCallParkParse(int, const char *, const char *, const char *, const char *) { return 0; }
AM_PENDING int amVisualParkParse(int, const char *) { return 0; }
AM_PENDING void amVisualParkLockInit(void) {}
AM_PENDING int amVisualParkInfoListInit(void) { return 0; }
AM_PENDING void amVisualParkInfoListUnInit(void) {}
AM_PENDING void amVisualParkLockUninit(void) {}
