/* The exported and host interfaces are plain C: this file only has to compile as C99. */
#include "platform/am.h"
#include "platform/host.h"

int amCHeaderCheck(void);
int amCHeaderCheck(void) { return (int)sizeof(AmBlfStatus); }
