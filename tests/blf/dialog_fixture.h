// Fixture of the scanner, dialog-info and resource-list tests: NOTIFYs of the "dialog"
// package as the protocol manager hands them over, the records they raised, and texts
// that AddressSanitizer guards at their terminating NUL.
#ifndef OSTRA_AM_TESTS_BLF_DIALOG_FIXTURE_H
#define OSTRA_AM_TESTS_BLF_DIALOG_FIXTURE_H

#include <cstdlib>
#include <string>
#include <vector>

#include "am_test.h"
#include "platform/am.h"

namespace dialogtest {

constexpr char kModule[] = "ostra.am.dialogInfo";
constexpr char kDialogInfo[] = "application/dialog-info+xml";
constexpr char kMultipart[] = "multipart/related";
constexpr char kRlmi[] = "application/rlmi+xml";

// A dialog-info part of a resource list: a confirmed dialog of 201, then a call parked
// against it.
constexpr char kParkedPart[] =
    "<?xml version=\"1.0\"?>\n"
    "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" xmlns:bw=\"http://schema.example.com/park\"\n"
    "             version=\"4\" state=\"full\" entity=\"sip:201@pbx.example.com\">\n"
    "  <dialog id=\"d-1\" direction=\"recipient\">\n"
    "    <state>confirmed</state>\n"
    "    <local><identity display=\"Front Desk\">sip:201@pbx.example.com</identity></local>\n"
    "    <remote><identity display=\"Bob\">sip:bob@example.org</identity></remote>\n"
    "  </dialog>\n"
    "  <dialog id=\"d-2\">\n"
    "    <state>confirmed</state>\n"
    "    <bw:callpark><bw:parked><identity display=\"Guest\">sip:305@pbx.example.com</identity>"
    "</bw:parked></bw:callpark>\n"
    "  </dialog>\n"
    "</dialog-info>\n";

class DialogTest : public amtest::HostTest {
protected:
    void SetUp() override {
        amtest::HostTest::SetUp();
        mark_ = devhost::liveBlocks();
    }
    // Every test ends with the store emptied, and then nothing of the module's is left.
    void TearDown() override {
        for (int line = 1; line <= 4; ++line) amBlfDialogInfoClearByLine(line);
        EXPECT_EQ(heldBlocks(), 0);
        EXPECT_EQ(devhost::liveParsers(), 0);
        for (char *copy : copies_) std::free(copy);
        amtest::HostTest::TearDown();
    }
    void notify(int line, const char *number, const char *state, const char *contentType, const char *body) {
        amRecvNotify(line, number, "dialog", state, contentType, body);
    }
    // A heap copy of exactly the text's size, so that any read past its NUL is caught.
    const char *exact(const std::string &text) {
        char *copy = static_cast<char *>(std::malloc(text.size() + 1));
        std::memcpy(copy, text.c_str(), text.size() + 1);
        copies_.push_back(copy);
        return copy;
    }
    template <typename T>
    std::vector<T> recordsOf(const char *event) {
        std::vector<T> out;
        for (const devhost::Event &e : amtest::eventsNamed(event)) out.push_back(amtest::record<T>(e));
        return out;
    }
    std::vector<AmBlfStatus> statuses() { return recordsOf<AmBlfStatus>(AM_BLF_EVENT_NAME); }
    std::vector<AmBlfList> listRecords() { return recordsOf<AmBlfList>(AM_BLF_LIST_EVENT_NAME); }
    AmBlfStatus onlyStatus() { return amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME); }
    // Blocks still held beyond those of the test's start.
    long heldBlocks() { return devhost::liveBlocks() - mark_; }
    long mark_ = 0;
    std::vector<char *> copies_;
};

}  // namespace dialogtest

#endif
