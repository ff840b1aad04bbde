// Resource lists: RLMI documents and a whole resource-list NOTIFY as the protocol manager
// splits it.
#include <string>
#include <vector>

#include "dialog_fixture.h"

namespace {

using amtest::hasLog;
using namespace dialogtest;

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

void expectMembers(const std::vector<AmBlfList> &list, std::size_t first) {
    ASSERT_GE(list.size(), first + 2);
    EXPECT_STREQ(list[first].number, "201");
    EXPECT_STREQ(list[first].name, "Front Desk");
    EXPECT_EQ(list[first].status, 1);
    EXPECT_STREQ(list[first].ext, "");
    EXPECT_STREQ(list[first].parked.number, "");
    EXPECT_STREQ(list[first + 1].number, "203*1");
    EXPECT_STREQ(list[first + 1].name, "Back Office");
}

TEST_F(ResourceList, XmlReaderAnnouncesAFullListAndReportsNamedMembers) {
    const std::string body = rlmi("fullState=\"true\"");
    EXPECT_EQ(amDialogResourceXmlContentGet(1, "keys", body.c_str(), kRlmi, "active"),
              static_cast<int>(body.size()));
    std::vector<AmBlfList> list = listRecords();
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0].status, AM_BLF_LIST_CLEAR);
    EXPECT_EQ(list[0].line, 1);
    expectMembers(list, 1);

    // Single quotes defeat the literal full-state test, not the members.
    devhost::clearEvents();
    amDialogResourceXmlContentGet(1, "keys", rlmi("fullState='true'").c_str(), kRlmi, "active");
    ASSERT_EQ(listRecords().size(), 2u);
    expectMembers(listRecords(), 0);
    for (const char *other : {"<list fullState=\"TRUE\">", "<list fullState = \"true\">", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(amBlfListFullStateValueGet(other), 0);
    }
}

TEST_F(ResourceList, TextReaderForListsTheParserRejects) {
    // No entity on the list: no clear marker, members still reported.
    std::string body = rlmi("fullState=\"true\"") + "<trailing>";
    EXPECT_EQ(amDialogResourceXmlContentGet(2, "keys", body.c_str(), kRlmi, "active"),
              static_cast<int>(body.size()));
    EXPECT_TRUE(hasLog(2, kModule, "amDialogResourceTxtContentGet: list entity is invalid!"));
    ASSERT_EQ(listRecords().size(), 2u);
    expectMembers(listRecords(), 0);

    // With an entity the start tag's fullState counts, in any case and quotes.
    devhost::clearEvents();
    body = rlmi("entity=\"sip:keys@pbx.example.com\" fullState='TRUE'") + "<trailing>";
    EXPECT_EQ(amDialogResourceTxtContentGet(2, nullptr, body.c_str(), nullptr, nullptr), 0);
    ASSERT_EQ(listRecords().size(), 3u);
    EXPECT_EQ(listRecords()[0].status, AM_BLF_LIST_CLEAR);
    expectMembers(listRecords(), 1);

    devhost::clearEvents();
    for (const char *none : {"<list entity='sip:k@h'><resource uri='sip:1@h'/></list>", "no list here", "", static_cast<const char *>(nullptr)}) {
        EXPECT_EQ(amDialogResourceTxtContentGet(2, nullptr, none, nullptr, nullptr), -1);
    }
    EXPECT_TRUE(hasLog(2, kModule, "amDialogResourceTxtContentGet: No list info."));
    EXPECT_EQ(amDialogResourceXmlContentGet(2, nullptr, "<<< not a list", kRlmi, nullptr), 0);
    EXPECT_TRUE(hasLog(3, kModule, "amDialogResourceXmlContentGet: parse blf content failed!"));
    EXPECT_EQ(amDialogResourceXmlContentGet(2, nullptr, "", kRlmi, nullptr), 0);
    EXPECT_TRUE(hasLog(2, kModule, "amDialogResourceXmlContentGet: body null."));
    // Well-formed with an empty list: read, nothing reported.
    const char empty[] = "<list fullState=\"true\"/>";
    EXPECT_EQ(amDialogResourceXmlContentGet(2, nullptr, empty, kRlmi, nullptr), static_cast<int>(sizeof empty - 1));
    EXPECT_EQ(listRecords().size(), 0u);
}

TEST_F(ResourceList, WholeResourceListNotifyFromEndToEnd) {
    devhost::line(1).multiDialog = 1;
    const std::string list = rlmi("fullState=\"true\"");
    const char part203[] =
        "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"2\" state=\"full\" "
        "entity=\"sip:203%2A1@pbx.example.com\"><dialog id=\"e\" direction=\"initiator\"><state>early</state>"
        "</dialog></dialog-info>";

    notify(1, "keys-line1", "active", kRlmi, list.c_str());
    notify(1, "keys-line1", "active", kMultipart, kParkedPart);
    notify(1, "keys-line1", "active", kMultipart, part203);
    notify(1, "keys-line1", "active", kMultipart, "finish");

    std::vector<AmBlfList> got = listRecords();
    ASSERT_EQ(got.size(), 7u);
    EXPECT_EQ(got[0].status, AM_BLF_LIST_CLEAR);
    expectMembers(got, 1);
    EXPECT_STREQ(got[3].number, "201");
    EXPECT_EQ(got[3].status, 1 << 4);
    EXPECT_STREQ(got[3].name, "Front Desk");
    EXPECT_STREQ(got[4].number, "201");
    EXPECT_STREQ(got[4].name, "Front Desk");
    EXPECT_EQ(got[4].status, (1 << 4) | (1 << 6));
    EXPECT_STREQ(got[4].parked.number, "305");
    EXPECT_STREQ(got[4].parked.display, "Guest");
    EXPECT_STREQ(got[5].number, "203*1");
    EXPECT_EQ(got[5].status, 1 << 4);  // early and outgoing
    EXPECT_EQ(got[6].status, AM_BLF_LIST_FINISH);
    for (const AmBlfList &r : got) EXPECT_EQ(r.line, 1);
    EXPECT_EQ(amtest::countEvents(AM_BLF_EVENT_NAME), 0);

    // The same part again: a full part silently drops the stored dialogs of its number,
    // so the parked dialog starts afresh beside the confirmed one.
    devhost::clearEvents();
    notify(1, "keys-line1", "active", kMultipart, kParkedPart);
    got = listRecords();
    ASSERT_EQ(got.size(), 2u);
    EXPECT_EQ(got[0].status, 1 << 4);
    EXPECT_EQ(got[1].status, (1 << 4) | (1 << 6));
}

}  // namespace
