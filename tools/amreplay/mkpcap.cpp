// mkpcap: writes the SIP messages of message files as a pcap or pcapng capture, over UDP
// or TCP, IPv4 or IPv6, with IP fragments and TCP segments of chosen sizes, so that a
// capture and the same messages as text can be replayed side by side. It also makes the
// large captures the benchmark reads.
#include <pcap/pcap.h>

#include <CLI/CLI.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <sstream>

#include "frames.h"
#include "input.h"

namespace {

class Writer {
public:
    Writer(const std::string &path, bool ng) : ng_(ng) {
        if (ng_) {
            file_ = std::fopen(path.c_str(), "wb");
            if (file_ == nullptr) return;
            block(0x0A0D0D0A, le32(0x1A2B3C4D) + le16(1) + le16(0) + le64(~0ULL));   // section
            block(1, le16(1) + le16(0) + le32(262144));                                  // interface
        } else {
            dead_ = pcap_open_dead(DLT_EN10MB, 262144);
            dumper_ = pcap_dump_open(dead_, path.c_str());
        }
    }
    ~Writer() {
        if (file_ != nullptr) std::fclose(file_);
        if (dumper_ != nullptr) pcap_dump_close(dumper_);
        if (dead_ != nullptr) pcap_close(dead_);
    }
    bool ok() const { return ng_ ? file_ != nullptr : dumper_ != nullptr; }
    void frame(double t, const std::string &data) {
        uint64_t us = static_cast<uint64_t>(std::llround(t * 1e6));
        if (ng_) {
            std::string padded = data;
            padded.resize((data.size() + 3) / 4 * 4, '\0');
            block(6, le32(0) + le32(static_cast<uint32_t>(us >> 32)) + le32(static_cast<uint32_t>(us)) +
                         le32(static_cast<uint32_t>(data.size())) + le32(static_cast<uint32_t>(data.size())) + padded);
            return;
        }
        struct pcap_pkthdr h;
        h.ts.tv_sec = static_cast<time_t>(us / 1000000);
        h.ts.tv_usec = static_cast<suseconds_t>(us % 1000000);
        h.caplen = h.len = static_cast<bpf_u_int32>(data.size());
        pcap_dump(reinterpret_cast<u_char *>(dumper_), &h, reinterpret_cast<const u_char *>(data.data()));
    }

private:
    static std::string le16(uint16_t v) { return std::string{static_cast<char>(v & 0xff), static_cast<char>(v >> 8)}; }
    static std::string le32(uint32_t v) { return le16(static_cast<uint16_t>(v & 0xffff)) + le16(static_cast<uint16_t>(v >> 16)); }
    static std::string le64(uint64_t v) { return le32(static_cast<uint32_t>(v)) + le32(static_cast<uint32_t>(v >> 32)); }
    void block(uint32_t type, const std::string &body) {
        std::string b = le32(type) + le32(static_cast<uint32_t>(12 + body.size())) + body +
                        le32(static_cast<uint32_t>(12 + body.size()));
        std::fwrite(b.data(), 1, b.size(), file_);
    }
    bool ng_;
    FILE *file_ = nullptr;
    pcap_t *dead_ = nullptr;
    pcap_dumper_t *dumper_ = nullptr;
};

}  // namespace

int main(int argc, char **argv) {
    using namespace amreplay;
    std::vector<std::string> inputs;
    std::string output;
    bool ng = false;
    FrameOptions o;
    std::size_t batch = 1;
    long repeat = 1;
    double start = 1795000000.0;   // capture time of a message without one of its own
    bool count = false;
    CLI::App app{"mkpcap: SIP message files to a pcap or pcapng capture"};
    app.add_option("inputs", inputs, "SIP message files")->required();
    app.add_option("-o,--output", output, "the capture to write")->required();
    app.add_flag("--pcapng", ng, "write pcapng instead of pcap");
    app.add_flag("--tcp", o.tcp, "one TCP stream instead of UDP datagrams");
    app.add_flag("--ipv6", o.ipv6, "IPv6 instead of IPv4");
    app.add_option("--mtu", o.mtu, "IP packet size; UDP datagrams above it are fragmented")->check(CLI::Range(68, 65535));
    app.add_option("--segment", o.segment, "TCP payload bytes per segment")->check(CLI::Range(1, 65000));
    app.add_option("--batch", batch, "messages sent together (TCP: several messages per segment)")->check(CLI::Range(1, 1000));
    app.add_option("--repeat", repeat, "send the messages this many times (1 ms apart)")->check(CLI::Range(1L, 10000000L));
    app.add_flag("--count", count, "print the number of SIP messages the inputs hold, and write nothing");
    CLI11_PARSE(app, argc, argv);

    std::vector<RawMessage> messages;
    Sink sink;
    sink.message = [&](RawMessage &&m) { messages.push_back(std::move(m)); };
    bool bad = false;
    sink.error = [&](const std::string &source, const std::string &what) {
        std::cerr << "mkpcap: " << source << ": " << what << "\n";
        bad = true;
    };
    for (const std::string &input : inputs) {
        std::string error;
        if (!readFile(input, sink, error)) {
            std::cerr << "mkpcap: " << error << "\n";
            return 2;
        }
    }
    if (bad || messages.empty()) return 2;
    if (count) {
        std::cout << messages.size() << "\n";
        return 0;
    }
    Writer writer(output, ng);
    if (!writer.ok()) {
        std::cerr << "mkpcap: " << output << ": cannot be written\n";
        return 2;
    }
    FrameBuilder builder(o);
    double last = start, origin = -1;
    for (long r = 0; r < repeat; ++r) {
        for (std::size_t i = 0; i < messages.size(); i += batch) {
            std::string payload;
            double t = 0;
            for (std::size_t j = i; j < messages.size() && j < i + batch; ++j) {
                payload += messages[j].bytes;
                if (messages[j].t >= 0 && origin < 0) origin = messages[j].t;
                t = messages[j].t >= 0 && repeat == 1 ? start + messages[j].t - origin : last + 0.001;
            }
            last = t;
            for (const std::string &frame : builder.carry(payload)) writer.frame(t, frame);
        }
    }
    return 0;
}
