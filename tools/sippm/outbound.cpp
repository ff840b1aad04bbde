// What the module's requests to the protocol manager become on the wire.
#include "sippm.h"

namespace sippm {

std::string OutRequest::text() const {
    std::string out = method + " " + uri + " SIP/2.0\r\n";
    for (const auto &header : headers) out += header.first + ": " + header.second + "\r\n";
    if (contentType) out += "Content-Type: " + *contentType + "\r\n";
    out += "Content-Length: " + std::to_string(body ? body->size() : 0) + "\r\n\r\n";
    if (body) out += *body;
    return out;
}

namespace {

std::string sipUri(const std::string &user, const std::string &server) {
    if (user.find('@') != std::string::npos) return "sip:" + user;
    return "sip:" + user + "@" + server;
}

}  // namespace

OutRequest ProtocolManager::render(const devhost::Request &request, double now, bool remember) {
    using devhost::Request;
    const Line *line = lines_.find(request.line);
    Line fallback;
    fallback.index = request.line;
    if (line == nullptr) line = &fallback;
    std::string server = line->server.empty() ? "invalid" : line->server;
    std::string self = line->user.empty() ? "line" + std::to_string(request.line) : line->user;

    ++counter_;
    OutRequest out;
    out.callId = "ostra-" + std::to_string(counter_) + "@" + server;
    out.cseq = 1;
    std::string target = request.hasNumber && !request.number.empty() ? request.number : self;
    out.uri = sipUri(target, server);

    Transaction tr;
    tr.line = request.line;
    tr.number = request.number;
    tr.started = now;
    switch (request.kind) {
    case Request::Subscribe:
    case Request::Unsubscribe:
        out.method = "SUBSCRIBE";
        tr.kind = request.kind == Request::Subscribe ? Transaction::Subscribe : Transaction::Unsubscribe;
        tr.event = request.event;
        break;
    case Request::Message:
        out.method = "MESSAGE";
        tr.kind = Transaction::Message;
        tr.contentType = request.contentType;
        tr.id = request.id;
        break;
    case Request::Info:
        out.method = "INFO";
        break;
    }

    std::string from = "<" + sipUri(self, server) + ">;tag=ostra" + std::to_string(counter_);
    if (!line->display.empty()) from = "\"" + line->display + "\" " + from;
    out.headers.emplace_back("Via", "SIP/2.0/UDP phone.invalid;branch=z9hG4bK-ostra" + std::to_string(counter_));
    out.headers.emplace_back("Max-Forwards", "70");
    out.headers.emplace_back("From", from);
    out.headers.emplace_back("To", "<" + out.uri + ">");
    out.headers.emplace_back("Call-ID", out.callId);
    out.headers.emplace_back("CSeq", std::to_string(out.cseq) + " " + out.method);
    if (out.method == "SUBSCRIBE") {
        out.headers.emplace_back("Contact", "<" + sipUri(self, "phone.invalid") + ">");
        if (request.hasEvent) out.headers.emplace_back("Event", request.event);
        out.headers.emplace_back("Expires", std::to_string(request.kind == Request::Unsubscribe ? 0 : request.expires));
        if (request.hasAccept) out.headers.emplace_back("Accept", request.accept);
        // The appearance a seizure asks for travels as the request's Call-Info.
        if (request.hasExtra && !request.extra.empty()) {
            out.headers.emplace_back("Call-Info", request.extra);
            tr.callInfo = request.extra;
        }
    }
    if (request.hasContentType) out.contentType = request.contentType;
    if (request.hasBody) out.body = request.body;
    if (remember && out.method != "INFO") track(out.callId, out.cseq, tr);
    if (out.method != "INFO") {
        if (rendered_.size() >= 256) rendered_.erase(rendered_.begin());
        rendered_.push_back(tr);
    }
    return out;
}

}  // namespace sippm
