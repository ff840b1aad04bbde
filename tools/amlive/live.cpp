#include "live.h"

#include <fcntl.h>
#include <unistd.h>

#include <sofia-sip/msg.h>
#include <sofia-sip/msg_header.h>
#include <sofia-sip/nua.h>
#include <sofia-sip/nua_tag.h>
#include <sofia-sip/sip_header.h>
#include <sofia-sip/sip_status.h>
#include <sofia-sip/sip_tag.h>
#include <sofia-sip/su_tag.h>
#include <sofia-sip/su_wait.h>

#include <algorithm>
#include <chrono>
#include <cstring>

#include "platform/am.h"

namespace amlive {

struct Live::Sub {
    enum Kind { Register, Subscribe, Message, Info, Incoming } kind = Subscribe;
    int line = 1;
    std::string number, event, contentType;
    int id = 0;
    bool viaModule = true;     // the module asked for it (not the tool's own mailbox watch)
    bool unsubscribing = false;
    bool registered = false;
    bool done = false;
    int challenges = 0;
    nua_handle_t *nh = nullptr;
};

namespace {

std::string userAt(const std::string &user, const std::string &domain) {
    return "sip:" + user + "@" + domain;
}

// Where the line's requests go, with its transport.
std::string proxyOf(const Account &a) {
    return "sip:" + (a.proxy.empty() ? a.line.server : a.proxy) + (a.tcp ? ";transport=tcp" : "");
}

// A realm parameter as the challenge gave it, quotes included (nua wants them).
std::string realmOf(const sip_t *sip) {
    const msg_auth_t *auth = sip->sip_www_authenticate != nullptr ? sip->sip_www_authenticate
                                                                   : sip->sip_proxy_authenticate;
    if (auth == nullptr) return "\"\"";
    const char *realm = msg_params_find(auth->au_params, "realm=");
    return realm != nullptr ? realm : "\"\"";
}

}  // namespace

// nua's C callback, forwarded to the object that created the stack.
struct Callbacks {
    static void event(nua_event_t event, int status, char const *phrase, nua_t *nua, nua_magic_t *magic,
                      nua_handle_t *nh, nua_hmagic_t *hmagic, sip_t const *sip, tagi_t[]) {
        auto *live = static_cast<Live *>(static_cast<void *>(magic));
        nua_saved_event_t saved[1];
        nua_save_event(nua, saved);
        const nua_event_data_t *data = nua_event_data(saved);
        live->msg_ = data != nullptr ? data->e_msg : nullptr;
        live->onEvent(event, status, phrase, nh, static_cast<Live::Sub *>(static_cast<void *>(hmagic)), sip);
        live->msg_ = nullptr;
        nua_destroy_event(saved);
    }
    static int woken(su_root_magic_t *, su_wait_t *, su_wakeup_arg_t *arg) {
        auto *live = static_cast<Live *>(static_cast<void *>(arg));
        char buf[64];
        while (read(live->wakeFds_[0], buf, sizeof buf) > 0) {
        }
        live->sendPending();
        return 0;
    }
};

Live::Live(amreplay::Timeline &timeline, const sippm::ModuleApi &module) : timeline_(timeline), module_(module) {}

double Live::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

double Live::epoch() const {
    return std::chrono::duration<double>(wallStart_.time_since_epoch()).count();
}

void Live::note(const std::string &text) { timeline_.note(now(), "amlive", text); }

void Live::error(const std::string &source, const std::string &text) { timeline_.error(now(), source, text); }

Live::~Live() {
    shutdown();
    if (nua_ != nullptr) nua_destroy(nua_);
    if (root_ != nullptr) {
        if (waitIndex_ > 0) su_root_deregister(root_, waitIndex_);
        su_root_destroy(root_);
    }
    if (wakeFds_[0] >= 0) close(wakeFds_[0]);
    if (wakeFds_[1] >= 0) close(wakeFds_[1]);
    if (suStarted_) su_deinit();
}

const Account *Live::account(int line) const {
    for (const Account &a : accounts_)
        if (a.line.index == line) return &a;
    return nullptr;
}

bool Live::start(const std::vector<Account> &accounts, const std::vector<Watch> &watches, std::string &error) {
    accounts_ = accounts;
    watches_ = watches;
    for (const Account &a : accounts_) pm_.lines().set(a.line);
    suStarted_ = su_init() == 0;
    root_ = su_root_create(nullptr);
    if (root_ == nullptr || pipe(wakeFds_) != 0) {
        error = "cannot create the SIP stack's main loop";
        return false;
    }
    fcntl(wakeFds_[0], F_SETFL, O_NONBLOCK);
    fcntl(wakeFds_[1], F_SETFL, O_NONBLOCK);
    su_wait_t wait[1];
    su_wait_create(wait, wakeFds_[0], SU_WAIT_IN);
    waitIndex_ = su_root_register(root_, wait, Callbacks::woken, static_cast<su_wakeup_arg_t *>(static_cast<void *>(this)), 0);

    // Bind where the first server can be reached: loopback stays on loopback.
    const Account &first = accounts_.front();
    std::string host = first.proxy.empty() ? first.line.server : first.proxy;
    bool loopback = host.rfind("127.", 0) == 0 || host.rfind("localhost", 0) == 0;
    std::string bind = std::string("sip:") + (loopback ? "127.0.0.1" : "*") + ":*";
    if (first.tcp) bind += ";transport=tcp";
    nua_ = nua_create(root_, Callbacks::event, static_cast<nua_magic_t *>(static_cast<void *>(this)),
                      NUTAG_URL(bind.c_str()), TAG_END());
    if (nua_ == nullptr) {
        error = "cannot bind the SIP stack to " + bind;
        return false;
    }
    // The phone answers MESSAGE, INFO and NOTIFY itself; no keepalive OPTIONS to the server.
    // Every request goes by the first line's server, as a phone's outbound proxy would.
    std::string proxy = proxyOf(first);
    nua_set_params(nua_, NUTAG_PROXY(proxy.c_str()), NUTAG_OUTBOUND("no-options-keepalive no-validate no-natify"), NUTAG_KEEPALIVE(0),
                   NUTAG_ALLOW("MESSAGE, INFO, NOTIFY"), NUTAG_ENABLEMESSAGE(1), SIPTAG_USER_AGENT_STR("amlive"),
                   TAG_END());

    devhost::setRequestHook([this](const devhost::Request &r, int configured) { return onRequest(r, configured); });
    for (const Account &a : accounts_) {
        devhost::LineSettings &settings = devhost::line(a.line.index);
        settings.registered = false;
        settings.registerNumber = a.line.user;
        settings.registerServer = a.line.server;
        auto sub = std::make_unique<Sub>();
        sub->kind = Sub::Register;
        sub->line = a.line.index;
        std::string self = userAt(a.line.user, a.line.server);
        std::string proxy = proxyOf(a);
        sub->nh = nua_handle(nua_, static_cast<nua_hmagic_t *>(static_cast<void *>(sub.get())),
                             SIPTAG_TO_STR(self.c_str()), SIPTAG_FROM_STR(self.c_str()),
                             NUTAG_PROXY(proxy.c_str()), TAG_END());
        std::string expires = std::to_string(a.expires);
        nua_register(sub->nh, NUTAG_M_USERNAME(a.line.user.c_str()), NUTAG_REGISTRAR(proxy.c_str()),
                     SIPTAG_EXPIRES_STR(expires.c_str()), TAG_END());
        note("line " + std::to_string(a.line.index) + ": REGISTER " + self + " via " + proxy);
        subs_.push_back(std::move(sub));
    }
    return true;
}

void Live::wake() {
    if (wakeFds_[1] >= 0) {
        ssize_t ignored = write(wakeFds_[1], "w", 1);
        (void)ignored;
    }
}

int Live::onRequest(const devhost::Request &request, int configured) {
    {
        std::lock_guard<std::mutex> lock(queueMutex_);
        queue_.push_back({request, configured, {}});
    }
    wake();
    return configured;
}

void Live::sendPending() {
    std::vector<Pending> pending;
    {
        std::lock_guard<std::mutex> lock(queueMutex_);
        pending.swap(queue_);
    }
    for (Pending &p : pending) {
        p.rendered = pm_.render(p.request, now(), false);
        timeline_.request(now(), p.request, p.result, p.rendered);
        send(p);
    }
}

Live::Sub *Live::subscription(int line, const std::string &number, const std::string &event) {
    for (auto &sub : subs_)
        if (sub->kind == Sub::Subscribe && sub->line == line && sub->number == number && sub->event == event)
            return sub.get();
    return nullptr;
}

void Live::forget(Sub *sub) {
    for (auto it = subs_.begin(); it != subs_.end(); ++it) {
        if (it->get() != sub) continue;
        if (sub->nh != nullptr) nua_handle_destroy(sub->nh);
        subs_.erase(it);
        return;
    }
}

static std::string headerOf(const sippm::OutRequest &out, const char *name) {
    for (const auto &h : out.headers)
        if (strcasecmp(h.first.c_str(), name) == 0) return h.second;
    return {};
}

void Live::send(const Pending &p) {
    using devhost::Request;
    const Request &r = p.request;
    const Account *a = account(r.line);
    if (a == nullptr) {
        error("line " + std::to_string(r.line), "no such line configured: request not sent");
        return;
    }
    std::string self = userAt(a->line.user, a->line.server);
    std::string proxy = proxyOf(*a);
    const char *contentType = r.hasContentType ? r.contentType.c_str() : nullptr;
    const char *body = r.hasBody ? r.body.c_str() : nullptr;

    if (r.kind == Request::Unsubscribe) {
        Sub *sub = subscription(r.line, r.number, r.event);
        if (sub == nullptr) {
            // Nothing to end: answer the module as a server would answer an unknown dialog.
            sippm::Call call;
            call.kind = sippm::Call::UnsubscribeResult;
            call.line = r.line;
            call.number = r.number;
            call.event = r.event;
            call.state = 0;
            call.invoke(module_);
            return;
        }
        sub->unsubscribing = true;
        nua_unsubscribe(sub->nh, SIPTAG_EXPIRES_STR("0"), TAG_END());
        return;
    }

    auto fresh = [&](Sub::Kind kind) {
        auto sub = std::make_unique<Sub>();
        sub->kind = kind;
        sub->line = r.line;
        sub->number = r.number;
        sub->event = r.event;
        sub->contentType = r.contentType;
        sub->id = r.id;
        sub->nh = nua_handle(nua_, static_cast<nua_hmagic_t *>(static_cast<void *>(sub.get())),
                             SIPTAG_TO_STR(p.rendered.uri.c_str()), SIPTAG_FROM_STR(self.c_str()),
                             NUTAG_PROXY(proxy.c_str()), TAG_END());
        subs_.push_back(std::move(sub));
        return subs_.back().get();
    };

    if (r.kind == Request::Subscribe) {
        Sub *sub = subscription(r.line, r.number, r.event);
        if (sub == nullptr) sub = fresh(Sub::Subscribe);
        sub->unsubscribing = false;
        bool list = false;
        for (const Watch &w : watches_)
            if (w.kind == Watch::List && w.line == r.line && w.number == r.number) list = true;
        // A resource list is only expanded for a watcher that says it takes event lists.
        std::string accept = r.hasAccept ? r.accept : "";
        if (list) accept += std::string(accept.empty() ? "" : ", ") + "application/rlmi+xml, multipart/related";
        std::string expires = std::to_string(r.expires);
        std::string callInfo = headerOf(p.rendered, "Call-Info");
        nua_subscribe(sub->nh, NUTAG_URL(p.rendered.uri.c_str()), SIPTAG_EVENT_STR(r.event.c_str()),
                      SIPTAG_EXPIRES_STR(expires.c_str()), TAG_IF(!accept.empty(), SIPTAG_ACCEPT_STR(accept.c_str())),
                      TAG_IF(list, SIPTAG_SUPPORTED_STR("eventlist")),
                      TAG_IF(!callInfo.empty(), SIPTAG_CALL_INFO_STR(callInfo.c_str())),
                      TAG_IF(contentType != nullptr, SIPTAG_CONTENT_TYPE_STR(contentType)),
                      TAG_IF(body != nullptr, SIPTAG_PAYLOAD_STR(body)), TAG_END());
        return;
    }
    if (r.kind == Request::Message) {
        Sub *sub = fresh(Sub::Message);
        nua_message(sub->nh, TAG_IF(contentType != nullptr, SIPTAG_CONTENT_TYPE_STR(contentType)),
                    TAG_IF(body != nullptr, SIPTAG_PAYLOAD_STR(body)), TAG_END());
        return;
    }
    // An INFO to a party the line already has a subscription with goes inside that dialog,
    // where the far end can tell which of its subscribers it comes from.
    Sub *dialog = nullptr;
    for (auto &sub : subs_)
        if (sub->kind == Sub::Subscribe && sub->line == r.line && sub->number == r.number && !sub->unsubscribing)
            dialog = sub.get();
    nua_handle_t *nh = dialog != nullptr ? dialog->nh : fresh(Sub::Info)->nh;
    nua_info(nh, TAG_IF(contentType != nullptr, SIPTAG_CONTENT_TYPE_STR(contentType)),
             TAG_IF(body != nullptr, SIPTAG_PAYLOAD_STR(body)), TAG_END());
}

void Live::handOver(const std::string &source, bool track, const Sub *sub) {
    msg_t *msg = static_cast<msg_t *>(msg_);
    if (msg == nullptr) return;
    sip_t const *sip = sip_object(msg);
    if (track && sub != nullptr && sip != nullptr && sip->sip_call_id != nullptr && sip->sip_cseq != nullptr) {
        sippm::Transaction tr;
        tr.kind = sub->kind == Sub::Message ? sippm::Transaction::Message
                  : sub->unsubscribing     ? sippm::Transaction::Unsubscribe
                                           : sippm::Transaction::Subscribe;
        tr.line = sub->line;
        tr.number = sub->number;
        tr.event = sub->event;
        tr.contentType = sub->contentType;
        tr.id = sub->id;
        tr.started = now();
        pm_.track(sip->sip_call_id->i_id, sip->sip_cseq->cs_seq, tr);
    }
    sippm::Inbound in;
    std::string why;
    if (!pm_.normalise(msg, source, now(), in, why)) {
        error(source, why);
        return;
    }
    timeline_.inbound(now(), in);
    for (const sippm::Call &call : in.calls) call.invoke(module_);
}

void Live::onEvent(int event, int status, const char *phrase, nua_handle_t *nh, Sub *sub, const void *sipData) {
    const sip_t *sip = static_cast<const sip_t *>(sipData);
    std::string source = "live:" + std::to_string(++counter_);
    auto challenge = [&]() {
        if (sub == nullptr || sip == nullptr || (status != 401 && status != 407) || ++sub->challenges > 2)
            return false;
        const Account *a = account(sub->line);
        if (a == nullptr) return false;
        std::string auth = "Digest:" + realmOf(sip) + ":" + a->line.user + ":" + a->password;
        nua_authenticate(nh, NUTAG_AUTH(auth.c_str()), TAG_END());
        return true;
    };
    switch (event) {
    case nua_r_register:
        if (sub == nullptr || status < 200 || challenge()) return;
        if (status < 300) {
            sub->challenges = 0;
            if (!sub->registered) {
                sub->registered = true;
                devhost::line(sub->line).registered = true;
                ++registered_;
                note("line " + std::to_string(sub->line) + " registered");
                askWatches(sub->line);
            }
        } else {
            error("line " + std::to_string(sub->line),
                  "REGISTER failed: " + std::to_string(status) + " " + (phrase ? phrase : ""));
            if (sub->registered) {
                // A refresh refused: the module must stop subscribing on this line.
                sub->registered = false;
                devhost::line(sub->line).registered = false;
                --registered_;
            }
            // Nothing to watch when no line could register: the tool stops by itself.
            if (++refused_ >= static_cast<int>(accounts_.size()) && registered_.load() == 0) gaveUp_ = true;
        }
        return;
    case nua_r_unregister:
        if (status < 200 || challenge()) return;
        if (sub != nullptr) {
            sub->done = true;
            devhost::line(sub->line).registered = false;
            note("line " + std::to_string(sub->line) + " unregistered: " + std::to_string(status));
        }
        return;
    case nua_r_subscribe:
    case nua_r_unsubscribe:
        if (status < 200 || challenge()) return;
        if (sub != nullptr) sub->challenges = 0;
        handOver(source, true, sub);
        if (sub != nullptr && (event == nua_r_unsubscribe || status >= 300)) forget(sub);
        return;
    case nua_r_message:
        if (status < 200 || challenge()) return;
        handOver(source, true, sub);
        if (sub != nullptr) forget(sub);
        return;
    case nua_r_info:
        if (status >= 200 && sub != nullptr && sub->kind == Sub::Info) forget(sub);
        return;
    case nua_i_notify:
        // Unsolicited NOTIFYs (message waiting, phone events) are the module's too.
        handOver(source, false, sub);
        if (sub == nullptr) nua_handle_destroy(nh);
        return;
    case nua_i_message:
    case nua_i_info:
        handOver(source, false, sub);
        if (sub == nullptr) nua_handle_destroy(nh);
        return;
    case nua_r_shutdown:
        if (status >= 200) stackDown_ = true;
        return;
    default:
        // Requests the phone does not take (INVITE, SUBSCRIBE, ...) are refused by the stack;
        // their handles are ours to drop.
        if (sub == nullptr && nh != nullptr && event >= nua_i_error && event < nua_r_set_params &&
            event != nua_i_state && event != nua_i_terminated)
            nua_handle_destroy(nh);
        return;
    }
}

void Live::askWatches(int line) {
    if (std::find(asked_.begin(), asked_.end(), line) == asked_.end()) asked_.push_back(line);
    for (Watch &w : watches_)
        if (w.line == line && !w.done && w.at <= now()) ask(w);
}

void Live::ask(Watch &w) {
    const Account *a = account(w.line);
    int line = w.line;
    w.done = true;
    switch (w.kind) {
    case Watch::Blf:
    case Watch::List:
        timeline_.action(now(), "blf", {std::to_string(line), w.number});
        amRequestBlf(line, w.number.c_str());
        break;
    case Watch::Presence:
        timeline_.action(now(), "presence", {std::to_string(line), w.number});
        amRequestPresence(line, w.number.c_str());
        break;
    case Watch::Sms: {
        int id = w.id != 0 ? w.id : ++messages_;
        timeline_.action(now(), "sms", {std::to_string(line), w.number, std::to_string(id), "text", w.text});
        amSendSms(line, w.number.c_str(), w.text.c_str(), id);
        break;
    }
    case Watch::Mwi: {
        // The phone's own mailbox watch is the protocol manager's, not the module's.
        auto sub = std::make_unique<Sub>();
        sub->line = line;
        sub->number = w.number.empty() ? a->line.user : w.number;
        sub->event = "message-summary";
        sub->viaModule = false;
        std::string uri = userAt(sub->number, a->line.server);
        std::string self = userAt(a->line.user, a->line.server);
        std::string proxy = proxyOf(*a);
        sub->nh = nua_handle(nua_, static_cast<nua_hmagic_t *>(static_cast<void *>(sub.get())),
                             SIPTAG_TO_STR(uri.c_str()), SIPTAG_FROM_STR(self.c_str()), NUTAG_PROXY(proxy.c_str()),
                             TAG_END());
        nua_subscribe(sub->nh, NUTAG_URL(uri.c_str()), SIPTAG_EVENT_STR("message-summary"),
                      SIPTAG_ACCEPT_STR("application/simple-message-summary"), SIPTAG_EXPIRES_STR("3600"),
                      TAG_END());
        note("line " + std::to_string(line) + ": SUBSCRIBE " + uri + " (message-summary)");
        subs_.push_back(std::move(sub));
        break;
    }
    }
}

void Live::step(double seconds) {
    auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    while (std::chrono::steady_clock::now() < until) su_root_step(root_, 50);
}

void Live::run(const std::atomic<bool> &stop, double seconds) {
    auto start = std::chrono::steady_clock::now();
    while (!stop.load() && !gaveUp_) {
        su_root_step(root_, 100);
        for (int line : std::vector<int>(asked_)) askWatches(line);   // the watches whose time has come
        if (seconds > 0 &&
            std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count() >= seconds)
            break;
    }
}

void Live::shutdown() {
    if (shutDown_ || nua_ == nullptr) return;
    shutDown_ = true;
    auto waitFor = [this](double seconds, auto done) {
        auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
        while (!done() && std::chrono::steady_clock::now() < until) su_root_step(root_, 50);
    };
    auto subscriptionsLeft = [this]() {
        for (auto &sub : subs_)
            if (sub->kind == Sub::Subscribe) return true;
        return false;
    };
    note("shutting down: cancelling watches");
    for (const Watch &w : watches_) {
        if (!w.done) continue;
        std::vector<std::string> args{std::to_string(w.line), w.number};
        if (w.kind == Watch::Blf || w.kind == Watch::List) {
            timeline_.action(now(), "blf-cancel", args);
            amRequestBlfCancel(w.line, w.number.c_str());
        }
        if (w.kind == Watch::Presence) {
            timeline_.action(now(), "presence-cancel", args);
            amRequestPresenceCancel(w.line, w.number.c_str());
        }
    }
    step(0.2);
    // What the module did not end (and the tool's own mailbox watch) is ended here.
    for (auto &sub : subs_) {
        if (sub->kind == Sub::Subscribe && !sub->unsubscribing && !sub->viaModule) {
            sub->unsubscribing = true;
            nua_unsubscribe(sub->nh, SIPTAG_EXPIRES_STR("0"), TAG_END());
        }
    }
    waitFor(3.0, [&]() { return !subscriptionsLeft(); });
    for (auto &sub : subs_)
        if (sub->kind == Sub::Subscribe && !sub->unsubscribing) nua_unsubscribe(sub->nh, SIPTAG_EXPIRES_STR("0"), TAG_END());
    waitFor(2.0, [&]() { return !subscriptionsLeft(); });
    note("unregistering");
    for (auto &sub : subs_)
        if (sub->kind == Sub::Register && sub->registered) nua_unregister(sub->nh, TAG_END());
        else if (sub->kind == Sub::Register) sub->done = true;
    waitFor(3.0, [&]() {
        for (auto &sub : subs_)
            if (sub->kind == Sub::Register && !sub->done) return false;
        return true;
    });
    devhost::setRequestHook({});
    nua_shutdown(nua_);
    waitFor(5.0, [&]() { return stackDown_; });
    for (auto &sub : subs_)
        if (sub->nh != nullptr) nua_handle_destroy(sub->nh);
    subs_.clear();
}

}  // namespace amlive
