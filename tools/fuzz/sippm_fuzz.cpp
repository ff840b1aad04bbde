// libFuzzer harness: hostile captures and SIP text through the tools' readers and the
// protocol manager into the module. The first byte picks the reader: message file text,
// one SIP message, a TCP byte stream, or link-layer frames (each prefixed by a 2-byte
// length; the link type from the second byte). Crashes, overreads and leaks are what it
// looks for; what the module reports is not checked.
#include <cstdint>
#include <string>

#include "amreplay/input.h"
#include "host/dev_host.h"
#include "platform/am.h"
#include "sippm/linked.h"
#include "sippm/sippm.h"

namespace {

sippm::ProtocolManager *gPm;
sippm::ModuleApi gModule;

void deliver(amreplay::RawMessage &&raw) {
    sippm::Inbound in;
    std::string error;
    if (!gPm->parse(raw.bytes.data(), raw.bytes.size(), "fuzz", 0, in, error)) return;
    for (const sippm::Call &call : in.calls) call.invoke(gModule);
    devhost::drainAsync();
}

constexpr int kLinkTypes[] = {1, 0, 108, 113, 276, 101, 228, 229};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    amModuleInit();
    devhost::line(1).multiDialog = 1;
    devhost::line(1).scaEnable = 1;
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    gModule = sippm::linkedModule();
    sippm::LineTable lines;
    lines.set({1, "1001", "pbx.example.com", ""});
    lines.set({2, "1002", "pbx.example.com", ""});
    gPm = new sippm::ProtocolManager(lines);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size < 2) return 0;
    amreplay::Sink sink;
    sink.message = deliver;
    sink.error = [](const std::string &, const std::string &) {};
    const std::string rest(reinterpret_cast<const char *>(data + 1), size - 1);
    switch (data[0] % 4) {
    case 0:
        amreplay::splitMessageText(rest, "fuzz", sink);
        break;
    case 1: {
        sippm::Inbound in;
        std::string error;
        if (gPm->parse(rest.data(), rest.size(), "fuzz", 0, in, error)) {
            for (const sippm::Call &call : in.calls) call.invoke(gModule);
        }
        break;
    }
    case 2: {
        std::string buffer;
        for (std::size_t at = 0; at < rest.size(); at += 97) {   // arrives in reads
            buffer.append(rest, at, 97);
            amreplay::frameStream(buffer, "fuzz", 0, sink);
        }
        break;
    }
    default: {
        amreplay::FrameDecoder decoder(sink);
        int link = kLinkTypes[data[1] % (sizeof kLinkTypes / sizeof kLinkTypes[0])];
        std::size_t at = 2;
        while (at + 2 <= size) {
            std::size_t length = static_cast<std::size_t>(data[at] << 8 | data[at + 1]);
            at += 2;
            if (length > size - at) length = size - at;
            decoder.frame(link, data + at, length, 0, "fuzz");
            at += length;
        }
        decoder.finish();
        break;
    }
    }
    // Transactions of the phone's requests would pile up across inputs.
    for (const sippm::Call &call : gPm->expire(1e9)) call.invoke(gModule);
    return 0;
}
