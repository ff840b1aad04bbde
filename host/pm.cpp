// The protocol manager: every request recorded, every line setting and result settable.
#include <atomic>
#include <cstring>
#include <map>

#include "dev_host.h"
#include "internal.h"

namespace devhost {
namespace {

std::mutex gPmMutex;
std::vector<Request> gRequests;
std::map<int, LineSettings> gLines;
std::map<int, int> gP2p;
std::atomic<int> gSubscribeResult{0};
std::atomic<int> gCancelResult{0};
std::atomic<int> gMessageResult{0};
std::atomic<int> gInfoResult{0};
std::function<void(const Request &)> gSubscribeObserver;
RequestHook gRequestHook;

void copyText(std::string &to, bool &has, const char *text) {
    has = text != nullptr;
    to = text != nullptr ? text : "";
}

// Records the request, runs the observer (subscriptions only) and the hook outside the
// lock, and answers the request's result.
int record(const Request &request, bool observe, int configured) {
    std::function<void(const Request &)> observer;
    RequestHook hook;
    {
        std::lock_guard<std::mutex> lock(gPmMutex);
        gRequests.push_back(request);
        if (observe) observer = gSubscribeObserver;
        hook = gRequestHook;
    }
    if (observer) observer(request);
    return hook ? hook(request, configured) : configured;
}

LineSettings settingsOf(int lineIndex) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    auto found = gLines.find(lineIndex);
    return found != gLines.end() ? found->second : LineSettings{};
}

int copyOut(const std::string &text, char *buffer, int size) {
    if (buffer == nullptr || size <= 0) return -1;
    uStrSafeCopy(buffer, size, text.c_str());
    return 0;
}

}  // namespace

namespace detail {
void resetPm() {
    std::lock_guard<std::mutex> lock(gPmMutex);
    gRequests.clear();
    gLines.clear();
    gP2p.clear();
    gSubscribeResult = 0;
    gCancelResult = 0;
    gMessageResult = 0;
    gInfoResult = 0;
    gSubscribeObserver = nullptr;
    gRequestHook = nullptr;
}
}  // namespace detail

const std::vector<Request> &requests() { return gRequests; }
std::vector<Request> requestsOf(Request::Kind kind) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    std::vector<Request> out;
    for (const Request &r : gRequests) {
        if (r.kind == kind) out.push_back(r);
    }
    return out;
}
void clearRequests() {
    std::lock_guard<std::mutex> lock(gPmMutex);
    gRequests.clear();
}
LineSettings &line(int lineIndex) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    return gLines[lineIndex];
}
void setP2pSupport(int protocol, int supported) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    gP2p[protocol] = supported;
}
void setSubscribeResult(int result) { gSubscribeResult = result; }
void setSubscribeCancelResult(int result) { gCancelResult = result; }
void setMessageResult(int result) { gMessageResult = result; }
void setInfoResult(int result) { gInfoResult = result; }
void setSubscribeObserver(std::function<void(const Request &)> observer) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    gSubscribeObserver = std::move(observer);
}
void setRequestHook(RequestHook hook) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    gRequestHook = std::move(hook);
}

}  // namespace devhost

using namespace devhost;

extern "C" {

int pmSubscribe(const pmSubscribeRequest *request) {
    if (request == nullptr) return -1;
    Request r;
    r.kind = Request::Subscribe;
    r.reserved = request->reserved;
    r.line = request->line;
    r.expires = request->expires;
    r.flag = request->flag;
    copyText(r.number, r.hasNumber, request->number);
    copyText(r.event, r.hasEvent, request->event);
    copyText(r.accept, r.hasAccept, request->accept);
    copyText(r.contentType, r.hasContentType, request->contentType);
    copyText(r.body, r.hasBody, request->body);
    copyText(r.extra, r.hasExtra, request->extra);
    return record(r, true, gSubscribeResult);
}

int pmSubscribeCancel(const pmUnsubscribeRequest *request) {
    if (request == nullptr) return -1;
    Request r;
    r.kind = Request::Unsubscribe;
    r.reserved = request->reserved;
    r.line = request->line;
    copyText(r.number, r.hasNumber, request->number);
    copyText(r.event, r.hasEvent, request->event);
    copyText(r.accept, r.hasAccept, request->accept);
    return record(r, true, gCancelResult);
}

int pmMessage(int lineIndex, const char *number, const char *contentType, const char *body, int id) {
    Request r;
    r.kind = Request::Message;
    r.line = lineIndex;
    r.id = id;
    copyText(r.number, r.hasNumber, number);
    copyText(r.contentType, r.hasContentType, contentType);
    copyText(r.body, r.hasBody, body);
    return record(r, false, gMessageResult);
}

int pmSendInfo(const pmInfoRecord *info) {
    if (info == nullptr) return -1;
    Request r;
    r.kind = Request::Info;
    r.line = info->line;
    copyText(r.number, r.hasNumber, info->number);
    copyText(r.contentType, r.hasContentType, info->contentType);
    copyText(r.body, r.hasBody, info->body);
    return record(r, false, gInfoResult);
}

int pmGetRegisterStatebyLine(int lineIndex, int *state, int) {
    LineSettings s = settingsOf(lineIndex);
    if (state != nullptr) *state = s.registered ? 1 : 0;
    return s.registerResult;
}
int pmLineConfigGetSubscribeExpires(int lineIndex) { return settingsOf(lineIndex).subscribeExpires; }
int pmLineConfigGetMultiDialogEnable(int lineIndex) { return settingsOf(lineIndex).multiDialog; }
int pmLineConfigGetScaEnable(int lineIndex) { return settingsOf(lineIndex).scaEnable; }
int pmLineConfigGetRegisterNumber(int lineIndex, char *buffer, int size) {
    return copyOut(settingsOf(lineIndex).registerNumber, buffer, size);
}
int pmLineConfigGetRegisterServer(int lineIndex, char *buffer, int size) {
    return copyOut(settingsOf(lineIndex).registerServer, buffer, size);
}
int pmLineIsWildixServer(int lineIndex) { return settingsOf(lineIndex).wildix; }
int pmLineToProtocolInstance(int lineIndex) { return settingsOf(lineIndex).protocolInstance; }
int pmGetProtocolbyLine(int lineIndex) { return settingsOf(lineIndex).protocol; }
int pmGetProtocolSupportP2p(int protocol) {
    std::lock_guard<std::mutex> lock(gPmMutex);
    auto found = gP2p.find(protocol);
    return found != gP2p.end() ? found->second : 0;
}

}  // extern "C"
