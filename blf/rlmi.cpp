// Resource list meta-information (RLMI) documents: the members of a monitored list, each
// reported idle with its name until a dialog-info part says otherwise.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {

constexpr char kLog[] = "ostra.am.dialogInfo";

// Reports a member when it has both a number and a name.
bool reportMember(int line, const char *uri, const char *name) {
    char number[64] = {};
    amBlfParseNumFromUri(uri, number, am::capacity(number));
    if (number[0] == '\0' || name[0] == '\0') return false;
    amBlfListStatusReport(line, number, nullptr, name, 1, nullptr);
    return true;
}

}  // namespace

extern "C" {

int amBlfListFullStateValueGet(const char *body) {
    return body != nullptr && std::strstr(body, "fullState=\"true\"") != nullptr ? 1 : 0;
}

int amDialogResourceXmlContentGet(int line, const char *number, const char *body, const char *contentType,
                                  const char *subscriptionState) {
    constexpr char kFunction[] = "amDialogResourceXmlContentGet";
    if (body == nullptr || body[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: body null.", kFunction);
        return 0;
    }
    const int length = static_cast<int>(std::strlen(body));
    am::XmlDoc xml("blf");
    if (!xml.created()) {
        ostraPrintLog(2, kLog, "%s: create blf nc failed!", kFunction);
        return 0;
    }
    if (!xml.parse(body, 1)) {
        // Not well-formed: read it again as text.
        if (amDialogResourceTxtContentGet(line, number, body, contentType, subscriptionState) == -1) {
            ostraPrintLog(3, kLog, "%s: parse blf content failed!", kFunction);
            return 0;
        }
        return length;
    }
    ncElement *list = xml.element("list");
    if (list == nullptr || uListSize(list->children) == 0) return length;
    if (amBlfListFullStateValueGet(body) == 1) amBlfListClearReport(line);
    for (ncElement *member : am::children(list)) {
        // The paths "resource" and "resource.name" from the member itself.
        if (member == nullptr || std::strcmp(member->name, "resource") != 0) continue;
        char uri[96] = {};
        char name[64] = {};
        am::copyText(uri, ncGetElementAttr(member, "uri"));
        for (ncElement *child : am::children(member)) {
            if (child != nullptr && std::strcmp(child->name, "name") == 0) {
                am::copyText(name, ncGetElementValue(child));
                break;
            }
        }
        reportMember(line, uri, name);
    }
    return length;
}

int amDialogResourceTxtContentGet(int line, const char *, const char *body, const char *, const char *) {
    constexpr char kFunction[] = "amDialogResourceTxtContentGet";
    if (body == nullptr || body[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: body null.", kFunction);
        return -1;
    }
    const char *list = nullptr;
    if (amBlfParseItem(body, nullptr, "list", &list, nullptr) < 0) {
        ostraPrintLog(2, kLog, "%s: No list info.", kFunction);
        return -1;
    }
    // The element was delimited by a closing tag or "/>", so its start tag has an end.
    const char *listTagEnd = std::strchr(list, '>');
    char entity[96] = {};
    char entityNumber[64] = {};
    amBlfParseItemAttr(list, listTagEnd, "entity", entity, am::capacity(entity));
    amBlfParseNumFromUri(entity, entityNumber, am::capacity(entityNumber));
    if (entityNumber[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: list entity is invalid!", kFunction);
    } else {
        char fullState[16] = {};
        amBlfParseItemAttr(list, listTagEnd, "fullState", fullState, am::capacity(fullState));
        if (am::equalsNoCase(fullState, "true")) amBlfListClearReport(line);
    }

    // Every search runs to the end of the body, not of the list: a list cut short by a
    // broken closing tag still yields its members.
    const char *bodyEnd = body + std::strlen(body);
    int result = -1;
    const char *from = listTagEnd;
    const char *resource = nullptr;
    const char *resourceEnd = nullptr;
    while (amBlfParseItem(from, bodyEnd, "resource", &resource, &resourceEnd) >= 0) {
        const char *tagEnd = std::strchr(resource, '>');
        char uri[96] = {};
        char name[64] = {};
        amBlfParseItemAttr(resource, tagEnd, "uri", uri, am::capacity(uri));
        amBlfParseItemValue(tagEnd, resourceEnd, "name", name, am::capacity(name));
        if (reportMember(line, uri, name)) result = 0;
        from = resourceEnd;
    }
    return result;
}

}  // extern "C"
