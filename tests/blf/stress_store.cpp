// The dialog store under real threads: the protocol manager's thread applies dialog-info
// documents, an application thread records states and reads masks, and another clears
// numbers and the whole line, all from the store's first use on (it is created lazily).
#include <atomic>
#include <string>
#include <thread>

#include "am_test.h"
#include "platform/am.h"

namespace {

constexpr int kRounds = 1500;
constexpr int kNumbers = 6;
const char *const kStates[] = {"confirmed", "early", "terminated", "trying"};

std::string document(int i) {
    return "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"" + std::to_string(i) +
           "\" state=\"" + (i % 5 == 0 ? "full" : "partial") + "\" entity=\"sip:20" + std::to_string(i % kNumbers) +
           "@pbx\"><dialog id=\"d" + std::to_string(i % 3) + "\" direction=\"recipient\"><state>" + kStates[i % 4] +
           "</state></dialog></dialog-info>";
}

TEST(StoreStress, DocumentsRaceStateRecordsAndClears) {
    devhost::reset();
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    devhost::line(1).multiDialog = 1;
    std::atomic<int> badMasks{0};
    std::atomic<bool> go{false};
    std::thread application([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < kRounds; ++i) {
            const std::string number = "20" + std::to_string(i % kNumbers);
            const int mask = amBlfStatusPriorityGet(1, number.c_str(), 1 + i % 7, ("a" + std::to_string(i % 2)).c_str());
            if ((mask & (1 << (1 + i % 7))) == 0) ++badMasks;  // its own state is always in the mask
            if (i % 50 == 0) amBlfDialogShow();
        }
    });
    std::thread clearer([&] {
        while (!go.load()) std::this_thread::yield();
        for (int i = 0; i < kRounds / 10; ++i) {
            amBlfDialogInfoClearByNumber(1, ("20" + std::to_string(i % kNumbers)).c_str());
            if (i % 20 == 0) amBlfDialogInfoClearByLine(1);
            std::this_thread::yield();
        }
    });
    go = true;
    for (int i = 0; i < kRounds; ++i) {
        amRecvNotify(1, ("20" + std::to_string(i % kNumbers)).c_str(), "dialog", "active",
                     "application/dialog-info+xml", document(i).c_str());
    }
    application.join();
    clearer.join();
    EXPECT_EQ(badMasks.load(), 0);

    // Every record goes with the line; only the store itself and its mutex stay.
    amBlfDialogInfoClearByLine(1);
    EXPECT_EQ(devhost::liveBlocks(), 0);
    EXPECT_EQ(devhost::liveParsers(), 0);
    EXPECT_EQ(devhost::liveLists() * 10 + devhost::liveMutexes(), 11);
}

}  // namespace
