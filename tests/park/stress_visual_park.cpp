// The visual park list under real threads: park-info documents add and remove calls on
// the protocol manager's thread while applications read entries by position and remove
// calls by id. A reader must always get a whole entry or none.
#include <atomic>
#include <cstring>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 1500;
constexpr int kCalls = 8;

std::string parkInfo(int call, const char *state) {
    return "<?xml version=\"1.0\"?><park-info><call-id>c" + std::to_string(call) + "@pbx</call-id><state>" + state +
           "</state><retrieve-number>*88" + std::to_string(call) + "</retrieve-number><parker-identity "
           "display=\"Ann\">sip:201@pbx</parker-identity><parked-identity display=\"Bob\">sip:302@pbx"
           "</parked-identity></park-info>";
}

TEST(VisualParkStress, DocumentsRaceReadersAndRemovals) {
    devhost::reset();
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    amModuleInit();
    std::atomic<int> torn{0};
    std::atomic<bool> go{false};
    std::thread application([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < 2 * kRounds; ++i) {
            const int count = amGetCallParkNum();
            const int index = count > 0 ? i % count : 0;
            char callId[32] = {}, retrieve[16] = {};
            const bool hasId = amGetVisualParkCallid(index, callId, sizeof callId) >= 0;
            const bool hasRetrieve = amGetVisualParkRetrieveNumber(index, retrieve, sizeof retrieve) >= 0;
            // An entry read between a removal and an append may change; it is never half made.
            if (hasId && (std::strncmp(callId, "c", 1) != 0 || std::strchr(callId, '@') == nullptr)) ++torn;
            if (hasRetrieve && std::strncmp(retrieve, "*88", 3) != 0) ++torn;
            if (i % 7 == 0) amRemoveVisualParkInfoByCallId(("c" + std::to_string(i % kCalls) + "@pbx").c_str());
        }
    });
    go = true;
    for (int i = 0; i < kRounds; ++i) {
        amVisualParkParse(1, parkInfo(i % kCalls, i % 3 == 2 ? "terminated" : "parked").c_str());
    }
    application.join();
    EXPECT_EQ(torn.load(), 0);

    for (int call = 0; call < kCalls; ++call) amRemoveVisualParkInfoByCallId(("c" + std::to_string(call) + "@pbx").c_str());
    EXPECT_EQ(amGetCallParkNum(), 0);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    amModuleUnInit();
    EXPECT_EQ(devhost::liveLists() + devhost::liveMutexes(), 0);
}

}  // namespace
