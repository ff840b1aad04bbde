// Dialog-info NOTIFYs from end to end: XML and text readers, the dialog store, server
// conventions and the BLF list records of resource-list parts.
#include <cstring>
#include <string>
#include <vector>

#include "dialog_fixture.h"

namespace {

using amtest::hasLog;
using namespace dialogtest;

using DialogInfo = DialogTest;
using Lines = std::vector<std::string>;

// A pretty-printed RFC 4235 document for extension 201 with the given dialogs.
std::string document(const char *state, const std::string &dialogs, const char *entity = "sip:201@pbx.example.com") {
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\"\n"
                       "             version=\"3\" state=\"") +
           state + "\" entity=\"" + entity + "\">\n" + dialogs + "</dialog-info>\n";
}

std::string dialog(const char *id, const char *state, const char *direction = "recipient",
                   const std::string &inner = "") {
    return std::string("  <dialog id=\"") + id + "\" call-id=\"c-" + id + "\" direction=\"" + direction +
           "\">\n    <state>" + state + "</state>\n" + inner + "  </dialog>\n";
}

const char kRemoteBob[] =
    "    <remote>\n"
    "      <identity display=\"Bob\">sip:bob@example.org</identity>\n"
    "      <target uri=\"sip:bob@192.0.2.4\"/>\n"
    "    </remote>\n";

TEST_F(DialogInfo, FullDocumentSettlesTheStore) {
    devhost::line(1).multiDialog = 1;
    const std::string partial = document("partial", dialog("a", "confirmed", "initiator", kRemoteBob) +
                                                        dialog("b", "early", "recipient"));
    notify(1, "201", "active", kDialogInfo, partial.c_str());
    EXPECT_EQ(statusLines(), (Lines{"1 201 a 4 16 Bob  ", "1 201 b 7 144   "}));
    EXPECT_TRUE(hasLog(1, kModule, "amDialogInfoXmlContentGet: partial dialog information!"));
    // The full document lists only a: a stays, b has ended.
    devhost::clearEvents();
    notify(1, "201", "active", kDialogInfo, document("full", dialog("a", "confirmed", "initiator")).c_str());
    EXPECT_EQ(statusLines(), (Lines{"1 201 a 4 16   ", "1 201 b 0 16   "}));
}

TEST_F(DialogInfo, DialogWithoutAnyNumberTakesTheSubscriptionsOrIsSkipped) {
    const std::string body = document(
        "partial",
        dialog("x1", "early", "initiator", "    <remote><identity>sip:%2B15550100@carrier.example.net</identity></remote>\n"),
        "");
    notify(2, "305", "active", kDialogInfo, body.c_str());
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoXmlContentGet: dialog-info entity is invalid!"));
    EXPECT_TRUE(hasLog(2, kModule, "amBlfNotifyParseDialog: remote number not find!"));
    // A dialog-info without any dialog reports its entity idle.
    notify(2, "201", "active", kDialogInfo, "<dialog-info version=\"0\" state=\"full\" entity=\"sip:201@pbx\"/>");
    EXPECT_EQ(statusLines(), (Lines{"2 305 x1 4 16 +15550100  ", "2 201  0 1   "}));  // early, outgoing
    // Without a number argument (a part of a resource list) both readers skip it.
    devhost::clearEvents();
    EXPECT_EQ(amDialogInfoXmlContentGet(2, nullptr, body.c_str(), kMultipart, "active"),
              static_cast<int>(body.size()));
    EXPECT_EQ(amDialogInfoTxtContentGet(2, nullptr, body.c_str(), kMultipart, "active"), 0);
    EXPECT_EQ(devhost::events().size(), 0u);
}

TEST_F(DialogInfo, SubscriptionStateAndDoNotDisturb) {
    const std::string body = document("partial", dialog("t1", "confirmed", "initiator", kRemoteBob));
    notify(1, "201", "terminated", kDialogInfo, body.c_str());
    const std::string dnd = document(
        "partial", dialog("d1", "confirmed", "recipient",
                          "    <remote><identity display=\"Do Not Disturb\">sip:dnd@pbx</identity></remote>\n"));
    notify(1, "201", "active", kDialogInfo, dnd.c_str());
    notify(1, "201", "reset", kDialogInfo, dnd.c_str());
    EXPECT_EQ(statusLines(),
              (Lines{"1 201 t1 3 8   ", "1 201 d1 13 8192 Do Not Disturb  ", "1 201  11 2048   "}));

    // A body-less reset builds and drops its record; nothing is raised or kept.
    devhost::clearEvents();
    notify(1, "201", "reset", kDialogInfo, nullptr);
    notify(1, "201", "active", kDialogInfo, nullptr);
    EXPECT_EQ(devhost::events().size(), 0u);
    EXPECT_EQ(amtest::countLogs(0, kModule,
                                "amRecvDialogInfoProcess: line=1, number=201, direction=initiator, state=reset, "
                                "status=blf Unknown State\n"),
              1);
}

TEST_F(DialogInfo, RenderingAndWildixStateDifferBetweenReaders) {
    auto notRendered = [](const char *valueName) {
        return std::string("    <local>\n"
                           "      <identity display=\"Alice\">sip:201@pbx.example.com</identity>\n"
                           "      <target uri=\"sip:201@192.0.2.10\">\n"
                           "        <param pname=\"+sip.rendering\" ") +
               valueName + "=\"no\"/>\n      </target>\n    </local>\n";
    };
    // The XML reader takes "pvalue" too but only an exact "confirmed"; the scanner reads
    // only "pval", in a confirmed dialog of any case.
    const std::string xml = document("partial", dialog("h1", "confirmed", "initiator", notRendered("pvalue")) +
                                                    dialog("h2", "Confirmed", "initiator", notRendered("pval")));
    notify(1, "201", "active", kDialogInfo, xml.c_str());
    notify(1, "201", "active", kDialogInfo, (xml + "<unclosed>").c_str());
    // A Wildix state parameter overrides the state word on any server.
    const std::string away = document(
        "partial", dialog("w1", "confirmed", "recipient", "    <param pname=\"X-Wildix-state\" pval=\"Away\"/>\n"));
    notify(1, "201", "active", kDialogInfo, away.c_str());
    EXPECT_TRUE(hasLog(2, kModule, "amBlfNotifyParseDialog: dialog.local.target not find!"));
    EXPECT_EQ(statusLines(), (Lines{"1 201 h1 5 32  Alice ", "1 201 h2 4 16  Alice ", "1 201 h1 4 16  Alice ",
                                    "1 201 h2 5 32  Alice ", "1 201 w1 14 16384   "}));
}

TEST_F(DialogInfo, WildixAndOtherServersReadIdentitiesDifferently) {
    const std::string inner =
        "    <local>\n"
        "      <identity display=\"Carol\">sip:402@wildix.example.com</identity>\n"
        "      <identity display=\"Carol Mobile\">sip:+39555000@wildix.example.com</identity>\n"
        "    </local>\n"
        "    <remote>\n"
        "      <identity display=\"Reception\">sip:201@wildix.example.com</identity>\n"
        "    </remote>\n";
    const std::string body =
        document("partial", dialog("wx", "confirmed", "recipient", inner), "sip:201@wildix.example.com");
    devhost::line(1).wildix = 1;
    notify(1, "201", "active", kDialogInfo, body.c_str());
    devhost::line(1).wildix = 0;
    notify(1, "201", "active", kDialogInfo, body.c_str());  // no local identity names the entity
    EXPECT_EQ(statusLines(),
              (Lines{"1 201 wx 4 16 +39555000 Reception Carol Mobile", "1 201 wx 4 16 Reception  "}));

    // A tel: identity gives the display name and, through "ext=", the list record's ext.
    const std::string tel = document(
        "partial",
        dialog("t", "early", "recipient",
               "    <local><identity display=\"Desk\">tel:+4930123;ext=105</identity>\n"
               "      <identity display=\"Later\">sip:4930123@pbx.example.com</identity></local>\n"),
        "sip:4930123@pbx.example.com");
    notify(1, nullptr, "active", kMultipart, tel.c_str());
    EXPECT_EQ(listLines(), (Lines{"1 4930123 105 Desk 128 :"}));
}

// The XML reader's pairing is checked with a whole resource-list NOTIFY.
TEST_F(DialogInfo, TextReaderPairsAParkedCallWithThePreviousDialogOfThePart) {
    devhost::line(3).multiDialog = 1;
    notify(3, nullptr, "active", kMultipart, (std::string(kParkedPart) + "</extra>").c_str());
    EXPECT_EQ(listLines(), (Lines{"3 201  Front Desk 16 :", "3 201  Front Desk 80 305:Guest"}));
    EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 0);
}

TEST_F(DialogInfo, ListMarkersAndBodiesThatAreNoMarkers) {
    notify(4, nullptr, "active", kMultipart, "clear");
    notify(4, nullptr, "active", kMultipart, "finish");
    EXPECT_EQ(listLines(), (Lines{"4    512 :", "4    1024 :"}));
    devhost::clearEvents();
    notify(4, nullptr, "active", kMultipart, "Clear");
    notify(4, nullptr, "active", kMultipart, nullptr);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoXmlContentGet: body null."));
    // A "dialog" NOTIFY without content type, of another type, or without its number.
    notify(4, "201", "active", nullptr, "clear");
    notify(4, "201", "active", "application/pidf+xml", "clear");
    notify(4, nullptr, "active", kDialogInfo, document("partial", dialog("n", "early")).c_str());
    EXPECT_EQ(devhost::events().size(), 0u);
    EXPECT_TRUE(hasLog(1, kModule, "amRecvDialogInfoParse: number is NULL \n"));
}

TEST_F(DialogInfo, TextFallbackForBodiesTheParserRejects) {
    // Compact, unquoted attribute and an unclosed tag at the end: not XML.
    const char body[] =
        "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=1 state=\"full\" "
        "entity=\"sip:201@pbx.example.com\"><dialog id=\"z9\" direction=\"recipient\"><state>early</state>"
        "<remote><identity>sip:%2B15550100@carrier.example.net</identity></remote></dialog></dialog-info><br>";
    notify(1, "subscribed", "active", kDialogInfo, body);
    EXPECT_EQ(statusLines(), (Lines{"1 201 z9 7 128 +15550100  "}));
    EXPECT_STREQ(amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME).subscriptionNumber, "subscribed");
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", "", kDialogInfo, "active"), 0);
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", "no document", kDialogInfo, "active"), -1);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoTxtContentGet: No dialog info."));
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", body, "text/plain", "active"), 0);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoTxtContentGet: Not supported accept[text/plain]!"));

    devhost::clearEvents();
    notify(1, "201", "active", kDialogInfo, "garbage <dialog");
    EXPECT_TRUE(hasLog(3, kModule, "amDialogInfoXmlContentGet: parse blf content failed! content=[garbage <dialog]"));
    EXPECT_EQ(amDialogInfoXmlContentGet(1, "201", "garbage", kDialogInfo, "active"), 0);
    // Well-formed but no dialog-info root (a prefixed root is not one).
    const char prefixed[] =
        "<d:dialog-info xmlns:d=\"urn:ietf:params:xml:ns:dialog-info\" version=\"1\" state=\"full\" "
        "entity=\"sip:201@pbx\"><d:dialog id=\"1\"><d:state>confirmed</d:state></d:dialog></d:dialog-info>";
    EXPECT_EQ(amDialogInfoXmlContentGet(1, "201", prefixed, kDialogInfo, "active"),
              static_cast<int>(std::strlen(prefixed)));
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoXmlContentGet: dialog-info not found"));
    EXPECT_EQ(devhost::events().size(), 0u);
}

TEST_F(DialogInfo, HostileBodiesNeverReadPastTheText) {
    devhost::line(1).multiDialog = 1;
    const std::string head =
        "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" state=\"full\" entity=\"sip:201@pbx\">";
    std::vector<std::string> bodies = {
        head + "<dialog id=\"a\"/><dialog id=\"b\"/><dialog/></dialog-info",  // unclosed root tag
        head + std::string(2000, '<') + "</dialog-info>",
        "<dialog-info entity=\"sip:201@pbx\"/><dialog id='z'><state>early</state></dialog>",
    };
    // Unterminated elements, attributes and quotes: every cut of real documents.
    for (const std::string full : {kRfcExample, kParkedPart}) {
        for (std::size_t cut = 1; cut < full.size(); ++cut) bodies.push_back(full.substr(0, cut));
    }
    for (const std::string &body : bodies) {
        notify(1, "201", "active", kDialogInfo, exact(body));
        notify(1, nullptr, "active", kMultipart, exact(body));
    }
    // Values far beyond their fields are cut to them, by either reader.
    const std::string huge = head + "<dialog id=\"" + std::string(300000, 'x') + "\"><state>" +
                             std::string(300000, 'c') + "</state><remote><identity display=\"" +
                             std::string(300000, 'd') + "\">sip:7@h</identity></remote></dialog></dialog-info>";
    for (const std::string &body : {huge, huge + "<x>"}) {
        devhost::clearEvents();
        notify(2, "201", "active", kDialogInfo, exact(body));
        const AmBlfStatus status = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
        EXPECT_EQ(std::strlen(status.dialogId), sizeof status.dialogId - 1);
        EXPECT_EQ(std::strlen(status.remote), sizeof status.remote - 1);
    }
}

TEST_F(DialogInfo, OutOfMemoryLeavesNothingBehind) {
    devhost::line(1).multiDialog = 1;
    const std::string body = document("full", dialog("a", "confirmed") + dialog("b", "early"));
    const std::string text = body + "<x>";
    for (long n = 1; n < 60; ++n) {
        devhost::failNth(n);
        notify(1, "201", "active", kDialogInfo, body.c_str());
        devhost::failNth(n);
        notify(1, nullptr, "active", kMultipart, text.c_str());
        devhost::failNone();
        amBlfDialogInfoClearByLine(1);
        EXPECT_EQ(heldBlocks(), 0) << "failing call " << n;
        EXPECT_EQ(devhost::liveParsers(), 0) << "failing call " << n;
    }
}

}  // namespace
