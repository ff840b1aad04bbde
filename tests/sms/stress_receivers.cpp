// Receivers registered and unregistered by an application thread while the protocol
// manager's thread delivers text and XML messages, from the lists' very first use on.
#include <atomic>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 1000;
// Deliveries go on until the application is done; this only bounds a starved application.
constexpr long kMaxDeliveries = 2000000;
std::atomic<int> gTaken{0}, gPlain{0}, gXml{0};

int takes(int, const char *, const char *, const char *body) { return ++gTaken, body[0] == 't' ? 0 : 1; }
int plain(int, const char *, const char *, const char *) { return ++gPlain, 0; }
int xml(int, const char *, const char *, const char *, const char *) { return ++gXml, 0; }

TEST(SmsStress, RegistrationsRaceDeliveries) {
    devhost::reset();
    devhost::setRecordLogs(false);
    devhost::setRecordEvents(false);
    std::atomic<bool> done{false};
    std::atomic<long> delivered{0};
    std::thread application([&] {
        for (int i = 0; i < kRounds; ++i) {
            // Let at least one delivery meet every state of the lists (bounded wait).
            long seen = delivered.load();
            for (int spin = 0; spin < 10000 && delivered.load() == seen; ++spin) std::this_thread::yield();
            std::string name = "r" + std::to_string(i / 2 % 4);
            if (i == kRounds / 2) amXmlSmsRecvCbRegister(xml);
            if (i % 2 == 0) {
                amSmsPlainRecvCallBackRegister(name.c_str(), plain);
                amSmsUserDefineRecvCbRegister(name.c_str(), takes);
                amSmsXmlRecvCallBackRegister(name.c_str(), plain);
            } else {
                amSmsPlainRecvCallBackUnRegister(name.c_str());
                amSmsUserDefineRecvCbUnRegister(name.c_str());
                amSmsXmlRecvCallBackUnRegister(name.c_str());
            }
        }
        done = true;
    });
    for (long i = 0; i < kMaxDeliveries && !done.load(); ++i) {
        amRecvMessage(1, "201", "Ann", "text/plain", i % 2 == 0 ? "take" : "pass");
        amRecvMessage(1, "201", "Ann", "application/xml", "<Message id=\"1\"><content>hi</content></Message>");
        ++delivered;
    }
    application.join();
    EXPECT_GT(gTaken.load(), 0);
    EXPECT_GT(gPlain.load(), 0);
    EXPECT_GT(gXml.load(), 0);
    // Each odd round removed what the even round before it added.
    devhost::drainAsync();
    EXPECT_EQ(devhost::liveBlocks(), 0);
    EXPECT_EQ(devhost::liveLists() * 10 + devhost::liveMutexes(), 33);
}

}  // namespace
