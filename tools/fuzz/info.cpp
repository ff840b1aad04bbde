// amRecvInfo: "content type\nnumber\nbody".
#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<3> in(data, size);
    const pmInfoRecord info{1, in.orNull(1), in.orNull(0), in.orNull(2)};
    amRecvInfo(&info);
    fuzz::settle();
    return 0;
}
