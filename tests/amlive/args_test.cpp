// amlive's lines and watches as given on the command line.
#include <gtest/gtest.h>

#include "live.h"

namespace {

TEST(Account, ReadsEveryPartAndRefusesWhatIsNotALine) {
    const struct {
        const char *arg;
        bool ok;
        int index;
        const char *user, *password, *server;
        bool tcp;
    } cases[] = {
        {"1:200:secret@127.0.0.1:5060", true, 1, "200", "secret", "127.0.0.1:5060", false},
        {"2:alice:pw@pbx.example.com;transport=tcp", true, 2, "alice", "pw", "pbx.example.com", true},
        {"1:200:pw@pbx;TRANSPORT=UDP", true, 1, "200", "pw", "pbx", false},
        // The password keeps its ':' and '@'.
        {"1:200:a:b@c@pbx:5070", true, 1, "200", "a:b@c", "pbx:5070", false},
        {"1:200:@pbx", true, 1, "200", "", "pbx", false},
        {"1:200@pbx", false, 0, "", "", "", false},  // no password part
        {"0:200:pw@pbx", false, 0, "", "", "", false},  // lines count from 1
        {"x:200:pw@pbx", false, 0, "", "", "", false},
        {"1x:200:pw@pbx", false, 0, "", "", "", false},
        {"1::pw@pbx", false, 0, "", "", "", false},  // no user
        {"1:200:pw@", false, 0, "", "", "", false},  // no server
        {"1:200:pw@pbx;transport=sctp", false, 0, "", "", "", false},
        {"1:200:pw@pb x", false, 0, "", "", "", false},
        {"", false, 0, "", "", "", false},
    };
    for (const auto &c : cases) {
        amlive::Account a;
        ASSERT_EQ(amlive::parseAccount(c.arg, a), c.ok) << c.arg;
        if (!c.ok) continue;
        EXPECT_EQ(a.line.index, c.index) << c.arg;
        EXPECT_EQ(a.line.user, c.user) << c.arg;
        EXPECT_EQ(a.password, c.password) << c.arg;
        EXPECT_EQ(a.proxy, c.server) << c.arg;
        EXPECT_EQ(a.line.server, c.server) << c.arg;
        EXPECT_EQ(a.tcp, c.tcp) << c.arg;
    }
}

TEST(Watch, TakesALineOnlyWhenOneIsWritten) {
    const struct {
        const char *arg;
        int line;
        const char *rest;
    } cases[] = {
        {"201", 1, "201"},
        {"2:201", 2, "201"},
        {"sip:201@pbx", 1, "sip:201@pbx"},   // a URI is no line number
        {"2:sip:201@pbx", 2, "sip:201@pbx"},
        {":201", 1, ":201"},
        {"1234567:201", 1, "1234567:201"},   // too long to be a line
    };
    for (const auto &c : cases) {
        auto got = amlive::lineAndRest(c.arg);
        EXPECT_EQ(got.first, c.line) << c.arg;
        EXPECT_EQ(got.second, c.rest) << c.arg;
    }
}

}  // namespace
