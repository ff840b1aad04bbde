// Guest sign-in and sign-out, the server's challenge and its digest answer, and the
// status reports of hoteling NOTIFYs and subscription results.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kHotel[] = "ostra.am.hotel";
constexpr char kType[] = "application/x-broadworks-hoteling+xml";
constexpr char kModule[] = "<PHONE FEATURE MODULE>";
constexpr char kGroup[] = "-- Agent Config--  :";

class Hotel : public HostTest {
protected:
    void SetUp() override {
        HostTest::SetUp();
        devhost::line(1).registerNumber = "2001";
        devhost::line(1).registerServer = "10.0.0.5";
        devhost::line(1).subscribeExpires = 1800;
    }
    static void agent(const std::string &number, const std::string &password) {
        devhost::setConfigItem(kModule, kGroup, "Agent Number       :", number);
        devhost::setConfigItem(kModule, kGroup, "Agent Password     :", password);
    }
};

std::string shortBody(const std::string &guest) {
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
           "<SetHoteling xmlns=\"http://schema.broadsoft.com/hoteling\">\r\n"
           "<guestAddress>" + guest + "</guestAddress>\r\n"
           "</SetHoteling>";
}

std::string answerBody(const std::string &guest, const std::string &nonce, const std::string &response) {
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n"
           "<SetHoteling xmlns=\"http://schema.broadsoft.com/hoteling\">\r\n"
           "<guestAddress>" + guest + "</guestAddress>\r\n"
           "<authenticationData>\r\n"
           "<nonce>" + nonce + "</nonce>\r\n"
           "<algorithm>MD5</algorithm>\r\n"
           "<response>" + response + "</response>\r\n"
           "</authenticationData>\r\n"
           "</SetHoteling>";
}

// Everything of a SUBSCRIBE but its body, as one line.
std::string header(const devhost::Request &r) {
    return std::to_string(r.reserved) + " " + std::to_string(r.line) + " " + r.number + " " +
           std::to_string(r.expires) + " " + std::to_string(r.flag) + " " + r.event + " " + r.accept + " " +
           r.contentType + (r.hasExtra ? " extra" : "");
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

int notify(const std::string &body) { return amRecvNotify(1, "2001", "x-broadworks-hoteling", "active", kType, body.c_str()); }

TEST_F(Hotel, SignInAndOutGoToTheLinesOwnAddress) {
    EXPECT_EQ(amRequestHotelEvent(1, "4001"), 0);
    EXPECT_EQ(amRequestHotelEvent(1, ""), 0);
    EXPECT_EQ(amRequestHotelEvent(1, nullptr), 0);
    EXPECT_EQ(amRequestHotelCancel(1), 0);
    const std::vector<devhost::Request> sent = amtest::subscribes();
    ASSERT_EQ(sent.size(), 4u);
    const char *const headers[] = {
        "0 1 2001 1800 1 x-broadworks-hoteling application/x-broadworks-hoteling+xml "
        "application/x-broadworks-hoteling+xml",
        "0 1 2001 1800 0 x-broadworks-hoteling application/x-broadworks-hoteling+xml "
        "application/x-broadworks-hoteling+xml",
    };
    EXPECT_EQ(header(sent[0]), headers[0]);
    EXPECT_EQ(sent[0].body, shortBody("4001@10.0.0.5"));
    EXPECT_EQ(sent[1].body, shortBody(""));
    EXPECT_EQ(sent[2].body, shortBody(""));
    EXPECT_EQ(header(sent[3]), headers[1]);
    EXPECT_EQ(sent[3].body, shortBody(""));
    EXPECT_EQ(amtest::dumpLogs(),
              "[0] ostra.am.hotel: amRequestHotelEvent: line=[1], number=[4001] \n\n"
              "[0] ostra.am.hotel: amRequestHotelEvent: line=[1], number=[] \n\n"
              "[0] ostra.am.hotel: amRequestHotelEvent: line=[1], number=[] \n\n"
              "[0] ostra.am.hotel: amRequestHotelCancel: line=[1]\n\n");
    EXPECT_EQ(statuses(), "");  // the outcome comes with the subscription result
}

TEST_F(Hotel, LongTextsAreCutToTheirBuffers) {
    const std::string server(300, 's'), number(70, '9');
    devhost::line(1).registerServer = server;
    devhost::line(1).registerNumber = number;
    const std::string guest(600, 'g');
    amRequestHotelEvent(1, guest.c_str());
    agent("7001", "pw");
    notify("<nonce>abc</nonce>");
    ASSERT_EQ(amtest::subscribes().size(), 2u);
    // Sign-in reads the number into 64 bytes, the answer into 32; the server into 256, the
    // guest address into 512.
    EXPECT_EQ(amtest::subscribes()[0].number, number.substr(0, 63));
    EXPECT_EQ(amtest::subscribes()[1].number, number.substr(0, 31));
    EXPECT_EQ(amtest::subscribes()[0].body, shortBody((guest + "@" + server).substr(0, 511)));
    EXPECT_EQ(amtest::subscribes()[1].body,
              answerBody("7001@" + server.substr(0, 255), "abc", "c1f6f8efc6478329eafe2a258d6a1e20"));

    // The body itself stops at 1023 characters.
    char out[1024];
    amHotelXmlContentGet(1, out, guest.c_str(), std::string(400, 'r').c_str(), "n");
    EXPECT_EQ(std::string(out), answerBody((guest + "@" + server).substr(0, 511), "n", std::string(400, 'r'))
                                    .substr(0, 1023));
}

TEST_F(Hotel, ChallengesAreAnsweredWithTheAgentDigest) {
    struct Case {
        const char *body, *agentNumber, *password, *guest, *nonce, *response;
    } const cases[] = {
        {"<nonce>abc</nonce>", "4001", "pw", "4001@10.0.0.5", "abc", "c1f6f8efc6478329eafe2a258d6a1e20"},
        {"<?xml version=\"1.0\" encoding=\"UTF-8\"?>\r\n"
         "<hoteling xmlns=\"http://schema.broadsoft.com/hoteling\">\r\n"
         "<authenticationData><nonce>MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=</nonce>"
         "<algorithm>MD5</algorithm></authenticationData></hoteling>",
         "4001", "s3cret!", "4001@10.0.0.5", "MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=", "7f05b0fbe0751e584db15439aef0f847"},
        // An empty nonce is still a challenge; a missing agent number leaves no guest.
        {"<nonce></nonce>", "", "pw", "", "", "9a18639e1816cb6a3fe24608c726c314"},
        {"<nonce>MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=</nonce>", nullptr, nullptr, "",
         "MTYwNTc2NDg3NjpjMzlmYjg2ZWM3ZDQ=", "97cbfbb175306c3d950bb70718857a32"},
        // A challenge wins over a guest address in the same body.
        {"<guestAddress>5000@h</guestAddress><nonce>abc</nonce>", "4001", "pw", "4001@10.0.0.5", "abc",
         "c1f6f8efc6478329eafe2a258d6a1e20"},
    };
    for (const Case &c : cases) {
        devhost::reset();
        SetUp();
        if (c.agentNumber != nullptr) agent(c.agentNumber, c.password);
        EXPECT_EQ(notify(c.body), 0);
        ASSERT_EQ(amtest::subscribes().size(), 1u) << c.body;
        const devhost::Request r = amtest::subscribes().front();
        EXPECT_EQ(header(r),
                  "0 1 2001 1800 1 x-broadworks-hoteling application/x-broadworks-hoteling+xml "
                  "application/x-broadworks-hoteling+xml");
        EXPECT_EQ(r.body, answerBody(c.guest, c.nonce, c.response)) << c.body;
        EXPECT_EQ(statuses(), "") << c.body;
        EXPECT_EQ(devhost::liveBlocks(), 0);
    }
}

TEST_F(Hotel, OverlongNonceIsCutBeforeItIsDigested) {
    agent("4001", "pw");
    notify("<nonce>" + std::string(120, 'n') + "</nonce>");
    ASSERT_EQ(amtest::subscribes().size(), 1u);
    EXPECT_EQ(amtest::subscribes()[0].body,
              answerBody("4001@10.0.0.5", std::string(95, 'n'), "90063578b8fec98175123ceb0188a314"));
}

TEST_F(Hotel, AnswerWithoutMemoryForTheResponseCopyIsSentEmpty) {
    agent("4001", "pw");
    devhost::failNth(1);
    notify("<nonce>abc</nonce>");
    EXPECT_EQ(devhost::failedCalls(), 1);
    ASSERT_EQ(amtest::subscribes().size(), 1u);
    EXPECT_EQ(amtest::subscribes()[0].body, answerBody("4001@10.0.0.5", "abc", ""));
    EXPECT_EQ(devhost::liveBlocks(), 0);
}

TEST_F(Hotel, NotifiesAndResultsReportTheLinesStatus) {
    const struct {
        const char *body;
        const char *statuses;
    } notifies[] = {
        {"<hoteling><guestAddress>4001@10.0.0.5</guestAddress></hoteling>", "(1,1,4001@10.0.0.5)"},
        {"<guestAddress>1234567890123456789012345678901234567890</guestAddress>",
         "(1,1,1234567890123456789012345678901)"},
        {"<guestAddress></guestAddress>", "(1,0,)"},
        {"<guestAddress>4001", "(1,0,)"},
        {"<hoteling/>", "(1,0,)"},
        {"<nonce>abc", "(1,0,)"},
    };
    for (const auto &n : notifies) {
        EXPECT_EQ(notify(n.body), 0);
        EXPECT_EQ(statuses(), n.statuses) << n.body;
    }
    for (int result : {1, 200, 0, -1}) amRecvSubscribeResult(3, "2001", "x-broadworks-hoteling", kType, result, "");
    EXPECT_EQ(statuses(), "(3,2,)(3,2,)(3,0,)(3,0,)");
    EXPECT_TRUE(amtest::subscribes().empty());

    // Other content types are not this feature's; missing parts are refused aloud.
    devhost::clearLogs();
    amRecvNotify(1, "2001", "x-broadworks-hoteling", "active", "application/xml", "<guestAddress>4</guestAddress>");
    EXPECT_EQ(amtest::logsOf(kHotel).size(), 0u);
    EXPECT_EQ(amRecvHotelParse(1, nullptr, "<guestAddress>4</guestAddress>"), -1);
    EXPECT_EQ(amRecvHotelParse(1, kType, nullptr), -1);
    EXPECT_EQ(amtest::countLogs(2, kHotel, "amRecvHotelParse: param error \n"), 2);
    EXPECT_EQ(statuses(), "");
}

TEST_F(Hotel, StatusIsRaisedBeforeItIsLogged) {
    int logsAtRaise = -1;
    devhost::setEventObserver([&](const char *, const void *, int) {
        logsAtRaise = static_cast<int>(amtest::logsOf(kHotel).size());
    });
    amRecvHotelSubscribeResult(2, 1);
    devhost::setEventObserver(nullptr);
    EXPECT_EQ(logsAtRaise, 1);  // only the result's own trace
    EXPECT_EQ(amtest::dumpLogs(),
              "[0] ostra.am.hotel: amRecvHotelSubscribeResult: line=[2], result=[1] \n\n"
              "[0] ostra.am.hotel: amHotelStatusReport: line=[2], status=[2], guestNumber=[] \n\n");
}

}  // namespace
