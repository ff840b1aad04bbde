// The dialog-info text scanner: finds elements and attributes by plain substring search
// inside bounded stretches of a body, for documents the XML parser rejects and for
// resource lists read as text. It tolerates malformed documents; it never reads past the
// NUL of its text and every copy is bounded by its destination.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.dialogInfo";

// First occurrence of `needle` that starts in [from, limit), never looking past the NUL
// of the text; a null `limit` means the end of the text. Equivalent to strstr followed
// by a check against `limit`, but it stops at `limit` so that a search inside one
// element does not run through the rest of the document. Candidates are found with
// strchr, which may look past `limit` only up to the next occurrence of the first
// character.
const char *findBounded(const char *from, const char *limit, const char *needle) {
    const char first = needle[0];
    const char second = needle[1];
    const std::size_t restLength = std::strlen(needle) - 1;
    for (const char *p = from;; ++p) {
        if (limit != nullptr && p >= limit) return nullptr;
        p = std::strchr(p, first);
        if (p == nullptr || (limit != nullptr && p >= limit)) return nullptr;
        // p[1] is at worst the terminating NUL.
        if (second == '\0') return p;
        if (p[1] == second && std::strncmp(p + 1, needle + 1, restLength) == 0) return p;
    }
}

bool argumentsValid(const char *text, const char *limit, const char *name) {
    return text != nullptr && name != nullptr && name[0] != '\0' && (limit == nullptr || text <= limit);
}

// The heap pattern buffer of one element search, formatted as "<name" and then as
// "</name>". Released on every path.
class TagPattern {
public:
    explicit TagPattern(const char *name)
        : name_(name), size_(std::strlen(name) + 4), buffer_(static_cast<char *>(uMalloc(size_))) {}
    ~TagPattern() { uFree(buffer_); }
    TagPattern(const TagPattern &) = delete;
    TagPattern &operator=(const TagPattern &) = delete;

    bool allocated() const { return buffer_ != nullptr; }
    const char *opening() { return format("<", ""); }
    const char *closing() { return format("</", ">"); }

private:
    // "<name" and "</name>" fit the buffer of strlen(name) + 4 bytes exactly.
    const char *format(const char *before, const char *after) {
        const std::size_t nameLength = size_ - 4;
        const std::size_t beforeLength = std::strlen(before);
        std::memcpy(buffer_, before, beforeLength);
        std::memcpy(buffer_ + beforeLength, name_, nameLength);
        std::strcpy(buffer_ + beforeLength + nameLength, after);
        return buffer_;
    }

    const char *name_;
    std::size_t size_;
    char *buffer_;
};

struct Element {
    const char *start;    // its "<"
    const char *end;      // just past its closing tag or "/>"
    const char *content;  // just past the first ">" of its start tag (value reader only)
    const char *contentEnd;
};

// Finds the first element `name` starting in [text, limit). With `wantContent` the value
// reader's rule applies: the closing tag is searched after the start tag's ">" and a
// missing closing tag leaves no content.
bool findElement(const char *text, const char *limit, const char *name, bool wantContent, Element &out) {
    if (!argumentsValid(text, limit, name)) return false;
    TagPattern pattern(name);
    if (!pattern.allocated()) return false;
    const char *open = findBounded(text, limit, pattern.opening());
    if (open == nullptr) return false;
    const char *from = open;
    out.content = nullptr;
    out.contentEnd = nullptr;
    if (wantContent) {
        const char *gt = std::strchr(open, '>');
        if (gt == nullptr) return false;
        from = gt + 1;
    }
    const char *closing = pattern.closing();
    const char *close = findBounded(from, limit, closing);
    if (close != nullptr) {
        out.start = open;
        out.end = close + std::strlen(closing);
        if (wantContent) {
            out.content = from;
            out.contentEnd = close;
        }
        return true;
    }
    // No closing tag inside the stretch: taken as self-closing, up to the first "/>"
    // wherever it lies.
    const char *selfClose = std::strstr(from, "/>");
    if (selfClose == nullptr) return false;
    out.start = open;
    out.end = selfClose + 2;
    return true;
}

// Length of a URI's user part from `start`: up to the first "@", else the first ";",
// else the end of the text.
int userPartLength(const char *start) {
    const char *stop = std::strchr(start, '@');
    if (stop == nullptr) stop = std::strchr(start, ';');
    return static_cast<int>(stop != nullptr ? stop - start : static_cast<std::ptrdiff_t>(std::strlen(start)));
}

// Sizes of the two outputs of amBlfParseExtFromUri, fixed by its callers' buffers.
constexpr int kExtNumberSize = 96;
constexpr int kExtSize = 64;

// End of the start tag of an element found by the element reader: its first ">".
const char *startTagEnd(const char *start) { return std::strchr(start, '>'); }

template <std::size_t N>
void parseNum(const char *uri, char (&out)[N]) {
    amBlfParseNumFromUri(uri, out, am::capacity(out));
}

// The identities of a local element: the last tel: one and the last sip: one that names
// the entity, each with its display name.
struct LocalIdentities {
    char telUri[128];
    char telDisplay[96];
    char sipUri[128];
    char sipDisplay[96];
    bool tel;
    bool sip;
};

void readLocalIdentities(const char *local, const char *localEnd, const char *entity, LocalIdentities &ids) {
    const char *from = local;
    for (;;) {
        Element identity;
        if (!findElement(from, localEnd, "identity", false, identity)) break;
        char display[96] = {};
        char uri[128] = {};
        amBlfParseItemAttr(identity.start, identity.end, "display", display, am::capacity(display));
        amBlfParseItemValue(identity.start, identity.end, "identity", uri, am::capacity(uri));
        if (std::strstr(uri, "tel:") != nullptr) {
            am::copyText(ids.telUri, uri);
            am::copyText(ids.telDisplay, display);
            ids.tel = true;
        } else if ((uStrCaseStr(uri, "sip:") != nullptr || uStrCaseStr(uri, "sips:") != nullptr) &&
                   std::strstr(uri, entity) != nullptr) {
            am::copyText(ids.sipUri, uri);
            am::copyText(ids.sipDisplay, display);
            ids.sip = true;
        }
        from = identity.end;
    }
}

// A confirmed dialog whose local target says the call is not rendered is on hold.
void applyRendering(const char *local, const char *localEnd, char (&state)[16]) {
    Element target;
    if (!findElement(local, localEnd, "target", false, target)) {
        ostraPrintLog(2, kLog, "Parse local target failed!!!");
        return;
    }
    const char *from = target.start;
    for (;;) {
        Element param;
        if (!findElement(from, target.end, "param", false, param)) return;
        char pname[128] = {};
        amBlfParseItemAttr(param.start, param.end, "pname", pname, am::capacity(pname));
        if (std::strcmp(pname, "+sip.rendering") == 0) {
            char pval[96] = {};
            amBlfParseItemAttr(param.start, param.end, "pval", pval, am::capacity(pval));
            if (std::strcmp(pval, "no") == 0) {
                am::copyText(state, "holding");
                return;
            }
        }
        from = param.end;
    }
}

}  // namespace

extern "C" {

int amBlfParseItem(const char *text, const char *limit, const char *name, const char **start, const char **end) {
    Element element;
    if (!findElement(text, limit, name, false, element)) return -1;
    if (start != nullptr) *start = element.start;
    if (end != nullptr) *end = element.end;
    return static_cast<int>(element.end - text);
}

int amBlfParseItemValue(const char *text, const char *limit, const char *name, char *out, int outSize) {
    Element element;
    if (!findElement(text, limit, name, true, element)) return -1;
    if (element.content != nullptr && out != nullptr) {
        uStrnSafeCopy(out, outSize, element.content, static_cast<int>(element.contentEnd - element.content));
    }
    return static_cast<int>(element.end - text);
}

int amBlfParseItemAttr(const char *text, const char *limit, const char *attr, char *out, int outSize) {
    if (!argumentsValid(text, limit, attr)) return 0;
    const char *from = text;
    // Once a quote character has no match after some position it has none after any later
    // one; remembering that keeps a body full of unmatched quotes linear.
    bool unmatched[2] = {false, false};
    for (;;) {
        const char *found = std::strstr(from, attr);
        if (found == nullptr) return 0;
        if (limit != nullptr && found >= limit) {
            ostraPrintLog(2, kLog, "Attr [%s] not in current Item!", attr);
            return 0;
        }
        const char *p = found + std::strlen(attr);
        while (*p == ' ') ++p;
        if (*p != '=') {
            ostraPrintLog(2, kLog, "Attr does not have value!");
            from = p;
            continue;
        }
        ++p;
        while (*p == ' ') ++p;
        const char quote = *p;
        if (quote != '"' && quote != '\'') {
            ostraPrintLog(2, kLog, "Attr does not have quote!");
            from = p;
            continue;
        }
        const char *value = p + 1;
        bool &noMatch = unmatched[quote == '"' ? 0 : 1];
        const char *close = noMatch ? nullptr : std::strchr(value, quote);
        if (close == nullptr) {
            noMatch = true;
            ostraPrintLog(2, kLog, "Attr value does not have match quote!");
            from = value;
            continue;
        }
        if (limit != nullptr && close >= limit) {
            ostraPrintLog(2, kLog, "Attr match quote exceeded current dialog info!");
            return 0;
        }
        if (out != nullptr) uStrnSafeCopy(out, outSize, value, static_cast<int>(close - value));
        return 1;
    }
}

int amBlfParseDialog(const char *text, const char *limit, const char *entity, AmBlfParsedDialog *out,
                     AmBlfParkedInfo *parked) {
    if (entity == nullptr || out == nullptr) return -1;
    const char *dialog = nullptr;
    const char *dialogEnd = nullptr;
    const int result = amBlfParseItem(text, limit, "dialog", &dialog, &dialogEnd);
    if (result < 0) return result;
    const char *tagEnd = startTagEnd(dialog);

    if (entity[0] != '\0') parseNum(entity, out->number);
    amBlfParseItemAttr(dialog, tagEnd, "id", out->id, am::capacity(out->id));
    amBlfParseItemAttr(dialog, tagEnd, "direction", out->direction, am::capacity(out->direction));
    amBlfParseItemValue(dialog, dialogEnd, "state", out->state, am::capacity(out->state));

    Element local;
    if (findElement(dialog, dialogEnd, "local", false, local)) {
        LocalIdentities ids{};
        readLocalIdentities(local.start, local.end, entity, ids);
        char scratch[96] = {};
        const char *display = nullptr;
        if (ids.tel) {
            amBlfParseExtFromUri(ids.telUri, scratch, out->ext);
            display = ids.telDisplay;
        } else if (ids.sip) {
            parseNum(ids.sipUri, scratch);
            display = ids.sipDisplay;
        }
        if (display != nullptr) {
            if (out->number[0] == '\0' && scratch[0] != '\0') am::copyText(out->number, scratch);
            am::copyText(out->display, display);
        }
        if (am::equalsNoCase(out->state, "confirmed")) applyRendering(local.start, local.end, out->state);
    }

    Element remote;
    Element identity;
    if (findElement(dialog, dialogEnd, "remote", false, remote) &&
        findElement(remote.start, remote.end, "identity", false, identity)) {
        amBlfParseItemAttr(identity.start, identity.end, "display", out->remote, am::capacity(out->remote));
        if (out->remote[0] == '\0') {
            char uri[128] = {};
            amBlfParseItemValue(identity.start, identity.end, "identity", uri, am::capacity(uri));
            parseNum(uri, out->remote);
        }
    }

    Element park;
    if (parked != nullptr && findElement(dialog, dialogEnd, "bw:parked", false, park) &&
        findElement(park.start, park.end, "identity", false, identity)) {
        amBlfParseItemAttr(identity.start, identity.end, "display", parked->display, am::capacity(parked->display));
        char uri[128] = {};
        amBlfParseItemValue(identity.start, identity.end, "identity", uri, am::capacity(uri));
        parseNum(uri, parked->number);
    }
    return static_cast<int>(dialogEnd - text);
}

int amBlfParseNumFromUri(const char *uri, char *out, int outSize) {
    if (uri == nullptr || out == nullptr || outSize <= 0) return 0;
    const char *start = uri;
    if (const char *sip = uStrCaseStr(uri, "sip:")) {
        start = sip + 4;
    } else if (const char *sips = uStrCaseStr(uri, "sips:")) {
        start = sips + 5;
    } else if (const char *tel = uStrCaseStr(uri, "tel:")) {
        start = tel + 4;
    }
    uStrnSafeCopy(out, outSize, start, userPartLength(start));
    uStrUrlDecode(out);
    return 0;
}

int amBlfParseExtFromUri(const char *uri, char *number, char *ext) {
    if (uri == nullptr) return 0;
    const char *start = uri;
    if (const char *tel = std::strstr(uri, "tel:")) {
        start = tel + 4;
    } else if (const char *sip = uStrCaseStr(uri, "sip:")) {
        start = sip + 4;
    } else if (const char *sips = uStrCaseStr(uri, "sips:")) {
        start = sips + 5;
    }
    if (const char *param = std::strstr(start, "ext=")) {
        const char *value = param + 4;
        const char *stop = std::strchr(value, ';');
        const int length = stop != nullptr ? static_cast<int>(stop - value) : static_cast<int>(std::strlen(value));
        if (ext != nullptr) uStrnSafeCopy(ext, kExtSize, value, length);
        return 0;
    }
    if (number != nullptr) uStrnSafeCopy(number, kExtNumberSize, start, userPartLength(start));
    return 0;
}

}  // extern "C"
