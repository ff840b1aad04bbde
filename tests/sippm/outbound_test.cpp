// The module's requests as the SIP requests they become, and their answers.
#include <gtest/gtest.h>

#include "sippm/sippm.h"

namespace {

TEST(Outbound, RequestsBecomeSipRequestsThatReadBackAndAreAnswered) {
    sippm::ProtocolManager pm;
    pm.lines().set({1, "1001", "pbx.example.com", "Desk"});
    devhost::Request seize;
    seize.kind = devhost::Request::Subscribe;
    seize.line = 1;
    seize.expires = 15;
    seize.number = "1001";
    seize.event = "line-seize";
    seize.extra = "<sip:pbx.example.com>;appearance-index=2";
    seize.hasNumber = seize.hasEvent = seize.hasExtra = true;
    sippm::OutRequest out = pm.render(seize, 5);
    std::string text = out.text();
    EXPECT_EQ(text.rfind("SUBSCRIBE sip:1001@pbx.example.com SIP/2.0\r\n", 0), 0u) << text;
    for (const char *line : {"\r\nFrom: \"Desk\" <sip:1001@pbx.example.com>;tag=", "\r\nEvent: line-seize\r\n",
                             "\r\nExpires: 15\r\n", "\r\nCall-Info: <sip:pbx.example.com>;appearance-index=2\r\n",
                             "\r\nContent-Length: 0\r\n\r\n"}) {
        EXPECT_NE(text.find(line), std::string::npos) << line << " in\n" << text;
    }
    // What the phone would send reads back as its own request; the server's answer to it,
    // matched by Call-ID and CSeq, is the seizure's result.
    sippm::Inbound in;
    std::string error;
    ASSERT_TRUE(pm.parse(text.data(), text.size(), "out", 5, in, error)) << error;
    EXPECT_TRUE(in.fromPhone && in.calls.empty());

    devhost::Request sms;
    sms.kind = devhost::Request::Message;
    sms.line = 1;
    sms.number = "205";
    sms.contentType = "text/plain";
    sms.body = "hi";
    sms.id = 42;
    sms.hasNumber = sms.hasContentType = sms.hasBody = true;
    sippm::OutRequest message = pm.render(sms, 6);
    EXPECT_NE(message.text().find("\r\nContent-Type: text/plain\r\nContent-Length: 2\r\n\r\nhi"), std::string::npos);
    std::string ok = "SIP/2.0 200 OK\r\nVia: SIP/2.0/UDP phone.invalid;branch=z9hG4bK-x\r\n"
                     "From: <sip:1001@pbx.example.com>;tag=1\r\nTo: <sip:205@pbx.example.com>;tag=2\r\n"
                     "Call-ID: " + message.callId + "\r\nCSeq: 1 MESSAGE\r\nContent-Length: 0\r\n\r\n";
    ASSERT_TRUE(pm.parse(ok.data(), ok.size(), "in", 7, in, error)) << error;
    ASSERT_EQ(in.calls.size(), 1u);
    EXPECT_EQ(in.calls[0].kind, sippm::Call::MessageResult);
    EXPECT_EQ(in.calls[0].id, 42);
    EXPECT_EQ(in.calls[0].state, 200);
    // Left unremembered, a request waits for nothing.
    sippm::ProtocolManager replay;
    replay.render(sms, 0, false);
    EXPECT_EQ(replay.pendingTransactions(), 0u);
}

}  // namespace
