// Module records decoded by their layouts, and scenario files read or refused.
#include <gtest/gtest.h>

#include <cstring>

#include "amreplay/decode.h"
#include "amreplay/scenario.h"
#include "platform/am.h"

namespace {

using amreplay::Json;

TEST(Decode, RecordsReadByTheirLayouts) {
    AmBlfList list;
    std::memset(&list, 0, sizeof list);
    std::strcpy(list.number, "203");
    std::strcpy(list.name, "Carol");
    list.line = 2;
    list.status = 64;
    std::strcpy(list.parked.number, "305");
    EXPECT_EQ(amreplay::decodeRecord(AM_BLF_LIST_EVENT_NAME, &list, sizeof list).dump(),
              R"({"ext":"","number":"203","name":"Carol","line":2,"status":64,"parked":{"number":"305","display":""}})");

    char host[] = "239.1.1.1";
    AmDynamicMcast mcast;
    std::memset(&mcast, 0, sizeof mcast);
    mcast.action = AM_MCAST_ACTION_START;
    mcast.host = host;
    mcast.port = 10000;
    mcast.priority = 3;
    Json m = amreplay::decodeRecord(AM_DYNAMIC_MCAST_EVENT_NAME, &mcast, sizeof mcast);
    EXPECT_EQ(m["host"], "239.1.1.1");
    EXPECT_EQ(m["port"], 10000);
    EXPECT_EQ(m["priority"], 3);
    EXPECT_TRUE(m["codecName"].is_null());

    // A text field that fills its array is read no further than the array.
    AmHotelStatus hotel;
    std::memset(&hotel, 'g', sizeof hotel);
    hotel.line = 1;
    hotel.status = 1;
    EXPECT_EQ(amreplay::decodeRecord(AM_HOTEL_EVENT_NAME, &hotel, sizeof hotel)["guestNumber"], std::string(32, 'g'));

    int channel = 3;
    EXPECT_EQ(amreplay::decodeRecord(AM_TALK_EVENT_NAME, &channel, 4).dump(), R"({"channel":3})");
    EXPECT_EQ(amreplay::decodeRecord(AM_REGISTER_DATE_EVENT_NAME, "Mon, 1", 7).dump(), R"({"date":"Mon, 1"})");
    Json shortRecord = amreplay::decodeRecord(AM_SCA_EVENT_NAME, &channel, 4);
    EXPECT_EQ(shortRecord["sizeError"], "record of 4 bytes, expected 16");
    EXPECT_TRUE(shortRecord["state"].is_null());
    EXPECT_EQ(amreplay::decodeRecord("AM_SOMETHING_NEW", "\x01\xff", 2).dump(), R"({"bytes":"01ff"})");
}

TEST(Scenario, StatementsAreReadAndUnusableLinesNamed) {
    amreplay::Scenario s;
    std::string error;
    ASSERT_TRUE(amreplay::parseScenario("line 2 user=2100 server=as.example.com display=\"Front Desk\" sca=1 # shared\n"
                                        "config hotel agent user \"a b\"\n"
                                        "at 5 sms 1 205 7 text \"hi # there\"\n"
                                        "at 1.5 blf 1 201\n",
                                        "s.txt", s, error))
        << error;
    ASSERT_EQ(s.lines.size(), 1u);
    EXPECT_EQ(s.lines[0].line.index, 2);
    EXPECT_EQ(s.lines[0].line.display, "Front Desk");
    EXPECT_EQ(s.lines[0].sca, 1);
    EXPECT_EQ(s.config[0].value, "a b");
    ASSERT_EQ(s.actions.size(), 2u);
    EXPECT_EQ(s.actions[0].verb, "blf");   // in time order
    EXPECT_EQ(s.actions[1].args.back(), "hi # there");

    struct Bad {
        const char *text;
        const char *message;
    } bad[] = {
        {"line x user=1\n", "s.txt:1: usage: line N"},
        {"\nline 1 colour=red\n", "s.txt:2: unknown line setting \"colour\""},
        {"line 1 sca=maybe\n", "s.txt:1: unusable value for sca"},
        {"at -1 blf 1 201\n", "s.txt:1: usage: at SECONDS"},
        {"at 0 blf 1\n", "s.txt:1: usage: blf LINE NUMBER"},
        {"at 0 seize 1 two 3\n", "s.txt:1: the appearance index must be a number"},
        {"at 0 dance 1\n", "s.txt:1: unknown action \"dance\""},
        {"go home\n", "s.txt:1: unknown statement \"go\""},
    };
    for (const Bad &b : bad) {
        amreplay::Scenario ignored;
        EXPECT_FALSE(amreplay::parseScenario(b.text, "s.txt", ignored, error)) << b.text;
        EXPECT_EQ(error.rfind(b.message, 0), 0u) << error;
    }
}

}  // namespace
