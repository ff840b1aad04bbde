// Multicast paging entries pushed by the server, from the NOTIFY to the event.
#include <cstddef>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kMcast[] = "am.dynamic.mcast";

class DynamicMcast : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::setEventTextFields(AM_DYNAMIC_MCAST_EVENT_NAME,
                                    {offsetof(AmDynamicMcast, host), offsetof(AmDynamicMcast, codecName),
                                     offsetof(AmDynamicMcast, fmtp), offsetof(AmDynamicMcast, caller),
                                     offsetof(AmDynamicMcast, callee)});
    }
};

int notify(const char *body) {
    return amRecvNotify(1, "ibc", "mcast-dynamic-set", "active", "application/iMC+xml", body);
}

// Every event raised so far, "action,type,host,port,priority,volume,codec,payload,fmtp,caller,callee";
// then the level-2 lines of the feature. Both are forgotten.
std::string outcome() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_DYNAMIC_MCAST_EVENT_NAME)) {
        AmDynamicMcast r = amtest::record<AmDynamicMcast>(event);
        auto text = [&](std::size_t i) { return event.present.at(i) ? event.texts.at(i) : std::string("null"); };
        out += std::to_string(r.action) + "," + std::to_string(r.type) + "," + text(0) + "," + std::to_string(r.port) +
               "," + std::to_string(r.priority) + "," + std::to_string(r.volume) + "," + text(1) + "," +
               std::to_string(r.payload) + "," + text(2) + "," + text(3) + "," + text(4);
    }
    for (const devhost::LogLine &line : amtest::logsOf(kMcast, 2)) out += line.text;
    devhost::clearEvents();
    devhost::clearLogs();
    return out;
}

constexpr char kFull[] =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<action name=\"IBC_MC_START\">\n"
    "  <mcEntry host=\"224.0.1.10\" port=\"10000\" priority=\"2\"/>\n"
    "  <phone vol=\"5\"/>\n"
    "  <type>stream</type>\n"
    "  <codec><name>PCMU</name><payload>0</payload><fmtp>annexb=no</fmtp></codec>\n"
    "  <caller>sip:100@pbx.example.com</caller>\n"
    "  <callee>Lobby &amp; Hall</callee>\n"
    "</action>";

TEST_F(DynamicMcast, DocumentsRaiseTheirEntryOrSayWhatIsMissing) {
    struct Case {
        const char *body, *expected;
    };
    const Case cases[] = {
        {kFull, "1,1,224.0.1.10,10000,2,5,PCMU,0,annexb=no,sip:100@pbx.example.com,Lobby & Hall"},
        // Only the required pieces: every default, and 16-bit wrap of the port.
        {"<action name=\"IBC_MC_END\"><mcEntry host=\"ff02::1\" port=\"70000\"/></action>",
         "2,0,ff02::1,4464,65535,0,null,65535,null,null,null"},
        {"<action name=\"IBC_MC_START\"><mcEntry host=\"239.0.0.1\" port=\"5004x\" priority=\"65538\"/>"
         "<phone/><type>call</type><codec><name>G722</name><payload>131081</payload></codec></action>",
         "1,0,239.0.0.1,5004,2,0,G722,9,null,null,null"},
        {"<action name=\"IBC_MC_START\"><mcEntry host=\"239.0.0.1\" port=\"1\"/><type>video</type><codec/></action>",
         "1,0,239.0.0.1,1,65535,0,null,65535,null,null,null"},
        {"<action name=\"ibc_mc_start\"><mcEntry host=\"239.0.0.1\" port=\"1\"/></action>",
         "amDynamicMcastRaiseEvent: action[0] is invalid!"},
        {"<action><mcEntry host=\"239.0.0.1\" port=\"1\"/></action>", "amDynamicMcastRaiseEvent: action[0] is invalid!"},
        {"<action name=\"IBC_MC_END\"><mcEntry host=\"239.0.0.256\" port=\"1\"/></action>",
         "amDynamicMcastRaiseEvent: mcastIp[239.0.0.256] is invalid!"},
        {"<action name=\"IBC_MC_END\"><mcEntry host=\"239.0.0.1\" priority=\"1\"/></action>",
         "amParseDynamicMcast: mcast port not find"},
        {"<action name=\"IBC_MC_END\"><mcEntry host=\"239.0.0.1\" port=\"\"/></action>",
         "amParseDynamicMcast: mcast port not find"},
        {"<action name=\"IBC_MC_END\"><mcEntry host=\"\" port=\"1\"/></action>", "amParseDynamicMcast: mcast addr not find"},
        {"<action name=\"IBC_MC_END\"><entry host=\"239.0.0.1\" port=\"1\"/></action>",
         "amParseDynamicMcast: mcEntry not find"},
        {"<mcast><action name=\"IBC_MC_END\"/></mcast>", "amParseDynamicMcast: action not find"},
        {"<action name=\"IBC_MC_END\">", "amParseDynamicMcast: body parse failed"},
        {"", "amParseDynamicMcast: invalid body[]"},
        {nullptr, "amParseDynamicMcast: invalid body[NULL]"},
    };
    for (const Case &c : cases) {
        EXPECT_EQ(notify(c.body), 0);
        EXPECT_EQ(outcome(), c.expected) << (c.body != nullptr ? c.body : "null");
    }
    EXPECT_EQ(amParseDynamicMcast(1, "ibc", kFull), 0);
    EXPECT_EQ(amParseDynamicMcast(1, "ibc", "<action"), -1);
    outcome();
    EXPECT_EQ(amDynamicMcastRaiseEvent(1, 0, nullptr, 1, 1, 1, nullptr, 0, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(outcome(), "amDynamicMcastRaiseEvent: ip and port must not be NULL!");
    amDynamicMcastInfoFree(nullptr);
}

TEST_F(DynamicMcast, FailedAllocationsRaiseNothingAndKeepNothing) {
    long blocks = devhost::liveBlocks();
    // The parser, the record and its five texts.
    for (long n = 1; n <= 7; ++n) {
        devhost::failNth(n);
        EXPECT_EQ(amParseDynamicMcast(1, "ibc", kFull), -1) << n;
        EXPECT_EQ(devhost::liveBlocks(), blocks) << n;
        EXPECT_EQ(devhost::liveParsers(), 0) << n;
    }
    EXPECT_EQ(devhost::failedCalls(), 7);
    EXPECT_EQ(outcome(), "amParseDynamicMcast: body parse failed");
}

}  // namespace
