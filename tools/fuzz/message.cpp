// amRecvMessage: "content type\nnumber\nname\nbody", with a message callback registered so
// that messages nobody else takes go through the asynchronous fan-out too.
#include "tools/fuzz/fuzz.h"

namespace {
void onMessage(const AmRecvMessage *message) {
    // Read every text, as a real callback would, so that a bad copy shows.
    for (const char *text : {message->number, message->name, message->contentType, message->body}) {
        if (text != nullptr) (void)std::char_traits<char>::length(text);
    }
}
}  // namespace

void fuzz::setUp() { amMessageProcessCbRegister(onMessage); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<4> in(data, size);
    amRecvMessage(1, in.orNull(1), in.orNull(2), in.orNull(0), in.orNull(3));
    fuzz::settle();
    return 0;
}
