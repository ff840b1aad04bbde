// The XML node parser and the well-formedness test, on pugixml.
#include <pugixml.hpp>

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>
#include <vector>

#include "dev_host.h"
#include "internal.h"

namespace {

// A bump allocator for one parsed document: chunks released together with the context,
// the first sized from the document so that most documents need one. It is also the
// memory resource of the tree's lists. Nothing in the tree needs its destructor run.
class Arena : public std::pmr::memory_resource {
public:
    Arena() = default;
    Arena(const Arena &) = delete;
    Arena &operator=(const Arena &) = delete;
    ~Arena() override {
        while (chunk_ != nullptr) {
            Chunk *previous = chunk_->previous;
            ::operator delete(chunk_);
            chunk_ = previous;
        }
    }
    void expect(std::size_t bytes) { next_ = bytes; }
    void *take(std::size_t size, std::size_t align) {
        std::size_t at = (used_ + align - 1) & ~(align - 1);
        if (chunk_ == nullptr || at + size > capacity_) {
            grow(size + align);
            at = (used_ + align - 1) & ~(align - 1);
        }
        used_ = at + size;
        return reinterpret_cast<char *>(chunk_) + at;
    }

private:
    struct Chunk {
        Chunk *previous;
    };
    void grow(std::size_t atLeast) {
        std::size_t size = next_ > atLeast ? next_ : atLeast;
        size += sizeof(Chunk);
        auto *chunk = static_cast<Chunk *>(::operator new(size));
        chunk->previous = chunk_;
        chunk_ = chunk;
        capacity_ = size;
        used_ = sizeof(Chunk);
        next_ = size * 2;
    }
    void *do_allocate(std::size_t bytes, std::size_t align) override { return take(bytes, align); }
    void do_deallocate(void *, std::size_t, std::size_t) override {}
    bool do_is_equal(const std::pmr::memory_resource &other) const noexcept override { return this == &other; }

    Chunk *chunk_ = nullptr;
    std::size_t capacity_ = 0;
    std::size_t used_ = 0;
    std::size_t next_ = 4096;
};

struct ParserImpl {
    ncContext context{};  // what the caller holds; its impl points back here
    std::string name;
    pugi::xml_document document;
    bool parsed = false;
    Arena arena;  // the element tree: elements, attributes, lists, items, joined values

    template <typename T>
    T *make() {
        return new (arena.take(sizeof(T), alignof(T))) T();
    }
    uList *makeList(void *const *first, void *const *last) {
        return new (arena.take(sizeof(uList), alignof(uList))) uList{std::pmr::vector<void *>(first, last, &arena)};
    }
};

bool isXmlSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

bool isText(pugi::xml_node_type type) { return type == pugi::node_pcdata || type == pugi::node_cdata; }
bool isText(const pugi::xml_node &node) { return isText(node.type()); }

bool allSpace(const char *text) {
    while (isXmlSpace(*text)) ++text;
    return *text == '\0';
}

// Trims a value that lives in pugixml's own (writable) buffer without copying it.
const char *trimInPlace(const char *text) {
    while (isXmlSpace(*text)) ++text;
    std::size_t length = std::strlen(text);
    while (length > 0 && isXmlSpace(text[length - 1])) --length;
    const_cast<char *>(text)[length] = '\0';
    return text;
}

// An element with children, being built: its pugixml node, the next child to look at,
// where its children start on the scratch stack, and what its text pieces were. The
// parser keeps an element's first text on the element itself (`embedded`, "" when none),
// so only the text between and after children comes as nodes.
struct Open {
    ncElement *element;
    pugi::xml_node node;
    pugi::xml_node next;
    std::size_t childMark;
    const char *embedded;
    const char *firstText;
    const char *firstSolid;  // the first text piece that is not only white space
    int texts;
    int solids;
};

// An element's value: its text pieces as written, joined when there are several.
// Trimmed, pieces of white space around a single solid piece vanish, so the common case
// of an indented element needs no joined copy.
const char *elementValue(ParserImpl &impl, const Open &open, bool trim) {
    if (open.texts == 0) return nullptr;
    if (open.texts == 1) return trim ? trimInPlace(open.firstText) : open.firstText;
    if (trim && open.solids == 0) return "";
    if (trim && open.solids == 1) return trimInPlace(open.firstSolid);
    std::string joined = open.embedded;
    for (pugi::xml_node child = open.node.first_child(); child; child = child.next_sibling()) {
        if (isText(child)) joined += child.value();
    }
    std::size_t begin = 0;
    std::size_t end = joined.size();
    if (trim) {
        while (begin < end && isXmlSpace(joined[begin])) ++begin;
        while (end > begin && isXmlSpace(joined[end - 1])) --end;
    }
    char *value = static_cast<char *>(impl.arena.take(end - begin + 1, 1));
    std::memcpy(value, joined.data() + begin, end - begin);
    value[end - begin] = '\0';
    return value;
}

// Makes an element with its attributes; `scratch` is the shared stack the attribute
// pointers gather on before they move into a list of exactly their number.
ncElement *makeElement(ParserImpl &impl, const pugi::xml_node &node, ncElement *parent,
                       std::pmr::vector<void *> &scratch) {
    ncElement *element = impl.make<ncElement>();
    element->name = node.name();
    element->parent = parent;
    const std::size_t mark = scratch.size();
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
        ncAttr *attr = impl.make<ncAttr>();
        attr->name = a.name();
        attr->value = a.value();
        scratch.push_back(attr);
    }
    if (scratch.size() > mark) {
        element->attrs = impl.makeList(scratch.data() + mark, scratch.data() + scratch.size());
        scratch.resize(mark);
    }
    return element;
}

// Makes an element, a child of its parent on the scratch stack, and either finishes it
// at once (no children: most elements of a document) or opens it so that the walk goes
// through its children.
ncElement *openElement(ParserImpl &impl, const pugi::xml_node &node, ncElement *parent, bool trim,
                       std::pmr::vector<void *> &scratch, std::pmr::vector<Open> &open) {
    ncElement *element = makeElement(impl, node, parent, scratch);
    if (parent != nullptr) scratch.push_back(element);
    const char *embedded = node.value();
    const pugi::xml_node first = node.first_child();
    if (!first) {
        if (embedded[0] != '\0') element->value = trim ? trimInPlace(embedded) : embedded;
        return element;
    }
    Open entry{element, node, first, scratch.size(), embedded, nullptr, nullptr, 0, 0};
    if (embedded[0] != '\0') {
        entry.texts = 1;
        entry.firstText = embedded;
        if (trim && !allSpace(embedded)) {
            entry.solids = 1;
            entry.firstSolid = embedded;
        }
    }
    open.push_back(entry);
    return element;
}

// Builds the element tree in one walk over the document, without recursion (a deeply
// nested document cannot exhaust the stack). Each open element collects its children on
// a shared scratch stack and gets a list of exactly their number when it closes.
ncElement *build(ParserImpl &impl, const pugi::xml_node &root, bool trim) {
    std::pmr::vector<Open> open(&impl.arena);
    std::pmr::vector<void *> scratch(&impl.arena);
    open.reserve(16);
    scratch.reserve(64);
    ncElement *top = openElement(impl, root, nullptr, trim, scratch, open);
    while (!open.empty()) {
        Open &current = open.back();
        if (!current.next) {
            ncElement *element = current.element;
            element->value = elementValue(impl, current, trim);
            if (scratch.size() > current.childMark) {
                element->children = impl.makeList(scratch.data() + current.childMark, scratch.data() + scratch.size());
                scratch.resize(current.childMark);
            }
            open.pop_back();
            continue;
        }
        const pugi::xml_node node = current.next;
        current.next = node.next_sibling();
        const pugi::xml_node_type type = node.type();
        if (type == pugi::node_element) {
            openElement(impl, node, current.element, trim, scratch, open);  // `current` may move
        } else if (isText(type)) {
            const char *value = node.value();
            if (current.texts++ == 0) current.firstText = value;
            if (trim && !allSpace(value) && current.solids++ == 0) current.firstSolid = value;
        }
    }
    return top;
}

// White-space-only text is kept: an indented container has a value. The first text of an
// element is stored on the element itself, which spares a node for nearly every element.
constexpr unsigned kParseOptions = pugi::parse_default | pugi::parse_ws_pcdata | pugi::parse_embed_pcdata;

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
    auto *impl = new (std::nothrow) ParserImpl;
    if (impl == nullptr) return nullptr;
    impl->name = name != nullptr ? name : "";
    ncContext *ctx = &impl->context;
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
    const std::size_t length = std::strlen(text);
    if (!loadDocument(impl->document, text, length)) {
        impl->document.reset();
        return -1;
    }
    // The tree takes about twice the text's size.
    impl->arena.expect(2 * length + 1024);
    ctx->root = build(*impl, impl->document.document_element(), ctx->option == 1);
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
    delete implOf(ctx);  // the context with it
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
