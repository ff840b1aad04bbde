// Dialog-info documents: the entry for every "dialog" NOTIFY, the XML reader with its
// fallback to the text scanner, and the BLF list records of resource-list NOTIFYs.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.dialogInfo";
constexpr char kDialogInfoType[] = "application/dialog-info+xml";
constexpr char kMultipartType[] = "multipart/related";
constexpr char kRlmiType[] = "application/rlmi+xml";
// Per-dialog messages of the XML reader carry the name of that step.
constexpr char kDialogStep[] = "amBlfNotifyParseDialog";

enum class Kind { DialogInfo, Multipart, Other };

// What the subscription state makes of every dialog of a dialog-info document.
enum class Subscription { AsWritten, Terminated, Reset };

// What one call of a reader knows about the document it reads.
struct Document {
    int line;
    const char *number;  // the subscription's number; null for a part of a resource list
    const char *contentType;
    const char *subscriptionState;
    Kind kind;
    Subscription subscription;
    bool textReader;
    char entity[96];
    char entityNumber[64];
    bool full;
    uList *oldRecords;
    uList *newRecords;
    // The last dialog reported as a list record, which a following parked call is paired with.
    bool haveSaved;
    AmBlfParsedDialog saved;
};

Kind kindOf(const char *contentType) {
    if (amMsgContentEqual(kDialogInfoType, contentType) != 0) return Kind::DialogInfo;
    if (amMsgContentEqual(kMultipartType, contentType) != 0) return Kind::Multipart;
    return Kind::Other;
}

void startDocument(Document &doc, int line, const char *number, const char *contentType,
                   const char *subscriptionState, bool textReader) {
    std::memset(&doc, 0, sizeof doc);
    doc.line = line;
    doc.number = number;
    doc.contentType = contentType;
    doc.subscriptionState = subscriptionState;
    doc.kind = kindOf(contentType);
    if (am::equalsNoCase(subscriptionState, "terminated")) {
        doc.subscription = Subscription::Terminated;
    } else if (am::equalsNoCase(subscriptionState, "reset")) {
        doc.subscription = Subscription::Reset;
    } else {
        doc.subscription = Subscription::AsWritten;
    }
    doc.textReader = textReader;
}

// Takes the number of doc.entity; false (logged) when it has none.
bool readEntityNumber(Document &doc, const char *function) {
    amBlfParseNumFromUri(doc.entity, doc.entityNumber, am::capacity(doc.entityNumber));
    if (doc.entityNumber[0] != '\0') return true;
    ostraPrintLog(2, kLog, "%s: dialog-info entity is invalid!", function);
    return false;
}

// For a full document, moves the stored dialogs of the entity's number out of the store:
// whatever the document no longer lists has ended.
void settleFullState(Document &doc, const char *function, const char *stateAttr) {
    if (am::equalsNoCase(stateAttr, "full")) {
        doc.full = true;
        doc.oldRecords = amBlfDialogInfoRemove(doc.line, doc.entityNumber);
    } else {
        ostraPrintLog(1, kLog, "%s: partial dialog information!", function);
    }
}

void freeRecords(uList *list) {
    const int size = uListSize(list);
    for (int i = 0; i < size; ++i) uFree(uListGet(list, i));
    uListUninit(list);
}

// Creates the list the document's records are collected in. Without it nothing of the
// document is reported, and the dialogs taken out of the store are released.
bool openRecords(Document &doc) {
    doc.newRecords = uListInit(0);
    if (doc.newRecords != nullptr) return true;
    freeRecords(doc.oldRecords);
    doc.oldRecords = nullptr;
    return false;
}

void finishDocument(Document &doc) {
    if (doc.kind == Kind::DialogInfo) {
        amBlfDialogInfoUpdateAndClear(doc.line, doc.newRecords, doc.oldRecords, doc.full ? 1 : 0);
    } else {
        // A full dialog-info part of a resource list so drops the stored dialogs of its
        // number without any event.
        freeRecords(doc.newRecords);
        freeRecords(doc.oldRecords);
    }
    doc.newRecords = nullptr;
    doc.oldRecords = nullptr;
}

AmBlfStatus *buildRecord(const Document &doc, const AmBlfParsedDialog &d) {
    switch (doc.subscription) {
    case Subscription::Terminated:
        return amRecvDialogInfoProcess(doc.line, d.number, d.direction, "failed", d.id, nullptr, doc.number,
                                       d.remoteDisplay);
    case Subscription::Reset:
        return amRecvDialogInfoProcess(doc.line, d.number, d.direction, "reset", nullptr, nullptr, doc.number,
                                       d.remoteDisplay);
    case Subscription::AsWritten:
        break;
    }
    return amRecvDialogInfoProcess(doc.line, d.number, d.direction, d.state, d.id, d.remote, doc.number,
                                   d.remoteDisplay);
}

// Reports one parsed dialog; `parked` is the call parked against it, or null.
void reportDialog(Document &doc, const AmBlfParsedDialog &d, const AmBlfParkedInfo *parked) {
    switch (doc.kind) {
    case Kind::DialogInfo: {
        AmBlfStatus *record = buildRecord(doc, d);
        if (record == nullptr) return;
        if (record->state == AM_BLF_STATE_TALKING && std::strcmp(record->remote, "Do Not Disturb") == 0) {
            record->state = AM_BLF_STATE_DND;
        }
        am::copyText(record->display, d.display);
        if (uListAppend(doc.newRecords, record) != 0) uFree(record);
        return;
    }
    case Kind::Multipart:
        if (parked != nullptr) {
            const AmBlfParsedDialog &owner = doc.haveSaved ? doc.saved : d;
            amRecvBlfListStateProcess(doc.line, owner.number, owner.ext, owner.display, owner.direction, "parked",
                                      d.id, parked);
            doc.haveSaved = false;
            std::memset(&doc.saved, 0, sizeof doc.saved);
        } else {
            amRecvBlfListStateProcess(doc.line, d.number, d.ext, d.display, d.direction, d.state, d.id, nullptr);
            doc.saved = d;
            doc.haveSaved = true;
        }
        return;
    case Kind::Other:
        if (doc.textReader) {
            ostraPrintLog(2, kLog, "%s: Not supported accept[%s]!", "amDialogInfoTxtContentGet",
                          am::orEmpty(doc.contentType));
        }
        return;
    }
}

// ---- XML reader ------------------------------------------------------------------

const char *attrOf(const ncElement *element, const char *name) { return ncGetElementAttr(element, name); }

bool named(const ncElement *element, const char *name) {
    return element != nullptr && std::strcmp(element->name, name) == 0;
}

// The first child of `element` with this name (the step of a dotted path).
ncElement *childNamed(const ncElement *element, const char *name) {
    for (ncElement *child : am::children(element)) {
        if (named(child, name)) return child;
    }
    return nullptr;
}

// The children of a dialog element that the reader looks at: the first of each name, as
// the paths "dialog.state", "dialog.local" and so on reach them, found in one pass.
struct DialogParts {
    ncElement *state = nullptr;
    ncElement *local = nullptr;
    ncElement *remote = nullptr;
    ncElement *param = nullptr;
    ncElement *callpark = nullptr;
};

DialogParts partsOf(const ncElement *dialog) {
    DialogParts parts;
    if (!named(dialog, "dialog")) return parts;
    struct Slot {
        const char *name;
        ncElement *DialogParts::*member;
    };
    // The names begin with different letters, so a child is compared with one name at most.
    static constexpr Slot kSlots[] = {{"state", &DialogParts::state},   {"local", &DialogParts::local},
                                      {"remote", &DialogParts::remote}, {"param", &DialogParts::param},
                                      {"bw:callpark", &DialogParts::callpark}};
    for (ncElement *child : am::children(dialog)) {
        if (child == nullptr) continue;
        for (const Slot &slot : kSlots) {
            if (slot.name[0] != child->name[0]) continue;
            if (parts.*slot.member == nullptr && std::strcmp(child->name, slot.name) == 0) parts.*slot.member = child;
            break;
        }
    }
    return parts;
}

// A confirmed dialog whose local target says the call is not rendered is on hold. The
// XML reader accepts the parameter's value as "pval" or as "pvalue".
void applyRendering(const DialogParts &parts, char (&state)[16]) {
    ncElement *target = childNamed(parts.local, "target");
    if (target == nullptr) {
        ostraPrintLog(2, kLog, "%s: dialog.local.target not find!", kDialogStep);
        return;
    }
    for (ncElement *param : am::children(target)) {
        if (param == nullptr || std::strcmp(param->name, "param") != 0) {
            ostraPrintLog(2, kLog, "%s: param not find!", kDialogStep);
            continue;
        }
        const char *pname = attrOf(param, "pname");
        if (pname == nullptr || std::strcmp(pname, "+sip.rendering") != 0) {
            ostraPrintLog(2, kLog, "%s: +sip.rendering not find!", kDialogStep);
            continue;
        }
        const char *pval = attrOf(param, "pval");
        if (pval == nullptr) pval = attrOf(param, "pvalue");
        if (pval == nullptr || std::strcmp(pval, "no") != 0) {
            ostraPrintLog(2, kLog, "%s: pval not find!", kDialogStep);
            continue;
        }
        am::copyText(state, "holding");
        return;
    }
}

void readRemoteIdentity(const DialogParts &parts, bool wildix, AmBlfParsedDialog &d) {
    ncElement *identity = childNamed(parts.remote, "identity");
    if (identity == nullptr) return;
    if (wildix) {
        am::copyText(d.display, attrOf(identity, "display"));
        return;
    }
    am::copyText(d.remote, attrOf(identity, "display"));
    if (d.remote[0] != '\0') return;
    char uri[64];
    am::copyText(uri, ncGetElementValue(identity));
    amBlfParseNumFromUri(uri, d.remote, am::capacity(d.remote));
}

// The server's own state parameter: a "pname" of "X-Wildix-state" directly followed by
// its "pval" overrides the dialog's state, on any server.
void readWildixState(const DialogParts &parts, char (&state)[16]) {
    ncElement *param = parts.param;
    if (param == nullptr) return;
    const int count = uListSize(param->attrs);
    for (int i = 0; i < count; ++i) {
        const auto *attr = static_cast<const ncAttr *>(uListGet(param->attrs, i));
        if (attr == nullptr || std::strcmp(attr->name, "pname") != 0 ||
            std::strcmp(am::orEmpty(attr->value), "X-Wildix-state") != 0) {
            continue;
        }
        const auto *next = static_cast<const ncAttr *>(uListGet(param->attrs, i + 1));
        if (next != nullptr && std::strcmp(next->name, "pval") == 0) am::copyText(state, next->value);
        return;
    }
}

// Local identities: elsewhere the tel: identity (with its extension) or the sip: identity
// of the entity names the monitored party; a Wildix server puts the other party there.
void readLocalIdentities(const DialogParts &parts, bool wildix, const char *entity, AmBlfParsedDialog &d,
                         char (&telUri)[96]) {
    for (ncElement *identity : am::children(parts.local)) {
        if (!named(identity, "identity")) continue;
        const char *value = ncGetElementValue(identity);
        if (value == nullptr || value[0] == '\0') continue;
        if (wildix) {
            am::copyText(d.remoteDisplay, attrOf(identity, "display"));
            amBlfParseNumFromUri(value, d.remote, am::capacity(d.remote));
        } else if (std::strstr(value, "tel:") != nullptr) {
            am::copyText(d.display, attrOf(identity, "display"));
            am::copyText(telUri, value);
            return;
        } else if ((uStrCaseStr(value, "sip:") != nullptr || uStrCaseStr(value, "sips:") != nullptr) &&
                   std::strstr(value, entity) != nullptr) {
            am::copyText(d.display, attrOf(identity, "display"));
        }
    }
}

bool readParked(const DialogParts &parts, AmBlfParkedInfo &parked) {
    ncElement *identity = childNamed(childNamed(parts.callpark, "bw:parked"), "identity");
    if (identity == nullptr) return false;
    std::memset(&parked, 0, sizeof parked);
    if (const char *display = attrOf(identity, "display")) am::copyText(parked.display, display);
    char number[96] = {};
    amBlfParseNumFromUri(ncGetElementValue(identity), number, am::capacity(number));
    am::copyText(parked.number, number);
    return true;
}

// Reads one child of dialog-info (null: a document without any) and reports it.
void readXmlDialog(Document &doc, ncElement *element, bool wildix) {
    AmBlfParsedDialog d;
    std::memset(&d, 0, sizeof d);
    am::copyText(d.id, attrOf(element, "id"));
    am::copyText(d.direction, attrOf(element, "direction"));

    const DialogParts parts = partsOf(element);
    if (parts.state != nullptr) {
        am::copyText(d.state, ncGetElementValue(parts.state));
        if (std::strcmp(d.state, "confirmed") == 0) applyRendering(parts, d.state);
        readRemoteIdentity(parts, wildix, d);
    }
    readWildixState(parts, d.state);
    char telUri[96] = {};
    readLocalIdentities(parts, wildix, doc.entity, d, telUri);

    if (doc.entity[0] != '\0') am::copyText(d.number, doc.entityNumber);
    if (telUri[0] != '\0') {
        char scratch[96] = {};
        amBlfParseExtFromUri(telUri, scratch, d.ext);
        if (d.number[0] == '\0' && scratch[0] != '\0') am::copyText(d.number, scratch);
    }
    if (d.number[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: remote number not find!", kDialogStep);
        if (doc.number == nullptr) return;
        am::copyText(d.number, doc.number);
    }

    AmBlfParkedInfo parked;
    const bool hasParked = doc.kind == Kind::Multipart && readParked(parts, parked);
    reportDialog(doc, d, hasParked ? &parked : nullptr);
}

// Result of the XML reader when the parser rejects the body.
constexpr int kNotXml = -2;

int readXmlDocument(Document &doc, const char *body, int length) {
    am::XmlDoc xml("blf");
    if (!xml.created()) {
        ostraPrintLog(2, kLog, "%s: create blf nc failed!", "amDialogInfoXmlContentGet");
        return 0;
    }
    if (!xml.parse(body, 1)) return kNotXml;
    ncElement *root = xml.element("dialog-info");
    if (root == nullptr) {
        ostraPrintLog(2, kLog, "%s: dialog-info not found", "amDialogInfoXmlContentGet");
        return length;
    }
    am::copyText(doc.entity, attrOf(root, "entity"));
    if (readEntityNumber(doc, "amDialogInfoXmlContentGet")) {
        char state[16] = {};
        am::copyText(state, attrOf(root, "state"));
        settleFullState(doc, "amDialogInfoXmlContentGet", state);
    }
    if (!openRecords(doc)) return 0;

    const bool wildix = pmLineIsWildixServer(doc.line) != 0;
    if (uListSize(root->children) == 0) {
        readXmlDialog(doc, nullptr, wildix);
    } else {
        for (ncElement *child : am::children(root)) {
            if (child != nullptr) readXmlDialog(doc, child, wildix);
        }
    }
    finishDocument(doc);
    return length;
}

template <std::size_t N>
void readTagAttr(const char *tag, const char *tagEnd, const char *name, char (&out)[N]) {
    amBlfParseItemAttr(tag, tagEnd, name, out, am::capacity(out));
}

// Raises one BLF list record carrying only the line and a list marker.
int reportListMarker(int line, int marker) {
    AmBlfList record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    record.status = marker;
    uEventRaise(AM_BLF_LIST_EVENT_NAME, &record, sizeof record);
    return 0;
}

}  // namespace

extern "C" {

int amRecvDialogInfoParse(int line, const char *number, const char *contentType, const char *subscriptionState,
                          const char *body) {
    constexpr char kFunction[] = "amRecvDialogInfoParse";
    if (contentType == nullptr) {
        ostraPrintLog(1, kLog, "%s:param is NULL \n", kFunction);
        return 0;
    }
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, accept=%s, subScriptionstate=%s\n", kFunction, line,
                  am::orEmpty(number), contentType, am::orEmpty(subscriptionState));
    if (amMsgContentEqual(kDialogInfoType, contentType) != 0) {
        if (number == nullptr) {
            ostraPrintLog(1, kLog, "%s: number is NULL \n", kFunction);
        } else if (body != nullptr) {
            amDialogInfoXmlContentGet(line, number, body, contentType, subscriptionState);
        } else if (am::equalsNoCase(subscriptionState, "reset")) {
            // A reset without a document is only traced; the phone keeps its keys until
            // the server's next NOTIFY.
            uFree(amRecvDialogInfoProcess(line, number, "initiator", "reset", nullptr, nullptr, number, nullptr));
        }
    } else if (amMsgContentEqual(kMultipartType, contentType) != 0) {
        if (body != nullptr && std::strcmp(body, "clear") == 0) {
            amBlfListClearReport(line);
        } else if (body != nullptr && std::strcmp(body, "finish") == 0) {
            amBlfListFinishReport(line);
        } else {
            amDialogInfoXmlContentGet(line, nullptr, body, contentType, subscriptionState);
        }
    } else if (amMsgContentEqual(kRlmiType, contentType) != 0) {
        amDialogResourceXmlContentGet(line, number, body, contentType, subscriptionState);
    }
    return 0;
}

int amDialogInfoXmlContentGet(int line, const char *number, const char *body, const char *contentType,
                              const char *subscriptionState) {
    constexpr char kFunction[] = "amDialogInfoXmlContentGet";
    if (body == nullptr || body[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: body null.", kFunction);
        return 0;
    }
    const int length = static_cast<int>(std::strlen(body));
    Document doc;
    startDocument(doc, line, number, contentType, subscriptionState, false);
    const int result = readXmlDocument(doc, body, length);
    if (result != kNotXml) return result;
    if (amDialogInfoTxtContentGet(line, number, body, contentType, subscriptionState) == -1) {
        ostraPrintLog(3, kLog, "%s: parse blf content failed! content=[%s]", kFunction, body);
        return 0;
    }
    return length;
}

int amDialogInfoTxtContentGet(int line, const char *number, const char *body, const char *contentType,
                              const char *subscriptionState) {
    constexpr char kFunction[] = "amDialogInfoTxtContentGet";
    if (body == nullptr || body[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: body null.", kFunction);
        return 0;
    }
    const char *info = nullptr;
    const char *infoEnd = nullptr;
    if (amBlfParseItem(body, nullptr, "dialog-info", &info, &infoEnd) < 0) {
        ostraPrintLog(2, kLog, "%s: No dialog info.", kFunction);
        return -1;
    }
    // The element was delimited by a closing tag or "/>", so its start tag has an end.
    const char *tagEnd = std::strchr(info, '>');
    Document doc;
    startDocument(doc, line, number, contentType, subscriptionState, true);
    readTagAttr(info, tagEnd, "entity", doc.entity);
    if (readEntityNumber(doc, kFunction)) {
        char state[16] = {};
        readTagAttr(info, tagEnd, "state", state);
        settleFullState(doc, kFunction, state);
    }
    if (!openRecords(doc)) return 0;

    const char *bodyEnd = body + std::strlen(body);
    for (const char *at = tagEnd + 1; at < bodyEnd;) {
        AmBlfParsedDialog d;
        AmBlfParkedInfo parked;
        std::memset(&d, 0, sizeof d);
        std::memset(&parked, 0, sizeof parked);
        const int step = amBlfParseDialog(at, infoEnd, doc.entity, &d, &parked);
        if (step < 0) break;
        at += step;
        if (d.number[0] == '\0') {
            if (doc.entityNumber[0] != '\0') {
                am::copyText(d.number, doc.entityNumber);
            } else if (number != nullptr) {
                am::copyText(d.number, number);
            } else {
                continue;
            }
        }
        reportDialog(doc, d, parked.number[0] != '\0' ? &parked : nullptr);
    }
    finishDocument(doc);
    return 0;
}

int amRecvBlfListStateProcess(int line, const char *number, const char *ext, const char *name, const char *direction,
                              const char *stateWord, const char *dialogId, const AmBlfParkedInfo *parked) {
    const int state = amDialogInfoStateConvert(stateWord, direction);
    ostraPrintLog(0, kLog, "%s: line=%d, number=%s, ext=%s, direction=%s, state=%s, status=%s, parkedInfo=%s:%s\n",
                  "amRecvBlfListStateProcess", line, am::orEmpty(number), am::orEmpty(ext), am::orEmpty(direction),
                  am::orEmpty(stateWord), amBlfStateToStr(state), parked != nullptr ? parked->display : "",
                  parked != nullptr ? parked->number : "");
    const int status = amBlfStatusPriorityGet(line, number, state, dialogId);
    amBlfListStatusReport(line, number, ext, name, status, parked);
    return status;
}

int amBlfListStatusReport(int line, const char *number, const char *ext, const char *name, int status,
                          const AmBlfParkedInfo *parked) {
    AmBlfList record;
    std::memset(&record, 0, sizeof record);
    record.line = line;
    am::copyText(record.number, number);
    am::copyText(record.name, name);
    am::copyText(record.ext, ext);
    if (parked != nullptr) std::memcpy(&record.parked, parked, sizeof record.parked);
    record.status = status;
    uEventRaise(AM_BLF_LIST_EVENT_NAME, &record, sizeof record);
    return 0;
}

int amBlfListClearReport(int line) { return reportListMarker(line, AM_BLF_LIST_CLEAR); }

int amBlfListFinishReport(int line) { return reportListMarker(line, AM_BLF_LIST_FINISH); }

}  // extern "C"
