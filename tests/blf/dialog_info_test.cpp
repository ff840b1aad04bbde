// Dialog-info NOTIFYs from end to end: XML and text readers, the dialog store, server
// conventions and the BLF list records of resource-list parts.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dialog_fixture.h"

namespace {

using amtest::hasLog;
using namespace dialogtest;

using DialogInfo = DialogTest;

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
    std::vector<AmBlfStatus> first = statuses();
    ASSERT_EQ(first.size(), 2u);
    EXPECT_STREQ(first[0].number, "201");
    EXPECT_STREQ(first[0].dialogId, "a");
    EXPECT_STREQ(first[0].remote, "Bob");
    EXPECT_STREQ(first[0].subscriptionNumber, "201");
    EXPECT_EQ(first[0].state, AM_BLF_STATE_TALKING);
    EXPECT_EQ(first[0].status, 1 << 4);
    EXPECT_EQ(first[1].state, AM_BLF_STATE_RINGING);
    EXPECT_EQ(first[1].status, (1 << 4) | (1 << 7));
    EXPECT_TRUE(hasLog(1, kModule, "amDialogInfoXmlContentGet: partial dialog information!"));

    // The full document lists only a: a stays, b has ended.
    devhost::clearEvents();
    notify(1, "201", "active", kDialogInfo, document("full", dialog("a", "confirmed", "initiator")).c_str());
    std::vector<AmBlfStatus> second = statuses();
    ASSERT_EQ(second.size(), 2u);
    EXPECT_STREQ(second[0].dialogId, "a");
    EXPECT_EQ(second[0].status, 16);
    EXPECT_STREQ(second[1].dialogId, "b");
    EXPECT_EQ(second[1].state, AM_BLF_STATE_IDLE);
    EXPECT_EQ(second[1].status, 16);

    // Only a is left: a new dialog c carries a's bit beside its own.
    devhost::clearEvents();
    notify(1, "201", "active", kDialogInfo, document("partial", dialog("c", "early", "recipient")).c_str());
    ASSERT_EQ(statuses().size(), 1u);
    EXPECT_EQ(statuses()[0].status, (1 << 4) | (1 << 7));
    amBlfDialogInfoClearByLine(1);
    EXPECT_EQ(heldBlocks(), 0);
}

TEST_F(DialogInfo, PartialDocumentWithoutAnyNumberUsesTheSubscription) {
    const std::string body = document("partial", dialog("x1", "early", "initiator"), "");
    notify(2, "305", "active", kDialogInfo, body.c_str());
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoXmlContentGet: dialog-info entity is invalid!"));
    EXPECT_TRUE(hasLog(2, kModule, "amBlfNotifyParseDialog: remote number not find!"));
    AmBlfStatus status = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_STREQ(status.number, "305");
    EXPECT_EQ(status.line, 2);
    EXPECT_EQ(status.state, AM_BLF_STATE_TALKING);  // early, outgoing
    // A dialog-info without any dialog reports its entity idle.
    devhost::clearEvents();
    notify(2, "201", "active", kDialogInfo, "<dialog-info version=\"0\" state=\"full\" entity=\"sip:201@pbx\"/>");
    AmBlfStatus idle = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_STREQ(idle.number, "201");
    EXPECT_EQ(idle.status, 1);
    // Without a subscription number either (a list part), the dialog is skipped.
    devhost::clearEvents();
    EXPECT_EQ(amDialogInfoXmlContentGet(2, nullptr, body.c_str(), kDialogInfo, "active"),
              static_cast<int>(body.size()));
    EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 0);
}

TEST_F(DialogInfo, SubscriptionStateAndDoNotDisturb) {
    const std::string body = document("partial", dialog("t1", "confirmed", "initiator", kRemoteBob));
    notify(1, "201", "terminated", kDialogInfo, body.c_str());
    AmBlfStatus failed = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_EQ(failed.state, AM_BLF_STATE_FAILED);
    EXPECT_STREQ(failed.remote, "");
    EXPECT_STREQ(failed.dialogId, "t1");

    devhost::clearEvents();
    const std::string dnd = document(
        "partial", dialog("d1", "confirmed", "recipient",
                          "    <remote><identity display=\"Do Not Disturb\">sip:dnd@pbx</identity></remote>\n"));
    notify(1, "201", "active", kDialogInfo, dnd.c_str());
    EXPECT_EQ(amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME).state, AM_BLF_STATE_DND);

    // A body-less reset builds and drops its record; nothing is raised or kept.
    devhost::clearEvents();
    notify(1, "201", "reset", kDialogInfo, nullptr);
    notify(1, "201", "active", kDialogInfo, nullptr);
    EXPECT_EQ(devhost::events().size(), 0u);
    EXPECT_EQ(amtest::countLogs(0, kModule,
                                "amRecvDialogInfoProcess: line=1, number=201, direction=initiator, state=reset, "
                                "status=blf Unknown State\n"),
              1);
    EXPECT_EQ(heldBlocks(), 0);
}

TEST_F(DialogInfo, RenderingAndWildixStateDifferBetweenReaders) {
    const std::string target =
        "    <local>\n"
        "      <identity display=\"Alice\">sip:201@pbx.example.com</identity>\n"
        "      <target uri=\"sip:201@192.0.2.10\">\n"
        "        <param pname=\"+sip.rendering\" pvalue=\"no\"/>\n"
        "      </target>\n"
        "    </local>\n";
    const std::string xml = document("partial", dialog("h1", "confirmed", "initiator", target));
    notify(1, "201", "active", kDialogInfo, xml.c_str());
    AmBlfStatus held = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_EQ(held.state, AM_BLF_STATE_HOLDING);
    EXPECT_STREQ(held.display, "Alice");

    // The same dialog in a body the parser rejects: the scanner reads only "pval".
    devhost::clearEvents();
    const std::string text = xml + "<unclosed>";
    notify(1, "201", "active", kDialogInfo, text.c_str());
    EXPECT_EQ(amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME).state, AM_BLF_STATE_TALKING);

    // A Wildix state parameter overrides the state word on any server.
    devhost::clearEvents();
    const std::string away =
        document("partial", dialog("w1", "confirmed", "recipient",
                                   "    <param pname=\"X-Wildix-state\" pval=\"Away\"/>\n"));
    notify(1, "201", "active", kDialogInfo, away.c_str());
    EXPECT_EQ(amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME).state, AM_BLF_STATE_AWAY);
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
    const std::string body = document("partial", dialog("wx", "confirmed", "recipient", inner),
                                      "sip:201@wildix.example.com");
    devhost::line(1).wildix = 1;
    notify(1, "201", "active", kDialogInfo, body.c_str());
    AmBlfStatus wildix = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_STREQ(wildix.display, "Reception");
    EXPECT_STREQ(wildix.remote, "+39555000");
    EXPECT_STREQ(wildix.remoteDisplay, "Carol Mobile");

    devhost::clearEvents();
    devhost::line(1).wildix = 0;
    notify(1, "201", "active", kDialogInfo, body.c_str());
    AmBlfStatus other = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_STREQ(other.display, "");  // no local identity names the entity
    EXPECT_STREQ(other.remote, "Reception");
    EXPECT_STREQ(other.remoteDisplay, "");

    // A tel: identity gives the display name and, through "ext=", the list record's ext.
    devhost::clearEvents();
    const std::string tel = document(
        "partial",
        dialog("t", "early", "recipient",
               "    <local><identity display=\"Desk\">tel:+4930123;ext=105</identity></local>\n"),
        "sip:4930123@pbx.example.com");
    notify(1, nullptr, "active", kMultipart, tel.c_str());
    std::vector<AmBlfList> list = listRecords();
    ASSERT_EQ(list.size(), 1u);
    EXPECT_STREQ(list[0].number, "4930123");
    EXPECT_STREQ(list[0].ext, "105");
    EXPECT_STREQ(list[0].name, "Desk");
    EXPECT_EQ(list[0].status, 1 << 7);
}

const char kParkedPart[] =
    "<?xml version=\"1.0\"?>\n"
    "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\"\n"
    "             xmlns:bw=\"http://schema.example.com/callpark\"\n"
    "             version=\"7\" state=\"partial\" entity=\"sip:201@pbx.example.com\">\n"
    "  <dialog id=\"call-1\" direction=\"recipient\">\n"
    "    <state>confirmed</state>\n"
    "    <local><identity display=\"Front Desk\">sip:201@pbx.example.com</identity></local>\n"
    "  </dialog>\n"
    "  <dialog id=\"park-1\">\n"
    "    <state>confirmed</state>\n"
    "    <bw:callpark>\n"
    "      <bw:parked><identity display=\"Caller X\">sip:305@pbx.example.com</identity></bw:parked>\n"
    "    </bw:callpark>\n"
    "  </dialog>\n"
    "</dialog-info>\n";

TEST_F(DialogInfo, ParkedCallIsPairedWithThePreviousDialogOfThePart) {
    devhost::line(3).multiDialog = 1;
    auto check = [&](const char *body) {
        devhost::clearEvents();
        notify(3, nullptr, "active", kMultipart, body);
        std::vector<AmBlfList> list = listRecords();
        ASSERT_EQ(list.size(), 2u);
        EXPECT_STREQ(list[0].number, "201");
        EXPECT_STREQ(list[0].name, "Front Desk");
        EXPECT_EQ(list[0].status, 16);
        EXPECT_STREQ(list[0].parked.number, "");
        EXPECT_STREQ(list[1].number, "201");
        EXPECT_STREQ(list[1].name, "Front Desk");
        EXPECT_NE(list[1].status & (1 << 6), 0);
        EXPECT_STREQ(list[1].parked.number, "305");
        EXPECT_STREQ(list[1].parked.display, "Caller X");
        EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 0);
        amBlfDialogInfoClearByLine(3);
    };
    check(kParkedPart);
    // The scanner pairs the same way when the parser rejects the part.
    check((std::string(kParkedPart) + "</extra>").c_str());
    EXPECT_EQ(heldBlocks(), 0);
}

TEST_F(DialogInfo, ListMarkersAndBodylessParts) {
    notify(4, nullptr, "active", kMultipart, "clear");
    notify(4, nullptr, "active", kMultipart, "finish");
    std::vector<AmBlfList> list = listRecords();
    ASSERT_EQ(list.size(), 2u);
    EXPECT_EQ(list[0].status, AM_BLF_LIST_CLEAR);
    EXPECT_EQ(list[0].line, 4);
    EXPECT_STREQ(list[0].number, "");
    EXPECT_EQ(list[1].status, AM_BLF_LIST_FINISH);
    // "Clear" is not the marker, and a body-less part is not a marker either.
    devhost::clearEvents();
    notify(4, nullptr, "active", kMultipart, "Clear");
    notify(4, nullptr, "active", kMultipart, nullptr);
    EXPECT_EQ(devhost::events().size(), 0u);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoXmlContentGet: body null."));
    // A "dialog" NOTIFY without content type, or of another type, does nothing.
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
    notify(1, "201", "active", kDialogInfo, body);
    AmBlfStatus status = amtest::onlyRecord<AmBlfStatus>(AM_BLF_EVENT_NAME);
    EXPECT_STREQ(status.number, "201");
    EXPECT_STREQ(status.dialogId, "z9");
    EXPECT_STREQ(status.remote, "+15550100");
    EXPECT_EQ(status.state, AM_BLF_STATE_RINGING);
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", body, kDialogInfo, "active"), 0);
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", "", kDialogInfo, "active"), 0);
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", "no document", kDialogInfo, "active"), -1);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoTxtContentGet: No dialog info."));
    // The text reader names content types it cannot report.
    EXPECT_EQ(amDialogInfoTxtContentGet(1, "201", body, "text/plain", "active"), 0);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoTxtContentGet: Not supported accept[text/plain]!"));

    devhost::clearEvents();
    notify(1, "201", "active", kDialogInfo, "garbage <dialog");
    EXPECT_EQ(devhost::events().size(), 0u);
    EXPECT_TRUE(hasLog(3, kModule, "amDialogInfoXmlContentGet: parse blf content failed! content=[garbage <dialog]"));
    EXPECT_EQ(amDialogInfoXmlContentGet(1, "201", "garbage", kDialogInfo, "active"), 0);

    // Well-formed but no dialog-info root (a prefixed root is not one).
    const char prefixed[] =
        "<d:dialog-info xmlns:d=\"urn:ietf:params:xml:ns:dialog-info\" version=\"1\" state=\"full\" "
        "entity=\"sip:201@pbx\"><d:dialog id=\"1\"><d:state>confirmed</d:state></d:dialog></d:dialog-info>";
    EXPECT_EQ(amDialogInfoXmlContentGet(1, "201", prefixed, kDialogInfo, "active"),
              static_cast<int>(std::strlen(prefixed)));
    EXPECT_TRUE(hasLog(2, kModule, "amDialogInfoXmlContentGet: dialog-info not found"));
    EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 0);
}

TEST_F(DialogInfo, HostileBodiesThroughTheTextReader) {
    devhost::line(1).multiDialog = 1;
    const std::string head =
        "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" state=\"full\" entity=\"sip:201@pbx\">";
    std::vector<std::string> bodies = {
        head + "<dialog id=\"1\"><state>confirmed",                       // nothing closes
        head + "<dialog id=\"1\" direction='initiator><state>early</state></dialog></dialog-info>",
        head + "<dialog id=\"" + std::string(300000, 'x') + "\"><state>" + std::string(300000, 'c') +
            "</state><remote><identity display=\"" + std::string(300000, 'd') + "\">sip:" +
            std::string(300000, '7') + "@h</identity></remote></dialog></dialog-info>",
        head + "<dialog id=\"a\"/><dialog id=\"b\"/><dialog/></dialog-info",  // unclosed root tag
        head + std::string(2000, '<') + "</dialog-info>",
        "<dialog-info entity=\"sip:201@pbx\"/><dialog id='z'><state>early</state></dialog>",
    };
    for (const std::string &body : bodies) {
        devhost::clearEvents();
        char *exact = static_cast<char *>(std::malloc(body.size() + 1));
        std::memcpy(exact, body.c_str(), body.size() + 1);
        notify(1, "201", "active", kDialogInfo, exact);
        notify(1, nullptr, "active", kMultipart, exact);
        std::free(exact);
        for (const AmBlfStatus &status : statuses()) {
            EXPECT_LT(std::strlen(status.dialogId), sizeof status.dialogId);
            EXPECT_LT(std::strlen(status.remote), sizeof status.remote);
        }
    }
    amBlfDialogInfoClearByLine(1);
    EXPECT_EQ(heldBlocks(), 0);
}

TEST_F(DialogInfo, OutOfMemoryLeavesNothingBehind) {
    devhost::line(1).multiDialog = 1;
    const std::string body = document("full", dialog("a", "confirmed") + dialog("b", "early"));
    for (long n = 1; n < 40; ++n) {
        devhost::failNth(n);
        notify(1, "201", "active", kDialogInfo, body.c_str());
        devhost::failNone();
        amBlfDialogInfoClearByLine(1);
        EXPECT_EQ(heldBlocks(), 0) << "failing call " << n;
        EXPECT_EQ(devhost::liveParsers(), 0) << "failing call " << n;
    }
    const std::string text = body + "<x>";
    for (long n = 1; n < 60; ++n) {
        devhost::failNth(n);
        notify(1, nullptr, "active", kMultipart, text.c_str());
        devhost::failNone();
        amBlfDialogInfoClearByLine(1);
        EXPECT_EQ(heldBlocks(), 0) << "failing call " << n;
    }
}

}  // namespace
