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

// A held call, as RFC 4235 writes it.
constexpr char kRfcExample[] =
    "<?xml version=\"1.0\"?>\n"
    "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\"\n"
    "             version=\"1\" state=\"full\" entity=\"sip:alice@example.com\">\n"
    "  <dialog id=\"as7d900as8\" call-id=\"a84b4c76e66710\" local-tag=\"1928301774\"\n"
    "          direction=\"initiator\">\n"
    "    <state event=\"replaced\">confirmed</state>\n"
    "    <local>\n"
    "      <identity display=\"Alice\">sip:alice@example.com</identity>\n"
    "      <target uri=\"sip:alice@pc33.example.com\">\n"
    "        <param pname=\"+sip.rendering\" pval=\"no\"/>\n"
    "      </target>\n"
    "    </local>\n"
    "    <remote>\n"
    "      <identity display=\"Bob\">sip:bob@example.org</identity>\n"
    "    </remote>\n"
    "  </dialog>\n"
    "</dialog-info>\n";

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
    // Every BLF status record raised, one line each:
    // "line number dialogId state status remote display remoteDisplay".
    std::vector<std::string> statusLines() {
        std::vector<std::string> out;
        for (const devhost::Event &e : amtest::eventsNamed(AM_BLF_EVENT_NAME)) {
            const AmBlfStatus r = amtest::record<AmBlfStatus>(e);
            out.push_back(std::to_string(r.line) + " " + r.number + " " + r.dialogId + " " + std::to_string(r.state) +
                          " " + std::to_string(r.status) + " " + r.remote + " " + r.display + " " + r.remoteDisplay);
        }
        return out;
    }
    // Every BLF list record raised, one line each: "line number ext name status parked".
    std::vector<std::string> listLines() {
        std::vector<std::string> out;
        for (const devhost::Event &e : amtest::eventsNamed(AM_BLF_LIST_EVENT_NAME)) {
            const AmBlfList r = amtest::record<AmBlfList>(e);
            out.push_back(std::to_string(r.line) + " " + r.number + " " + r.ext + " " + r.name + " " +
                          std::to_string(r.status) + " " + r.parked.number + ":" + r.parked.display);
        }
        return out;
    }
    // Blocks still held beyond those of the test's start.
    long heldBlocks() { return devhost::liveBlocks() - mark_; }
    long mark_ = 0;
    std::vector<char *> copies_;
};

}  // namespace dialogtest

#endif
