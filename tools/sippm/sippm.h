// A SIP protocol manager for the tools: it reads SIP messages with sofia-sip and hands each
// to the module the way the phone's protocol manager does, and it turns what the module asks
// of the protocol manager into the SIP requests they become.
//
// API (stable; extend, do not break):
//
//   sippm::LineTable lines;                        // the phone's accounts
//   lines.set({1, "1001", "pbx.example.com"});
//   sippm::ProtocolManager pm(lines);
//   sippm::Inbound in;
//   std::string error;
//   if (pm.parse(bytes, size, "capture.pcap:17", 12.5, in, error))   // or pm.normalise(msg, ...)
//       for (const sippm::Call &call : in.calls) call.invoke(module); // module: sippm::ModuleApi
//   for (const sippm::Call &call : pm.expire(now)) call.invoke(module); // transaction timeouts
//   sippm::OutRequest out = pm.render(devhostRequest, now);  // what a pm* request becomes
//   // out.text() is the request as it would go on the wire; its fields are what a SIP
//   // stack needs to send it (method, uri, headers, contentType, body).
//
// parse() takes the bytes of exactly one message (a datagram, a framed stream message, one
// message of a text file); normalise() takes a message that sofia-sip parsed already (the
// live mode). Both end in the same code. Requests the phone itself sent (SUBSCRIBE, and
// MESSAGE from one of its lines) are not delivered but remembered, so that their responses
// become the module's result calls; render() remembers the module's own requests likewise.
#ifndef OSTRA_SIPPM_H
#define OSTRA_SIPPM_H

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/dev_host.h"
#include "platform/host_pm.h"

struct msg_s;

namespace sippm {

// ---- the phone's accounts -----------------------------------------------------------
struct Line {
    int index = 1;
    std::string user;      // the register number; matched against Request-URI and To users
    std::string server;    // the register server (host[:port])
    std::string display;   // shown in From of the requests the phone sends
};

class LineTable {
public:
    void set(const Line &line);               // adds, or replaces the line of that index
    const Line *find(int index) const;        // nullptr when not configured
    int match(const std::string &user) const; // index of the line with that user, 0: none
    const std::vector<Line> &lines() const { return lines_; }

private:
    std::vector<Line> lines_;
};

// ---- the module's entry points ------------------------------------------------------
struct ModuleApi {
    int (*recvNotify)(int, const char *, const char *, const char *, const char *, const char *) = nullptr;
    int (*recvMessage)(int, const char *, const char *, const char *, const char *) = nullptr;
    int (*recvInfo)(const pmInfoRecord *) = nullptr;
    int (*recvSubscribeResult)(int, const char *, const char *, const char *, int, const char *) = nullptr;
    int (*recvUnsubscribeResult)(int, const char *, const char *, const char *, int) = nullptr;
    int (*recvMessageResult)(int, const char *, const char *, int, int) = nullptr;
    // Resolves with dlsym, in an already opened module, every entry point it has (a module
    // built without a feature lacks its entry points; Call::invoke then answers -1). False
    // with a message when it has not even amRecvNotify: then it is no module.
    bool resolve(void *handle, std::string &error);
    // The entry point a call needs and the module lacks, or nullptr.
    const char *missing(int kind) const;
};

// One call of a module entry point. Absent texts are passed as NULL.
struct Call {
    enum Kind { Notify, Message, Info, SubscribeResult, UnsubscribeResult, MessageResult };
    Kind kind = Notify;
    int line = 1;
    std::optional<std::string> number, name, event, subscriptionState, contentType, body;
    int state = 0;   // results: the final 2xx status code, 0 for a failure or a timeout
    int id = 0;      // MessageResult: the message id the module gave
    int invoke(const ModuleApi &module) const;   // -1 when the entry point is missing
    const char *entryPoint() const;              // "amRecvNotify", ...
};

// One SIP message, read and normalised.
struct Inbound {
    std::string source;        // as given to parse()/normalise()
    double t = 0;              // seconds, as given
    bool request = false;
    bool fromPhone = false;    // a request the phone sent, or a response the phone sent
    std::string method;        // request method, or the CSeq method of a response
    int status = 0;            // responses
    int line = 1;
    std::string number;        // From user (requests); the subscribed user (responses)
    std::string name;          // From display name
    std::optional<std::string> event, subscriptionState, contentType;
    std::size_t bytes = 0;     // the whole message as read
    std::string summary;       // one line: start line and the headers that matter
    std::vector<std::string> warnings;
    std::vector<Call> calls;   // what the module gets, in order
    // What a request carried beyond the above, for tools that act on the phone's own
    // requests: its body, Expires (-1: none), Call-Info values, and for a MESSAGE the
    // phone sent, the id its result will carry.
    std::optional<std::string> body;
    int expires = -1;
    std::vector<std::string> callInfo;
    int messageId = 0;
};

// A request as the phone's SIP stack would send it.
struct OutRequest {
    std::string method, uri;
    std::vector<std::pair<std::string, std::string>> headers;   // in order, no Content-*
    std::optional<std::string> contentType, body;
    std::string callId;
    unsigned cseq = 0;
    std::string text() const;   // the request in SIP syntax, CRLF, with Content-Length
};

// A request waiting for its final response.
struct Transaction {
    enum Kind { Subscribe, Unsubscribe, Message } kind = Subscribe;
    int line = 1;
    std::string number, event, contentType, callInfo;
    int id = 0;
    double started = 0;
};

class ProtocolManager {
public:
    explicit ProtocolManager(LineTable lines = {});
    ~ProtocolManager();
    ProtocolManager(const ProtocolManager &) = delete;
    ProtocolManager &operator=(const ProtocolManager &) = delete;

    LineTable &lines() { return lines_; }
    const LineTable &lines() const { return lines_; }

    // Reads one message; false with `error` set when it is no SIP message.
    bool parse(const char *data, std::size_t size, const std::string &source, double t, Inbound &out,
               std::string &error);
    // The same for a message sofia-sip parsed already (not consumed, not changed).
    bool normalise(msg_s *msg, const std::string &source, double t, Inbound &out, std::string &error);

    // Failure results (state 0) for transactions without a final response after `timeout`
    // seconds, oldest first; they are forgotten.
    std::vector<Call> expire(double now, double timeout = 32.0);

    // The SIP request a pm* call becomes. With `remember`, a SUBSCRIBE or MESSAGE is kept
    // as a transaction, so that its response (or its timeout) becomes a result call;
    // replay leaves it out, as nothing answers a request that was never sent. Either way a
    // response whose request was not seen is matched to the oldest rendered request of its
    // method to the same user (a capture taken without the phone's side).
    OutRequest render(const devhost::Request &request, double now, bool remember = true);

    // Remember a request sent by other means (the live mode's stack).
    void track(const std::string &callId, unsigned cseq, const Transaction &transaction);
    std::size_t pendingTransactions() const { return transactions_.size(); }
    // The id that the next MESSAGE the phone is seen sending is given (--reenact makes the
    // module send it with that id).
    int nextMessageId() const { return nextMessageId_; }

private:
    struct Key {
        std::string callId;
        unsigned cseq;
        bool operator<(const Key &other) const {
            return callId != other.callId ? callId < other.callId : cseq < other.cseq;
        }
    };
    LineTable lines_;
    std::map<Key, Transaction> transactions_;
    std::vector<Transaction> rendered_;   // awaiting a response matched by user (bounded)
    // The Content-Type of the message parse() reads, as written, for types the parser
    // refuses (a bare "kts" has no subtype).
    std::optional<std::string> rawContentType_;
    unsigned counter_ = 0;
    int nextMessageId_ = 1;

    friend struct Normaliser;
};

// The content type without its parameters and surrounding blanks.
std::string bareContentType(const std::string &value);

}  // namespace sippm

#endif
