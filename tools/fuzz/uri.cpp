// URI number readers: "output size\nURI". The output is a heap block of exactly that
// size, so that one byte written past it is reported.
#include <memory>

#include "tools/fuzz/fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const fuzz::Fields<2> in(data, size);
    const int outSize = in.number(0) & 0xff;
    std::unique_ptr<char[]> out(new char[outSize + 1]);
    amBlfParseNumFromUri(in[1], out.get(), outSize);
    std::unique_ptr<char[]> number(new char[96]);
    std::unique_ptr<char[]> ext(new char[64]);
    amBlfParseExtFromUri(in[1], number.get(), ext.get());
    return 0;
}
