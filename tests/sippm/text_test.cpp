// The protocol manager's text work: lengths made to agree with the bytes, multipart bodies
// split at their boundary.
#include <gtest/gtest.h>

#include "sippm/sippm.h"
#include "sippm/text.h"

namespace {

TEST(Text, LengthsAreMadeToAgreeWithTheBytes) {
    struct Case {
        const char *what;
        std::string in, out;
        bool warned;
    } cases[] = {
        {"agrees", "A b SIP/2.0\r\nl: 2\r\n\r\nxy", "A b SIP/2.0\r\nl: 2\r\n\r\nxy", false},
        {"too long", "A b SIP/2.0\r\nContent-Length: 9\r\n\r\nxy", "A b SIP/2.0\r\nContent-Length: 2\r\n\r\nxy", true},
        {"too short, LF", "A b SIP/2.0\nContent-Length:0\n\nxy", "A b SIP/2.0\nContent-Length: 2\n\nxy", true},
        {"missing", "A b SIP/2.0\r\nX: 1\r\n\r\nxyz", "A b SIP/2.0\r\nX: 1\r\nContent-Length: 3\r\n\r\nxyz", false},
        {"headers without their end", "A b SIP/2.0\r\nX: 1", "A b SIP/2.0\r\nX: 1\r\nContent-Length: 0\r\n\r\n", false},
        // A body line that looks like the header is not the header.
        {"only the header block counts", "A b SIP/2.0\r\n\r\nl: 5", "A b SIP/2.0\r\nContent-Length: 4\r\n\r\nl: 5", false},
    };
    for (const Case &c : cases) {
        std::string warning;
        EXPECT_EQ(sippm::trustBodyBytes(c.in, warning), c.out) << c.what;
        EXPECT_EQ(!warning.empty(), c.warned) << c.what << ": " << warning;
    }
}

std::string show(const std::vector<sippm::MimePart> &parts) {
    std::string out;
    for (const sippm::MimePart &p : parts) out += "[" + p.contentType + "|" + (p.body ? *p.body : "(none)") + "]";
    return out;
}

TEST(Text, MultipartBodiesSplitAtTheirBoundary) {
    struct Case {
        const char *what;
        std::string body;
        bool ok;
        std::string parts;
    } cases[] = {
        {"preamble, CRLF, parameters on part types, epilogue",
         "preamble\r\n--b\r\nContent-Type: a/x;charset=UTF-8\r\n\r\none\r\n--b\r\nc: b/y\r\n\r\ntwo\r\n--b--\r\nepilogue",
         true, "[a/x|one][b/y|two]"},
        {"LF only, a part without headers and one without a body",
         "--b\n\nbare\n--b\nContent-Type: c/z\n\n--b--\n", true, "[|bare][c/z|(none)]"},
        {"the boundary text inside a body is no delimiter", "--b\r\n\r\nx--b y\r\n--b--", true, "[|x--b y]"},
        {"no close delimiter: the last part runs to the end", "--b\r\nc: a/x\r\n\r\nrest", true, "[a/x|rest]"},
        {"no delimiter at all", "nothing here", false, ""},
    };
    for (const Case &c : cases) {
        std::vector<sippm::MimePart> parts;
        EXPECT_EQ(sippm::splitMultipart(c.body, "b", parts), c.ok) << c.what;
        EXPECT_EQ(show(parts), c.parts) << c.what;
    }
    std::vector<sippm::MimePart> parts;
    EXPECT_FALSE(sippm::splitMultipart("--\r\n", "", parts));
}

// Responses whose requests the capture does not hold (the phone's side was not captured)
// are matched to what the module asked for, by method and user, oldest first.
TEST(Text, UnseenRequestsAreMatchedToTheModulesOwnByUser) {
    sippm::ProtocolManager pm;
    pm.lines().set({1, "1001", "pbx", ""});
    devhost::Request r;
    r.kind = devhost::Request::Subscribe;
    r.line = 1;
    r.number = "202";
    r.event = "presence";
    r.hasNumber = r.hasEvent = true;
    pm.render(r, 0, false);
    r.event = "dialog";
    pm.render(r, 0, false);
    auto answer = [&](int status) {
        std::string ok = "SIP/2.0 " + std::to_string(status) + " X\r\nFrom: <sip:1001@pbx>;tag=1\r\nTo: <sip:202@pbx>;tag=2\r\n"
                         "Call-ID: elsewhere\r\nCSeq: 7 SUBSCRIBE\r\n\r\n";
        sippm::Inbound in;
        std::string error;
        EXPECT_TRUE(pm.parse(ok.data(), ok.size(), "r", 0, in, error)) << error;
        return in.calls.empty() ? std::string("none") : *in.calls[0].event + "/" + std::to_string(in.calls[0].state);
    };
    EXPECT_EQ(answer(200), "presence/200");
    EXPECT_EQ(answer(403), "dialog/0");
    EXPECT_EQ(answer(200), "none");
}

}  // namespace
