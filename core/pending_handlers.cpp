// Stand-in for the dialog-info reader, which the dispatch already calls while it is being
// built. It is weak, so the reader's own definition replaces it as soon as it is in the
// library; this file goes when it lands.
#include "platform/am.h"

extern "C" __attribute__((weak)) int amRecvDialogInfoParse(int, const char *, const char *, const char *,
                                                          const char *) {
    return 0;
}
