// Inbound text and XML messages handed to the receivers other parts of the phone register
// by name. Receivers run on the thread that delivered the MESSAGE, while registrations come
// from the applications' threads, so each list has a mutex of its own, held for the whole
// walk; no walk calls into another list.
#include <atomic>
#include <cstdio>
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace am {
struct SmsRecvEntry {
    char name[32];
    AmSmsRecvFunc callback;
};
}  // namespace am

extern "C" am::SmsRecvEntry *amSmsPlainRegistryCheck(uList *list, const char *name);

namespace {

constexpr char kLog[] = "ostra.am.sms";

using am::SmsRecvEntry;

struct Registry {
    am::LazyLockedList list;
    const char *missingLog;  // why registration failed when the list could not be made
    bool logUninitialised;   // whether the name lookup goes through amSmsPlainRegistryCheck
};

Registry gPlain{{}, "%s: amSmsPlainRecvEvent==NULL \n", true};
Registry gUserDefine{{}, "%s: amUserDefineRecvCbList==NULL \n", true};
// Kept by name only: inbound XML text messages go to the one XML message callback.
Registry gXml{{}, "%s: amSmsXMLRecvEvent==NULL \n", false};

std::atomic<AmXmlSmsRecvFunc> gXmlCallback{nullptr};

SmsRecvEntry *entryAt(const uList *list, int pos) { return static_cast<SmsRecvEntry *>(uListGet(list, pos)); }

// The caller holds the list's mutex. Names compare with case against the stored (cut) name.
SmsRecvEntry *findByName(const uList *list, const char *name) {
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        SmsRecvEntry *entry = entryAt(list, pos);
        if (entry != nullptr && std::strcmp(entry->name, name) == 0) return entry;
    }
    return nullptr;
}

int registerReceiver(Registry &registry, const char *function, const char *name, AmSmsRecvFunc receiver) {
    uList *list = registry.list.create();
    if (list == nullptr) {
        ostraPrintLog(2, kLog, registry.missingLog, function);
        return -1;
    }
    if (name == nullptr || receiver == nullptr) {
        ostraPrintLog(1, kLog, "%s: param error!", function);
        return -1;
    }
    am::SemGuard guard(registry.list.lock());
    SmsRecvEntry *existing =
        registry.logUninitialised ? amSmsPlainRegistryCheck(list, name) : findByName(list, name);
    if (existing != nullptr) {
        ostraPrintLog(1, kLog, "%s: %s has exist!", function, name);
        return -1;
    }
    auto *entry = static_cast<SmsRecvEntry *>(uMalloc(sizeof(SmsRecvEntry)));
    if (entry != nullptr) {
        std::memset(entry, 0, sizeof *entry);
        am::copyText(entry->name, name);
        entry->callback = receiver;
        if (uListAppend(list, entry) != 0) {
            uFree(entry);
            entry = nullptr;
        }
    }
    if (entry == nullptr) {
        ostraPrintLog(2, kLog, " amSmsRecvCB_t malloc error\n");
        return -1;
    }
    ostraPrintLog(1, kLog, "%s: %s register success.\n", function, name);
    return 0;
}

int unregisterReceiver(Registry &registry, const char *function, const char *name) {
    if (name == nullptr) {
        ostraPrintLog(2, kLog, "%s: param error \n", function);
        return -1;
    }
    uList *list = registry.list.existing();
    if (list == nullptr) return -1;
    am::SemGuard guard(registry.list.lock());
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        SmsRecvEntry *entry = entryAt(list, pos);
        if (entry == nullptr || std::strcmp(entry->name, name) != 0) continue;
        uListRemove(list, pos);
        uFree(entry);
        ostraPrintLog(1, kLog, "%s: [%s] UnRegister success \n", function, name);
        return 0;
    }
    return -1;
}

void traceDelivery(const char *function, int line, const char *number, const char *name) {
    ostraPrintLog(1, kLog, "%s: line=[%d], number=[%s], name=[%s]\n", function, line, am::orEmpty(number),
                  am::orEmpty(name));
}

}  // namespace

extern "C" am::SmsRecvEntry *amSmsPlainRegistryCheck(uList *list, const char *name) {
    if (list == nullptr) {
        ostraPrintLog(2, kLog, "%s: recvCbList unInit\n", "amSmsPlainRegistryCheck");
        return nullptr;
    }
    return name != nullptr ? findByName(list, name) : nullptr;
}

extern "C" int amSmsPlainRecvCallBackRegister(const char *name, AmSmsRecvFunc receiver) {
    return registerReceiver(gPlain, "amSmsPlainRecvCallBackRegister", name, receiver);
}

extern "C" int amSmsPlainRecvCallBackUnRegister(const char *name) {
    return unregisterReceiver(gPlain, "amSmsPlainRecvCallBackUnRegister", name);
}

extern "C" int amSmsUserDefineRecvCbRegister(const char *name, AmSmsRecvFunc receiver) {
    return registerReceiver(gUserDefine, "amSmsUserDefineRecvCbRegister", name, receiver);
}

extern "C" int amSmsUserDefineRecvCbUnRegister(const char *name) {
    return unregisterReceiver(gUserDefine, "amSmsUserDefineRecvCbUnRegister", name);
}

extern "C" int amSmsXmlRecvCallBackRegister(const char *name, AmSmsRecvFunc receiver) {
    return registerReceiver(gXml, "amSmsXmlRecvCallBackRegister", name, receiver);
}

extern "C" int amSmsXmlRecvCallBackUnRegister(const char *name) {
    return unregisterReceiver(gXml, "amSmsXmlRecvCallBackUnRegister", name);
}

extern "C" int amXmlSmsRecvCbRegister(AmXmlSmsRecvFunc callback) {
    if (callback == nullptr) return -1;
    gXmlCallback.store(callback, std::memory_order_release);
    return 0;
}

extern "C" int amSmsRecvUserDefineReport(int line, const char *number, const char *name, const char *body) {
    uList *list = gUserDefine.list.existing();
    if (list == nullptr) return -1;
    am::SemGuard guard(gUserDefine.list.lock());
    if (uListSize(list) == 0) return -1;
    traceDelivery("amSmsRecvUserDefineReport", line, number, name);
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        const SmsRecvEntry *entry = entryAt(list, pos);
        if (entry == nullptr || entry->callback == nullptr) continue;
        if (entry->callback(line, number, name, body) == 0) return 0;  // taken: nobody else sees it
    }
    return -1;
}

extern "C" int amSmsRecvReport(int line, const char *number, const char *name, const char *body) {
    traceDelivery("amSmsRecvReport", line, number, name);
    uList *list = gPlain.list.existing();
    if (list == nullptr) return 0;
    am::SemGuard guard(gPlain.list.lock());
    for (int pos = 0; !uListEol(list, pos); ++pos) {
        const SmsRecvEntry *entry = entryAt(list, pos);
        if (entry != nullptr && entry->callback != nullptr) entry->callback(line, number, name, body);
    }
    return 0;
}

extern "C" int amXmlSmsParse(int line, const char *number, const char *name, const char *body) {
    AmXmlSmsRecvFunc callback = gXmlCallback.load(std::memory_order_acquire);
    if (body == nullptr || body[0] == '\0' || callback == nullptr) return -1;
    am::XmlDoc doc("sms");
    if (!doc.created()) {
        ostraPrintLog(2, kLog, "%s: create blf nc failed!", "amXmlSmsParse");
        return -1;
    }
    if (!doc.parse(body, 1)) {
        ostraPrintLog(2, kLog, "%s: nc parse msg[%s] failed!", "amXmlSmsParse", body);
        return -1;
    }
    ncElement *message = doc.element("Message");
    if (message == nullptr) {
        ostraPrintLog(2, kLog, "%s: element is NULL!", "amXmlSmsParse");
        return -1;
    }
    const char *id = ncGetElementAttr(message, "id");
    if (id == nullptr || id[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: msgId is NULL!", "amXmlSmsParse");
        return -1;
    }
    ncElement *contentElement = ncSearchElement(message, "Message.content");
    if (contentElement == nullptr) {
        ostraPrintLog(2, kLog, "%s: Message.content is NULL!", "amXmlSmsParse");
        return -1;
    }
    const char *content = ncGetElementValue(contentElement);
    if (content == nullptr || content[0] == '\0') {
        ostraPrintLog(2, kLog, "%s: content is NULL!", "amXmlSmsParse");
        return -1;
    }
    // The texts belong to the parser: the callback copies what it keeps.
    callback(line, number, name, content, id);
    return 0;
}

extern "C" int amPushMessageRecvParse(int, const char *number, const char *name, const char *) {
    // The service request such a message stands for; nothing is done with it yet, and the
    // protocol manager gets its length back.
    char request[256] = {};
    return std::snprintf(request, sizeof request, "xmlService?user=%s&number=%s", am::orEmpty(number),
                         am::orEmpty(name));
}
