// Content-type matching and single-element extraction: the two text tests every feature
// applies to a body before (or instead of) handing it to an XML parser.
#include <cstring>
#include <strings.h>

#include "platform/am.h"

namespace {
constexpr char kLog[] = "ostra.am.main";
}  // namespace

extern "C" int amMsgContentEqual(const char *expected, const char *contentType) {
    if (expected == nullptr || contentType == nullptr) {
        ostraPrintLog(2, kLog, "%s: param is null \n", "amMsgContentEqual");
        return 0;
    }
    // Whole-string match on purpose: a content type with parameters is a different type.
    return strcasecmp(expected, contentType) == 0 ? 1 : 0;
}

extern "C" int amParseSingleTagFromBuf(const char *startTag, const char *endTag, const char *buf, char *out,
                                       int outSize) {
    if (startTag == nullptr || endTag == nullptr || buf == nullptr) return 0;
    const char *start = std::strstr(buf, startTag);
    if (start == nullptr) return 0;
    // The end tag is searched from the start tag itself, so a pair whose end tag occurs
    // inside the start tag ends before the value begins; that is refused below.
    const char *end = std::strstr(start, endTag);
    if (end == nullptr) return 0;
    const char *value = start + std::strlen(startTag);
    if (end < value) return 0;
    long length = end - value;
    if (out == nullptr || outSize <= 0) return 1;
    if (length >= outSize) length = outSize - 1;
    uStrnSafeCopy(out, outSize, value, static_cast<int>(length));
    return 1;
}
