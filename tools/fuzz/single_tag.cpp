// Tag and header-text readers: "output size\nstart tag\nend tag\ntext". The single-tag
// reader writes into a heap block of exactly the output size; the same text also goes
// through the check-online and firmware-update readers, which search it for their tags.
#include <memory>

#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<4> in(data, size);
    const int outSize = in.number(0) & 0xff;
    std::unique_ptr<char[]> out(new char[outSize + 1]);
    amParseSingleTagFromBuf(in.orNull(1), in.orNull(2), in.orNull(3), out.get(), outSize);

    char host[64], port[16];
    amCheckOnlineEventContentParse(in[3], host, sizeof host, port, sizeof port);
    // The sizes the dispatcher gives this reader.
    char server[48], filename[48], user[32], password[32];
    int protocol = 0;
    amFirmwareUpdateBodyContentParse(in[3], server, filename, user, password, &protocol);
    return 0;
}
