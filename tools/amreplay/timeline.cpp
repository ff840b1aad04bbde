#include "timeline.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

#include "platform/am.h"

namespace amreplay {

namespace {

std::string fixed(double t) {
    char text[32];
    std::snprintf(text, sizeof text, "%9.3f", t);
    return text;
}

double stamp(double t) { return std::round(t * 1e6) / 1e6; }

Json orNull(bool has, const std::string &text) { return has ? Json(text) : Json(nullptr); }
Json orNull(const std::optional<std::string> &text) { return text ? Json(*text) : Json(nullptr); }

std::string indent(const std::string &text, const std::string &prefix) {
    std::string out;
    std::size_t pos = 0;
    while (pos < text.size()) {
        std::size_t nl = text.find('\n', pos);
        std::string line = text.substr(pos, nl == std::string::npos ? std::string::npos : nl - pos);
        if (!line.empty() && line.back() == '\r') line.pop_back();
        out += prefix + line + "\n";
        if (nl == std::string::npos) break;
        pos = nl + 1;
    }
    return out;
}

}  // namespace

void Timeline::emit(const Json &line) {
    if (o_.json) out_ << line.dump(-1, ' ', false, Json::error_handler_t::replace) << '\n';
}

void Timeline::say(const std::string &text) {
    if (!o_.json && !o_.quiet) out_ << text;
}

void Timeline::error(double t, const std::string &source, const std::string &what) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    ++errors_;
    emit(Json{{"kind", "error"}, {"t", stamp(t)}, {"source", source}, {"error", what}});
    if (!o_.json) out_ << fixed(t) << " error " << source << ": " << what << '\n';
    if (o_.flush) out_.flush();
}

void Timeline::flushLogs(double t) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (o_.logLevel < 0) return;
    for (const devhost::LogLine &l : devhost::logs()) {
        if (l.level < o_.logLevel) continue;
        std::string text = l.text;
        while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) text.pop_back();
        // A line that quotes a body keeps the timeline's indentation on its own lines.
        std::string shown;
        for (char c : text) shown += c == '\n' ? std::string("\n              ") : std::string(1, c);
        emit(Json{{"kind", "log"}, {"t", stamp(t)}, {"level", l.level}, {"module", l.module}, {"text", text}});
        say("          log " + std::to_string(l.level) + " " + l.module + ": " + shown + "\n");
    }
    devhost::clearLogs();
}

void Timeline::note(double t, const std::string &who, const std::string &text) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    emit(Json{{"kind", "log"}, {"t", stamp(t)}, {"module", who}, {"text", text}});
    say(fixed(t) + " " + who + " " + text + "\n");
    if (o_.flush) out_.flush();
}

void Timeline::action(double t, const std::string &verb, const std::vector<std::string> &args, bool reenacted) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    std::string line = verb;
    for (const std::string &arg : args) line += " " + arg;
    Json j{{"kind", "app"}, {"t", stamp(t)}, {"action", verb}, {"args", args}};
    if (reenacted) j["reenacted"] = true;
    emit(j);
    say(fixed(t) + " app   " + line + (reenacted ? "   (reenacted)" : "") + "\n");
    if (verb == "blf" && args.size() >= 2) state_.key(std::atoi(args[0].c_str()), args[1]);
    if (o_.flush) out_.flush();
}

void Timeline::event(double t, const char *name, const Json &record) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    ++events_;
    flushLogs(t);   // what the module logged on the way to this event comes first
    if (std::string(name) == AM_VISUAL_PARK_EVENT_NAME && record.contains("list")) state_.visualPark(record["list"]);
    else state_.apply(name, record);
    if (o_.json) emit(Json{{"kind", "event"}, {"t", stamp(t)}, {"name", name}, {"record", record}});
    else if (!o_.quiet) say("          event " + std::string(name) + " " + recordText(record) + "\n");
    if (o_.flush) out_.flush();
}

void Timeline::request(double t, const devhost::Request &r, int result, const sippm::OutRequest &out) {
    using devhost::Request;
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    flushLogs(t);
    // The fields of the request's own record, in its order.
    static const char *const names[] = {"subscribe", "unsubscribe", "message", "info"};
    bool subscribe = r.kind == Request::Subscribe, cancel = r.kind == Request::Unsubscribe;
    Json j{{"kind", "out"}, {"t", stamp(t)}, {"request", names[r.kind]}};
    if (subscribe || cancel) j["reserved"] = r.reserved;
    j["line"] = r.line;
    j["number"] = orNull(r.hasNumber, r.number);
    if (subscribe) {
        j["expires"] = r.expires;
        j["flag"] = r.flag;
    }
    if (subscribe || cancel) {
        j["event"] = orNull(r.hasEvent, r.event);
        j["accept"] = orNull(r.hasAccept, r.accept);
    }
    if (!cancel) {
        j["contentType"] = orNull(r.hasContentType, r.contentType);
        j["body"] = orNull(r.hasBody, r.body);
    }
    if (subscribe) j["extra"] = orNull(r.hasExtra, r.extra);
    if (r.kind == Request::Message) j["id"] = r.id;
    j["result"] = result;
    std::string text = out.text();
    j["sip"] = text;
    emit(j);
    say(fixed(t) + " out   " + out.method + " " + out.uri + "\n" + indent(text, "          | "));
    if (o_.flush) out_.flush();
}

void Timeline::delivered(double t, const char *receiver, int line, const char *number, const char *name,
                         const char *contentType, const char *text) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    state_.delivered();
    auto s = [](const char *p) { return p != nullptr ? Json(p) : Json(nullptr); };
    Json j{{"kind", "delivered"}, {"t", stamp(t)}, {"receiver", receiver}, {"line", line}, {"number", s(number)},
           {"name", s(name)}};
    if (contentType != nullptr) j["contentType"] = contentType;
    j["text"] = s(text);
    emit(j);
    say("          delivered to the " + std::string(receiver) + ": line=" + std::to_string(line) + " number=" +
        Json(number ? number : "").dump() + " name=" + Json(name ? name : "").dump() +
        (contentType ? " contentType=" + std::string(contentType) : "") + " text=" +
        s(text).dump(-1, ' ', false, Json::error_handler_t::replace) + "\n");
    if (o_.flush) out_.flush();
}

void Timeline::inbound(double t, const sippm::Inbound &in) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    // One line per message: what is not printed is not built either.
    if (o_.json) {
        Json j{{"kind", "in"}, {"t", stamp(t)}, {"source", in.source}};
        if (!in.request) j["status"] = in.status;
        j["method"] = in.method;
        j["line"] = in.line;
        j["number"] = in.number;
        j["event"] = orNull(in.event);
        j["subscriptionState"] = orNull(in.subscriptionState);
        j["contentType"] = orNull(in.contentType);
        j["bytes"] = in.bytes;
        if (in.fromPhone) j["fromPhone"] = true;
        if (!in.warnings.empty()) j["warnings"] = in.warnings;
        emit(j);
    } else if (!o_.quiet) {
        say(fixed(t) + (in.fromPhone ? " phone " : " in    ") + in.summary + "   (" + in.source + ")\n");
        for (const std::string &w : in.warnings) say("          warning: " + w + "\n");
    }
    if (o_.flush) out_.flush();
}

void Timeline::timedOut(double t, const sippm::Call &call) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    Json j{{"kind", "in"}, {"t", stamp(t)}, {"source", "timeout"},
           {"method", call.kind == sippm::Call::MessageResult ? "MESSAGE" : "SUBSCRIBE"},
           {"status", 0}, {"line", call.line}, {"number", orNull(call.number)}, {"event", orNull(call.event)},
           {"subscriptionState", nullptr}, {"contentType", orNull(call.contentType)}, {"bytes", 0}};
    emit(j);
    say(fixed(t) + " in    no final response: " + call.entryPoint() + " with 0 for " + call.number.value_or("") +
        "\n");
}

void Timeline::state(double t) {
    std::lock_guard<std::recursive_mutex> lock(mutex_);
    emit(Json{{"kind", "state"}, {"t", stamp(t)}, {"state", state_.json()}});
    if (!o_.json) out_ << state_.text();
    if (o_.flush) out_.flush();
}

}  // namespace amreplay
