// The dialog-info text scanner and the URI number rules.
#include <string>

#include "dialog_fixture.h"

namespace {

using amtest::hasLog;
using namespace dialogtest;

using Scanner = DialogTest;

TEST_F(Scanner, ElementSearchIsAPrefixMatch) {
    const char *body = exact(kRfcExample);
    const char *start = nullptr;
    const char *end = nullptr;
    // "dialog" first finds the dialog-info element itself, ending at the dialog's close.
    int offset = amBlfParseItem(body, nullptr, "dialog", &start, &end);
    EXPECT_EQ(std::string(start, 12), "<dialog-info");
    EXPECT_EQ(body + offset, end);
    EXPECT_EQ(std::string(end - 9, 9), "</dialog>");
    const char *inner = std::strchr(start, '>') + 1;
    offset = amBlfParseItem(inner, nullptr, "dialog", &start, &end);
    EXPECT_EQ(std::string(start, 20), "<dialog id=\"as7d900a");
    EXPECT_EQ(inner + offset, end);
    EXPECT_EQ(amBlfParseItem(nullptr, nullptr, "dialog", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItem(body + 10, body + 5, "dialog", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItemValue(body + 10, body + 5, "state", nullptr, 0), -1);
}

TEST_F(Scanner, ElementAndValueReadersOnShortTexts) {
    struct {
        const char *text;
        int limit;  // offset of the limit; -1 for none
        const char *name;
        int item;   // result of the element reader
        int value;  // result of the value reader
        const char *out;
    } const cases[] = {
        // Unclosed inside the limit: up to the first "/>", even past the limit; no value.
        {"<a><x id='1'>text<b/></a><c/>", 8, "x", 21, 21, "kept"},
        // Opening and closing tags count when they start before the limit.
        {"<v>abc</v>", 0, "v", -1, -1, "kept"},
        {"<v>abc</v>", 6, "v", -1, -1, "kept"},
        {"<v>abc</v>", 7, "v", 10, 10, "abc"},
        {"<v>abc</v>", -1, "v", 10, 10, "abc"},
        {"<s> a&amp;b </s>", -1, "s", 16, 16, " a&amp;"},  // raw, cut to the buffer
        {"<state/><x/>", -1, "state", 8, 12, "kept"},       // the value's "/>" follows its ">"
        {"<a><x>open", -1, "x", -1, -1, "kept"},
        {"<x", -1, "x", -1, -1, "kept"},
        {"<x>a</x>", -1, "", -1, -1, "kept"},
        {"<x>a</x>", -1, nullptr, -1, -1, "kept"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.text);
        const char *text = exact(c.text);
        const char *limit = c.limit < 0 ? nullptr : text + c.limit;
        const char *end = nullptr;
        EXPECT_EQ(amBlfParseItem(text, limit, c.name, nullptr, &end), c.item);
        EXPECT_EQ(end, c.item < 0 ? nullptr : text + c.item);
        char out[8] = "kept";
        EXPECT_EQ(amBlfParseItemValue(text, limit, c.name, out, sizeof out), c.value);
        EXPECT_STREQ(out, c.out);
    }
}

TEST_F(Scanner, AttributeReaderRulesAndMessages) {
    struct Case {
        const char *text;
        int limit;  // offset of the limit; -1 for none
        const char *attr;
        int result;
        const char *value;
        const char *log;  // "" when nothing may be logged
    };
    const Case cases[] = {
        {"<dialog id = 'a1' direction=\"recipient\">", -1, "direction", 1, "recipient", ""},
        {"<dialog id = 'a1' direction=\"recipient\">", -1, "id", 1, "a1", ""},
        // Not anchored: "id" is found inside call-id.
        {"<dialog call-id=\"c1\" id=\"d1\">", -1, "id", 1, "c1", ""},
        {"<d id=a1 x-id=\"b2\">", -1, "id", 1, "b2", "Attr does not have quote!"},
        {"<d hidden id='z'>", -1, "id", 1, "z", "Attr does not have value!"},
        {"<a x='1'><b id='2'/>", 9, "id", 0, "kept", "Attr [id] not in current Item!"},
        {"<a x='1'><b id='2'/>", -1, "missing", 0, "kept", ""},
        {"<a id='12345'>", 8, "id", 0, "kept", "Attr match quote exceeded current dialog info!"},
        {"<a id='12345>", -1, "id", 0, "kept", "Attr value does not have match quote!"},
        {"<a id='1'>", -1, "", 0, "kept", ""},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.text);
        devhost::clearLogs();
        char out[32] = "kept";
        const char *text = exact(c.text);
        EXPECT_EQ(amBlfParseItemAttr(text, c.limit < 0 ? nullptr : text + c.limit, c.attr, out, sizeof out), c.result);
        EXPECT_STREQ(out, c.value);
        if (c.log[0] == '\0') {
            EXPECT_TRUE(devhost::logs().empty());
        } else {
            EXPECT_TRUE(hasLog(2, kModule, c.log));
        }
    }
    char out[8];
    EXPECT_EQ(amBlfParseItemAttr(nullptr, nullptr, "id", out, sizeof out), 0);
    const char *tag = exact("<a id='1'>");
    EXPECT_EQ(amBlfParseItemAttr(tag + 5, tag, "id", out, sizeof out), 0);
}

TEST_F(Scanner, NumberAndExtensionFromUri) {
    struct {
        const char *uri;
        int size;
        const char *number;
    } const numbers[] = {
        {"\"Front Desk\" <sip:201%23@pbx.example.com;transport=tcp>", 64, "201#"},
        {"tel:+15551234;ext=22", 64, "+15551234"},
        {"4711", 64, "4711"},
        {"SIPS:bob@example.org", 64, "bob"},
        {"tel:1234;phone-context=sip:ctx@example.com", 64, "ctx"},  // "sip:" anywhere wins
        {"user;x@host", 64, "user;x"},
        {"sip:123456@h", 4, "123"},
    };
    for (const auto &n : numbers) {
        char out[64];
        amBlfParseNumFromUri(n.uri, out, n.size);
        EXPECT_STREQ(out, n.number) << n.uri;
    }
    char kept[4] = "ab";
    amBlfParseNumFromUri(nullptr, kept, sizeof kept);
    EXPECT_STREQ(kept, "ab");

    // {uri, number, ext}: the extension goes to ext and leaves number alone; no decoding.
    const char *exts[][3] = {
        {"tel:+15551234;ext=22;x=y", "untouched", "22"},
        {"tel:%2B1555;isub=x", "%2B1555", ""},
        {"tel:1555;phone-context=example.com", "untouched", "example.com"},  // a plain substring
        {"sip:300@pbx", "300", ""},
    };
    for (const auto &e : exts) {
        char number[96] = "untouched";
        char ext[64] = {};
        amBlfParseExtFromUri(e[0], number, ext);
        EXPECT_STREQ(number, e[1]) << e[0];
        EXPECT_STREQ(ext, e[2]) << e[0];
    }
}

// A parsed dialog as "number|display|direction|state|id|ext|remote|remoteDisplay".
std::string parsed(const AmBlfParsedDialog &d) {
    return std::string(d.number) + "|" + d.display + "|" + d.direction + "|" + d.state + "|" + d.id + "|" + d.ext +
           "|" + d.remote + "|" + d.remoteDisplay;
}

TEST_F(Scanner, DialogElementsOfLocalRemoteAndTarget) {
    const char *body = exact(kRfcExample);
    const char *inner = std::strchr(std::strstr(body, "<dialog-info"), '>') + 1;
    AmBlfParsedDialog dialog = {};
    AmBlfParkedInfo parked = {};
    int offset = amBlfParseDialog(inner, nullptr, "sip:alice@example.com", &dialog, &parked);
    EXPECT_EQ(std::string(inner + offset - 9, 9), "</dialog>");
    // Held: pval "no" on the local target.
    EXPECT_EQ(parsed(dialog), "alice|Alice|initiator|holding|as7d900as8||Bob|");
    EXPECT_STREQ(parked.number, "");
    EXPECT_LT(amBlfParseDialog(inner + offset, nullptr, "sip:alice@example.com", &dialog, nullptr), 0);
    EXPECT_EQ(amBlfParseDialog(inner, nullptr, nullptr, &dialog, nullptr), -1);

    // A tel: identity gives the extension; the remote number is decoded.
    AmBlfParsedDialog tel = {};
    amBlfParseDialog(exact("<dialog id=\"7\" direction=\"recipient\"><state>early</state><local>"
                           "<identity display=\"Main\">sip:main@pbx.example.com</identity>"
                           "<identity display=\"Desk 5\">tel:+4930123;ext=105</identity></local>"
                           "<remote><identity>sip:%2B4930999@carrier.example.net</identity></remote></dialog>"),
                     nullptr, "", &tel, nullptr);
    EXPECT_EQ(parsed(tel), "|Desk 5|recipient|early|7|105|+4930999|");

    // A sip: identity that does not name the entity is ignored.
    AmBlfParsedDialog foreign = {};
    amBlfParseDialog(exact("<dialog id='1'><state>confirmed</state><local>"
                           "<identity display='Other'>sip:999@elsewhere</identity></local></dialog>"),
                     nullptr, "sip:201@pbx", &foreign, nullptr);
    EXPECT_EQ(parsed(foreign), "201|||confirmed|1|||");
    EXPECT_TRUE(hasLog(2, kModule, "Parse local target failed!!!"));
}

// Whole documents cut at every length go through the readers in the NOTIFY tests.
TEST_F(Scanner, HostileInputNeverReadsPastTheText) {
    AmBlfParsedDialog dialog = {};
    AmBlfParkedInfo parked = {};
    char out[16];
    for (const char *text : {"<dialog id=\"", "<dialog id=", "<dialog id", "<", "<dialog/>", "</dialog>",
                             "<dialog id='x\"/><dialog id=\"y'/>"}) {
        amBlfParseDialog(exact(text), nullptr, "", &dialog, &parked);
        amBlfParseItemAttr(exact(text), nullptr, "id", out, sizeof out);
    }
    // A limit past the NUL of the text is never followed.
    const char *shortText = exact("<a");
    EXPECT_EQ(amBlfParseItem(shortText, shortText + 40, "ab", nullptr, nullptr), -1);
    EXPECT_EQ(amBlfParseItemAttr(shortText, shortText + 40, "a", out, sizeof out), 0);
}

}  // namespace
