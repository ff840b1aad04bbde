// One NOTIFY package family per build (OSTRA_FUZZ_FAMILY names its row below): the input
// is "event\nsubscription state\ncontent type\nbody". An event line that does not begin
// with one of the family's packages is replaced by one of them, so the target stays on
// its family while the fuzzer still varies case and parameters of the Event header.
#include <strings.h>

#include <cstring>

#include "tools/fuzz/fuzz.h"

namespace {

struct Family {
    const char *name;
    const char *packages[10];  // up to the first nullptr
};

constexpr Family kFamilies[] = {
    {"dialog", {"dialog"}},
    {"presence", {"presence"}},
    {"mwi", {"message-summary", "dialog-message-summary"}},
    {"sca", {"call-info", "line-seize"}},
    {"park", {"x-broadworks-callpark", "call-info", "park-info"}},
    {"reports", {"talk", "hold", "acs-request", "clickToTalk", "push-xml-event", "ACTIVE-URI",
                 "sync-server-time", "firmware_update"}},
    {"hotel", {"x-broadworks-hoteling"}},
    {"featuresync", {"as-feature-event", "b2buaCSTA", "dndstatus"}},
    {"mcast", {"mcast-dynamic-set"}},
};

const Family *family() {
    for (const Family &f : kFamilies) {
        if (std::strcmp(f.name, OSTRA_FUZZ_FAMILY) == 0) return &f;
    }
    std::abort();  // a build row without a family row
}

const char *eventOf(const Family &f, const std::string &line) {
    int count = 0;
    while (count < 10 && f.packages[count] != nullptr) {
        if (strncasecmp(line.c_str(), f.packages[count], std::strlen(f.packages[count])) == 0) return line.c_str();
        ++count;
    }
    return f.packages[line.size() % count];
}

}  // namespace

void fuzz::setUp() { family(); }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<4> in(data, size);
    amRecvNotify(1, "201", eventOf(*family(), in.text[0]), in.orNull(1), in.orNull(2), in.orNull(3));
    fuzz::settle();
    return 0;
}
