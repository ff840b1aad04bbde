// The live side of the protocol manager: the phone's lines registered with a real server
// through sofia-sip's nua, the module's requests sent, and what the server sends back
// handed to the module through the same normalisation as a replay.
#ifndef OSTRA_AMLIVE_LIVE_H
#define OSTRA_AMLIVE_LIVE_H

#include <atomic>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "amreplay/timeline.h"
#include "sippm/sippm.h"

struct nua_s;
struct nua_handle_s;
struct su_root_s;

namespace amlive {

struct Account {
    sippm::Line line;        // index, user, and `server` as the domain of the line's URIs
    std::string password;
    std::string proxy;       // host:port where every request goes; empty: the domain
    bool tcp = false;
    int expires = 300;       // REGISTER; the stack refreshes before it runs out
};

struct Watch {
    enum Kind { Blf, List, Presence, Mwi, Sms } kind = Blf;
    int line = 1;
    std::string number;      // Mwi: empty for the line's own mailbox
    std::string text;        // Sms: the text message, sent once the line is registered
    int id = 0;              // Sms: the message id (0: the next free one)
    double at = 0;           // seconds from the start; never before the line is registered
    bool done = false;
};

// "N:USER:PASSWORD@SERVER[:PORT][;transport=udp|tcp]" from the command line; false when
// it is not one.
bool parseAccount(const std::string &arg, Account &account);
// "[LINE:]REST": the line (1 when not given) and the rest.
std::pair<int, std::string> lineAndRest(const std::string &arg);

class Live {
public:
    Live(amreplay::Timeline &timeline, const sippm::ModuleApi &module);
    ~Live();
    Live(const Live &) = delete;
    Live &operator=(const Live &) = delete;

    // Binds the stack to loopback or any address and registers every account; the watches
    // are asked for line by line as soon as that line is registered.
    bool start(const std::vector<Account> &accounts, const std::vector<Watch> &watches, std::string &error);
    // Runs the stack until `stop` is set or `seconds` (> 0) have passed.
    void run(const std::atomic<bool> &stop, double seconds);
    // Cancels the watches through the module, unsubscribes what is left, unregisters, and
    // shuts the stack down, each step waiting at most a few seconds for the server.
    void shutdown();
    // Wakes run() from another thread (a signal handler may call it).
    void wake();

    int registeredLines() const { return registered_.load(); }
    // Seconds since the tool started: the time of every timeline line.
    double now() const;
    // The Unix time of now() == 0, to line the timeline up with other logs.
    double epoch() const;

    struct Sub;

private:
    friend struct Callbacks;
    struct Pending {
        devhost::Request request;
        int result = 0;
        sippm::OutRequest rendered;
    };
    int onRequest(const devhost::Request &request, int configured);   // any thread
    void sendPending();                                                // the stack's thread
    void send(const Pending &pending);
    void onEvent(int event, int status, const char *phrase, nua_handle_s *nh, Sub *sub, const void *sip);
    void handOver(const std::string &source, bool track, const Sub *sub);
    void askWatches(int line);   // those due on a registered line
    void ask(Watch &w);
    void step(double seconds);
    const Account *account(int line) const;
    Sub *subscription(int line, const std::string &number, const std::string &event);
    void forget(Sub *sub);

    void note(const std::string &text);
    void error(const std::string &source, const std::string &text);

    amreplay::Timeline &timeline_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::system_clock::time_point wallStart_ = std::chrono::system_clock::now();
    sippm::ModuleApi module_;
    sippm::ProtocolManager pm_;
    std::vector<Account> accounts_;
    std::vector<Watch> watches_;
    su_root_s *root_ = nullptr;
    nua_s *nua_ = nullptr;
    int wakeFds_[2] = {-1, -1};
    int waitIndex_ = -1;
    std::mutex queueMutex_;
    std::vector<Pending> queue_;
    std::vector<std::unique_ptr<Sub>> subs_;
    std::atomic<int> registered_{0};
    std::vector<int> asked_;     // lines whose watches were asked for
    int refused_ = 0;            // REGISTERs refused
    bool gaveUp_ = false;
    bool suStarted_ = false;
    bool shutDown_ = false;
    bool stackDown_ = false;
    long counter_ = 0;
    int messages_ = 0;           // ids of the text messages sent
    void *msg_ = nullptr;   // the message of the event being handled
};

}  // namespace amlive

#endif
