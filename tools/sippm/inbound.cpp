// From a SIP message to the module's entry-point calls, as the phone's protocol manager
// makes them.
#include <sofia-sip/msg.h>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/sip.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_protos.h>
#include <sofia-sip/su_alloc.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <memory>

#include "sippm.h"
#include "text.h"

namespace sippm {

namespace {

// A scratch memory home for one message's multipart and header texts.
struct Home {
    su_home_t home[1] = {SU_HOME_INIT(home)};
    Home() { su_home_init(home); }
    ~Home() { su_home_deinit(home); }
    Home(const Home &) = delete;
    Home &operator=(const Home &) = delete;
};

struct MsgDeleter {
    void operator()(msg_t *msg) const { msg_destroy(msg); }
};
using Msg = std::unique_ptr<msg_t, MsgDeleter>;

// A header's value as the parser re-encodes it. Encoded here into a buffer of our own:
// the library's string form can come back without its terminating NUL (found by fuzzing).
std::string headerValue(su_home_t *, const void *header) {
    const msg_header_t *h = static_cast<const msg_header_t *>(header);
    std::vector<char> buffer(256);
    for (int attempt = 0; attempt < 8; ++attempt) {
        issize_t n = msg_header_field_e(buffer.data(), static_cast<isize_t>(buffer.size()), h, 0);
        if (n < 0) return {};
        if (static_cast<std::size_t>(n) < buffer.size()) return std::string(buffer.data(), static_cast<std::size_t>(n));
        buffer.resize(static_cast<std::size_t>(n) + 1);
    }
    return {};
}

std::string userOf(const url_t *url) {
    if (url == nullptr) return {};
    if (url->url_user != nullptr) return url->url_user;
    // A tel URI keeps its number where a sip URI keeps the host.
    if (url->url_type == url_tel && url->url_host != nullptr) return url->url_host;
    return {};
}

// A display name without its quotes and quoted-pair escapes.
std::string displayOf(const char *display) {
    if (display == nullptr) return {};
    std::string text = trim(display);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"') {
        std::string out;
        for (std::size_t i = 1; i + 1 < text.size(); ++i) {
            if (text[i] == '\\' && i + 2 < text.size()) ++i;
            out += text[i];
        }
        return out;
    }
    return text;
}

std::optional<std::string> payloadOf(const msg_payload_t *payload) {
    if (payload == nullptr || payload->pl_data == nullptr || payload->pl_len == 0) return std::nullopt;
    return std::string(payload->pl_data, payload->pl_len);
}

// A parameter's value without its quotes, or empty.
std::string param(const msg_param_t *params, const char *name) {
    if (params == nullptr) return {};
    std::size_t length = std::strlen(name);
    for (; *params != nullptr; ++params) {
        const char *p = *params;
        if (strncasecmp(p, name, length) != 0 || p[length] != '=') continue;
        std::string v = trim(p + length + 1);
        if (v.size() >= 2 && v.front() == '"' && v.back() == '"') v = v.substr(1, v.size() - 2);
        return v;
    }
    return {};
}

// The same from a header value as written ("type/sub;a=1;boundary=\"x\"").
std::string rawParam(const std::string &value, const char *name) {
    std::vector<std::string> items;
    std::size_t pos = value.find(';');
    while (pos != std::string::npos) {
        std::size_t next = value.find(';', pos + 1);
        items.push_back(trim(value.substr(pos + 1, next == std::string::npos ? std::string::npos : next - pos - 1)));
        pos = next;
    }
    std::vector<const char *> pointers;
    for (const std::string &item : items) pointers.push_back(item.c_str());
    pointers.push_back(nullptr);
    return param(pointers.data(), name);
}

// The result call a transaction's outcome becomes.
Call resultCall(const Transaction &tr, int state) {
    Call call;
    call.line = tr.line;
    call.number = tr.number;
    call.state = state;
    if (tr.kind == Transaction::Message) {
        call.kind = Call::MessageResult;
        call.contentType = tr.contentType;
        call.id = tr.id;
    } else {
        call.kind = tr.kind == Transaction::Subscribe ? Call::SubscribeResult : Call::UnsubscribeResult;
        call.event = tr.event;
        if (call.kind == Call::SubscribeResult && !tr.callInfo.empty()) call.body = tr.callInfo;
    }
    return call;
}

bool isMultipart(const std::optional<std::string> &contentType) {
    return contentType && strncasecmp(contentType->c_str(), "multipart/", 10) == 0;
}

}  // namespace

struct Normaliser {
    ProtocolManager &pm;
    su_home_t *home;
    sip_t const *sip;
    Inbound &in;

    int lineOfUsers(std::initializer_list<std::string> users) const {
        for (const std::string &user : users) {
            int line = pm.lines_.match(user);
            if (line != 0) return line;
        }
        return 1;
    }

    void summarise() {
        std::string s;
        if (sip->sip_request != nullptr) {
            s = in.method;
            if (in.fromPhone) s += " to " + in.number;
            else s += (in.number.empty() ? std::string() : " from " + in.number) + " on line " + std::to_string(in.line);
        } else {
            s = std::to_string(in.status) + " " +
                (sip->sip_status->st_phrase != nullptr ? sip->sip_status->st_phrase : "") + " (" + in.method + ")";
            if (!in.number.empty()) s += " for " + in.number;
        }
        if (in.event) s += " Event: " + *in.event;
        if (in.expires >= 0 && in.request && in.fromPhone) s += " Expires: " + std::to_string(in.expires);
        if (in.subscriptionState) s += " State: " + *in.subscriptionState;
        if (in.contentType) s += " [" + *in.contentType + "]";
        in.summary = s;
    }

    std::string rootType() const {
        if (sip->sip_content_type != nullptr) return param(sip->sip_content_type->c_params, "type");
        return pm.rawContentType_ ? rawParam(*pm.rawContentType_, "type") : std::string();
    }

    Call base(Call::Kind kind) const {
        Call call;
        call.kind = kind;
        call.line = in.line;
        call.number = in.number;
        return call;
    }

    void notify() {
        std::optional<std::string> body = payloadOf(sip->sip_payload);
        Call call = base(Call::Notify);
        call.event = in.event;
        call.subscriptionState = in.subscriptionState;
        if (!body) {
            // Shared appearances and line seize may carry their state in headers alone.
            call.contentType = in.contentType;
            bool any = false;
            for (const sip_call_info_t *ci = sip->sip_call_info; ci != nullptr; ci = ci->ci_next) {
                call.body = headerValue(home, ci);
                in.calls.push_back(call);
                any = true;
            }
            if (!any) in.calls.push_back(call);
            return;
        }
        if (!isMultipart(in.contentType)) {
            call.contentType = in.contentType;
            call.body = body;
            in.calls.push_back(call);
            return;
        }
        multipart(call);
    }

    void multipart(Call call) {
        // Split here rather than with the SIP library's multipart reader, which aborts the
        // process on some malformed part headers (found by fuzzing).
        std::string boundary;
        if (sip->sip_content_type != nullptr) boundary = param(sip->sip_content_type->c_params, "boundary");
        else if (pm.rawContentType_) boundary = rawParam(*pm.rawContentType_, "boundary");
        std::vector<MimePart> list;
        if (!splitMultipart(*payloadOf(sip->sip_payload), boundary, list)) {
            in.warnings.push_back("multipart body without readable parts: handed over whole");
            call.contentType = in.contentType;
            call.body = payloadOf(sip->sip_payload);
            in.calls.push_back(call);
            return;
        }
        using Part = MimePart;
        bool related = strcasecmp(in.contentType->c_str(), "multipart/related") == 0;
        bool rlmi = related && (strcasecmp(rootType().c_str(), "application/rlmi+xml") == 0 ||
                                std::any_of(list.begin(), list.end(), [](const Part &p) {
                                    return strcasecmp(p.contentType.c_str(), "application/rlmi+xml") == 0;
                                }));
        if (!rlmi) {
            for (const Part &part : list) {
                call.contentType = part.contentType.empty() ? std::optional<std::string>() : part.contentType;
                call.body = part.body;
                in.calls.push_back(call);
            }
            return;
        }
        // The list reader wants the member list first, every member document under the
        // container's type, and a closing marker once the whole list is in.
        for (const Part &part : list) {
            if (strcasecmp(part.contentType.c_str(), "application/rlmi+xml") != 0) continue;
            call.contentType = "application/rlmi+xml";
            call.body = part.body;
            in.calls.push_back(call);
        }
        for (const Part &part : list) {
            if (strcasecmp(part.contentType.c_str(), "application/rlmi+xml") == 0) continue;
            if (!part.body) continue;
            call.contentType = "multipart/related";
            call.body = part.body;
            in.calls.push_back(call);
        }
        call.contentType = "multipart/related";
        call.body = "finish";
        in.calls.push_back(call);
    }

    void message() {
        Call call = base(Call::Message);
        call.name = in.name;
        call.contentType = in.contentType;
        call.body = payloadOf(sip->sip_payload);
        in.calls.push_back(call);
    }

    void info() {
        Call call = base(Call::Info);
        call.contentType = in.contentType;
        call.body = payloadOf(sip->sip_payload);
        in.calls.push_back(call);
    }

    void phoneRequest(const std::string &method) {
        in.fromPhone = true;
        in.number = userOf(sip->sip_request->rq_url);
        if (in.number.empty() && sip->sip_to != nullptr) in.number = userOf(sip->sip_to->a_url);
        in.line = lineOfUsers({sip->sip_from != nullptr ? userOf(sip->sip_from->a_url) : std::string()});
        if (sip->sip_call_id == nullptr || sip->sip_cseq == nullptr) {
            in.warnings.push_back("no Call-ID or CSeq: its response cannot be matched");
            return;
        }
        Transaction tr;
        tr.line = in.line;
        tr.number = in.number;
        tr.started = in.t;
        if (method == "MESSAGE") {
            tr.kind = Transaction::Message;
            tr.contentType = in.contentType.value_or("");
            tr.id = pm.nextMessageId_++;
            in.messageId = tr.id;
        } else {
            bool cancel = sip->sip_expires != nullptr && sip->sip_expires->ex_delta == 0;
            tr.kind = cancel ? Transaction::Unsubscribe : Transaction::Subscribe;
            tr.event = in.event.value_or("");
            for (const sip_call_info_t *ci = sip->sip_call_info; ci != nullptr; ci = ci->ci_next) {
                if (!tr.callInfo.empty()) tr.callInfo += ",";
                tr.callInfo += headerValue(home, ci);
            }
        }
        pm.track(sip->sip_call_id->i_id, sip->sip_cseq->cs_seq, tr);
    }

    void response() {
        in.method = sip->sip_cseq != nullptr && sip->sip_cseq->cs_method_name != nullptr
                        ? sip->sip_cseq->cs_method_name : "";
        in.status = sip->sip_status->st_status;
        std::string fromUser = sip->sip_from != nullptr ? userOf(sip->sip_from->a_url) : "";
        std::string toUser = sip->sip_to != nullptr ? userOf(sip->sip_to->a_url) : "";
        bool answersPhone = pm.lines_.match(fromUser) != 0 || pm.lines_.match(toUser) == 0;
        if ((in.method != "SUBSCRIBE" && in.method != "MESSAGE") || !answersPhone) {
            // The phone answering the server: nothing for the module.
            in.fromPhone = true;
            if (sip->sip_to != nullptr) in.line = lineOfUsers({userOf(sip->sip_to->a_url)});
            if (sip->sip_from != nullptr) in.number = userOf(sip->sip_from->a_url);
            return;
        }
        in.number = sip->sip_to != nullptr ? userOf(sip->sip_to->a_url) : "";
        in.line = lineOfUsers({sip->sip_from != nullptr ? userOf(sip->sip_from->a_url) : std::string()});
        if (in.status < 200) return;
        int result = in.status < 300 ? in.status : 0;
        const Transaction *found = nullptr;
        ProtocolManager::Key key;
        if (sip->sip_call_id != nullptr && sip->sip_cseq != nullptr) {
            key = {sip->sip_call_id->i_id, sip->sip_cseq->cs_seq};
            auto it = pm.transactions_.find(key);
            if (it != pm.transactions_.end()) found = &it->second;
        }
        Transaction tr;
        bool message = in.method == "MESSAGE";
        auto rendered = std::find_if(pm.rendered_.begin(), pm.rendered_.end(), [&](const Transaction &t) {
            return (t.kind == Transaction::Message) == message && t.number == in.number;
        });
        if (found != nullptr) {
            tr = *found;
            pm.transactions_.erase(key);
        } else if (rendered != pm.rendered_.end()) {
            tr = *rendered;
            pm.rendered_.erase(rendered);
        } else if (in.method == "SUBSCRIBE" && in.event) {
            tr.kind = sip->sip_expires != nullptr && sip->sip_expires->ex_delta == 0 ? Transaction::Unsubscribe
                                                                                    : Transaction::Subscribe;
            tr.line = in.line;
            tr.number = in.number;
            tr.event = *in.event;
        } else {
            in.warnings.push_back("response to a " + in.method +
                                  " that was not seen and names no event package: not handed over");
            return;
        }
        Call call = resultCall(tr, result);
        in.line = tr.line;
        in.number = tr.number;
        if (tr.kind != Transaction::Message) {
            in.event = tr.event;
            call.contentType = in.contentType;
            // The seizure's appearance: the answer's own, else what the request asked for.
            if (call.kind == Call::SubscribeResult) {
                std::optional<std::string> body = payloadOf(sip->sip_payload);
                if (!body && sip->sip_call_info != nullptr) body = headerValue(home, sip->sip_call_info);
                if (body) call.body = body;
            }
        }
        in.calls.push_back(call);
    }

    void run() {
        if (sip->sip_event != nullptr) in.event = headerValue(home, sip->sip_event);
        if (sip->sip_subscription_state != nullptr && sip->sip_subscription_state->ss_substate != nullptr)
            in.subscriptionState = trim(sip->sip_subscription_state->ss_substate);
        if (sip->sip_content_type != nullptr && sip->sip_content_type->c_type != nullptr)
            in.contentType = bareContentType(sip->sip_content_type->c_type);
        else if (pm.rawContentType_)
            in.contentType = bareContentType(*pm.rawContentType_);   // a type without a subtype ("kts")
        if (sip->sip_from != nullptr) in.name = displayOf(sip->sip_from->a_display);
        in.body = payloadOf(sip->sip_payload);
        if (sip->sip_expires != nullptr) in.expires = static_cast<int>(sip->sip_expires->ex_delta);
        for (const sip_call_info_t *ci = sip->sip_call_info; ci != nullptr; ci = ci->ci_next)
            in.callInfo.push_back(headerValue(home, ci));

        if (sip->sip_status != nullptr) {
            in.request = false;
            response();
            summarise();
            return;
        }
        in.request = true;
        in.method = sip->sip_request->rq_method_name != nullptr ? sip->sip_request->rq_method_name : "";
        std::string target = userOf(sip->sip_request->rq_url);
        std::string to = sip->sip_to != nullptr ? userOf(sip->sip_to->a_url) : "";
        std::string from = sip->sip_from != nullptr ? userOf(sip->sip_from->a_url) : "";
        bool toPhone = pm.lines_.match(target) != 0 || pm.lines_.match(to) != 0;
        if (in.method == "SUBSCRIBE" ||
            (in.method == "MESSAGE" && !toPhone && pm.lines_.match(from) != 0)) {
            phoneRequest(in.method);
            summarise();
            return;
        }
        in.line = lineOfUsers({target, to});
        in.number = from;
        if (in.method == "NOTIFY") {
            if (!in.event) in.warnings.push_back("NOTIFY without an Event header");
            notify();
        } else if (in.method == "MESSAGE") {
            message();
        } else if (in.method == "INFO") {
            info();
        }
        summarise();
    }
};

ProtocolManager::ProtocolManager(LineTable lines) : lines_(std::move(lines)) {}
ProtocolManager::~ProtocolManager() = default;

void ProtocolManager::track(const std::string &callId, unsigned cseq, const Transaction &transaction) {
    transactions_[Key{callId, cseq}] = transaction;
}

std::vector<Call> ProtocolManager::expire(double now, double timeout) {
    std::vector<std::pair<Key, Transaction>> due;
    for (const auto &entry : transactions_) {
        if (now - entry.second.started >= timeout) due.push_back(entry);
    }
    std::stable_sort(due.begin(), due.end(),
                     [](const auto &a, const auto &b) { return a.second.started < b.second.started; });
    std::vector<Call> calls;
    for (const auto &entry : due) {
        transactions_.erase(entry.first);
        calls.push_back(resultCall(entry.second, 0));
    }
    return calls;
}

bool ProtocolManager::normalise(msg_t *msg, const std::string &source, double t, Inbound &out,
                                std::string &error) {
    out = Inbound{};
    out.source = source;
    out.t = t;
    sip_t const *sip = sip_object(msg);
    if (sip == nullptr || (sip->sip_request == nullptr && sip->sip_status == nullptr)) {
        error = source + ": not a SIP request or response";
        return false;
    }
    if (sip->sip_request != nullptr && sip->sip_request->rq_method_name == nullptr) {
        error = source + ": request without a method";
        return false;
    }
    std::string missing;
    for (auto [present, name] : {std::pair<bool, const char *>{sip->sip_from != nullptr, "From"},
                                 {sip->sip_to != nullptr, "To"}, {sip->sip_call_id != nullptr, "Call-ID"},
                                 {sip->sip_cseq != nullptr, "CSeq"}}) {
        if (!present) missing += std::string(missing.empty() ? "" : ", ") + name;
    }
    if (!missing.empty()) {
        error = source + ": without a usable " + missing;
        return false;
    }
    for (const sip_error_t *e = sip->sip_error; e != nullptr; e = e->er_next) {
        // The parser also files here headers of other classes that it could not place;
        // only a true error header has a name to show.
        bool named = e->er_common->h_class == sip_error_class && e->er_name != nullptr;
        out.warnings.push_back("unreadable header: " + (named ? trim(e->er_name) : std::string("?")));
    }
    Home scratch;
    Normaliser{*this, scratch.home, sip, out}.run();
    return true;
}

bool ProtocolManager::parse(const char *data, std::size_t size, const std::string &source, double t,
                            Inbound &out, std::string &error) {
    if (data == nullptr || size == 0) {
        error = source + ": empty message";
        return false;
    }
    std::string warning, fixed;
    const std::string original(data, size);
    const std::string &text = fixBodyLength(original, fixed, warning) ? fixed : original;
    Msg msg(msg_make(sip_default_mclass(), 0, text.data(), static_cast<ssize_t>(text.size())));
    if (!msg) {
        error = source + ": not a SIP message";
        return false;
    }
    sip_t const *sip = sip_object(msg.get());
    if (sip == nullptr || (sip->sip_request == nullptr && sip->sip_status == nullptr)) {
        error = source + ": not a SIP message (no request or status line)";
        return false;
    }
    // Only a type the parser refused needs its text as written.
    if (sip->sip_content_type == nullptr) rawContentType_ = rawHeader(text, "Content-Type", "c");
    bool ok = normalise(msg.get(), source, t, out, error);
    rawContentType_.reset();
    if (!ok) return false;
    out.bytes = size;
    if (!warning.empty()) out.warnings.insert(out.warnings.begin(), warning);
    return true;
}

}  // namespace sippm
