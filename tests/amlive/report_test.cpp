// What amlive prints for the module's events and the SIP it sees: JSON that other tools
// can read whatever a record or a message holds, and the state the phone ends in.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "platform/am.h"
#include "report.h"

namespace {

// A reporter writing to a temporary file, read back line by line.
class Report : public ::testing::Test {
protected:
    Report() : file(std::tmpfile()) {}
    ~Report() override { std::fclose(file); }
    std::vector<std::string> lines() {
        std::fflush(file);
        std::rewind(file);
        std::vector<std::string> out;
        char buf[4096];
        while (std::fgets(buf, sizeof buf, file) != nullptr) {
            std::string line(buf);
            if (!line.empty() && line.back() == '\n') line.pop_back();
            out.push_back(line);
        }
        return out;
    }
    // The JSON line without its time, which differs from run to run.
    static std::string untimed(const std::string &line) {
        std::size_t t = line.find(",\"t\":");
        if (t == std::string::npos) return line;
        std::size_t end = line.find(',', t + 1);
        return line.substr(0, t) + line.substr(end);
    }
    AmBlfStatus blf(const char *number, int state) {
        AmBlfStatus r;
        std::memset(&r, 0, sizeof r);
        std::snprintf(r.number, sizeof r.number, "%s", number);
        r.line = 1;
        r.state = state;
        r.status = 1 << state;
        return r;
    }
    std::FILE *file;
};

TEST(JsonString, EscapesWhatJsonForbidsAndKeepsTheRest) {
    const struct {
        std::string in, out;
    } cases[] = {
        {"plain", "\"plain\""},
        {"say \"hi\"", "\"say \\\"hi\\\"\""},
        {"back\\slash", "\"back\\\\slash\""},
        {"a\r\nb\tc", "\"a\\r\\nb\\tc\""},
        {std::string("nul\0x", 5), "\"nul\\u0000x\""},
        {"\x1b[0m", "\"\\u001b[0m\""},
        {"caf\xc3\xa9", "\"caf\xc3\xa9\""},   // UTF-8 passes as it is
    };
    for (const auto &c : cases) EXPECT_EQ(amlive::jsonString(c.in), c.out) << c.in;
}

TEST_F(Report, RecordsDecodeUnderTheirFieldNames) {
    amlive::Reporter out(file, true);
    AmBlfStatus b = blf("201", AM_BLF_STATE_RINGING);
    std::snprintf(b.remote, sizeof b.remote, "202");
    out.event(AM_BLF_EVENT_NAME, &b, sizeof b);

    char callId[] = "abc@host";
    AmPresenceStatus p{};
    std::snprintf(p.number, sizeof p.number, "203");
    p.line = 1;
    p.state = AM_PRESENCE_STATE_READY;
    p.callId = callId;
    out.event(AM_PRESENCE_EVENT_NAME, &p, sizeof p);
    p.callId = nullptr;
    out.event(AM_PRESENCE_EVENT_NAME, &p, sizeof p);

    AmMwiStatus m{};
    m.line = 2;
    m.newCount = 3;
    m.oldCount = 7;
    m.waiting = 1;
    std::snprintf(m.account, sizeof m.account, "200");
    out.event(AM_MWI_EVENT_NAME, &m, sizeof m);

    auto got = lines();
    ASSERT_EQ(got.size(), 4u);
    EXPECT_EQ(untimed(got[0]),
              "{\"kind\":\"event\",\"name\":\"AM_BLF_EVENT_NAME\",\"record\":{\"number\":\"201\",\"display\":\"\","
              "\"subscriptionNumber\":\"\",\"line\":1,\"status\":128,\"state\":7,\"dialogId\":\"\",\"remote\":\"202\","
              "\"remoteDisplay\":\"\"}}");
    EXPECT_NE(got[1].find("\"callId\":\"abc@host\""), std::string::npos) << got[1];
    EXPECT_NE(got[2].find("\"callId\":null"), std::string::npos) << got[2];
    EXPECT_EQ(untimed(got[3]),
              "{\"kind\":\"event\",\"name\":\"AM_MWI_EVENT_NAME\",\"record\":{\"line\":2,\"oldCount\":7,"
              "\"newCount\":3,\"waiting\":1,\"specialServices\":0,\"msgTypes\":0,\"account\":\"200\","
              "\"dialogFlag\":0}}");
}

TEST_F(Report, FullTextFieldsAndShortRecordsAreNotReadPast) {
    amlive::Reporter out(file, true);
    AmBlfStatus b = blf("", 0);
    std::memset(b.number, '7', sizeof b.number);   // no NUL: the field ends with its array
    out.event(AM_BLF_EVENT_NAME, &b, sizeof b);
    out.event(AM_BLF_EVENT_NAME, &b, 12);            // too short for the record: size only
    out.event("AM_SOMETHING_NEW", "xy", 2);
    auto got = lines();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_NE(got[0].find("\"number\":\"" + std::string(64, '7') + "\",\"display\""), std::string::npos);
    EXPECT_EQ(untimed(got[1]), "{\"kind\":\"event\",\"name\":\"AM_BLF_EVENT_NAME\",\"record\":{\"size\":12}}");
    EXPECT_EQ(untimed(got[2]), "{\"kind\":\"event\",\"name\":\"AM_SOMETHING_NEW\",\"record\":{\"size\":2}}");
}

TEST_F(Report, InboundLinesSayNullForWhatTheMessageLacks) {
    amlive::Reporter out(file, true);
    sippm::Inbound notify;
    notify.source = "live:3";
    notify.request = true;
    notify.method = "NOTIFY";
    notify.number = "201";
    notify.event = "dialog";
    notify.subscriptionState = "active";
    out.inbound(notify);   // no body: no content type
    sippm::Inbound answer;
    answer.source = "live:4";
    answer.method = "SUBSCRIBE";
    answer.status = 202;
    answer.number = "blf-list";
    answer.warnings.push_back("odd");
    out.inbound(answer);
    auto got = lines();
    ASSERT_EQ(got.size(), 3u);
    EXPECT_EQ(untimed(got[0]),
              "{\"kind\":\"in\",\"source\":\"live:3\",\"method\":\"NOTIFY\",\"line\":1,\"number\":\"201\","
              "\"event\":\"dialog\",\"subscriptionState\":\"active\",\"contentType\":null,\"bytes\":0}");
    EXPECT_NE(got[1].find("\"status\":202,\"method\":\"SUBSCRIBE\""), std::string::npos) << got[1];
    EXPECT_NE(got[1].find("\"event\":null"), std::string::npos) << got[1];
    EXPECT_EQ(untimed(got[2]), "{\"kind\":\"log\",\"text\":\"live:4: odd\"}");
}

TEST_F(Report, StateKeepsTheLastWordOfEachKeyAndListMember) {
    amlive::Reporter out(file, true);
    for (int state : {AM_BLF_STATE_RINGING, AM_BLF_STATE_TALKING, AM_BLF_STATE_IDLE}) {
        AmBlfStatus b = blf("201", state);
        out.event(AM_BLF_EVENT_NAME, &b, sizeof b);
    }
    AmBlfStatus other = blf("202", AM_BLF_STATE_TALKING);
    out.event(AM_BLF_EVENT_NAME, &other, sizeof other);

    // A list: clear, members (the lowest state bit names the state; none is idle), finish.
    auto member = [&](const char *number, int status) {
        AmBlfList l{};
        std::snprintf(l.number, sizeof l.number, "%s", number);
        l.line = 1;
        l.status = status;
        out.event(AM_BLF_LIST_EVENT_NAME, &l, sizeof l);
    };
    member("", AM_BLF_LIST_CLEAR);
    member("201", (1 << AM_BLF_STATE_RINGING) | (1 << AM_BLF_STATE_TALKING));
    member("202", 0);
    member("", AM_BLF_LIST_FINISH);
    out.state();
    auto got = lines();
    ASSERT_FALSE(got.empty());
    EXPECT_EQ(got.back(),
              "{\"kind\":\"state\",\"blf\":[{\"line\":1,\"number\":\"201\",\"state\":\"idle\"},"
              "{\"line\":1,\"number\":\"202\",\"state\":\"talking\"}],\"listMembers\":["
              "{\"line\":1,\"number\":\"201\",\"state\":\"talking\"},{\"line\":1,\"number\":\"202\",\"state\":\"idle\"}],"
              "\"presence\":[],\"mwi\":[]}");
}

}  // namespace
