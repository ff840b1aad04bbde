// The XML node parser and the well-formedness test, on pugixml.
#include <pugixml.hpp>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <new>
#include <string>

#include "dev_host.h"
#include "internal.h"

namespace {

struct ParserImpl {
    std::string name;
    pugi::xml_document document;
    bool parsed = false;
    // Deques keep addresses stable while the tree grows.
    std::deque<ncElement> elements;
    std::deque<ncAttr> attrs;
    std::deque<uList> lists;
    std::deque<std::string> values;
};

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool isText(const pugi::xml_node &node) {
    return node.type() == pugi::node_pcdata || node.type() == pugi::node_cdata;
}

// Trims a value that lives in pugixml's own (writable) buffer without copying it.
const char *trimInPlace(const char *text) {
    while (isXmlSpace(*text)) ++text;
    std::size_t length = std::strlen(text);
    while (length > 0 && isXmlSpace(text[length - 1])) --length;
    const_cast<char *>(text)[length] = '\0';
    return text;
}

const char *elementValue(ParserImpl &impl, const pugi::xml_node &node, bool trim) {
    pugi::xml_node first;
    int count = 0;
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (!isText(child)) continue;
        if (count++ == 0) first = child;
    }
    if (count == 0) return nullptr;
    if (count == 1) return trim ? trimInPlace(first.value()) : first.value();
    std::string joined;
    for (pugi::xml_node child = first; child; child = child.next_sibling()) {
        if (isText(child)) joined += child.value();
    }
    if (trim) {
        std::size_t begin = 0;
        while (begin < joined.size() && isXmlSpace(joined[begin])) ++begin;
        std::size_t end = joined.size();
        while (end > begin && isXmlSpace(joined[end - 1])) --end;
        joined = joined.substr(begin, end - begin);
    }
    impl.values.push_back(std::move(joined));
    return impl.values.back().c_str();
}

ncElement *build(ParserImpl &impl, const pugi::xml_node &node, ncElement *parent, bool trim) {
    impl.elements.push_back(ncElement{});
    ncElement *element = &impl.elements.back();
    element->name = node.name();
    element->parent = parent;
    element->value = elementValue(impl, node, trim);
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
        if (element->attrs == nullptr) {
            impl.lists.emplace_back();
            element->attrs = &impl.lists.back();
        }
        impl.attrs.push_back(ncAttr{a.name(), a.value()});
        element->attrs->items.push_back(&impl.attrs.back());
    }
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling()) {
        if (child.type() != pugi::node_element) continue;
        if (element->children == nullptr) {
            impl.lists.emplace_back();
            element->children = &impl.lists.back();
        }
        element->children->items.push_back(build(impl, child, element, trim));
    }
    return element;
}

constexpr unsigned kParseOptions = pugi::parse_default | pugi::parse_ws_pcdata;

// A well-formed document has exactly one root element and no text beside it.
bool loadDocument(pugi::xml_document &document, const char *text, std::size_t length) {
    pugi::xml_parse_result result = document.load_buffer(text, length, kParseOptions, pugi::encoding_utf8);
    if (!result) return false;
    int roots = 0;
    for (pugi::xml_node child = document.first_child(); child; child = child.next_sibling()) {
        if (child.type() == pugi::node_element) {
            ++roots;
        } else if (isText(child)) {
            for (const char *p = child.value(); *p != '\0'; ++p) {
                if (!isXmlSpace(*p)) return false;
            }
        }
    }
    return roots == 1;
}

bool nameIs(const char *name, const char *step, std::size_t length) {
    return std::strncmp(name, step, length) == 0 && name[length] == '\0';
}

ncElement *firstChildNamed(const ncElement *element, const char *step, std::size_t length) {
    if (element->children == nullptr) return nullptr;
    for (void *item : element->children->items) {
        auto *child = static_cast<ncElement *>(item);
        if (nameIs(child->name, step, length)) return child;
    }
    return nullptr;
}

ncElement *walk(ncElement *element, const char *path) {
    if (element == nullptr || path == nullptr) return nullptr;
    const char *step = path;
    for (bool first = true;; first = false) {
        const char *dot = std::strchr(step, '.');
        std::size_t length = dot != nullptr ? static_cast<std::size_t>(dot - step) : std::strlen(step);
        if (first) {
            if (!nameIs(element->name, step, length)) return nullptr;
        } else {
            element = firstChildNamed(element, step, length);
            if (element == nullptr) return nullptr;
        }
        if (dot == nullptr) return element;
        step = dot + 1;
    }
}

ParserImpl *implOf(ncContext *ctx) { return static_cast<ParserImpl *>(ctx->impl); }

}  // namespace

extern "C" {

ncContext *ncCreatePrivate(const char *name) {
    if (!devhost::detail::allocationAllowed()) return nullptr;
    auto *ctx = static_cast<ncContext *>(std::calloc(1, sizeof(ncContext)));
    auto *impl = new (std::nothrow) ParserImpl;
    if (ctx == nullptr || impl == nullptr) {
        std::free(ctx);
        delete impl;
        return nullptr;
    }
    impl->name = name != nullptr ? name : "";
    ctx->name = impl->name.c_str();
    ctx->impl = impl;
    devhost::detail::countParser(1);
    return ctx;
}

int ncParseFromBuf(ncContext *ctx, const char *text, int) {
    if (ctx == nullptr || text == nullptr) return -1;
    ParserImpl *impl = implOf(ctx);
    if (impl->parsed) return -1;
    impl->parsed = true;
    if (!loadDocument(impl->document, text, std::strlen(text))) {
        impl->document.reset();
        return -1;
    }
    ctx->root = build(*impl, impl->document.document_element(), nullptr, ctx->option == 1);
    return 0;
}

ncElement *ncGetElementByName(ncContext *ctx, const char *path) {
    return ctx == nullptr ? nullptr : walk(ctx->root, path);
}

ncElement *ncSearchElement(ncElement *element, const char *path) { return walk(element, path); }

const char *ncGetElementValue(const ncElement *element) { return element == nullptr ? nullptr : element->value; }

const char *ncGetElementAttr(const ncElement *element, const char *name) {
    if (element == nullptr || name == nullptr || element->attrs == nullptr) return nullptr;
    for (void *item : element->attrs->items) {
        auto *attr = static_cast<ncAttr *>(item);
        if (std::strcmp(attr->name, name) == 0) return attr->value;
    }
    return nullptr;
}

void ncDestroy(ncContext *ctx) {
    if (ctx == nullptr) return;
    delete implOf(ctx);
    std::free(ctx);
    devhost::detail::countParser(-1);
}

int uXmlParseFromBuf(const char *text, int length, uXmlParseState *state, uXmlTagFunc onStart,
                     uXmlTagFunc onEnd, void *user) {
    if (text == nullptr || length < 0) return -1;
    if (state != nullptr) std::memset(state, 0, sizeof *state);
    pugi::xml_document document;
    std::size_t size = length > 0 ? static_cast<std::size_t>(length) : std::strlen(text);
    if (!loadDocument(document, text, size)) return -1;
    struct Walker : pugi::xml_tree_walker {
        uXmlTagFunc start, end;
        void *user;
        int lastDepth = -1;
        std::deque<pugi::xml_node> open;
        bool for_each(pugi::xml_node &node) override {
            if (node.type() != pugi::node_element) return true;
            while (!open.empty() && static_cast<int>(open.size()) > depth()) {
                if (end != nullptr) end(user, open.back().name());
                open.pop_back();
            }
            if (start != nullptr) start(user, node.name());
            open.push_back(node);
            return true;
        }
    } walker;
    walker.start = onStart;
    walker.end = onEnd;
    walker.user = user;
    if (onStart != nullptr) onStart(user, document.document_element().name());
    document.document_element().traverse(walker);
    while (!walker.open.empty()) {
        if (onEnd != nullptr) onEnd(user, walker.open.back().name());
        walker.open.pop_back();
    }
    if (onEnd != nullptr) onEnd(user, document.document_element().name());
    return 0;
}

}  // extern "C"
