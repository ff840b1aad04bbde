// Guest sign-in and sign-out, the server's challenge and its digest answer, the hoteling
// status reports, and MD5 texts against the reference values of RFC 1321.
#include <set>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr char kType[] = "application/x-broadworks-hoteling+xml";
const std::string kHead =
    "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<SetHoteling xmlns=\"http://schema.broadsoft.com/hoteling\">\r\n";

class Hotel : public amtest::HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::line(1).registerNumber = "2001";
        devhost::line(1).registerServer = "10.0.0.5";
        devhost::line(1).subscribeExpires = 1800;
    }
    static void agent(const char *number, const char *password) {
        devhost::setConfigItem("<PHONE FEATURE MODULE>", "-- Agent Config--  :", "Agent Number       :", number);
        devhost::setConfigItem("<PHONE FEATURE MODULE>", "-- Agent Config--  :", "Agent Password     :", password);
    }
};

std::string body(const std::string &guest, const char *nonce = nullptr, const std::string &response = "") {
    std::string auth = nonce == nullptr ? "" : "<authenticationData>\r\n<nonce>" + std::string(nonce) +
                                                   "</nonce>\r\n<algorithm>MD5</algorithm>\r\n<response>" + response +
                                                   "</response>\r\n</authenticationData>\r\n";
    return kHead + "<guestAddress>" + guest + "</guestAddress>\r\n" + auth + "</SetHoteling>";
}

// The only SUBSCRIBE sent since the last call, as "number expires flag | body", then forgotten.
std::string sent() {
    std::vector<devhost::Request> all = amtest::subscribes();
    devhost::clearRequests();
    if (all.size() != 1) return std::to_string(all.size()) + " requests";
    const devhost::Request &r = all.front();
    EXPECT_EQ(r.event + " " + r.accept + " " + r.contentType + (r.hasExtra ? " extra" : ""),
              std::string("x-broadworks-hoteling ") + kType + " " + kType);
    return r.number + " " + std::to_string(r.expires) + " " + std::to_string(r.flag) + " | " + r.body;
}

std::string statuses() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_HOTEL_EVENT_NAME)) {
        AmHotelStatus s = amtest::record<AmHotelStatus>(event);
        out += "(" + std::to_string(s.line) + "," + std::to_string(s.status) + "," + s.guestNumber + ")";
    }
    devhost::clearEvents();
    return out;
}

int notify(const std::string &text) { return amRecvNotify(1, "2001", "x-broadworks-hoteling", "", kType, text.c_str()); }

TEST_F(Hotel, SignInAndOut) {
    amRequestHotelEvent(1, "4001");
    EXPECT_EQ(sent(), "2001 1800 1 | " + body("4001@10.0.0.5"));
    amRequestHotelEvent(1, "");
    EXPECT_EQ(sent(), "2001 1800 1 | " + body(""));
    amRequestHotelCancel(1);
    EXPECT_EQ(sent(), "2001 1800 0 | " + body(""));
    // Each text is cut to its own buffer: number 63, server 255, guest address 511.
    const std::string number(70, '9'), server(300, 's'), guest(600, 'g');
    devhost::line(1).registerNumber = number;
    devhost::line(1).registerServer = server;
    amRequestHotelEvent(1, guest.c_str());
    EXPECT_EQ(sent(), number.substr(0, 63) + " 1800 1 | " + body((guest + "@" + server.substr(0, 255)).substr(0, 511)));
    EXPECT_EQ(statuses(), "");  // the outcome comes with the subscription result
}

TEST_F(Hotel, ChallengesAreAnsweredWithTheAgentDigest) {
    const struct {
        const char *notify, *agentNumber, *password, *guest;
        std::string nonce;
        const char *response;
    } cases[] = {
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n<hoteling xmlns=\"http://schema.broadsoft.com/hoteling\">"
         "<authenticationData><nonce>MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=</nonce><algorithm>MD5</algorithm>"
         "</authenticationData></hoteling>",
         "4001", "s3cret!", "4001@10.0.0.5", "MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=", "7f05b0fbe0751e584db15439aef0f847"},
        // Still a challenge when empty, and one wins over a guest address.
        {"<guestAddress>5000@h</guestAddress><nonce></nonce>", "", "pw", "", "", "9a18639e1816cb6a3fe24608c726c314"},
        {"<nonce>abc</nonce>", nullptr, nullptr, "", "abc", "493e283d571a73056196f1a68efd0f66"},
        {"<nonce>abc</nonce>", "4001", "pw", "4001@10.0.0.5", "abc", "c1f6f8efc6478329eafe2a258d6a1e20"},
        // The nonce is cut to 95 characters before it is digested and sent back.
        {"<nonce>nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn"
         "</nonce>", "4001", "pw", "4001@10.0.0.5", std::string(95, 'n'), "90063578b8fec98175123ceb0188a314"},
    };
    for (const auto &c : cases) {
        SetUp();
        if (c.agentNumber != nullptr) agent(c.agentNumber, c.password);
        EXPECT_EQ(notify(c.notify), 0);
        EXPECT_EQ(sent(), "2001 1800 1 | " + body(c.guest, c.nonce.c_str(), c.response)) << c.notify;
        EXPECT_EQ(statuses(), "") << c.notify;
    }
    // The answer goes to the line's number cut to 31; a response that cannot be copied is
    // sent empty, and nothing is kept either way.
    devhost::line(1).registerNumber = std::string(40, '8');
    devhost::failNth(1);
    notify("<nonce>abc</nonce>");
    EXPECT_EQ(devhost::failedCalls(), 1);
    EXPECT_EQ(sent(), std::string(31, '8') + " 1800 1 | " + body("4001@10.0.0.5", "abc", ""));
    EXPECT_EQ(devhost::liveBlocks(), 0);
}

TEST_F(Hotel, NotifiesAndResultsReportTheLinesStatus) {
    const char *const notifies[] = {"<hoteling><guestAddress>4001@10.0.0.5</guestAddress></hoteling>",
                                    "<guestAddress>1234567890123456789012345678901234567890</guestAddress>",
                                    "<guestAddress></guestAddress>", "<guestAddress>4001", "<nonce>abc"};
    for (const char *text : notifies) notify(text);
    EXPECT_EQ(statuses(), "(1,1,4001@10.0.0.5)(1,1,1234567890123456789012345678901)(1,0,)(1,0,)(1,0,)");
    for (int result : {1, 200, 0, -1}) amRecvSubscribeResult(3, "2001", "x-broadworks-hoteling", kType, result, "");
    EXPECT_EQ(statuses(), "(3,2,)(3,2,)(3,0,)(3,0,)");
    EXPECT_EQ(sent(), "0 requests");
    // Other content types are not this feature's; missing parts are refused aloud.
    devhost::clearLogs();
    amRecvNotify(1, "2001", "x-broadworks-hoteling", "", "application/xml", "<guestAddress>4</guestAddress>");
    amRecvHotelParse(1, nullptr, "<guestAddress>4</guestAddress>");
    amRecvHotelParse(1, kType, nullptr);
    EXPECT_EQ(amtest::dumpLogs(), "[0] ostra.am.main: amRecvNotify: line=1, number=2001, event=x-broadworks-hoteling, "
                                  "accept=application/xml\n\n"
                                  "[2] ostra.am.hotel: amRecvHotelParse: param error \n\n"
                                  "[2] ostra.am.hotel: amRecvHotelParse: param error \n\n");
    EXPECT_EQ(statuses(), "");
}

TEST_F(Hotel, DigestTexts) {
    const char *const vectors[][2] = {
        {"", "d41d8cd98f00b204e9800998ecf8427e"},
        {"message digest", "f96b697d7cb7938d525a2f31aaf161d0"},
        {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
         "57edf4a22be3c955ac49da2e2107b67a"},
    };
    std::set<const char *> slots;
    for (int i = 0; i < 10; ++i) {
        const char *const *v = vectors[i % 3];
        char out[34] = {};
        out[32] = 'x';  // 32 characters are written, the terminator is the caller's
        slots.insert(mtGet32BytesDigestByMemory(v[0], static_cast<int>(std::strlen(v[0])), out));
        EXPECT_EQ(std::string(out), std::string(v[1]) + "x");
    }
    EXPECT_EQ(slots.size(), 10u);
    const unsigned char bytes[16] = {0x00, 0x01, 0x0f, 0x10, 0x7f, 0x80, 0x9a, 0xab,
                                     0xbc, 0xcd, 0xde, 0xef, 0xf0, 0xfe, 0xff, 0x5a};
    char out[33] = {};
    const char *eleventh = digestTransformation32(bytes, out);
    EXPECT_EQ(slots.count(eleventh), 1u);
    EXPECT_STREQ(eleventh, "00010f107f809aabbccddeeff0feff5a");
    EXPECT_STREQ(out, eleventh);
    EXPECT_EQ(mtGet32BytesDigestByMemory(nullptr, 3, out), nullptr);
}

}  // namespace
