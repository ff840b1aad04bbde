// Fixture of the dialog-info and resource-list tests: NOTIFYs of the "dialog" package as
// the protocol manager hands them over, and the records they raised.
#ifndef OSTRA_AM_TESTS_BLF_DIALOG_FIXTURE_H
#define OSTRA_AM_TESTS_BLF_DIALOG_FIXTURE_H

#include <vector>

#include "am_test.h"
#include "platform/am.h"

namespace dialogtest {

constexpr char kModule[] = "ostra.am.dialogInfo";
constexpr char kDialogInfo[] = "application/dialog-info+xml";
constexpr char kMultipart[] = "multipart/related";
constexpr char kRlmi[] = "application/rlmi+xml";

class DialogTest : public amtest::HostTest {
protected:
    void SetUp() override {
        amtest::HostTest::SetUp();
        mark_ = devhost::liveBlocks();
    }
    void TearDown() override {
        EXPECT_EQ(devhost::liveParsers(), 0);
        amtest::HostTest::TearDown();
    }
    void notify(int line, const char *number, const char *state, const char *contentType, const char *body) {
        amRecvNotify(line, number, "dialog", state, contentType, body);
    }
    template <typename T>
    std::vector<T> recordsOf(const char *event) {
        std::vector<T> out;
        for (const devhost::Event &e : amtest::eventsNamed(event)) out.push_back(amtest::record<T>(e));
        return out;
    }
    std::vector<AmBlfStatus> statuses() { return recordsOf<AmBlfStatus>(AM_BLF_EVENT_NAME); }
    std::vector<AmBlfList> listRecords() { return recordsOf<AmBlfList>(AM_BLF_LIST_EVENT_NAME); }
    // Blocks still held beyond those of the test's start (the dialog store's).
    long heldBlocks() { return devhost::liveBlocks() - mark_; }
    long mark_ = 0;
};

}  // namespace dialogtest

#endif
