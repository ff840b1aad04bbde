// Message-summary readers over the whole input as the body.
#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<1> in(data, size);
    int newCount, oldCount, urgentNew, urgentOld, waiting, special;
    amMwiNormalMessageParse(in[0], &newCount, &oldCount, &urgentNew, &urgentOld, &waiting);
    amMwiSpecialServicesParse(in[0], &special);
    return 0;
}
