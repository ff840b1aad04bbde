// Content-type matching and single-tag extraction.
#include "am_test.h"
#include "platform/am.h"

namespace {

class CoreBody : public amtest::HostTest {};

TEST_F(CoreBody, ContentTypeMatchesWholeTextIgnoringCaseOnly) {
    EXPECT_EQ(amMsgContentEqual("application/xml", "APPLICATION/XML"), 1);
    EXPECT_EQ(amMsgContentEqual("application/xml", "application/xml ") + amMsgContentEqual("a", "a;charset=UTF-8"), 0);
    EXPECT_TRUE(devhost::logs().empty());
    EXPECT_EQ(amMsgContentEqual("text/plain", nullptr) + amMsgContentEqual(nullptr, "text/plain"), 0);
    EXPECT_EQ(amtest::countLogs(2, "ostra.am.main", "amMsgContentEqual: param is null \n"), 2);
}

// The result and the buffer, which starts as "xxxxxxxxxxxxxxx" so that an untouched one shows.
std::string tag(const char *start, const char *end, const char *buf, int outSize = 16) {
    char out[16] = "xxxxxxxxxxxxxxx";
    int found = amParseSingleTagFromBuf(start, end, buf, out, outSize);
    return std::to_string(found) + ":" + out;
}

TEST_F(CoreBody, SingleTagExtraction) {
    const char *body = "<a><cmd>hello</cmd><cmd>two</cmd></a>";
    EXPECT_EQ(tag("<cmd>", "</cmd>", body), "1:hello");
    EXPECT_EQ(tag("<cmd>", "</cmd>", body, 4), "1:hel");
    EXPECT_EQ(tag("<cmd>", "</cmd>", body, 1), "1:");
    EXPECT_EQ(tag("<cmd>", "</cmd>", "<cmd></cmd>"), "1:");
    EXPECT_EQ(tag("<n>", "</n>", "<n> a&amp;b<n>2</n></n>"), "1: a&amp;b<n>2");

    const std::string untouched = "0:" + std::string(15, 'x');
    EXPECT_EQ(tag("<cmd>", "</cmd>", "<cmd>open"), untouched);
    EXPECT_EQ(tag("<cmd>", "</cmd>", "<CMD>x</CMD>"), untouched);
    EXPECT_EQ(tag("<cmd>", "</cmd>", "<cmd id=\"1\">x</cmd>"), untouched);
    EXPECT_EQ(tag("<cmd>", "cmd", "<cmd>x</cmd>"), untouched);  // would be a negative length
    EXPECT_EQ(tag(nullptr, "</cmd>", "<cmd>x</cmd>"), untouched);
    EXPECT_EQ(tag("<cmd>", nullptr, "<cmd>x</cmd>"), untouched);
    EXPECT_EQ(tag("<cmd>", "</cmd>", nullptr), untouched);
}

}  // namespace
