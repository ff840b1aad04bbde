// amRecvMessage: "content type\nnumber\nname\nbody", with a receiver of every kind and a
// message callback registered, so that every route a message can take is open: the named
// receivers, XML text messages, push XML and the asynchronous fan-out.
#include "tools/fuzz/fuzz.h"

namespace {
void onMessage(const AmRecvMessage *message) {
    // Read every text, as a real callback would, so that a bad copy shows.
    for (const char *text : {message->number, message->name, message->contentType, message->body}) {
        if (text != nullptr) (void)std::char_traits<char>::length(text);
    }
}
int onText(int, const char *number, const char *name, const char *body) {
    return number != nullptr && name != nullptr && body != nullptr && body[0] == '!' ? 0 : -1;
}
int onXmlText(int, const char *number, const char *name, const char *content, const char *id) {
    for (const char *text : {number, name, content, id}) {
        if (text != nullptr) (void)std::char_traits<char>::length(text);
    }
    return 0;
}
}  // namespace

void fuzz::setUp() {
    amMessageProcessCbRegister(onMessage);
    amSmsPlainRecvCallBackRegister("fuzz", onText);
    amSmsUserDefineRecvCbRegister("fuzz", onText);
    amSmsXmlRecvCallBackRegister("fuzz", onText);
    amXmlSmsRecvCbRegister(onXmlText);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<4> in(data, size);
    amRecvMessage(1, in.orNull(1), in.orNull(2), in.orNull(0), in.orNull(3));
    fuzz::settle();
    return 0;
}
