// Message callbacks registered and unregistered on one thread while the fan-out runs on the
// host's asynchronous worker: the module mutex must keep the list whole.
#include <atomic>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

std::atomic<int> gCalls{0};
void counting(const AmRecvMessage *) { ++gCalls; }
void churning(const AmRecvMessage *) {}

TEST(CoreCallbacksStress, RegistrationRacesTheFanOut) {
    devhost::reset();
    amModuleInit();
    amMessageProcessCbRegister(counting);
    devhost::setAsyncMode(devhost::Mode::Threaded);
    long mark = devhost::liveBlocks();
    std::thread churn([] {
        for (int i = 0; i < 2000; ++i) {
            amMessageProcessCbRegister(churning);
            amMessageProcessCbUnregister(churning);
        }
    });
    for (int i = 0; i < 500; ++i) amRecvMessage(1, "201", "Ann", "text/html", "x");
    churn.join();
    devhost::waitAsyncIdle();
    devhost::setAsyncMode(devhost::Mode::Manual);
    EXPECT_EQ(gCalls.load(), 500);
    EXPECT_EQ(devhost::liveBlocks(), mark);
    amModuleUnInit();
}

}  // namespace
