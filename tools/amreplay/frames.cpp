#include "frames.h"

namespace amreplay {

namespace {

void put16(std::string &s, uint16_t v) {
    s += static_cast<char>(v >> 8);
    s += static_cast<char>(v & 0xff);
}
void put32(std::string &s, uint32_t v) {
    put16(s, static_cast<uint16_t>(v >> 16));
    put16(s, static_cast<uint16_t>(v & 0xffff));
}

const unsigned char kServer4[4] = {10, 0, 0, 1};
const unsigned char kPhone4[4] = {192, 168, 1, 50};
const unsigned char kServer6[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1};
const unsigned char kPhone6[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x50};

}  // namespace

FrameBuilder::FrameBuilder(const FrameOptions &options) : o_(options) {}

std::string FrameBuilder::ethernet(const std::string &packet) const {
    std::string f("\x00\x11\x22\x33\x44\x55\x00\x66\x77\x88\x99\xaa", 12);
    put16(f, o_.ipv6 ? 0x86dd : 0x0800);
    return f + packet;
}

// One IP packet, or (UDP only) its fragments joined as frames by carry().
std::string FrameBuilder::ip(uint8_t proto, const std::string &payload, bool) {
    std::string p;
    if (o_.ipv6) {
        put32(p, 0x60000000);
        put16(p, static_cast<uint16_t>(payload.size()));
        p += static_cast<char>(proto);
        p += static_cast<char>(64);
        p.append(reinterpret_cast<const char *>(kServer6), 16);
        p.append(reinterpret_cast<const char *>(kPhone6), 16);
    } else {
        p += '\x45';
        p += '\0';
        put16(p, static_cast<uint16_t>(20 + payload.size()));
        put16(p, id_);
        put16(p, 0);
        p += static_cast<char>(64);
        p += static_cast<char>(proto);
        put16(p, 0);
        p.append(reinterpret_cast<const char *>(kServer4), 4);
        p.append(reinterpret_cast<const char *>(kPhone4), 4);
    }
    return p + payload;
}

std::vector<std::string> FrameBuilder::carry(const std::string &payload) {
    std::vector<std::string> frames;
    if (!o_.tcp) {
        std::string udp;
        put16(udp, 5060);
        put16(udp, 5060);
        put16(udp, static_cast<uint16_t>(8 + payload.size()));
        put16(udp, 0);
        udp += payload;
        ++id_;
        std::size_t header = o_.ipv6 ? 40 : 20;
        if (header + udp.size() <= o_.mtu) {
            frames.push_back(ethernet(ip(17, udp, false)));
            return frames;
        }
        // Fragments of 8-byte multiples, sent last first to test reassembly out of order.
        std::size_t step = ((o_.mtu - header - (o_.ipv6 ? 8 : 0)) / 8) * 8;
        if (step == 0) step = 8;
        for (std::size_t off = 0; off < udp.size(); off += step) {
            std::string piece = udp.substr(off, step);
            bool more = off + step < udp.size();
            std::string packet;
            if (o_.ipv6) {
                std::string frag;
                frag += static_cast<char>(17);
                frag += '\0';
                put16(frag, static_cast<uint16_t>(off | (more ? 1 : 0)));
                put32(frag, id_);
                packet = ip(44, frag + piece, true);
            } else {
                packet = ip(17, piece, true);
                uint16_t word = static_cast<uint16_t>((off / 8) | (more ? 0x2000 : 0));
                packet[6] = static_cast<char>(word >> 8);
                packet[7] = static_cast<char>(word & 0xff);
            }
            frames.insert(frames.begin(), ethernet(packet));
        }
        return frames;
    }
    auto segment = [&](uint8_t flags, const std::string &data) {
        std::string tcp;
        put16(tcp, 5060);
        put16(tcp, 40000);
        put32(tcp, seq_);
        put32(tcp, 1);
        tcp += '\x50';
        tcp += static_cast<char>(flags);
        put16(tcp, 65535);
        put32(tcp, 0);
        return ethernet(ip(6, tcp + data, false));
    };
    if (!synSent_) {
        frames.push_back(segment(0x02, ""));
        ++seq_;
        synSent_ = true;
    }
    std::size_t step = o_.segment == 0 ? 1 : o_.segment;
    for (std::size_t off = 0; off < payload.size(); off += step) {
        std::string piece = payload.substr(off, step);
        frames.push_back(segment(0x18, piece));
        seq_ += static_cast<uint32_t>(piece.size());
    }
    // The last two segments out of order and one of them sent twice, as real captures hold.
    if (frames.size() >= 3) {
        std::swap(frames[frames.size() - 1], frames[frames.size() - 2]);
        frames.push_back(frames[frames.size() - 1]);
    }
    return frames;
}

}  // namespace amreplay
