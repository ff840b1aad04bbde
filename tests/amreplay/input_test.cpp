// The readers of message files and captures: where messages begin and end, and what
// reassembly makes of fragments and segments.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "amreplay/frames.h"
#include "amreplay/input.h"

namespace {

using amreplay::RawMessage;

struct Collected {
    std::vector<RawMessage> messages;
    std::vector<std::string> errors;
    amreplay::Sink sink() {
        amreplay::Sink s;
        s.message = [this](RawMessage &&m) { messages.push_back(std::move(m)); };
        s.error = [this](const std::string &source, const std::string &e) { errors.push_back(source + ": " + e); };
        return s;
    }
};

const std::string kNotify = "NOTIFY sip:1001@h SIP/2.0\r\nCall-ID: a\r\nContent-Length: 5\r\n\r\nhello";
const std::string kOk = "SIP/2.0 200 OK\r\nCall-ID: a\r\nContent-Length: 0\r\n\r\n";

TEST(MessageFile, MessagesAreCutFromWhatToolsPrintAroundThem) {
    struct Case {
        const char *what;
        std::string text;
        std::vector<std::string> bodies;
        std::vector<double> times;
    } cases[] = {
        {"notes with times, blank lines between",
         "# t=1.5\n" + kNotify + "\n\n# t=2\n" + kOk + "\n", {kNotify, kOk}, {1.5, 2}},
        {"sngrep headers give dates", "2026/11/23 10:00:00.250000 10.0.0.1:5060 -> 10.0.0.2:5060\n" + kNotify +
                                          "\n\n2026/11/23 10:00:01.000000 10.0.0.2:5060 -> 10.0.0.1:5060\n" + kOk,
         {kNotify, kOk}, {1795428000.25, 1795428001}},
        {"sipp rules and a message without a time keeps none",
         "----------------------------------------------- 2026-11-23 10:00:00.000000\nUDP message received [80] bytes :\n\n" +
             kNotify + "\n\n" + kOk,
         {kNotify, kOk}, {1795428000, -1}},
        {"a sipfrag body holding a status line runs to its length",
         "NOTIFY sip:1001@h SIP/2.0\r\nContent-Length: 16\r\n\r\nSIP/2.0 200 OK\r\n\n" + kOk,
         {"NOTIFY sip:1001@h SIP/2.0\r\nContent-Length: 16\r\n\r\nSIP/2.0 200 OK\r\n", kOk}, {-1, -1}},
        {"a length past the next message is wrong: the message ends there",
         "NOTIFY sip:1001@h SIP/2.0\r\nContent-Length: 900\r\n\r\nbody\r\n\r\n" + kOk,
         {"NOTIFY sip:1001@h SIP/2.0\r\nContent-Length: 900\r\n\r\nbody\r\n", kOk}, {-1, -1}},
        {"headers only, LF line ends, next message straight after",
         "SIP/2.0 100 Trying\nCall-ID: b\n" + kOk, {"SIP/2.0 100 Trying\nCall-ID: b\n", kOk}, {-1, -1}},
    };
    for (const Case &c : cases) {
        Collected got;
        amreplay::splitMessageText(c.text, "f", got.sink());
        ASSERT_EQ(got.messages.size(), c.bodies.size()) << c.what;
        for (std::size_t i = 0; i < c.bodies.size(); ++i) {
            EXPECT_EQ(got.messages[i].bytes, c.bodies[i]) << c.what << " #" << i;
            EXPECT_DOUBLE_EQ(got.messages[i].t, c.times[i]) << c.what << " #" << i;
            EXPECT_EQ(got.messages[i].source, "f:message " + std::to_string(i + 1));
        }
        EXPECT_TRUE(got.errors.empty()) << c.what;
    }
    Collected none;
    amreplay::splitMessageText("just notes\n", "n.txt", none.sink());
    EXPECT_EQ(none.errors, std::vector<std::string>{"n.txt: no SIP message in the file"});
}

TEST(Stream, MessagesAreFramedByTheirLengthAcrossAndWithinReads) {
    Collected got;
    std::string buffer;
    std::string both = "\r\n\r\n" + kNotify + kOk;   // keep-alives first
    for (char c : both.substr(0, 40)) {
        buffer += c;
        amreplay::frameStream(buffer, "s", 0, got.sink());
    }
    EXPECT_TRUE(got.messages.empty());
    buffer += both.substr(40);
    amreplay::frameStream(buffer, "s", 0, got.sink());
    ASSERT_EQ(got.messages.size(), 2u);
    EXPECT_EQ(got.messages[0].bytes, kNotify);
    EXPECT_EQ(got.messages[1].bytes, kOk);
    EXPECT_TRUE(buffer.empty());

    buffer = "\x16\x03\x01 TLS hello\r\n\r\n";
    amreplay::frameStream(buffer, "s", 0, got.sink());
    EXPECT_EQ(got.errors.size(), 1u);
    EXPECT_TRUE(buffer.empty());
}

// Every carrier gives back exactly the messages it was given, in order, whatever the
// fragment and segment sizes and the order in which the pieces came.
TEST(Frames, FragmentsAndSegmentsGiveBackTheMessages) {
    std::string big = "NOTIFY sip:1001@h SIP/2.0\r\nContent-Length: 3000\r\n\r\n" + std::string(3000, 'x');
    std::vector<std::string> sent = {kNotify, big, kOk, kNotify};
    struct Carrier {
        const char *what;
        amreplay::FrameOptions o;
    } carriers[] = {
        {"UDP over IPv4, fragmented", {false, false, 576, 0}},
        {"UDP over IPv6, fragmented", {false, true, 1280, 0}},
        {"TCP over IPv4, tiny segments", {true, false, 1500, 7}},
        {"TCP over IPv6, segments across messages", {true, true, 1500, 1000}},
    };
    for (const Carrier &c : carriers) {
        Collected got;
        amreplay::FrameDecoder decoder(got.sink());
        amreplay::FrameBuilder builder(c.o);
        int frame = 0;
        for (const std::string &m : sent) {
            for (const std::string &f : builder.carry(m)) {
                decoder.frame(1, reinterpret_cast<const unsigned char *>(f.data()), f.size(), 1.0,
                              "frame " + std::to_string(++frame));
            }
        }
        decoder.finish();
        ASSERT_EQ(got.messages.size(), sent.size()) << c.what;
        for (std::size_t i = 0; i < sent.size(); ++i) EXPECT_EQ(got.messages[i].bytes, sent[i]) << c.what << " #" << i;
        EXPECT_TRUE(got.errors.empty()) << c.what << ": " << (got.errors.empty() ? "" : got.errors[0]);
    }
}

TEST(Frames, WhatNeverCompletesIsReportedAndCutFramesAreHarmless) {
    Collected got;
    amreplay::FrameDecoder decoder(got.sink());
    amreplay::FrameBuilder udp({false, false, 576, 0});
    std::vector<std::string> frames = udp.carry(std::string(2000, 'y').insert(0, "NOTIFY sip:a@b SIP/2.0\r\n\r\n"));
    ASSERT_GT(frames.size(), 2u);
    for (std::size_t i = 1; i < frames.size(); ++i) {   // the first piece sent never arrives
        decoder.frame(1, reinterpret_cast<const unsigned char *>(frames[i].data()), frames[i].size(), 0, "f");
    }
    amreplay::FrameBuilder tcp({true, false, 1500, 10});
    for (const std::string &f : tcp.carry(kNotify.substr(0, 30))) {
        for (std::size_t cut = 0; cut <= f.size(); cut += 7)   // every truncation of every frame
            decoder.frame(1, reinterpret_cast<const unsigned char *>(f.data()), cut, 0, "f");
        decoder.frame(1, reinterpret_cast<const unsigned char *>(f.data()), f.size(), 0, "f");
    }
    decoder.finish();
    EXPECT_TRUE(got.messages.empty());
    ASSERT_EQ(got.errors.size(), 2u);
    EXPECT_NE(got.errors[0].find("ends inside a message"), std::string::npos) << got.errors[0];
    EXPECT_NE(got.errors[1].find("never completed"), std::string::npos) << got.errors[1];
}

// The same IP packet behind every link layer a capture may use.
TEST(Frames, EveryLinkLayerLeadsToTheSameMessage) {
    amreplay::FrameBuilder builder({false, false, 1500, 0});
    std::string ethernet = builder.carry(kNotify).at(0);
    std::string ip = ethernet.substr(14);
    struct Link {
        const char *what;
        int type;
        std::string frame;
    } links[] = {
        {"Ethernet with a VLAN tag", 1, ethernet.substr(0, 12) + std::string("\x81\x00\x00\x05", 4) + ethernet.substr(12)},
        {"BSD loopback", 0, std::string("\x02\x00\x00\x00", 4) + ip},
        {"Linux cooked", 113, std::string(14, '\0') + std::string("\x08\x00", 2) + ip},
        {"Linux cooked v2", 276, std::string("\x08\x00", 2) + std::string(18, '\0') + ip},
        {"raw IP", 101, ip},
        {"IPv4 link type", 228, ip},
    };
    for (const Link &l : links) {
        Collected got;
        amreplay::FrameDecoder decoder(got.sink());
        decoder.frame(l.type, reinterpret_cast<const unsigned char *>(l.frame.data()), l.frame.size(), 0, "f");
        ASSERT_EQ(got.messages.size(), 1u) << l.what;
        EXPECT_EQ(got.messages[0].bytes, kNotify) << l.what;
    }
}

}  // namespace
