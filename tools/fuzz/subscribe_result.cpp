// Results from the protocol manager: "event\nstate\ncontent type\nbody", given as a
// SUBSCRIBE result and as an unSUBSCRIBE result while BLF and presence requests wait in the
// line's queue for exactly such results, and as the result of a sent MESSAGE (the state as
// its id and result, the content type as its type).
#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<4> in(data, size);
    amRequestBlf(1, "201");
    amRequestPresence(1, "202");
    amRequestBlf(1, "203");
    amRecvSubscribeResult(1, "201", in.orNull(0), in.orNull(2), in.number(1), in.orNull(3));
    amRecvUnsubscribeResult(1, "202", in.orNull(0), in.orNull(2), in.number(1));
    amSendSms(1, "201", "hello", 7);
    amRecvMessageResult(1, in.orNull(0), in.orNull(2), in.number(1) == 0 ? 7 : in.number(1), in.number(1));
    amPendingClear(1);
    fuzz::settle();
    // The host's log of timer calls grows by the queue's timer of every input.
    devhost::reset();
    fuzz::configureHost();
    return 0;
}
