// Controls of the Linux development host: what tests and tools use to drive the host
// that the module runs inside, and to read back what the module did with it.
#ifndef OSTRA_DEV_HOST_H
#define OSTRA_DEV_HOST_H

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

#include "../platform/host.h"

namespace devhost {

// Puts the host back to its state at process start, apart from memory the module still
// holds: recorders emptied, settings and results back to their defaults, timers and
// queued asynchronous calls dropped (virtual clock back to 0), allocation failure off,
// manual modes for timers and asynchronous calls.
void reset();

// ---- memory ----------------------------------------------------------------------
long liveBlocks();          // uMalloc and uStrGetCopy blocks not yet freed
long liveLists();           // lists from uListInit not yet released
long liveMutexes();         // mutexes from semMCreate not yet deleted
long liveParsers();         // contexts from ncCreatePrivate not yet destroyed
long allocationCalls();     // allocating host calls made since reset()
// Every allocating call (uMalloc, uStrGetCopy, uListInit, uListAppend, semMCreate,
// ncCreatePrivate) counts. failNth(n): the n-th call from now fails (1 = the next one).
// failAfter(n): the first n calls from now succeed and every later one fails.
void failNth(long n);
void failAfter(long n);
void failNone();
long failedCalls();         // calls refused by the injection since reset()

// ---- events ----------------------------------------------------------------------
struct Event {
    std::string name;
    std::vector<unsigned char> data;
    // Texts behind the pointer fields registered for this event name, copied during the
    // raise (the module frees them right after). Index = position in the offsets list;
    // present == false when the pointer was NULL.
    std::vector<std::string> texts;
    std::vector<bool> present;
};
// Pointer fields (byte offsets into the record) whose texts are copied for an event.
void setEventTextFields(const std::string &name, const std::vector<std::size_t> &offsets);
const std::vector<Event> &events();
void clearEvents();
using EventObserver = std::function<void(const char *name, const void *data, int size)>;
void setEventObserver(EventObserver observer);   // called during the raise; empty: none
void setRecordEvents(bool on);                   // off: nothing kept (benchmarks)

// ---- asynchronous calls ----------------------------------------------------------
enum class Mode { Manual, Threaded };
void setAsyncMode(Mode mode);
void refuseAsync(bool refuse);
int asyncPending();
int drainAsync();          // runs queued calls (and those they queue) in order; count run
void waitAsyncIdle();      // threaded mode: until the worker has nothing left

// ---- timers ----------------------------------------------------------------------
struct TimerCall {         // every uTimerAddSecWithWakeup and uTimerDel, in order
    bool add;
    int id;                // id given (add) or id asked to delete
    int arg;
    int seconds;
    uTimerFunc fn;
};
void setTimerMode(Mode mode);
const std::vector<TimerCall> &timerCalls();
int armedTimers();         // timers added and not yet fired or deleted
long nowSeconds();         // virtual clock
void advance(long seconds);// fires due timers in due order, ties in order of arming
void refuseTimers(bool refuse);

// ---- protocol manager ------------------------------------------------------------
struct Request {
    enum Kind { Subscribe, Unsubscribe, Message, Info } kind;
    int line = 0;
    int expires = 0;
    int flag = 0;
    int reserved = 0;
    int id = 0;
    std::string number, event, accept, contentType, body, extra;
    bool hasNumber = false, hasEvent = false, hasAccept = false, hasContentType = false,
         hasBody = false, hasExtra = false;
};
const std::vector<Request> &requests();
std::vector<Request> requestsOf(Request::Kind kind);
void clearRequests();
struct LineSettings {
    bool registered = true;
    int registerResult = 0;
    int subscribeExpires = 3600;
    int multiDialog = 0;
    int scaEnable = 0;
    std::string registerNumber;
    std::string registerServer;
    int wildix = 0;
    int protocolInstance = 0;   // negative: an invalid line
    int protocol = 0;
};
LineSettings &line(int line);   // created with the defaults on first use
void setP2pSupport(int protocol, int supported);
void setSubscribeResult(int result);
void setSubscribeCancelResult(int result);
void setMessageResult(int result);
void setInfoResult(int result);
// Called from inside pmSubscribe / pmSubscribeCancel after the request is recorded, on
// the caller's thread, so a test can deliver a result synchronously.
void setSubscribeObserver(std::function<void(const Request &)> observer);
// Called from inside every pm request function (pmSubscribe, pmSubscribeCancel, pmMessage,
// pmSendInfo) after the request is recorded and the subscribe observer ran, on the caller's
// thread; what it returns is the function's result (`configured` is the result set above).
// Tools use it to see each request as it is made and to answer it as a server would.
using RequestHook = std::function<int(const Request &request, int configured)>;
void setRequestHook(RequestHook hook);

// ---- time, network, configuration ------------------------------------------------
const std::vector<std::string> &syncedDates();
int stopDateCalls();
void setTimeResults(int syncResult, int stopResult);
void setMacAddress(const std::string &twelveHexDigits);
void setConfigItem(const std::string &module, const std::string &group,
                   const std::string &item, const std::string &value);

// ---- logging ---------------------------------------------------------------------
struct LogLine {
    int level;
    std::string module;
    std::string text;
};
const std::vector<LogLine> &logs();
void clearLogs();
// Lines at this level or above are also printed to standard error; -1 prints none.
void setLogPrintLevel(int level);
// Off: lines are neither kept nor formatted unless printed, as a phone's host drops the
// traces below its level (benchmarks).
void setRecordLogs(bool on);

}  // namespace devhost

#endif
