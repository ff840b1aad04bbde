// The dialog-info text scanner and the URI number rules.
#include <cstdlib>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::countLogs;
using amtest::hasLog;

constexpr char kModule[] = "ostra.am.dialogInfo";

class Scanner : public amtest::HostTest {
protected:
    // A heap copy of exactly the text's size, so that AddressSanitizer catches any read
    // past its terminating NUL.
    const char *exact(const std::string &text) {
        char *copy = static_cast<char *>(std::malloc(text.size() + 1));
        std::memcpy(copy, text.c_str(), text.size() + 1);
        copies_.push_back(copy);
        return copy;
    }
    void TearDown() override {
        for (char *copy : copies_) std::free(copy);
        EXPECT_EQ(devhost::liveBlocks(), 0);
        amtest::HostTest::TearDown();
    }
    std::vector<char *> copies_;
};

const char kRfcExample[] =
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

TEST_F(Scanner, ElementSearchIsAPrefixMatchBoundedByTheLimit) {
    const char *body = exact(kRfcExample);
    const char *start = nullptr;
    const char *end = nullptr;
    // "dialog" first finds the dialog-info element itself.
    int offset = amBlfParseItem(body, nullptr, "dialog", &start, &end);
    EXPECT_EQ(std::string(start, 12), "<dialog-info");
    EXPECT_EQ(body + offset, end);
    EXPECT_EQ(std::string(end - 9, 9), "</dialog>");
    // From just past the dialog-info start tag it finds the dialog.
    const char *inner = std::strchr(start, '>') + 1;
    offset = amBlfParseItem(inner, nullptr, "dialog", &start, &end);
    EXPECT_EQ(std::string(start, 20), "<dialog id=\"as7d900a");
    EXPECT_EQ(inner + offset, end);

    // Opening and closing tags count when they start before the limit.
    const char *remote = std::strstr(body, "<remote>");
    const char *remoteClose = std::strstr(body, "</remote>");
    EXPECT_EQ(amBlfParseItem(body, remote, "remote", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItem(body, remoteClose, "remote", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItem(body, remoteClose + 1, "remote", nullptr, &end), remoteClose + 9 - body);

    char state[16] = "untouched";
    EXPECT_GT(amBlfParseItemValue(body, nullptr, "state", state, sizeof state), 0);
    EXPECT_STREQ(state, "confirmed");
    EXPECT_EQ(amBlfParseItemValue(body, nullptr, "nothing", state, sizeof state), -1);
    EXPECT_STREQ(state, "confirmed");

    // Argument rules.
    EXPECT_EQ(amBlfParseItem(nullptr, nullptr, "dialog", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItem(body, nullptr, nullptr, nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItem(body, nullptr, "", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItem(body + 10, body + 5, "dialog", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItemValue(body + 10, body + 5, "state", state, sizeof state), -1);
}

TEST_F(Scanner, UnclosedElementEndsAtTheFirstSelfClosingMarkEvenPastTheLimit) {
    const char *body = exact("<a><x id='1'>text<b/></a><c/>");
    const char *start = nullptr;
    const char *end = nullptr;
    const char *limit = body + 8;
    int offset = amBlfParseItem(body, limit, "x", &start, &end);
    EXPECT_EQ(start, body + 3);
    EXPECT_EQ(std::string(end - 4, 4), "<b/>");
    EXPECT_EQ(offset, end - body);
    // The value reader takes the same fallback and copies nothing.
    char out[16] = "kept";
    offset = amBlfParseItemValue(body, limit, "x", out, sizeof out);
    EXPECT_EQ(offset, end - body);
    EXPECT_STREQ(out, "kept");
    // A closing tag beyond the limit does not count.
    const char *closed = exact("<v>abc</v>");
    EXPECT_EQ(amBlfParseItemValue(closed, closed + 6, "v", out, sizeof out), -1);
    EXPECT_EQ(amBlfParseItemValue(closed, nullptr, "v", out, sizeof out), 10);
    EXPECT_STREQ(out, "abc");
    // Content is copied raw and cut to the buffer.
    char small[8];
    EXPECT_EQ(amBlfParseItemValue(exact("<s> a&amp;b </s>"), nullptr, "s", small, sizeof small), 16);
    EXPECT_STREQ(small, " a&amp;");
    // Neither a closing tag nor "/>": nothing.
    EXPECT_EQ(amBlfParseItem(exact("<a><x>open"), nullptr, "x", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItemValue(exact("<x"), nullptr, "x", out, sizeof out), -1);
}

TEST_F(Scanner, AttributeReaderRulesAndMessages) {
    char out[32] = {};
    const char *tag = exact("<dialog id = 'a1' direction=\"recipient\">");
    EXPECT_EQ(amBlfParseItemAttr(tag, nullptr, "id", out, sizeof out), 1);
    EXPECT_STREQ(out, "a1");
    EXPECT_EQ(amBlfParseItemAttr(tag, nullptr, "direction", out, sizeof out), 1);
    EXPECT_STREQ(out, "recipient");

    // The name is not anchored: "id" is found inside call-id.
    EXPECT_EQ(amBlfParseItemAttr(exact("<dialog call-id=\"c1\" id=\"d1\">"), nullptr, "id", out, sizeof out), 1);
    EXPECT_STREQ(out, "c1");

    // Unquoted value: logged, and the search goes on to a later match.
    const char *unquoted = exact("<d id=a1 x-id=\"b2\">");
    EXPECT_EQ(amBlfParseItemAttr(unquoted, nullptr, "id", out, sizeof out), 1);
    EXPECT_STREQ(out, "b2");
    EXPECT_TRUE(hasLog(2, kModule, "Attr does not have quote!"));

    // A name without "=" is skipped the same way.
    const char *bare = exact("<d hidden id='z'>");
    EXPECT_EQ(amBlfParseItemAttr(bare, nullptr, "id", out, sizeof out), 1);
    EXPECT_STREQ(out, "z");
    EXPECT_TRUE(hasLog(2, kModule, "Attr does not have value!"));

    // The only match lies beyond the limit.
    devhost::clearLogs();
    std::strcpy(out, "kept");
    const char *two = exact("<a x='1'><b id='2'/>");
    EXPECT_EQ(amBlfParseItemAttr(two, two + 9, "id", out, sizeof out), 0);
    EXPECT_TRUE(hasLog(2, kModule, "Attr [id] not in current Item!"));
    EXPECT_STREQ(out, "kept");
    // Not there at all: no log.
    devhost::clearLogs();
    EXPECT_EQ(amBlfParseItemAttr(two, nullptr, "missing", out, sizeof out), 0);
    EXPECT_TRUE(devhost::logs().empty());
    // The closing quote lies beyond the limit.
    const char *longValue = exact("<a id='12345'>");
    EXPECT_EQ(amBlfParseItemAttr(longValue, longValue + 8, "id", out, sizeof out), 0);
    EXPECT_TRUE(hasLog(2, kModule, "Attr match quote exceeded current dialog info!"));
    // No closing quote at all.
    EXPECT_EQ(amBlfParseItemAttr(exact("<a id='12345>"), nullptr, "id", out, sizeof out), 0);
    EXPECT_TRUE(hasLog(2, kModule, "Attr value does not have match quote!"));
    EXPECT_STREQ(out, "kept");

    EXPECT_EQ(amBlfParseItemAttr(nullptr, nullptr, "id", out, sizeof out), 0);
    EXPECT_EQ(amBlfParseItemAttr(tag, nullptr, "", out, sizeof out), 0);
    EXPECT_EQ(amBlfParseItemAttr(tag + 5, tag, "id", out, sizeof out), 0);
}

TEST_F(Scanner, NumberFromUri) {
    char out[64];
    amBlfParseNumFromUri("\"Front Desk\" <sip:201%23@pbx.example.com;transport=tcp>", out, sizeof out);
    EXPECT_STREQ(out, "201#");
    amBlfParseNumFromUri("tel:+15551234;ext=22", out, sizeof out);
    EXPECT_STREQ(out, "+15551234");
    amBlfParseNumFromUri("4711", out, sizeof out);
    EXPECT_STREQ(out, "4711");
    amBlfParseNumFromUri("SIPS:bob@example.org", out, sizeof out);
    EXPECT_STREQ(out, "bob");
    // "sip:" anywhere wins over the leading "tel:".
    amBlfParseNumFromUri("tel:1234;phone-context=sip:ctx@example.com", out, sizeof out);
    EXPECT_STREQ(out, "ctx");
    amBlfParseNumFromUri("user;x@host", out, sizeof out);
    EXPECT_STREQ(out, "user;x");
    char small[4];
    amBlfParseNumFromUri("sip:123456@h", small, sizeof small);
    EXPECT_STREQ(small, "123");
    std::strcpy(small, "ab");
    amBlfParseNumFromUri(nullptr, small, sizeof small);
    EXPECT_STREQ(small, "ab");

    char number[96] = "untouched";
    char ext[64] = {};
    amBlfParseExtFromUri("tel:+15551234;ext=22;x=y", number, ext);
    EXPECT_STREQ(ext, "22");
    EXPECT_STREQ(number, "untouched");
    std::memset(ext, 0, sizeof ext);
    amBlfParseExtFromUri("tel:%2B1555;isub=x", number, ext);
    EXPECT_STREQ(number, "%2B1555");
    EXPECT_STREQ(ext, "");
    // "ext=" is a plain substring: phone-context carries one.
    amBlfParseExtFromUri("tel:1555;phone-context=example.com", number, ext);
    EXPECT_STREQ(ext, "example.com");
    amBlfParseExtFromUri("sip:300@pbx", number, ext);
    EXPECT_STREQ(number, "300");
}

TEST_F(Scanner, DialogOfTheRfcExampleWithRendering) {
    const char *body = exact(kRfcExample);
    const char *inner = std::strchr(std::strstr(body, "<dialog-info"), '>') + 1;
    AmBlfParsedDialog dialog = {};
    AmBlfParkedInfo parked = {};
    int offset = amBlfParseDialog(inner, nullptr, "sip:alice@example.com", &dialog, &parked);
    ASSERT_GT(offset, 0);
    EXPECT_EQ(std::string(inner + offset - 9, 9), "</dialog>");
    EXPECT_STREQ(dialog.number, "alice");
    EXPECT_STREQ(dialog.display, "Alice");
    EXPECT_STREQ(dialog.direction, "initiator");
    EXPECT_STREQ(dialog.id, "as7d900as8");
    EXPECT_STREQ(dialog.state, "holding");
    EXPECT_STREQ(dialog.remote, "Bob");
    EXPECT_STREQ(dialog.remoteDisplay, "");
    EXPECT_STREQ(parked.number, "");
    // No further dialog.
    AmBlfParsedDialog next = {};
    EXPECT_LT(amBlfParseDialog(inner + offset, nullptr, "sip:alice@example.com", &next, nullptr), 0);
    EXPECT_EQ(amBlfParseDialog(inner, nullptr, nullptr, &next, nullptr), -1);

}

TEST_F(Scanner, LocalIdentitiesTelExtensionAndForeignSip) {
    // Compact, with a tel: identity carrying an extension.
    const char *compact = exact(
        "<dialog id=\"7\" direction=\"recipient\"><state>early</state><local>"
        "<identity display=\"Main\">sip:main@pbx.example.com</identity>"
        "<identity display=\"Desk 5\">tel:+4930123;ext=105</identity></local>"
        "<remote><identity>sip:%2B4930999@carrier.example.net</identity></remote></dialog>");
    AmBlfParsedDialog dialog = {};
    ASSERT_GT(amBlfParseDialog(compact, nullptr, "", &dialog, nullptr), 0);
    EXPECT_STREQ(dialog.ext, "105");
    EXPECT_STREQ(dialog.number, "");
    EXPECT_STREQ(dialog.display, "Desk 5");
    EXPECT_STREQ(dialog.remote, "+4930999");
    EXPECT_STREQ(dialog.state, "early");

    // A sip: identity that does not name the entity is ignored.
    AmBlfParsedDialog foreign = {};
    ASSERT_GT(amBlfParseDialog(exact("<dialog id='1'><state>confirmed</state><local>"
                                     "<identity display='Other'>sip:999@elsewhere</identity></local></dialog>"),
                               nullptr, "sip:201@pbx", &foreign, nullptr),
              0);
    EXPECT_STREQ(foreign.number, "201");
    EXPECT_STREQ(foreign.display, "");
    EXPECT_TRUE(hasLog(2, kModule, "Parse local target failed!!!"));
}

TEST_F(Scanner, PatternBufferOutOfMemory) {
    const char *body = exact(kRfcExample);
    char out[16] = "kept";
    devhost::failNth(1);
    EXPECT_EQ(amBlfParseItem(body, nullptr, "dialog", nullptr, nullptr), -1);
    devhost::failNth(1);
    EXPECT_EQ(amBlfParseItemValue(body, nullptr, "state", out, sizeof out), -1);
    EXPECT_STREQ(out, "kept");
    AmBlfParsedDialog dialog = {};
    devhost::failNth(1);
    EXPECT_LT(amBlfParseDialog(body, nullptr, "", &dialog, nullptr), 0);
}

TEST_F(Scanner, HostileInputNeverReadsPastTheText) {
    AmBlfParsedDialog dialog = {};
    AmBlfParkedInfo parked = {};
    char out[16];
    // Unterminated elements, attributes and quotes at every cut of a real document.
    const std::string full = kRfcExample;
    for (std::size_t cut = 0; cut <= full.size(); ++cut) {
        const char *text = exact(full.substr(0, cut));
        std::memset(&dialog, 0, sizeof dialog);
        std::memset(&parked, 0, sizeof parked);
        int offset = 0;
        while (offset >= 0 && text[offset] != '\0') {
            int step = amBlfParseDialog(text + offset, nullptr, "sip:alice@example.com", &dialog, &parked);
            if (step <= 0) break;
            offset += step;
        }
        amBlfParseItemAttr(text, nullptr, "display", out, sizeof out);
        amBlfParseItemValue(text, nullptr, "identity", out, sizeof out);
    }
    // A huge attribute value and a huge element value are cut to their buffers.
    std::string huge = "<dialog id=\"" + std::string(100000, '9') + "\" direction='" + std::string(5000, 'r') +
                       "'><state>" + std::string(70000, 'c') + "</state><remote><identity display=\"" +
                       std::string(4096, 'N') + "\">sip:" + std::string(9000, '1') +
                       "@h</identity></remote></dialog>";
    std::memset(&dialog, 0, sizeof dialog);
    ASSERT_GT(amBlfParseDialog(exact(huge), nullptr, "sip:22@h", &dialog, &parked), 0);
    EXPECT_EQ(std::strlen(dialog.id), sizeof dialog.id - 1);
    EXPECT_EQ(std::strlen(dialog.direction), sizeof dialog.direction - 1);
    EXPECT_EQ(std::strlen(dialog.state), sizeof dialog.state - 1);
    EXPECT_EQ(std::strlen(dialog.remote), sizeof dialog.remote - 1);
    // Quotes that never close, "=" at the very end, a lone "<".
    for (const char *text : {"<dialog id=\"", "<dialog id=", "<dialog id", "<", "<dialog/>", "</dialog>",
                             "<dialog id='x\"/><dialog id=\"y'/>"}) {
        std::memset(&dialog, 0, sizeof dialog);
        amBlfParseDialog(exact(text), nullptr, "", &dialog, &parked);
        amBlfParseItemAttr(exact(text), nullptr, "id", out, sizeof out);
    }
    // A limit past the NUL of the text is never followed.
    const char *shortText = exact("<a");
    EXPECT_EQ(amBlfParseItem(shortText, shortText + 40, "ab", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItemAttr(shortText, shortText + 40, "a", out, sizeof out), 0);
}

}  // namespace
