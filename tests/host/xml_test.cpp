// The development host's XML node parser on pugixml.
#include "am_test.h"

namespace {

using amtest::HostTest;

class HostXml : public HostTest {
protected:
    ncContext *parse(const char *text, int option) {
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
    ncElement *dialog = ncGetElementByName(ctx_, "dialog-info.dialog");
    ASSERT_NE(dialog, nullptr);
    EXPECT_STREQ(ncGetElementAttr(dialog, "id"), "a");
    EXPECT_STREQ(ncGetElementAttr(dialog, "direction"), "initiator");
    EXPECT_EQ(ncGetElementAttr(dialog, "missing"), nullptr);
    ncAttr *first = static_cast<ncAttr *>(uListGet(dialog->attrs, 0));
    EXPECT_STREQ(first->name, "id");
    EXPECT_EQ(dialog->parent, ctx_->root);
    EXPECT_EQ(ncSearchElement(dialog, "dialog"), dialog);
    EXPECT_STREQ(ncGetElementValue(ncSearchElement(dialog, "dialog.bw:parked")), "yes & no");
    EXPECT_EQ(ncSearchElement(dialog, "dialog.parked"), nullptr);
    EXPECT_EQ(ncSearchElement(dialog, "state"), nullptr);
    EXPECT_EQ(ncGetElementByName(ctx_, "dialog.state"), nullptr);
    EXPECT_EQ(ncGetElementByName(ctx_, "dialog-info.nothing.state"), nullptr);
    EXPECT_EQ(uListSize(ctx_->root->children), 2);
    ncElement *second = static_cast<ncElement *>(uListGet(ctx_->root->children, 1));
    EXPECT_STREQ(ncGetElementAttr(second, "id"), "b");
    EXPECT_EQ(ncGetElementValue(ncSearchElement(second, "dialog.state")), nullptr);
    EXPECT_EQ(ncSearchElement(nullptr, "dialog"), nullptr);
    EXPECT_EQ(ncSearchElement(dialog, nullptr), nullptr);
}

TEST_F(HostXml, OptionWordZeroKeepsWhiteSpace) {
    parse(kDialogInfo, 0);
    ASSERT_EQ(result_, 0);
    EXPECT_STREQ(ncGetElementValue(ncGetElementByName(ctx_, "dialog-info.dialog.state")), "  confirmed ");
    const char *indent = ncGetElementValue(ncGetElementByName(ctx_, "dialog-info.dialog"));
    ASSERT_NE(indent, nullptr);
    EXPECT_EQ(std::string(indent).find_first_not_of(" \n"), std::string::npos);
}

TEST_F(HostXml, OptionWordOneTrimsValues) {
    parse(kDialogInfo, 1);
    ASSERT_EQ(result_, 0);
    EXPECT_STREQ(ncGetElementValue(ncGetElementByName(ctx_, "dialog-info.dialog.state")), "confirmed");
    EXPECT_STREQ(ncGetElementValue(ncGetElementByName(ctx_, "dialog-info.dialog")), "");
}

TEST_F(HostXml, MixedTextAndCdataAreJoined) {
    parse("<a> x <![CDATA[<y>]]><b/>z&lt; </a>", 0);
    ASSERT_EQ(result_, 0);
    EXPECT_STREQ(ncGetElementValue(ctx_->root), " x <y>z< ");
}

TEST_F(HostXml, TrimmedValuesAroundChildren) {
    // One solid piece among indentation, two solid pieces, and CDATA beside text.
    parse("<r>\n  <a>\n  <b/>  keep me \n  <c/>\n</a>  <d> x <e/> y </d><f> <![CDATA[ z ]]> </f></r>", 1);
    ASSERT_EQ(result_, 0);
    EXPECT_STREQ(ncGetElementValue(ncGetElementByName(ctx_, "r.a")), "keep me");
    EXPECT_STREQ(ncGetElementValue(ncGetElementByName(ctx_, "r.d")), "x  y");
    EXPECT_STREQ(ncGetElementValue(ncGetElementByName(ctx_, "r.f")), "z");
    EXPECT_STREQ(ncGetElementValue(ctx_->root), "");
    EXPECT_EQ(ncGetElementValue(ncGetElementByName(ctx_, "r.a.b")), nullptr);
    EXPECT_EQ(uListSize(ncGetElementByName(ctx_, "r.a")->children), 2);
}

TEST_F(HostXml, LargeAndDeeplyNestedDocuments) {
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
    ncDestroy(ctx_);

    std::string wide = "<list>";
    for (int i = 0; i < 20000; ++i) wide += "<m i=\"" + std::to_string(i) + "\" j=\"x\"/>";
    wide += "</list>";
    parse(wide.c_str(), 1);
    ASSERT_EQ(result_, 0);
    ASSERT_EQ(uListSize(ctx_->root->children), 20000);
    auto *last = static_cast<ncElement *>(uListGet(ctx_->root->children, 19999));
    EXPECT_STREQ(ncGetElementAttr(last, "i"), "19999");
    EXPECT_EQ(uListSize(last->attrs), 2);
    EXPECT_EQ(last->parent, ctx_->root);
}

TEST_F(HostXml, MalformedDocumentsAreRefused) {
    const char *bad[] = {"<a><b></a>", "<a>", "", "text only", "<a/><b/>", "<a attr=\"x></a>"};
    for (const char *text : bad) {
        ncContext *ctx = ncCreatePrivate("bad");
        EXPECT_EQ(ncParseFromBuf(ctx, text, 0), -1) << text;
        EXPECT_EQ(ctx->root, nullptr);
        ncDestroy(ctx);
        EXPECT_NE(uXmlParseFromBuf(text, 0, nullptr, nullptr, nullptr, nullptr), 0) << text;
    }
}

TEST_F(HostXml, ContextParsesOnce) {
    parse("<a/>", 0);
    ASSERT_EQ(result_, 0);
    EXPECT_EQ(ncParseFromBuf(ctx_, "<b/>", 0), -1);
    EXPECT_STREQ(ctx_->root->name, "a");
    EXPECT_STREQ(ctx_->name, "test");
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
