// Resource lists: RLMI documents and a whole resource-list NOTIFY as the protocol manager
// splits it.
#include <string>
#include <vector>

#include "dialog_fixture.h"

namespace {

using amtest::hasLog;
using namespace dialogtest;
using Lines = std::vector<std::string>;

using ResourceList = DialogTest;

// RFC 4662 list with two named members and one without a name.
std::string rlmi(const char *fullState) {
    return std::string("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                       "<list xmlns=\"urn:ietf:params:xml:ns:rlmi\"\n"
                       "      uri=\"sip:keys-line1@pbx.example.com\" version=\"1\" ") +
           fullState +
           ">\n"
           "  <name xml:lang=\"en\">Reception keys</name>\n"
           "  <resource uri=\"sip:201@pbx.example.com\">\n"
           "    <name>Front Desk</name>\n"
           "    <instance id=\"i1\" state=\"active\" cid=\"part1@pbx\"/>\n"
           "  </resource>\n"
           "  <resource uri=\"sip:202@pbx.example.com\"><instance id=\"i2\" state=\"pending\"/></resource>\n"
           "  <resource uri=\"sip:203%2A1@pbx.example.com\">\n"
           "    <name>Back Office</name>\n"
           "  </resource>\n"
           "</list>\n";
}

// The records of rlmi() on line 1, after the clear marker when there is one.
Lines members(bool clear) {
    Lines out = {"1 201  Front Desk 1 :", "1 203*1  Back Office 1 :"};
    if (clear) out.insert(out.begin(), "1    512 :");
    return out;
}

TEST_F(ResourceList, XmlReaderAnnouncesAFullListAndReportsNamedMembers) {
    const std::string body = rlmi("fullState=\"true\"");
    EXPECT_EQ(amDialogResourceXmlContentGet(1, "keys", body.c_str(), kRlmi, "active"),
              static_cast<int>(body.size()));
    EXPECT_EQ(listLines(), members(true));
    // Single quotes defeat the literal full-state test, not the members.
    devhost::clearEvents();
    amDialogResourceXmlContentGet(1, "keys", rlmi("fullState='true'").c_str(), kRlmi, "active");
    EXPECT_EQ(listLines(), members(false));
    for (const char *other : {"<list fullState=\"TRUE\">", "<list fullState = \"true\">", "",
                              static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(amBlfListFullStateValueGet(other), 0);
    }
    // Well-formed with an empty list: read, nothing reported.
    devhost::clearEvents();
    const char empty[] = "<list fullState=\"true\"/>";
    EXPECT_EQ(amDialogResourceXmlContentGet(1, nullptr, empty, kRlmi, nullptr), static_cast<int>(sizeof empty - 1));
    EXPECT_EQ(devhost::events().size(), 0u);
}

TEST_F(ResourceList, TextReaderForListsTheParserRejects) {
    // No entity on the list: no clear marker, members still reported.
    std::string body = rlmi("fullState=\"true\"") + "<trailing>";
    EXPECT_EQ(amDialogResourceXmlContentGet(1, "keys", body.c_str(), kRlmi, "active"),
              static_cast<int>(body.size()));
    EXPECT_TRUE(hasLog(2, kModule, "amDialogResourceTxtContentGet: list entity is invalid!"));
    EXPECT_EQ(listLines(), members(false));

    // With an entity the start tag's fullState counts, in any case and quotes.
    devhost::clearEvents();
    body = rlmi("entity=\"sip:keys@pbx.example.com\" fullState='TRUE'") + "<trailing>";
    EXPECT_EQ(amDialogResourceTxtContentGet(1, nullptr, body.c_str(), nullptr, nullptr), 0);
    EXPECT_EQ(listLines(), members(true));

    devhost::clearEvents();
    for (const char *none : {"<list entity='sip:k@h'><resource uri='sip:1@h'/></list>", "no list here", "",
                             static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(amDialogResourceTxtContentGet(1, nullptr, none, nullptr, nullptr), -1);
    }
    EXPECT_TRUE(hasLog(2, kModule, "amDialogResourceTxtContentGet: No list info."));
    EXPECT_EQ(amDialogResourceXmlContentGet(1, nullptr, "<<< not a list", kRlmi, nullptr), 0);
    EXPECT_TRUE(hasLog(3, kModule, "amDialogResourceXmlContentGet: parse blf content failed!"));
    EXPECT_EQ(amDialogResourceXmlContentGet(1, nullptr, "", kRlmi, nullptr), 0);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogResourceXmlContentGet: body null."));
    EXPECT_EQ(devhost::events().size(), 0u);
}

TEST_F(ResourceList, HostileListsNeverReadPastTheText) {
    const std::string full = rlmi("entity='sip:keys@pbx' fullState=\"true\"");
    for (std::size_t cut = 1; cut < full.size(); ++cut) {
        notify(1, "keys", "active", kRlmi, exact(full.substr(0, cut)));
    }
}

TEST_F(ResourceList, WholeResourceListNotifyFromEndToEnd) {
    devhost::line(1).multiDialog = 1;
    const char part203[] =
        "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"2\" state=\"full\" "
        "entity=\"sip:203%2A1@pbx.example.com\"><dialog id=\"e\" direction=\"initiator\"><state>early</state>"
        "</dialog></dialog-info>";
    notify(1, "keys-line1", "active", kRlmi, rlmi("fullState=\"true\"").c_str());
    notify(1, "keys-line1", "active", kMultipart, kParkedPart);
    notify(1, "keys-line1", "active", kMultipart, part203);
    notify(1, "keys-line1", "active", kMultipart, "finish");
    Lines expected = members(true);
    // The parked call is reported with the dialog before it in its part.
    for (const char *line : {"1 201  Front Desk 16 :", "1 201  Front Desk 80 305:Guest",
                             "1 203*1   16 :",  // early and outgoing; the part names nobody
                             "1    1024 :"}) {
        expected.push_back(line);
    }
    EXPECT_EQ(listLines(), expected);
    EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 0);

    // The same part again: a full part silently drops the stored dialogs of its number,
    // so the parked dialog starts afresh beside the confirmed one.
    devhost::clearEvents();
    notify(1, "keys-line1", "active", kMultipart, kParkedPart);
    EXPECT_EQ(listLines(), (Lines{"1 201  Front Desk 16 :", "1 201  Front Desk 80 305:Guest"}));
}

}  // namespace
