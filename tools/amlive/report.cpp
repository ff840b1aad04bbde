#include "report.h"

#include <cstring>

#include "platform/am.h"

namespace amlive {

std::string jsonString(const std::string &text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\n': out += "\\n"; break;
        case '\r': out += "\\r"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20) {
                char buf[8];
                std::snprintf(buf, sizeof buf, "\\u%04x", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

namespace {

// Fixed text fields are NUL-terminated within their arrays; never read past one.
template <std::size_t N>
std::string field(const char (&text)[N]) {
    return std::string(text, strnlen(text, N));
}

std::string optionalJson(bool present, const std::string &text) {
    return present ? jsonString(text) : "null";
}

const char *blfStateName(int state) {
    switch (state) {
    case AM_BLF_STATE_IDLE: return "idle";
    case AM_BLF_STATE_ONGOING: return "ongoing";
    case AM_BLF_STATE_SUCCESS: return "success";
    case AM_BLF_STATE_FAILED: return "failed";
    case AM_BLF_STATE_TALKING: return "talking";
    case AM_BLF_STATE_HOLDING: return "holding";
    case AM_BLF_STATE_PARKED: return "parked";
    case AM_BLF_STATE_RINGING: return "ringing";
    case AM_BLF_STATE_RESET: return "reset";
    case AM_BLF_STATE_DIALING: return "dialing";
    case AM_BLF_STATE_DND: return "dnd";
    case AM_BLF_STATE_AWAY: return "away";
    case AM_BLF_STATE_ONLY_SIP: return "only-sip";
    case AM_BLF_STATE_OFFLINE: return "offline";
    default: return "?";
    }
}

const char *presenceStateName(int state) {
    switch (state) {
    case AM_PRESENCE_STATE_SEND_FAILED: return "send-failed";
    case AM_PRESENCE_STATE_OFFLINE: return "offline";
    case AM_PRESENCE_STATE_READY: return "ready";
    case AM_PRESENCE_STATE_TALKING: return "talking";
    case AM_PRESENCE_STATE_RINGING: return "ringing";
    case AM_PRESENCE_STATE_FAILED: return "failed";
    case AM_PRESENCE_STATE_ONGOING: return "ongoing";
    case AM_PRESENCE_STATE_ALERTING: return "alerting";
    default: return "?";
    }
}

// A record's fields as JSON members (`json`) and as the timeline's words (`text`).
struct Fields {
    std::string json, text;
    void add(const char *name, const std::string &value) {
        json += std::string(json.empty() ? "" : ",") + "\"" + name + "\":" + jsonString(value);
        text += std::string(" ") + name + "=" + value;
    }
    void add(const char *name, int value) {
        json += std::string(json.empty() ? "" : ",") + "\"" + name + "\":" + std::to_string(value);
        text += std::string(" ") + name + "=" + std::to_string(value);
    }
    void addRaw(const char *name, const std::string &jsonValue, const std::string &textValue) {
        json += std::string(json.empty() ? "" : ",") + "\"" + name + "\":" + jsonValue;
        text += std::string(" ") + name + "=" + textValue;
    }
};

template <typename Record>
bool fits(int size) {
    return size >= static_cast<int>(sizeof(Record));
}

}  // namespace

double Reporter::now() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
}

double Reporter::epoch() const {
    return std::chrono::duration<double>(wallStart_.time_since_epoch()).count();
}

void Reporter::line(const std::string &text) {
    std::fputs(text.c_str(), out_);
    std::fputc('\n', out_);
    std::fflush(out_);
}

static std::string stamp(double t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%9.3f", t);
    return buf;
}

static std::string jsonTime(double t) {
    char buf[32];
    std::snprintf(buf, sizeof buf, "%.6f", t);
    return buf;
}

void Reporter::inbound(const sippm::Inbound &in) {
    std::lock_guard<std::mutex> lock(mutex_);
    if (json_) {
        std::string s = "{\"kind\":\"in\",\"t\":" + jsonTime(in.t) + ",\"source\":" + jsonString(in.source);
        if (in.request) s += ",\"method\":" + jsonString(in.method);
        else s += ",\"status\":" + std::to_string(in.status) + ",\"method\":" + jsonString(in.method);
        s += ",\"line\":" + std::to_string(in.line) + ",\"number\":" + jsonString(in.number);
        s += ",\"event\":" + optionalJson(in.event.has_value(), in.event.value_or(""));
        s += ",\"subscriptionState\":" +
             optionalJson(in.subscriptionState.has_value(), in.subscriptionState.value_or(""));
        s += ",\"contentType\":" + optionalJson(in.contentType.has_value(), in.contentType.value_or(""));
        s += ",\"bytes\":" + std::to_string(in.bytes) + "}";
        line(s);
        for (const std::string &w : in.warnings)
            line("{\"kind\":\"log\",\"t\":" + jsonTime(in.t) + ",\"text\":" + jsonString(in.source + ": " + w) + "}");
        return;
    }
    line(stamp(in.t) + " <- " + in.summary);
    for (const std::string &w : in.warnings) line(stamp(in.t) + "    warning: " + w);
}

void Reporter::outbound(const devhost::Request &r, const sippm::OutRequest &rendered) {
    static const char *const names[] = {"pmSubscribe", "pmSubscribeCancel", "pmMessage", "pmSendInfo"};
    double t = now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (json_) {
        std::string s = "{\"kind\":\"out\",\"t\":" + jsonTime(t) + ",\"request\":\"" + names[r.kind] + "\"";
        s += ",\"line\":" + std::to_string(r.line);
        s += ",\"number\":" + optionalJson(r.hasNumber, r.number);
        if (r.kind == devhost::Request::Subscribe)
            s += ",\"expires\":" + std::to_string(r.expires) + ",\"flag\":" + std::to_string(r.flag);
        if (r.kind == devhost::Request::Message) s += ",\"id\":" + std::to_string(r.id);
        if (r.kind == devhost::Request::Subscribe || r.kind == devhost::Request::Unsubscribe) {
            s += ",\"event\":" + optionalJson(r.hasEvent, r.event);
            s += ",\"accept\":" + optionalJson(r.hasAccept, r.accept);
        }
        if (r.kind != devhost::Request::Unsubscribe) {
            s += ",\"contentType\":" + optionalJson(r.hasContentType, r.contentType);
            s += ",\"body\":" + optionalJson(r.hasBody, r.body);
        }
        if (r.kind == devhost::Request::Subscribe) s += ",\"extra\":" + optionalJson(r.hasExtra, r.extra);
        line(s + ",\"uri\":" + jsonString(rendered.uri) + "}");
        return;
    }
    std::string s = stamp(t) + " -> " + rendered.method + " " + rendered.uri + " (" + names[r.kind];
    if (r.hasEvent) s += ", event " + r.event;
    if (r.kind == devhost::Request::Unsubscribe) s += ", expires 0";
    if (r.hasContentType) s += ", " + r.contentType;
    line(s + ")");
}

void Reporter::event(const char *name, const void *data, int size) {
    double t = now();
    Fields f;
    std::string shown;   // the state line of the key or lamp this event sets, if any
    const std::string event = name != nullptr ? name : "";
    std::lock_guard<std::mutex> lock(mutex_);
    if (event == AM_BLF_EVENT_NAME && fits<AmBlfStatus>(size)) {
        const auto *r = static_cast<const AmBlfStatus *>(data);
        f.add("number", field(r->number));
        f.add("display", field(r->display));
        f.add("subscriptionNumber", field(r->subscriptionNumber));
        f.add("line", r->line);
        f.add("status", r->status);
        f.add("state", r->state);
        f.add("dialogId", field(r->dialogId));
        f.add("remote", field(r->remote));
        f.add("remoteDisplay", field(r->remoteDisplay));
        blf_[{r->line, field(r->number)}] = blfStateName(r->state);
        shown = std::string(" (") + blfStateName(r->state) + ")";
    } else if (event == AM_BLF_LIST_EVENT_NAME && fits<AmBlfList>(size)) {
        const auto *r = static_cast<const AmBlfList *>(data);
        f.add("ext", field(r->ext));
        f.add("number", field(r->number));
        f.add("name", field(r->name));
        f.add("line", r->line);
        f.add("status", r->status);
        Fields parked;
        parked.add("number", field(r->parked.number));
        parked.add("display", field(r->parked.display));
        f.addRaw("parked", "{" + parked.json + "}", "{" + parked.text.substr(1) + "}");
        if ((r->status & (AM_BLF_LIST_CLEAR | AM_BLF_LIST_FINISH)) == 0) {
            int state = 0;
            while (state < 31 && (r->status & (1 << state)) == 0) ++state;
            std::string member = field(r->number).empty() ? field(r->ext) : field(r->number);
            members_[{r->line, member}] = r->status == 0 ? "idle" : blfStateName(state);
        }
    } else if (event == AM_PRESENCE_EVENT_NAME && fits<AmPresenceStatus>(size)) {
        const auto *r = static_cast<const AmPresenceStatus *>(data);
        f.add("number", field(r->number));
        f.addRaw("callId", r->callId != nullptr ? jsonString(r->callId) : "null",
                 r->callId != nullptr ? r->callId : "(none)");
        f.add("line", r->line);
        f.add("state", r->state);
        presence_[{r->line, field(r->number)}] = presenceStateName(r->state);
        shown = std::string(" (") + presenceStateName(r->state) + ")";
    } else if (event == AM_MWI_EVENT_NAME && fits<AmMwiStatus>(size)) {
        const auto *r = static_cast<const AmMwiStatus *>(data);
        f.add("line", r->line);
        f.add("oldCount", r->oldCount);
        f.add("newCount", r->newCount);
        f.add("waiting", r->waiting);
        f.add("specialServices", r->specialServices);
        f.add("msgTypes", r->msgTypes);
        f.add("account", field(r->account));
        f.add("dialogFlag", r->dialogFlag);
        mwi_[r->line] = std::string(r->waiting == 1 ? "on" : "off") + " new=" + std::to_string(r->newCount) +
                        " old=" + std::to_string(r->oldCount);
    } else if (event == AM_SMS_SEND_EVENT_NAME && fits<AmSmsSendStatus>(size)) {
        const auto *r = static_cast<const AmSmsSendStatus *>(data);
        f.add("number", field(r->number));
        f.add("line", r->line);
        f.add("status", r->status);
        f.add("id", r->id);
        f.add("type", r->type);
    } else {
        f.add("size", size);
    }
    if (json_) {
        line("{\"kind\":\"event\",\"t\":" + jsonTime(t) + ",\"name\":" + jsonString(event) + ",\"record\":{" +
             f.json + "}}");
        return;
    }
    line(stamp(t) + " ** " + event + shown + f.text);
}

void Reporter::delivered(int lineIndex, const std::string &number, const std::string &name, const std::string &text) {
    double t = now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (json_) {
        line("{\"kind\":\"delivered\",\"t\":" + jsonTime(t) + ",\"line\":" + std::to_string(lineIndex) +
             ",\"number\":" + jsonString(number) + ",\"name\":" + jsonString(name) + ",\"text\":" + jsonString(text) +
             "}");
        return;
    }
    line(stamp(t) + " => delivered on line " + std::to_string(lineIndex) + " from " + number + " (" + name +
         "): " + text);
}

void Reporter::note(const std::string &text) {
    double t = now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (json_) line("{\"kind\":\"log\",\"t\":" + jsonTime(t) + ",\"text\":" + jsonString(text) + "}");
    else line(stamp(t) + " -- " + text);
}

void Reporter::error(const std::string &source, const std::string &text) {
    double t = now();
    std::lock_guard<std::mutex> lock(mutex_);
    if (json_)
        line("{\"kind\":\"error\",\"t\":" + jsonTime(t) + ",\"source\":" + jsonString(source) +
             ",\"text\":" + jsonString(text) + "}");
    else line(stamp(t) + " !! " + source + ": " + text);
}

void Reporter::state() {
    std::lock_guard<std::mutex> lock(mutex_);
    auto keyed = [](const std::map<std::pair<int, std::string>, std::string> &m) {
        std::string json;
        for (const auto &e : m) {
            if (!json.empty()) json += ",";
            json += "{\"line\":" + std::to_string(e.first.first) + ",\"number\":" + jsonString(e.first.second) +
                    ",\"state\":" + jsonString(e.second) + "}";
        }
        return "[" + json + "]";
    };
    if (json_) {
        std::string mwi;
        for (const auto &e : mwi_)
            mwi += std::string(mwi.empty() ? "" : ",") + "{\"line\":" + std::to_string(e.first) +
                   ",\"lamp\":" + jsonString(e.second) + "}";
        line("{\"kind\":\"state\",\"blf\":" + keyed(blf_) + ",\"listMembers\":" + keyed(members_) +
             ",\"presence\":" + keyed(presence_) + ",\"mwi\":[" + mwi + "]}");
        return;
    }
    line("state:");
    for (const auto &e : blf_) line("  BLF key     line " + std::to_string(e.first.first) + " " + e.first.second + ": " + e.second);
    for (const auto &e : members_)
        line("  list member line " + std::to_string(e.first.first) + " " + e.first.second + ": " + e.second);
    for (const auto &e : presence_)
        line("  presence    line " + std::to_string(e.first.first) + " " + e.first.second + ": " + e.second);
    for (const auto &e : mwi_) line("  message waiting line " + std::to_string(e.first) + ": " + e.second);
}

}  // namespace amlive
