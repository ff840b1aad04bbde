// Events, asynchronous calls and timers: manual (deterministic) and threaded modes.
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <thread>

#include "dev_host.h"
#include "internal.h"

namespace devhost {
namespace {

// ---- events ----
std::mutex gEventMutex;
std::vector<Event> gEvents;
std::map<std::string, std::vector<std::size_t>> gTextFields;
EventObserver gObserver;
bool gRecordEvents = true;

// ---- asynchronous calls ----
struct AsyncItem {
    uAsyncFunc fn;
    void *arg;
};
std::mutex gAsyncMutex;
std::condition_variable gAsyncWake;
std::condition_variable gAsyncIdle;
std::deque<AsyncItem> gAsyncQueue;
Mode gAsyncMode = Mode::Manual;
bool gAsyncRefuse = false;
bool gAsyncBusy = false;
bool gAsyncStop = false;
std::thread gAsyncWorker;

void asyncWorkerLoop() {
    std::unique_lock<std::mutex> lock(gAsyncMutex);
    for (;;) {
        gAsyncWake.wait(lock, [] { return gAsyncStop || !gAsyncQueue.empty(); });
        if (gAsyncQueue.empty()) return;  // stopping with nothing left
        AsyncItem item = gAsyncQueue.front();
        gAsyncQueue.pop_front();
        gAsyncBusy = true;
        lock.unlock();
        item.fn(item.arg);
        lock.lock();
        gAsyncBusy = false;
        if (gAsyncQueue.empty()) gAsyncIdle.notify_all();
    }
}

void stopAsyncWorker() {
    {
        std::lock_guard<std::mutex> lock(gAsyncMutex);
        gAsyncStop = true;
    }
    gAsyncWake.notify_all();
    if (gAsyncWorker.joinable()) gAsyncWorker.join();
    std::lock_guard<std::mutex> lock(gAsyncMutex);
    gAsyncStop = false;
}

// ---- timers ----
struct Timer {
    int id;
    long due;        // virtual seconds, or steady-clock milliseconds in threaded mode
    long sequence;   // arming order breaks ties
    uTimerFunc fn;
    int arg;
};
std::mutex gTimerMutex;
std::condition_variable gTimerWake;
std::vector<Timer> gTimers;
std::vector<TimerCall> gTimerCalls;
Mode gTimerMode = Mode::Manual;
bool gTimerRefuse = false;
bool gTimerStop = false;
long gNow = 0;
long gSequence = 0;
int gNextTimerId = 1;
std::thread gTimerThread;

long steadyMs() {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(
                                 std::chrono::steady_clock::now().time_since_epoch())
                                 .count());
}

// Earliest due timer at or before `limit`, removed from the set; false when none.
bool takeDue(long limit, Timer &out) {
    int best = -1;
    for (int i = 0; i < static_cast<int>(gTimers.size()); ++i) {
        const Timer &t = gTimers[i];
        if (t.due > limit) continue;
        if (best < 0 || t.due < gTimers[best].due ||
            (t.due == gTimers[best].due && t.sequence < gTimers[best].sequence)) {
            best = i;
        }
    }
    if (best < 0) return false;
    out = gTimers[best];
    gTimers.erase(gTimers.begin() + best);
    return true;
}

void timerThreadLoop() {
    std::unique_lock<std::mutex> lock(gTimerMutex);
    while (!gTimerStop) {
        Timer due;
        if (takeDue(steadyMs(), due)) {
            lock.unlock();
            due.fn(due.arg);
            lock.lock();
            continue;
        }
        long next = -1;
        for (const Timer &t : gTimers) {
            if (next < 0 || t.due < next) next = t.due;
        }
        if (next < 0) {
            gTimerWake.wait(lock);
        } else {
            gTimerWake.wait_for(lock, std::chrono::milliseconds(next - steadyMs()));
        }
    }
}

void stopTimerThread() {
    {
        std::lock_guard<std::mutex> lock(gTimerMutex);
        gTimerStop = true;
    }
    gTimerWake.notify_all();
    if (gTimerThread.joinable()) gTimerThread.join();
    std::lock_guard<std::mutex> lock(gTimerMutex);
    gTimerStop = false;
}

}  // namespace

namespace detail {

void resetEvents() {
    std::lock_guard<std::mutex> lock(gEventMutex);
    gEvents.clear();
    gTextFields.clear();
    gObserver = nullptr;
    gRecordEvents = true;
}

void resetAsync() {
    stopAsyncWorker();
    std::lock_guard<std::mutex> lock(gAsyncMutex);
    gAsyncQueue.clear();
    gAsyncMode = Mode::Manual;
    gAsyncRefuse = false;
}

void resetTimers() {
    stopTimerThread();
    std::lock_guard<std::mutex> lock(gTimerMutex);
    gTimers.clear();
    gTimerCalls.clear();
    gTimerMode = Mode::Manual;
    gTimerRefuse = false;
    gNow = 0;
    gSequence = 0;
    gNextTimerId = 1;
}

}  // namespace detail

void setEventTextFields(const std::string &name, const std::vector<std::size_t> &offsets) {
    std::lock_guard<std::mutex> lock(gEventMutex);
    gTextFields[name] = offsets;
}
const std::vector<Event> &events() { return gEvents; }
void clearEvents() {
    std::lock_guard<std::mutex> lock(gEventMutex);
    gEvents.clear();
}
void setEventObserver(EventObserver observer) {
    std::lock_guard<std::mutex> lock(gEventMutex);
    gObserver = std::move(observer);
}
void setRecordEvents(bool on) {
    std::lock_guard<std::mutex> lock(gEventMutex);
    gRecordEvents = on;
}

void setAsyncMode(Mode mode) {
    stopAsyncWorker();
    std::lock_guard<std::mutex> lock(gAsyncMutex);
    gAsyncMode = mode;
    if (mode == Mode::Threaded) gAsyncWorker = std::thread(asyncWorkerLoop);
}
void refuseAsync(bool refuse) {
    std::lock_guard<std::mutex> lock(gAsyncMutex);
    gAsyncRefuse = refuse;
}
int asyncPending() {
    std::lock_guard<std::mutex> lock(gAsyncMutex);
    return static_cast<int>(gAsyncQueue.size());
}
int drainAsync() {
    int ran = 0;
    for (;;) {
        AsyncItem item;
        {
            std::lock_guard<std::mutex> lock(gAsyncMutex);
            if (gAsyncQueue.empty()) return ran;
            item = gAsyncQueue.front();
            gAsyncQueue.pop_front();
        }
        item.fn(item.arg);
        ++ran;
    }
}
void waitAsyncIdle() {
    std::unique_lock<std::mutex> lock(gAsyncMutex);
    gAsyncIdle.wait(lock, [] { return gAsyncQueue.empty() && !gAsyncBusy; });
}

void setTimerMode(Mode mode) {
    stopTimerThread();
    std::lock_guard<std::mutex> lock(gTimerMutex);
    gTimers.clear();
    gTimerMode = mode;
    if (mode == Mode::Threaded) gTimerThread = std::thread(timerThreadLoop);
}
const std::vector<TimerCall> &timerCalls() { return gTimerCalls; }
int armedTimers() {
    std::lock_guard<std::mutex> lock(gTimerMutex);
    return static_cast<int>(gTimers.size());
}
long nowSeconds() {
    std::lock_guard<std::mutex> lock(gTimerMutex);
    return gNow;
}
void advance(long seconds) {
    long target;
    {
        std::lock_guard<std::mutex> lock(gTimerMutex);
        target = gNow + seconds;
    }
    for (;;) {
        Timer due;
        {
            std::lock_guard<std::mutex> lock(gTimerMutex);
            if (!takeDue(target, due)) {
                gNow = target;
                return;
            }
            gNow = due.due;
        }
        due.fn(due.arg);  // may arm or delete timers
    }
}
void refuseTimers(bool refuse) {
    std::lock_guard<std::mutex> lock(gTimerMutex);
    gTimerRefuse = refuse;
}

}  // namespace devhost

using namespace devhost;

extern "C" {

int uEventRaise(const char *name, const void *data, int size) {
    EventObserver observer;
    {
        std::lock_guard<std::mutex> lock(gEventMutex);
        observer = gObserver;
        if (gRecordEvents) {
            Event event;
            event.name = name != nullptr ? name : "";
            if (data != nullptr && size > 0) {
                const auto *bytes = static_cast<const unsigned char *>(data);
                event.data.assign(bytes, bytes + size);
                auto fields = gTextFields.find(event.name);
                if (fields != gTextFields.end()) {
                    for (std::size_t offset : fields->second) {
                        const char *text = nullptr;
                        if (offset + sizeof text <= static_cast<std::size_t>(size)) {
                            std::memcpy(&text, bytes + offset, sizeof text);
                        }
                        event.present.push_back(text != nullptr);
                        event.texts.push_back(text != nullptr ? text : "");
                    }
                }
            }
            gEvents.push_back(std::move(event));
        }
    }
    if (observer) observer(name, data, size);
    return 0;
}

int uAsyncCall(uAsyncFunc fn, void *arg) {
    if (fn == nullptr) return -1;
    {
        std::lock_guard<std::mutex> lock(gAsyncMutex);
        if (gAsyncRefuse) return -1;
        gAsyncQueue.push_back({fn, arg});
    }
    gAsyncWake.notify_all();
    return 0;
}

int uTimerAddSecWithWakeup(uTimerFunc fn, int arg, int seconds) {
    int id = -1;
    {
        std::lock_guard<std::mutex> lock(gTimerMutex);
        if (fn != nullptr && !gTimerRefuse) {
            id = gNextTimerId++;
            if (gNextTimerId < 0) gNextTimerId = 1;
            long due = gTimerMode == Mode::Manual ? gNow + seconds : steadyMs() + seconds * 1000L;
            gTimers.push_back({id, due, gSequence++, fn, arg});
        }
        gTimerCalls.push_back({true, id, arg, seconds, fn});
    }
    gTimerWake.notify_all();
    return id;
}

int uTimerDel(int timerId) {
    std::lock_guard<std::mutex> lock(gTimerMutex);
    gTimerCalls.push_back({false, timerId, 0, 0, nullptr});
    for (std::size_t i = 0; i < gTimers.size(); ++i) {
        if (gTimers[i].id == timerId) {
            gTimers.erase(gTimers.begin() + static_cast<long>(i));
            break;
        }
    }
    return 0;
}

}  // extern "C"
