// The dialog-info text scanner: "element\nattribute\nentity\nlimit\ntext". Searches stop at
// `limit` bytes into the text (none when it is 0 or past the text); the element, attribute
// and dialog readers all run over the same stretch.
#include <memory>

#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<5> in(data, size);
    const char *text = in[4];
    const size_t length = in.text[4].size();
    const size_t cut = static_cast<size_t>(in.number(3));
    const char *limit = cut > 0 && cut <= length ? text + cut : nullptr;

    const char *start = nullptr;
    const char *end = nullptr;
    amBlfParseItem(text, limit, in.orNull(0), &start, &end);
    std::unique_ptr<char[]> value(new char[64]);
    amBlfParseItemValue(text, limit, in.orNull(0), value.get(), 64);
    amBlfParseItemAttr(text, limit, in.orNull(1), value.get(), 64);
    if (start != nullptr && end != nullptr) amBlfParseItemAttr(start, end, in.orNull(1), value.get(), 64);
    AmBlfParsedDialog dialog;
    AmBlfParkedInfo parked;
    amBlfParseDialog(text, limit, in.orNull(2), &dialog, &parked);
    return 0;
}
