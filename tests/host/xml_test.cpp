// The development host's XML node parser on pugixml.
#include "am_test.h"

namespace {

using amtest::HostTest;

class HostXml : public HostTest {
protected:
    ncContext *parse(const char *text, int option) {
        ncDestroy(ctx_);
        ctx_ = ncCreatePrivate("test");
        ctx_->option = option;
        result_ = ncParseFromBuf(ctx_, text, 0);
        return ctx_;
    }
    void TearDown() override {
        ncDestroy(ctx_);
        EXPECT_EQ(devhost::liveParsers(), 0);
        HostTest::TearDown();
    }
    ncContext *ctx_ = nullptr;
    int result_ = -1;
};

const char kDialogInfo[] =
    "<?xml version=\"1.0\"?>\n"
    "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"1\" state=\"full\">\n"
    "  <dialog id=\"a\" direction=\"initiator\">\n"
    "    <state>  confirmed </state>\n"
    "    <bw:parked xmlns:bw=\"x\">yes &amp; no</bw:parked>\n"
    "  </dialog>\n"
    "  <dialog id=\"b\"><state/></dialog>\n"
    "</dialog-info>\n";

TEST_F(HostXml, PathsQualifiedNamesAndAttributesInOrder) {
    parse(kDialogInfo, 0);
    ASSERT_EQ(result_, 0);
    EXPECT_STREQ(ctx_->name, "test");
    ncElement *dialog = ncGetElementByName(ctx_, "dialog-info.dialog");
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->parent, ctx_->root);
    EXPECT_STREQ(ncGetElementAttr(dialog, "direction"), "initiator");
    EXPECT_EQ(ncGetElementAttr(dialog, "missing"), nullptr);
    ASSERT_EQ(uListSize(dialog->attrs), 2);
    EXPECT_STREQ(static_cast<ncAttr *>(uListGet(dialog->attrs, 0))->name, "id");
    EXPECT_EQ(ncSearchElement(dialog, "dialog"), dialog);
    EXPECT_STREQ(ncSearchElement(dialog, "dialog.bw:parked")->name, "bw:parked");
    ASSERT_EQ(uListSize(ctx_->root->children), 2);
    ncElement *second = static_cast<ncElement *>(uListGet(ctx_->root->children, 1));
    EXPECT_STREQ(ncGetElementAttr(second, "id"), "b");

    // Every failed step, and every NULL argument, answers NULL.
    const char *missing[] = {"dialog.state", "dialog-info.nothing.state", "dialog-info.dialog.parked", nullptr};
    for (const char *path : missing) EXPECT_EQ(ncGetElementByName(ctx_, path), nullptr) << path;
    EXPECT_EQ(ncSearchElement(dialog, "state"), nullptr);
    EXPECT_EQ(ncSearchElement(dialog, nullptr), nullptr);
    EXPECT_EQ(ncSearchElement(nullptr, "dialog"), nullptr);
    EXPECT_EQ(ncGetElementByName(nullptr, "dialog-info"), nullptr);
    EXPECT_TRUE(ncGetElementValue(nullptr) == nullptr && ncGetElementAttr(nullptr, "id") == nullptr);

    // A context holds one document.
    EXPECT_EQ(ncParseFromBuf(ctx_, "<b/>", 0), -1);
    EXPECT_STREQ(ctx_->root->name, "dialog-info");
}

TEST_F(HostXml, ValuesJoinTextAndCdataDecodedAndTrimmedByTheOptionWord) {
    const char *mixed = "<r>\n  <a>\n  <b/>  keep me \n  <c/>\n</a>  <d> x <e/> y </d><f> <![CDATA[ z ]]> </f></r>";
    const struct { const char *text; int option; const char *path; const char *value; } cases[] = {
        {kDialogInfo, 0, "dialog-info.dialog.state", "  confirmed "},
        {kDialogInfo, 1, "dialog-info.dialog.state", "confirmed"},
        {kDialogInfo, 0, "dialog-info.dialog", "\n    \n    \n  "},
        {kDialogInfo, 1, "dialog-info.dialog", ""},
        {kDialogInfo, 0, "dialog-info.dialog.bw:parked", "yes & no"},
        {"<a> x <![CDATA[<y>]]><b/>z&lt; </a>", 0, "a", " x <y>z< "},
        {mixed, 1, "r.a", "keep me"},
        {mixed, 1, "r.d", "x  y"},
        {mixed, 1, "r.f", "z"},
        {mixed, 1, "r", ""},
        {mixed, 0, "r.a.b", nullptr},
        {"<a></a>", 0, "a", nullptr},
    };
    for (const auto &c : cases) {
        parse(c.text, c.option);
        ASSERT_EQ(result_, 0) << c.text;
        ncElement *element = ncGetElementByName(ctx_, c.path);
        ASSERT_NE(element, nullptr) << c.path;
        if (c.value == nullptr) {
            EXPECT_EQ(ncGetElementValue(element), nullptr) << c.path;
        } else {
            EXPECT_STREQ(ncGetElementValue(element), c.value) << c.path << " option " << c.option;
        }
    }
}

TEST_F(HostXml, DeeplyNestedDocument) {
    std::string deep;
    for (int i = 0; i < 100000; ++i) deep += "<n k=\"v\">";
    deep += "leaf";
    for (int i = 0; i < 100000; ++i) deep += "</n>";
    parse(deep.c_str(), 1);
    ASSERT_EQ(result_, 0);
    ncElement *element = ctx_->root;
    int depth = 1;
    while (uListSize(element->children) == 1) {
        ncElement *child = static_cast<ncElement *>(uListGet(element->children, 0));
        ASSERT_EQ(child->parent, element);
        element = child;
        ++depth;
    }
    EXPECT_EQ(depth, 100000);
    EXPECT_STREQ(element->value, "leaf");
    EXPECT_STREQ(ncGetElementAttr(element, "k"), "v");
}

TEST_F(HostXml, MalformedDocumentsAreRefused) {
    const char *bad[] = {"<a><b></a>", "<a>", "", "text only", "<a/><b/>", "<a attr=\"x></a>"};
    for (const char *text : bad) {
        parse(text, 0);
        EXPECT_EQ(result_, -1) << text;
        EXPECT_EQ(ctx_->root, nullptr);
        EXPECT_NE(uXmlParseFromBuf(text, 0, nullptr, nullptr, nullptr, nullptr), 0) << text;
    }
}

void onTag(void *user, const char *name) { static_cast<std::string *>(user)->append(name).append(","); }
void onEndTag(void *user, const char *name) { static_cast<std::string *>(user)->append("/").append(name).append(","); }

TEST_F(HostXml, WellFormednessTestWalksTagsAndHonoursLength) {
    std::string tags;
    uXmlParseState state;
    EXPECT_EQ(uXmlParseFromBuf("<a><b/><c><d/></c></a>", 0, &state, onTag, onEndTag, &tags), 0);
    EXPECT_EQ(tags, "a,b,/b,c,d,/d,/c,/a,");
    const char text[] = "<a/><b/>";
    EXPECT_EQ(uXmlParseFromBuf(text, 4, nullptr, nullptr, nullptr, nullptr), 0);
    EXPECT_NE(uXmlParseFromBuf(text, 0, nullptr, nullptr, nullptr, nullptr), 0);
}

}  // namespace
