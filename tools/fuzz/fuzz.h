// What every fuzz target shares: the module started once in a quiet host, and the input
// cut into the texts an entry point takes.
#ifndef OSTRA_FUZZ_H
#define OSTRA_FUZZ_H

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "host/dev_host.h"
#include "platform/am.h"

namespace fuzz {

// An input is `N` texts, one a line; the last one takes the rest, line breaks and all.
// Each text ends at its first NUL, as the protocol manager's texts do. Seeds stay
// readable: a header per line, then the body.
template <int N>
struct Fields {
    std::string text[N];

    Fields(const uint8_t *data, size_t size) {
        const char *p = reinterpret_cast<const char *>(data);
        const char *end = p + size;
        for (int i = 0; i < N; ++i) {
            const char *stop = end;
            if (i + 1 < N) {
                stop = p;
                while (stop < end && *stop != '\n') ++stop;
            }
            text[i].assign(p, stop);
            text[i].resize(std::char_traits<char>::length(text[i].c_str()));
            p = stop < end ? stop + 1 : end;
        }
    }
    const char *operator[](int i) const { return text[i].c_str(); }
    // An empty text stands for a missing (NULL) one: the entry points must take both.
    const char *orNull(int i) const { return text[i].empty() ? nullptr : text[i].c_str(); }
    int number(int i) const { return static_cast<int>(std::strtol(text[i].c_str(), nullptr, 10)); }
};

// Every feature's per-line settings on, so that no path is closed to the input by
// configuration, and nothing recorded that a long run would pile up.
inline void configureHost() {
    for (int line = 0; line < 4; ++line) {
        devhost::line(line).multiDialog = 1;
        devhost::line(line).scaEnable = 1;
    }
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
}

// A target's own start-up, run once after the module started (fuzz.cpp); optional.
__attribute__((weak)) void setUp();

// Runs what an input queued on the asynchronous context and drops what it left in the
// stores, so that each input starts alike and the process does not grow.
inline void settle() {
    devhost::drainAsync();
    devhost::clearRequests();
    amBlfDialogInfoClearByLine(1);
}

}  // namespace fuzz

#endif
