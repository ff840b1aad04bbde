#include "input.h"

#include <arpa/inet.h>
#include <pcap/pcap.h>

#include <cctype>
#include <cstring>
#include <ctime>
#include <fstream>
#include <sstream>

#include "sippm/text.h"

namespace amreplay {

namespace {

// Bounds that keep a hostile capture from holding memory without end.
constexpr std::size_t kMaxMessage = 256 * 1024;
constexpr std::size_t kMaxPendingFragments = 4096;
constexpr std::size_t kMaxDatagram = 65535 + 8;

bool startsWith(const std::string &s, std::size_t pos, const char *prefix) {
    return s.compare(pos, std::strlen(prefix), prefix) == 0;
}

std::string lineAt(const std::string &text, std::size_t pos) {
    std::size_t nl = text.find('\n', pos);
    std::string line = text.substr(pos, nl == std::string::npos ? std::string::npos : nl - pos);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return line;
}

// A request line ("METHOD uri SIP/2.0") or a status line ("SIP/2.0 200 ...").
bool isStartLine(const std::string &line) {
    if (line.size() >= 12 && line.compare(0, 8, "SIP/2.0 ") == 0) {
        return std::isdigit(static_cast<unsigned char>(line[8])) && std::isdigit(static_cast<unsigned char>(line[9])) &&
               std::isdigit(static_cast<unsigned char>(line[10])) && (line.size() == 11 || line[11] == ' ');
    }
    std::size_t sp = line.find(' ');
    if (sp == std::string::npos || sp == 0) return false;
    for (std::size_t i = 0; i < sp; ++i) {
        if (!std::isupper(static_cast<unsigned char>(line[i]))) return false;
    }
    std::size_t sp2 = line.find(' ', sp + 1);
    return sp2 != std::string::npos && sp2 > sp + 1 && line.compare(sp2, std::string::npos, " SIP/2.0") == 0;
}

// Lines that tools print between messages: blank lines, comments and time notes, rules,
// sngrep/ngrep/sipp headers beginning with a date or a transport.
bool isSeparatorLine(const std::string &raw) {
    std::string line = sippm::trim(raw);
    if (line.empty() || line[0] == '#') return true;
    if (startsWith(line, 0, "---") || startsWith(line, 0, "===")) return true;
    for (const char *p : {"UDP ", "TCP ", "TLS ", "SCTP ", "U ", "T "}) {
        if (startsWith(line, 0, p)) return true;
    }
    return line.size() >= 10 && std::isdigit(static_cast<unsigned char>(line[0])) &&
           (line[4] == '-' || line[4] == '/') && (line[7] == '-' || line[7] == '/');
}

// A time a separator line gives: "t=<seconds>" in a comment, or a date and time of day.
bool timeOfLine(const std::string &raw, double &t) {
    std::string line = sippm::trim(raw);
    if (!line.empty() && line[0] == '#') {
        std::size_t at = line.find("t=");
        if (at == std::string::npos) return false;
        char *end = nullptr;
        double v = std::strtod(line.c_str() + at + 2, &end);
        if (end == line.c_str() + at + 2) return false;
        t = v;
        return true;
    }
    for (std::size_t i = 0; i + 19 <= line.size(); ++i) {
        int y, mo, d, h, mi, s;
        char sep1, sep2, mid;
        if (!std::isdigit(static_cast<unsigned char>(line[i]))) continue;
        if (std::sscanf(line.c_str() + i, "%4d%c%2d%c%2d%c%2d:%2d:%2d", &y, &sep1, &mo, &sep2, &d, &mid, &h, &mi, &s) == 9 &&
            (sep1 == '-' || sep1 == '/') && sep1 == sep2 && (mid == ' ' || mid == 'T')) {
            std::tm tm{};
            tm.tm_year = y - 1900;
            tm.tm_mon = mo - 1;
            tm.tm_mday = d;
            tm.tm_hour = h;
            tm.tm_min = mi;
            tm.tm_sec = s;
            double frac = 0;
            std::size_t dot = i + 19;
            if (dot < line.size() && line[dot] == '.') frac = std::strtod(line.c_str() + dot, nullptr);
            t = static_cast<double>(timegm(&tm)) + frac;
            return true;
        }
        break;
    }
    return false;
}

// The Content-Length of the header block [begin, end), or -1 when absent or unreadable.
long contentLength(const std::string &text, std::size_t begin, std::size_t end) {
    std::size_t pos = begin;
    while (pos < end) {
        std::size_t nl = text.find('\n', pos);
        if (nl == std::string::npos || nl > end) nl = end;
        std::size_t colon = text.find(':', pos);
        if (colon != std::string::npos && colon < nl) {
            std::string name = sippm::trim(text.substr(pos, colon - pos));
            if (strcasecmp(name.c_str(), "Content-Length") == 0 || strcasecmp(name.c_str(), "l") == 0) {
                std::string value = sippm::trim(text.substr(colon + 1, nl - colon - 1));
                if (value.empty() || value.size() > 9) return -1;
                for (char c : value) {
                    if (!std::isdigit(static_cast<unsigned char>(c))) return -1;
                }
                return std::stol(value);
            }
        }
        pos = nl + 1;
    }
    return -1;
}

// The beginning of the next line that starts a message, at or after `from` (which is at a
// line's beginning), or npos.
std::size_t nextStart(const std::string &text, std::size_t from) {
    std::size_t pos = from;
    while (pos < text.size()) {
        if (isStartLine(lineAt(text, pos))) return pos;
        std::size_t nl = text.find('\n', pos);
        if (nl == std::string::npos) return std::string::npos;
        pos = nl + 1;
    }
    return std::string::npos;
}

std::size_t lineBeginAtOrAfter(const std::string &text, std::size_t pos) {
    if (pos == 0 || pos >= text.size()) return pos;
    if (text[pos - 1] == '\n') return pos;
    std::size_t nl = text.find('\n', pos);
    return nl == std::string::npos ? text.size() : nl + 1;
}

// Whether [begin, end) holds only separator lines.
bool onlySeparators(const std::string &text, std::size_t begin, std::size_t end) {
    std::size_t pos = begin;
    while (pos < end) {
        std::size_t nl = text.find('\n', pos);
        if (nl == std::string::npos || nl > end) nl = end;
        if (!isSeparatorLine(text.substr(pos, nl - pos))) return false;
        pos = nl + 1;
    }
    return true;
}

// Where the message in [begin, end) ends once trailing separator lines are dropped; the
// body keeps its own last line end.
std::size_t withoutTrailingSeparators(const std::string &text, std::size_t begin, std::size_t end) {
    std::size_t cut = end;
    while (cut > begin) {
        std::size_t lineEnd = cut;                       // one past the '\n' ending the line
        std::size_t prevNl = lineEnd >= 2 ? text.rfind('\n', lineEnd - 2) : std::string::npos;
        std::size_t lineBegin = prevNl == std::string::npos || prevNl < begin ? begin : prevNl + 1;
        if (lineBegin == begin) break;                   // never the start line itself
        if (!isSeparatorLine(text.substr(lineBegin, lineEnd - lineBegin))) break;
        cut = lineBegin;
    }
    return cut;
}

bool timeOfGap(const std::string &text, std::size_t begin, std::size_t end, double &t) {
    bool found = false;
    std::size_t pos = begin;
    while (pos < end) {
        std::size_t nl = text.find('\n', pos);
        if (nl == std::string::npos || nl > end) nl = end;
        double v;
        if (timeOfLine(text.substr(pos, nl - pos), v)) {
            t = v;
            found = true;
        }
        pos = nl + 1;
    }
    return found;
}

}  // namespace

void splitMessageText(const std::string &text, const std::string &name, const Sink &sink) {
    std::size_t pos = nextStart(text, 0);
    std::size_t gapBegin = 0;
    int index = 0;
    while (pos != std::string::npos) {
        RawMessage message;
        double t;
        if (timeOfGap(text, gapBegin, pos, t)) message.t = t;
        message.source = name + ":message " + std::to_string(++index);

        std::size_t afterStart = lineBeginAtOrAfter(text, pos + 1);
        std::size_t next = nextStart(text, afterStart);
        std::size_t limit = next == std::string::npos ? text.size() : next;
        std::size_t he = sippm::headerEnd(text, pos);
        if (he == std::string::npos || he > limit) he = limit;   // headers only
        long cl = contentLength(text, pos, he);
        if (cl >= 0 && he + static_cast<std::size_t>(cl) > limit && he + static_cast<std::size_t>(cl) <= text.size()) {
            // A body that holds a start line of its own (message/sipfrag) runs to its
            // length, when the length ends where a message or the file ends; otherwise the
            // length is wrong and the start line begins the next message.
            std::size_t after = nextStart(text, lineBeginAtOrAfter(text, he + cl));
            std::size_t afterLimit = after == std::string::npos ? text.size() : after;
            if (onlySeparators(text, he + cl, afterLimit)) {
                next = after;
                limit = afterLimit;
            }
        }
        std::size_t end;
        if (cl >= 0 && he + static_cast<std::size_t>(cl) <= limit && onlySeparators(text, he + cl, limit)) {
            end = he + cl;
        } else {
            end = withoutTrailingSeparators(text, pos, limit);
            if (end < he) end = he;
        }
        message.bytes = text.substr(pos, end - pos);
        sink.message(std::move(message));
        gapBegin = end;
        pos = next;
    }
    if (index == 0) sink.error(name, "no SIP message in the file");
}

void frameStream(std::string &buffer, const std::string &source, double t, const Sink &sink) {
    for (;;) {
        std::size_t skip = 0;
        while (skip < buffer.size() && (buffer[skip] == '\r' || buffer[skip] == '\n')) ++skip;
        buffer.erase(0, skip);   // keep-alives between messages
        if (buffer.empty()) return;
        std::size_t he = sippm::headerEnd(buffer);
        if (he == std::string::npos) {
            std::size_t nl = buffer.find('\n');
            if ((nl != std::string::npos && !isStartLine(lineAt(buffer, 0))) || buffer.size() > kMaxMessage) {
                sink.error(source, "stream bytes that are no SIP message: " + std::to_string(buffer.size()) +
                                       " bytes dropped");
                buffer.clear();
            }
            return;
        }
        if (!isStartLine(lineAt(buffer, 0))) {
            sink.error(source, "stream bytes that are no SIP message: " + std::to_string(buffer.size()) +
                                   " bytes dropped");
            buffer.clear();
            return;
        }
        long cl = contentLength(buffer, 0, he);
        if (cl < 0) cl = 0;   // a stream message without a length has no body
        if (he + static_cast<std::size_t>(cl) > kMaxMessage) {
            sink.error(source, "message of " + std::to_string(he + cl) + " bytes is too long: stream dropped");
            buffer.clear();
            return;
        }
        if (buffer.size() < he + static_cast<std::size_t>(cl)) return;
        RawMessage message;
        message.bytes = buffer.substr(0, he + cl);
        message.source = source;
        message.t = t;
        buffer.erase(0, he + cl);
        sink.message(std::move(message));
    }
}

bool FrameDecoder::FragmentKey::operator<(const FragmentKey &o) const {
    if (src != o.src) return src < o.src;
    if (dst != o.dst) return dst < o.dst;
    if (id != o.id) return id < o.id;
    return proto < o.proto;
}

namespace {

uint16_t be16(const unsigned char *p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }
uint32_t be32(const unsigned char *p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 | p[3];
}

std::string address(int family, const unsigned char *p) {
    char text[INET6_ADDRSTRLEN] = {0};
    inet_ntop(family, p, text, sizeof text);
    return family == AF_INET6 ? std::string("[") + text + "]" : std::string(text);
}

bool looksLikeSip(const unsigned char *data, std::size_t size) {
    std::size_t nl = 0;
    while (nl < size && nl < 512 && data[nl] != '\n') ++nl;
    std::string line(reinterpret_cast<const char *>(data), nl);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    return isStartLine(line);
}

}  // namespace

void FrameDecoder::frame(int linkType, const unsigned char *data, std::size_t size, double t,
                         const std::string &source) {
    switch (linkType) {
    case DLT_EN10MB: {
        std::size_t off = 12;
        if (size < 14) return;
        uint16_t type = be16(data + off);
        off += 2;
        while ((type == 0x8100 || type == 0x88a8) && size >= off + 4) {   // VLAN tags
            type = be16(data + off + 2);
            off += 4;
        }
        if (type == 0x0800 || type == 0x86dd) ip(data + off, size - off, t, source);
        return;
    }
    case DLT_NULL:
    case DLT_LOOP: {
        if (size < 4) return;
        ip(data + 4, size - 4, t, source);   // the family word says no more than the version nibble
        return;
    }
    case DLT_LINUX_SLL:
        if (size >= 16) ip(data + 16, size - 16, t, source);
        return;
#ifdef DLT_LINUX_SLL2
    case DLT_LINUX_SLL2:
        if (size >= 20) ip(data + 20, size - 20, t, source);
        return;
#endif
    case DLT_RAW:
    case 101:   // LINKTYPE_RAW, as a file may name it
    case 14:
    case 228:   // IPv4
    case 229:   // IPv6
        ip(data, size, t, source);
        return;
    default:
        return;
    }
}

void FrameDecoder::ip(const unsigned char *data, std::size_t size, double t, const std::string &source) {
    if (size < 1) return;
    if ((data[0] >> 4) == 4) ipv4(data, size, t, source);
    else if ((data[0] >> 4) == 6) ipv6(data, size, t, source);
}

bool FrameDecoder::reassemble(const FragmentKey &key, std::size_t offset, bool more, const unsigned char *data,
                              std::size_t size, std::string &whole, const std::string &source) {
    if (offset + size > kMaxDatagram) {
        sink_.error(source, "fragment beyond the largest datagram dropped");
        return false;
    }
    if (fragments_.find(key) == fragments_.end() && fragments_.size() >= kMaxPendingFragments) {
        sink_.error(source, "too many incomplete fragmented datagrams: the oldest dropped");
        fragments_.erase(fragments_.begin());
    }
    Fragments &f = fragments_[key];
    f.pieces.emplace(offset, std::string(reinterpret_cast<const char *>(data), size));
    if (!more) f.total = offset + size;
    if (f.total == 0) return false;
    std::size_t covered = 0;
    for (const auto &piece : f.pieces) {
        if (piece.first > covered) return false;
        covered = std::max(covered, piece.first + piece.second.size());
    }
    if (covered < f.total) return false;
    whole.assign(f.total, '\0');
    for (const auto &piece : f.pieces) {
        std::size_t n = std::min(piece.second.size(), f.total - std::min(f.total, piece.first));
        whole.replace(piece.first, n, piece.second, 0, n);
    }
    fragments_.erase(key);
    return true;
}

void FrameDecoder::ipv4(const unsigned char *data, std::size_t size, double t, const std::string &source) {
    if (size < 20) return;
    std::size_t ihl = static_cast<std::size_t>(data[0] & 0x0f) * 4;
    std::size_t total = be16(data + 2);
    if (ihl < 20 || total < ihl || size < ihl) return;
    if (total > size) total = size;   // a frame cut by the snap length
    uint16_t flags = be16(data + 6);
    bool more = (flags & 0x2000) != 0;
    std::size_t offset = static_cast<std::size_t>(flags & 0x1fff) * 8;
    uint8_t proto = data[9];
    // Addresses name TCP streams and fragment sets only; a plain datagram needs none.
    std::string src, dst;
    if (more || offset != 0 || proto == 6) {
        src = address(AF_INET, data + 12);
        dst = address(AF_INET, data + 16);
    }
    const unsigned char *payload = data + ihl;
    std::size_t length = total - ihl;
    if (!more && offset == 0) {
        transport(proto, src, dst, payload, length, t, source);
        return;
    }
    std::string whole;
    if (reassemble({src, dst, be16(data + 4), proto}, offset, more, payload, length, whole, source))
        transport(proto, src, dst, reinterpret_cast<const unsigned char *>(whole.data()), whole.size(), t, source);
}

void FrameDecoder::ipv6(const unsigned char *data, std::size_t size, double t, const std::string &source) {
    if (size < 40) return;
    std::size_t length = be16(data + 4);
    if (40 + length > size) length = size - 40;
    uint8_t next = data[6];
    std::string src = address(AF_INET6, data + 8), dst = address(AF_INET6, data + 24);
    const unsigned char *p = data + 40;
    std::string whole;
    for (int hops = 0; hops < 8; ++hops) {
        if (next == 0 || next == 43 || next == 60) {   // hop-by-hop, routing, destination options
            if (length < 8) return;
            std::size_t ext = (static_cast<std::size_t>(p[1]) + 1) * 8;
            if (ext > length) return;
            next = p[0];
            p += ext;
            length -= ext;
            continue;
        }
        if (next == 44) {   // fragment
            if (length < 8) return;
            uint16_t word = be16(p + 2);
            std::size_t offset = static_cast<std::size_t>(word >> 3) * 8;
            bool more = (word & 1) != 0;
            uint8_t inner = p[0];
            uint32_t id = be32(p + 4);
            if (!more && offset == 0) {   // an atomic fragment
                next = inner;
                p += 8;
                length -= 8;
                continue;
            }
            std::string assembled;
            if (!reassemble({src, dst, id, inner}, offset, more, p + 8, length - 8, assembled, source)) return;
            whole.swap(assembled);
            p = reinterpret_cast<const unsigned char *>(whole.data());
            length = whole.size();
            next = inner;
            continue;
        }
        transport(next, src, dst, p, length, t, source);
        return;
    }
}

void FrameDecoder::transport(uint8_t proto, const std::string &src, const std::string &dst,
                             const unsigned char *data, std::size_t size, double t, const std::string &source) {
    if (proto == 17) {
        if (size < 8) return;
        std::size_t length = be16(data + 4);
        if (length < 8 || length > size) length = size;
        const unsigned char *payload = data + 8;
        std::size_t n = length - 8;
        if (n == 0 || !looksLikeSip(payload, n)) return;   // keep-alives, RTP, DNS...
        RawMessage message;
        message.bytes.assign(reinterpret_cast<const char *>(payload), n);
        message.source = source;
        message.t = t;
        sink_.message(std::move(message));
        return;
    }
    if (proto != 6 || size < 20) return;
    std::size_t offset = static_cast<std::size_t>(data[12] >> 4) * 4;
    if (offset < 20 || offset > size) return;
    uint8_t flags = data[13];
    uint32_t seq = be32(data + 4);
    std::string key = src + ":" + std::to_string(be16(data)) + ">" + dst + ":" + std::to_string(be16(data + 2));
    Stream &s = streams_[key];
    s.lastSource = source;
    if (flags & 0x02) {   // SYN: the stream starts after it
        s.started = true;
        s.next = seq + 1;
        s.pending.clear();
        s.buffer.clear();
    }
    std::string payload(reinterpret_cast<const char *>(data + offset), size - offset);
    if (payload.empty()) return;
    if (!s.started) {
        if (!looksLikeSip(data + offset, size - offset)) return;   // joined mid-message: wait
        s.started = true;
        s.next = seq;
    }
    auto append = [&](uint32_t at, const std::string &bytes) {
        int32_t ahead = static_cast<int32_t>(at - s.next);
        if (ahead > 0) return false;
        std::size_t skip = static_cast<std::size_t>(-static_cast<int64_t>(ahead));
        if (skip < bytes.size()) {
            s.buffer.append(bytes, skip, std::string::npos);
            s.next += static_cast<uint32_t>(bytes.size() - skip);
        }
        return true;
    };
    if (!append(seq, payload)) {
        if (s.pending.size() < 1024) s.pending.emplace(seq, payload);
        return;
    }
    for (bool progress = true; progress && !s.pending.empty();) {
        progress = false;
        for (auto it = s.pending.begin(); it != s.pending.end(); ++it) {
            if (append(it->first, it->second)) {
                s.pending.erase(it);
                progress = true;
                break;
            }
        }
    }
    frameStream(s.buffer, source, t, sink_);
}

void FrameDecoder::finish() {
    for (auto &entry : streams_) {
        if (!entry.second.buffer.empty() || !entry.second.pending.empty())
            sink_.error(entry.second.lastSource, "TCP stream " + entry.first + " ends inside a message");
    }
    streams_.clear();
    if (!fragments_.empty())
        sink_.error("end of capture", std::to_string(fragments_.size()) + " fragmented datagram(s) never completed");
    fragments_.clear();
}

bool readFile(const std::string &path, const Sink &sink, std::string &error) {
    std::ifstream file(path, std::ios::binary);
    if (!file) {
        error = path + ": cannot be read";
        return false;
    }
    unsigned char magic[4] = {0, 0, 0, 0};
    file.read(reinterpret_cast<char *>(magic), 4);
    uint32_t m = be32(magic);
    bool capture = m == 0xa1b2c3d4 || m == 0xd4c3b2a1 || m == 0xa1b23c4d || m == 0x4d3cb2a1 || m == 0x0a0d0d0a;
    std::string name = path.substr(path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/') + 1);
    if (!capture) {
        file.seekg(0);
        std::ostringstream text;
        text << file.rdbuf();
        if (!file.good() && !file.eof()) {
            error = path + ": cannot be read";
            return false;
        }
        splitMessageText(text.str(), name, sink);
        return true;
    }
    file.close();
    char errbuf[PCAP_ERRBUF_SIZE] = {0};
    pcap_t *pcap = pcap_open_offline(path.c_str(), errbuf);
    if (pcap == nullptr) {
        error = path + ": " + errbuf;
        return false;
    }
    int link = pcap_datalink(pcap);
    FrameDecoder decoder(sink);
    struct pcap_pkthdr *header;
    const u_char *data;
    long frame = 0;
    int rc;
    while ((rc = pcap_next_ex(pcap, &header, &data)) == 1) {
        ++frame;
        double t = static_cast<double>(header->ts.tv_sec) + static_cast<double>(header->ts.tv_usec) / 1e6;
        decoder.frame(link, data, header->caplen, t, name + ":frame " + std::to_string(frame));
    }
    if (rc == -1) sink.error(name + ":frame " + std::to_string(frame + 1), pcap_geterr(pcap));
    decoder.finish();
    pcap_close(pcap);
    return true;
}

}  // namespace amreplay
