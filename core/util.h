// Small C++ helpers shared by every feature of the module: bounded copies that cannot be
// given a wrong size, a scoped hold of a host mutex, a scoped XML parser context and
// case-insensitive comparisons, a mutex and a guarded list created on first use, the
// hand-over of a SUBSCRIBE (plain or with a body), and the reading of a decimal number.
// Header-only; nothing here allocates but that mutex and that list.
#ifndef OSTRA_AM_CORE_UTIL_H
#define OSTRA_AM_CORE_UTIL_H

#include <atomic>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "platform/host.h"

namespace am {

// Copies `src` (NULL gives "") into a fixed array, cut to its capacity - 1 and terminated.
template <std::size_t N>
inline int copyText(char (&dst)[N], const char *src) {
    static_assert(N > 0, "destination needs room for the terminator");
    return uStrSafeCopy(dst, static_cast<int>(N), src);
}

// As copyText, but copies at most `count` characters of `src`.
template <std::size_t N>
inline int copyTextN(char (&dst)[N], const char *src, int count) {
    static_assert(N > 0, "destination needs room for the terminator");
    return uStrnSafeCopy(dst, static_cast<int>(N), src, count);
}

// The capacity of a fixed array as the int that host functions take.
template <typename T, std::size_t N>
constexpr int capacity(const T (&)[N]) {
    return static_cast<int>(N);
}

// Text for a "%s" of a log line: NULL prints as the empty string.
inline const char *orEmpty(const char *text) { return text != nullptr ? text : ""; }

inline bool equalsNoCase(const char *a, const char *b) {
    return a != nullptr && b != nullptr && strcasecmp(a, b) == 0;
}

inline bool startsWithNoCase(const char *text, const char *prefix) {
    return text != nullptr && prefix != nullptr && strncasecmp(text, prefix, std::strlen(prefix)) == 0;
}

// Holds a host mutex for a scope. A NULL mutex (never created, or creation failed) is
// not taken, so a feature keeps working unlocked rather than failing.
class SemGuard {
public:
    explicit SemGuard(SEM_ID sem) : sem_(sem) {
        if (sem_ != nullptr) semTake(sem_, -1);
    }
    ~SemGuard() {
        if (sem_ != nullptr) semGive(sem_);
    }
    SemGuard(const SemGuard &) = delete;
    SemGuard &operator=(const SemGuard &) = delete;

private:
    SEM_ID sem_;
};

// The decimal number that `text` begins with (strtol rules), held inside the int range as
// a 32-bit long holds it on the phone, whatever the width of long where this is built.
inline int decimalAt(const char *text) {
    long value = std::strtol(text, nullptr, 10);
    if (value > INT_MAX) return INT_MAX;
    if (value < INT_MIN) return INT_MIN;
    return static_cast<int>(value);
}

// A feature's mutex, created by whichever thread first needs it and kept for the life of
// the process. Racing first users install only one; a creation that fails is tried again
// by the next user, and until one succeeds the feature runs unlocked (get() answers NULL,
// which SemGuard does not take). Constant-initialised, so it is usable from any global.
class LazyMutex {
public:
    constexpr LazyMutex() = default;
    LazyMutex(const LazyMutex &) = delete;
    LazyMutex &operator=(const LazyMutex &) = delete;

    SEM_ID get() {
        SEM_ID sem = sem_.load(std::memory_order_acquire);
        if (sem != nullptr) return sem;
        SEM_ID created = semMCreate(0);
        if (created == nullptr) return nullptr;
        if (sem_.compare_exchange_strong(sem, created, std::memory_order_acq_rel)) return created;
        semDelete(created);  // another thread won; `sem` now holds its mutex
        return sem;
    }

private:
    std::atomic<SEM_ID> sem_{nullptr};
};

// A host list created on first use together with its mutex, both kept until the process
// ends. The mutex is made first, so whoever sees the list also sees it; racing first users
// install only one list, and a list that cannot be created is tried again by the next use.
class LazyLockedList {
public:
    uList *existing() const { return list_.load(std::memory_order_acquire); }
    // NULL until the list exists: there is nothing to guard before.
    SEM_ID lock() { return existing() != nullptr ? lock_.get() : nullptr; }

    uList *create() {
        uList *list = existing();
        if (list != nullptr) return list;
        // A list nobody could guard is not made: the next use tries both again.
        if (lock_.get() == nullptr) return nullptr;
        uList *created = uListInit(0);
        if (created == nullptr) return nullptr;
        if (list_.compare_exchange_strong(list, created, std::memory_order_acq_rel)) return created;
        uListUninit(created);  // another thread won; `list` now holds its list
        return list;
    }

private:
    std::atomic<uList *> list_{nullptr};
    LazyMutex lock_;
};

// The one place a SUBSCRIBE record is filled: the line's expiry, the features' texts as
// given (they stay the caller's). The result is not examined, because the outcome arrives
// later as a subscription result.
inline void sendSubscribe(int line, const char *number, int flag, const char *event, const char *accept,
                          const char *contentType, const char *body) {
    pmSubscribeRequest request = {};
    request.line = line;
    request.number = number;
    request.expires = pmLineConfigGetSubscribeExpires(line);
    request.flag = flag;
    request.event = event;
    request.accept = accept;
    request.contentType = contentType;
    request.body = body;
    pmSubscribe(&request);
}

// A SUBSCRIBE (`subscribe` non-zero, flag 1) or an unSUBSCRIBE for `number` on `line`, for
// the features whose requests differ only in event package, accept text and body.
inline void subscribeOrCancel(int line, const char *number, int subscribe, const char *event, const char *accept,
                              const char *body = nullptr) {
    if (subscribe != 0) {
        sendSubscribe(line, number, 1, event, accept, nullptr, body);
    } else {
        pmUnsubscribeRequest request = {};
        request.line = line;
        request.number = number;
        request.event = event;
        request.accept = accept;
        pmSubscribeCancel(&request);
    }
}

// Hands the protocol manager a SUBSCRIBE that carries a body, for the features whose
// requests accept answers of the body's own content type. `flag` is the record's flag
// word, which these features set per request; expiry is the line's.
inline void subscribeWithBody(int line, const char *number, int flag, const char *event, const char *contentType,
                              const char *body) {
    sendSubscribe(line, number, flag, event, contentType, contentType, body);
}

// Owns a private XML parser context: created with a name, destroyed on every path.
class XmlDoc {
public:
    explicit XmlDoc(const char *name) : ctx_(ncCreatePrivate(name)) {}
    ~XmlDoc() {
        // A context that was never created is not the host's to destroy.
        if (ctx_ != nullptr) ncDestroy(ctx_);
    }
    XmlDoc(const XmlDoc &) = delete;
    XmlDoc &operator=(const XmlDoc &) = delete;

    bool created() const { return ctx_ != nullptr; }
    // Sets the option word (1: values trimmed) and parses; false when not well-formed.
    bool parse(const char *text, int option) {
        if (ctx_ == nullptr || text == nullptr) return false;
        ctx_->option = option;
        return ncParseFromBuf(ctx_, text, 0) == 0;
    }
    ncContext *get() const { return ctx_; }
    ncElement *root() const { return ctx_ != nullptr ? ctx_->root : nullptr; }
    ncElement *element(const char *path) const { return ncGetElementByName(ctx_, path); }

private:
    ncContext *ctx_;
};

// Children of an element, for range-for: `for (ncElement *child : children(e))`.
class Children {
public:
    explicit Children(const ncElement *element) : list_(element != nullptr ? element->children : nullptr) {}
    class Iterator {
    public:
        Iterator(const uList *list, int pos) : list_(list), pos_(pos) {}
        ncElement *operator*() const { return static_cast<ncElement *>(uListGet(list_, pos_)); }
        Iterator &operator++() {
            ++pos_;
            return *this;
        }
        bool operator!=(const Iterator &other) const { return pos_ != other.pos_; }

    private:
        const uList *list_;
        int pos_;
    };
    Iterator begin() const { return Iterator(list_, 0); }
    Iterator end() const { return Iterator(list_, uListSize(list_)); }

private:
    const uList *list_;
};
inline Children children(const ncElement *element) { return Children(element); }

}  // namespace am

#endif
