// Readers of what a capture holds: SIP message text files and pcap/pcapng captures, each
// turned into single SIP messages with their time and source.
#ifndef OSTRA_AMREPLAY_INPUT_H
#define OSTRA_AMREPLAY_INPUT_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace amreplay {

struct RawMessage {
    std::string bytes;
    std::string source;   // file:message N, or file:frame N
    double t = -1;        // seconds since the epoch or since the file's start; -1: none known
};

// Receives each message, or an error about one piece of input (the replay goes on).
struct Sink {
    std::function<void(RawMessage &&)> message;
    std::function<void(const std::string &source, const std::string &error)> error;
};

// Splits the text of a message file: messages begin at a request or status line; the
// lines between messages (sngrep and sipp headers, "----" rules, "# t=1.5" notes) are
// dropped and give the next message its time when they carry one.
void splitMessageText(const std::string &text, const std::string &name, const Sink &sink);

// Frames SIP messages in a byte stream by their Content-Length (TCP). Consumes what it
// emits from `buffer`; what remains is an incomplete message.
void frameStream(std::string &buffer, const std::string &source, double t, const Sink &sink);

// Frames to SIP messages: link layer, IPv4/IPv6 with fragments reassembled, UDP, and TCP
// with segments put in order. Independent of libpcap so that it can be fed directly.
class FrameDecoder {
public:
    explicit FrameDecoder(const Sink &sink) : sink_(sink) {}
    void frame(int linkType, const unsigned char *data, std::size_t size, double t, const std::string &source);
    // Messages still waiting for bytes that never came are reported as errors.
    void finish();

private:
    struct FragmentKey {
        std::string src, dst;
        uint32_t id;
        uint8_t proto;
        bool operator<(const FragmentKey &o) const;
    };
    struct Fragments {
        std::map<std::size_t, std::string> pieces;   // offset -> bytes
        std::size_t total = 0;                       // known once the last piece came
        std::string header;                          // IPv4 only: the first piece's header
    };
    struct Stream {
        bool started = false;
        uint32_t next = 0;
        std::map<uint32_t, std::string> pending;     // out-of-order segments
        std::string buffer;
        std::string lastSource;
    };
    void ip(const unsigned char *data, std::size_t size, double t, const std::string &source);
    void ipv4(const unsigned char *data, std::size_t size, double t, const std::string &source);
    void ipv6(const unsigned char *data, std::size_t size, double t, const std::string &source);
    void transport(uint8_t proto, const std::string &src, const std::string &dst, const unsigned char *data,
                   std::size_t size, double t, const std::string &source);
    bool reassemble(const FragmentKey &key, std::size_t offset, bool more, const unsigned char *data,
                    std::size_t size, std::string &whole, const std::string &source);

    Sink sink_;
    std::map<FragmentKey, Fragments> fragments_;
    std::map<std::string, Stream> streams_;
};

// Reads one input file of any supported kind; false with `error` when it cannot be read.
bool readFile(const std::string &path, const Sink &sink, std::string &error);

}  // namespace amreplay

#endif
