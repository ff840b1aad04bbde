// SIP messages through the tools' protocol manager: what the module is handed for each.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sippm/sippm.h"

namespace {

using sippm::Call;

// A message with LF line ends written as CRLF, the way servers send them.
std::string crlf(const std::string &text) {
    std::string out;
    for (char c : text) {
        if (c == '\n') out += '\r';
        out += c;
    }
    return out;
}

const char *orNull(const std::optional<std::string> &v) { return v ? v->c_str() : "(null)"; }

// One call as a line that a failure message shows whole.
std::string show(const Call &c) {
    return std::string(c.entryPoint()) + " line=" + std::to_string(c.line) + " number=" + orNull(c.number) +
           " name=" + orNull(c.name) + " event=" + orNull(c.event) + " state=" + orNull(c.subscriptionState) +
           " ct=" + orNull(c.contentType) + " result=" + std::to_string(c.state) + " id=" + std::to_string(c.id) +
           " body=" + orNull(c.body);
}

class Inbound : public ::testing::Test {
protected:
    Inbound() {
        pm.lines().set({1, "1001", "pbx.example.com", "Desk"});
        pm.lines().set({2, "1002", "pbx.example.com", ""});
    }
    std::vector<std::string> feed(const std::string &text, double t = 0) {
        std::string error;
        in = sippm::Inbound{};
        EXPECT_TRUE(pm.parse(text.data(), text.size(), "test:1", t, in, error)) << error;
        std::vector<std::string> out;
        for (const Call &c : in.calls) out.push_back(show(c));
        return out;
    }
    sippm::ProtocolManager pm;
    sippm::Inbound in;
};

const std::string kDialog =
    "<?xml version=\"1.0\"?>\n<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"1\" "
    "state=\"full\" entity=\"sip:201@pbx.example.com\"/>\n";

TEST_F(Inbound, NotifyHeadersAreNormalisedInLongAndCompactForms) {
    struct Case {
        const char *what;
        std::string message;
        std::string expected;
    } cases[] = {
        {"long forms, parameters after the type and the state, line from the Request-URI",
         crlf("NOTIFY sip:1002@10.0.0.5:5060 SIP/2.0\n"
              "Via: SIP/2.0/UDP 10.0.0.1;branch=z9hG4bK1\n"
              "From: <sip:201@pbx.example.com>;tag=a\nTo: <sip:1002@pbx.example.com>;tag=b\n"
              "Call-ID: c1\nCSeq: 2 NOTIFY\nEvent: dialog;id=7\n"
              "Subscription-State: active;expires=3600\n"
              "Content-Type: application/dialog-info+xml;charset=UTF-8\n"
              "Content-Length: " + std::to_string(kDialog.size()) + "\n\n") + kDialog,
         "amRecvNotify line=2 number=201 name=(null) event=dialog;id=7 state=active "
         "ct=application/dialog-info+xml result=0 id=0 body=" + kDialog},
        {"compact forms, line from the To user when the Request-URI names none",
         crlf("NOTIFY sip:10.0.0.5 SIP/2.0\nv: SIP/2.0/UDP 10.0.0.1;branch=z9hG4bK2\n"
              "f: \"Front Desk\" <sip:300@pbx.example.com>;tag=a\nt: <sip:1001@pbx.example.com>\n"
              "i: c2\nCSeq: 3 NOTIFY\no: presence\nSubscription-State: terminated;reason=timeout\n"
              "c: application/pidf+xml\nl: 4\n\n") + "<x/>",
         "amRecvNotify line=1 number=300 name=(null) event=presence state=terminated "
         "ct=application/pidf+xml result=0 id=0 body=<x/>"},
        {"LF line ends, unknown user: line 1; no body, no Call-Info: one call without body",
         "NOTIFY sip:9999@10.0.0.5 SIP/2.0\nVia: SIP/2.0/UDP 10.0.0.1;branch=z9hG4bK3\n"
         "From: <sip:*97@pbx.example.com>;tag=a\nTo: <sip:9999@pbx.example.com>\nCall-ID: c3\n"
         "CSeq: 1 NOTIFY\nEvent: message-summary\n\n",
         "amRecvNotify line=1 number=*97 name=(null) event=message-summary state=(null) ct=(null) "
         "result=0 id=0 body=(null)"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(feed(c.message), std::vector<std::string>{c.expected}) << c.what;
        EXPECT_TRUE(in.request && !in.fromPhone) << c.what;
    }
}

TEST_F(Inbound, ContentLengthThatDisagreesWithTheBytesIsWarnedAndTheBytesKept) {
    for (const char *given : {"3", "900"}) {
        std::string m = crlf(std::string("MESSAGE sip:1001@10.0.0.5 SIP/2.0\nVia: SIP/2.0/UDP h;branch=z9hG4bK4\n"
                                         "From: \"Ann \\\"A\\\"\" <sip:205@pbx>;tag=1\nTo: <sip:1001@pbx>\n"
                                         "Call-ID: m1\nCSeq: 1 MESSAGE\nContent-Type: text/plain; charset=UTF-8\n"
                                         "Content-Length: ") + given + "\n\n") + "hello there";
        EXPECT_EQ(feed(m), std::vector<std::string>{"amRecvMessage line=1 number=205 name=Ann \"A\" event=(null) "
                                                    "state=(null) ct=text/plain result=0 id=0 body=hello there"});
        ASSERT_EQ(in.warnings.size(), 1u);
        EXPECT_NE(in.warnings[0].find("the bytes are trusted"), std::string::npos) << in.warnings[0];
    }
}


std::string notifyWith(const std::string &event, const std::string &headers, const std::string &body) {
    return crlf("NOTIFY sip:1001@10.0.0.5 SIP/2.0\nVia: SIP/2.0/UDP 10.0.0.1;branch=z9hG4bK9\n"
                "From: <sip:list@pbx.example.com>;tag=a\nTo: <sip:1001@pbx.example.com>;tag=b\n"
                "Call-ID: n9\nCSeq: 9 NOTIFY\nEvent: " + event + "\nSubscription-State: active\n" + headers +
                "Content-Length: " + std::to_string(body.size()) + "\n\n") + body;
}

TEST_F(Inbound, MultipartBodiesAreSplitIntoTheCallsTheirReadersExpect) {
    std::string rlmi = crlf("--b1\nContent-Type: application/rlmi+xml;charset=UTF-8\nContent-ID: <r@x>\n\n"
                            "<list fullState=\"true\"/>\n--b1\nContent-Type: application/dialog-info+xml\n\n"
                            "<d1/>\n--b1\nContent-Type: application/dialog-info+xml\n\n<d2/>\n--b1--\n");
    EXPECT_EQ(feed(notifyWith("dialog", "Require: eventlist\nContent-Type: multipart/related;"
                                        "type=\"application/rlmi+xml\";start=\"<r@x>\";boundary=b1\n", rlmi)),
              (std::vector<std::string>{
                  "amRecvNotify line=1 number=list name=(null) event=dialog state=active ct=application/rlmi+xml "
                  "result=0 id=0 body=<list fullState=\"true\"/>",
                  "amRecvNotify line=1 number=list name=(null) event=dialog state=active ct=multipart/related "
                  "result=0 id=0 body=<d1/>",
                  "amRecvNotify line=1 number=list name=(null) event=dialog state=active ct=multipart/related "
                  "result=0 id=0 body=<d2/>",
                  "amRecvNotify line=1 number=list name=(null) event=dialog state=active ct=multipart/related "
                  "result=0 id=0 body=finish"}));

    std::string mixed = crlf("--zz\nContent-Type: application/x-as-feature-event+xml\n\n<a/>\n"
                             "--zz\nContent-Type: text/plain\n\nfinish\n--zz--\n");
    EXPECT_EQ(feed(notifyWith("as-feature-event", "Content-Type: multipart/mixed;boundary=zz\n", mixed)),
              (std::vector<std::string>{
                  "amRecvNotify line=1 number=list name=(null) event=as-feature-event state=active "
                  "ct=application/x-as-feature-event+xml result=0 id=0 body=<a/>",
                  "amRecvNotify line=1 number=list name=(null) event=as-feature-event state=active ct=text/plain "
                  "result=0 id=0 body=finish"}));
}

TEST_F(Inbound, HeaderOnlyNotifyGivesOneCallPerCallInfoValue) {
    std::vector<std::string> calls =
        feed(notifyWith("call-info", "Call-Info: <sip:pbx.example.com>;appearance-index=1;appearance-state=active,"
                                     "<sip:pbx.example.com>;appearance-index=2\n"
                                     "Call-Info: <sip:pbx.example.com>;appearance-index=*;appearance-state=idle\n",
                        ""));
    ASSERT_EQ(calls.size(), 3u);
    EXPECT_NE(calls[0].find("body=<sip:pbx.example.com>;appearance-index=1;appearance-state=active"),
              std::string::npos) << calls[0];
    EXPECT_NE(calls[1].find("body=<sip:pbx.example.com>;appearance-index=2"), std::string::npos) << calls[1];
    EXPECT_NE(calls[2].find("appearance-index=*;appearance-state=idle"), std::string::npos) << calls[2];
}

// The phone's own requests are remembered; their final responses (or their silence) become
// the result calls, and provisional responses and answers to the server's requests none.
TEST_F(Inbound, ResponsesToThePhonesRequestsBecomeResultCalls) {
    auto request = [](const std::string &method, const std::string &to, int cseq, const std::string &extra) {
        return crlf(method + " sip:" + to + "@pbx.example.com SIP/2.0\nVia: SIP/2.0/UDP 10.0.0.5;branch=z9hG4bK" +
                    std::to_string(cseq) + "\nFrom: <sip:1002@pbx.example.com>;tag=p\nTo: <sip:" + to +
                    "@pbx.example.com>\nCall-ID: call-" + std::to_string(cseq) + "\nCSeq: " + std::to_string(cseq) +
                    " " + method + "\n" + extra + "Content-Length: 0\n\n");
    };
    auto response = [](int status, const std::string &method, const std::string &to, int cseq) {
        return crlf("SIP/2.0 " + std::to_string(status) + " Whatever\nVia: SIP/2.0/UDP 10.0.0.5;branch=z9hG4bK" +
                    std::to_string(cseq) + "\nFrom: <sip:1002@pbx.example.com>;tag=p\nTo: <sip:" + to +
                    "@pbx.example.com>;tag=s\nCall-ID: call-" + std::to_string(cseq) + "\nCSeq: " +
                    std::to_string(cseq) + " " + method + "\nContent-Length: 0\n\n");
    };
    EXPECT_TRUE(feed(request("SUBSCRIBE", "201", 1, "Event: dialog\nExpires: 3600\n")).empty());
    EXPECT_TRUE(in.fromPhone);
    EXPECT_TRUE(feed(request("SUBSCRIBE", "202", 2, "Event: presence\nExpires: 0\n")).empty());
    EXPECT_TRUE(feed(request("SUBSCRIBE", "1002", 3,
                             "Event: line-seize\nExpires: 15\nCall-Info: <sip:pbx.example.com>;appearance-index=2\n"))
                    .empty());
    EXPECT_TRUE(feed(request("MESSAGE", "205", 4, "Content-Type: text/plain\n") ).empty());
    EXPECT_TRUE(feed(request("SUBSCRIBE", "203", 5, "Event: dialog\nExpires: 3600\n"), 10).empty());
    EXPECT_EQ(pm.pendingTransactions(), 5u);

    EXPECT_TRUE(feed(response(100, "SUBSCRIBE", "201", 1)).empty());
    EXPECT_TRUE(feed(response(200, "NOTIFY", "201", 77)).empty());
    EXPECT_TRUE(in.fromPhone);
    EXPECT_EQ(feed(response(202, "SUBSCRIBE", "201", 1)),
              std::vector<std::string>{"amRecvSubscribeResult line=2 number=201 name=(null) event=dialog "
                                       "state=(null) ct=(null) result=202 id=0 body=(null)"});
    EXPECT_EQ(feed(response(481, "SUBSCRIBE", "202", 2)),
              std::vector<std::string>{"amRecvUnsubscribeResult line=2 number=202 name=(null) event=presence "
                                       "state=(null) ct=(null) result=0 id=0 body=(null)"});
    EXPECT_EQ(feed(response(200, "SUBSCRIBE", "1002", 3)),
              std::vector<std::string>{"amRecvSubscribeResult line=2 number=1002 name=(null) event=line-seize "
                                       "state=(null) ct=(null) result=200 id=0 "
                                       "body=<sip:pbx.example.com>;appearance-index=2"});
    EXPECT_EQ(feed(response(202, "MESSAGE", "205", 4)),
              std::vector<std::string>{"amRecvMessageResult line=2 number=205 name=(null) event=(null) "
                                       "state=(null) ct=text/plain result=202 id=1 body=(null)"});
    // A response nobody asked for and that names no package cannot be routed.
    EXPECT_TRUE(feed(response(200, "SUBSCRIBE", "299", 99)).empty());
    EXPECT_EQ(in.warnings.size(), 1u);

    EXPECT_TRUE(pm.expire(41.9).empty());
    std::vector<Call> late = pm.expire(42);
    ASSERT_EQ(late.size(), 1u);
    EXPECT_EQ(show(late[0]), "amRecvSubscribeResult line=2 number=203 name=(null) event=dialog state=(null) "
                             "ct=(null) result=0 id=0 body=(null)");
    EXPECT_EQ(pm.pendingTransactions(), 0u);
}

TEST_F(Inbound, WhatIsNoSipMessageIsRefusedWithItsSource) {
    for (std::string bad : {std::string("hello world\r\n\r\n"), std::string("\x01\x02\x03", 3),
                            std::string("SIP/2.0 abc\r\n\r\n")}) {
        std::string error;
        EXPECT_FALSE(pm.parse(bad.data(), bad.size(), "cap.pcap:3", 0, in, error)) << bad;
        EXPECT_EQ(error.rfind("cap.pcap:3: ", 0), 0u) << error;
    }
}

}  // namespace
