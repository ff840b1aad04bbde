// The line table and the calls into the module.
#include <dlfcn.h>

#include "sippm.h"

namespace sippm {

void LineTable::set(const Line &line) {
    for (Line &existing : lines_) {
        if (existing.index == line.index) {
            existing = line;
            return;
        }
    }
    lines_.push_back(line);
}

const Line *LineTable::find(int index) const {
    for (const Line &line : lines_) {
        if (line.index == index) return &line;
    }
    return nullptr;
}

int LineTable::match(const std::string &user) const {
    if (user.empty()) return 0;
    for (const Line &line : lines_) {
        if (line.user == user) return line.index;
    }
    return 0;
}

namespace {

template <typename F>
void bind(void *handle, const char *name, F &slot) {
    slot = reinterpret_cast<F>(dlsym(handle, name));
}

const char *text(const std::optional<std::string> &value) { return value ? value->c_str() : nullptr; }

}  // namespace

bool ModuleApi::resolve(void *handle, std::string &error) {
    error.clear();
    bind(handle, "amRecvNotify", recvNotify);
    bind(handle, "amRecvMessage", recvMessage);
    bind(handle, "amRecvInfo", recvInfo);
    bind(handle, "amRecvSubscribeResult", recvSubscribeResult);
    bind(handle, "amRecvUnsubscribeResult", recvUnsubscribeResult);
    bind(handle, "amRecvMessageResult", recvMessageResult);
    if (recvNotify == nullptr) error = "no amRecvNotify: not the module";
    return recvNotify != nullptr;
}

const char *ModuleApi::missing(int kind) const {
    switch (kind) {
    case Call::Notify: return recvNotify ? nullptr : "amRecvNotify";
    case Call::Message: return recvMessage ? nullptr : "amRecvMessage";
    case Call::Info: return recvInfo ? nullptr : "amRecvInfo";
    case Call::SubscribeResult: return recvSubscribeResult ? nullptr : "amRecvSubscribeResult";
    case Call::UnsubscribeResult: return recvUnsubscribeResult ? nullptr : "amRecvUnsubscribeResult";
    case Call::MessageResult: return recvMessageResult ? nullptr : "amRecvMessageResult";
    }
    return "?";
}

const char *Call::entryPoint() const {
    switch (kind) {
    case Notify: return "amRecvNotify";
    case Message: return "amRecvMessage";
    case Info: return "amRecvInfo";
    case SubscribeResult: return "amRecvSubscribeResult";
    case UnsubscribeResult: return "amRecvUnsubscribeResult";
    case MessageResult: return "amRecvMessageResult";
    }
    return "?";
}

int Call::invoke(const ModuleApi &module) const {
    switch (kind) {
    case Notify:
        if (module.recvNotify == nullptr) return -1;
        return module.recvNotify(line, text(number), text(event), text(subscriptionState), text(contentType),
                                 text(body));
    case Message:
        if (module.recvMessage == nullptr) return -1;
        return module.recvMessage(line, text(number), text(name), text(contentType), text(body));
    case Info: {
        if (module.recvInfo == nullptr) return -1;
        pmInfoRecord info{line, text(number), text(contentType), text(body)};
        return module.recvInfo(&info);
    }
    case SubscribeResult:
        if (module.recvSubscribeResult == nullptr) return -1;
        return module.recvSubscribeResult(line, text(number), text(event), text(contentType), state, text(body));
    case UnsubscribeResult:
        if (module.recvUnsubscribeResult == nullptr) return -1;
        return module.recvUnsubscribeResult(line, text(number), text(event), text(contentType), state);
    case MessageResult:
        if (module.recvMessageResult == nullptr) return -1;
        return module.recvMessageResult(line, text(number), text(contentType), id, state);
    }
    return -1;
}

}  // namespace sippm
