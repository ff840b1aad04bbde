// Builds Ethernet frames that carry SIP messages over UDP or TCP, IPv4 or IPv6, with IP
// fragments and TCP segments of a chosen size: what the capture generator writes, and what
// the reader's tests feed it.
#ifndef OSTRA_AMREPLAY_FRAMES_H
#define OSTRA_AMREPLAY_FRAMES_H

#include <cstdint>
#include <string>
#include <vector>

namespace amreplay {

struct FrameOptions {
    bool tcp = false;
    bool ipv6 = false;
    std::size_t mtu = 1500;      // IP packet size; larger UDP datagrams are fragmented
    std::size_t segment = 1400;  // TCP payload per segment
};

class FrameBuilder {
public:
    explicit FrameBuilder(const FrameOptions &options);
    // The frames that carry `payload` from the server to the phone (UDP: one datagram,
    // maybe fragmented; TCP: the next bytes of one stream, a SYN first).
    std::vector<std::string> carry(const std::string &payload);

private:
    std::string ip(uint8_t proto, const std::string &payload, bool fragmentable);
    std::string ethernet(const std::string &packet) const;
    FrameOptions o_;
    uint32_t seq_ = 1000;
    uint16_t id_ = 1;
    bool synSent_ = false;
};

}  // namespace amreplay

#endif
