// What amlive prints: the readable timeline or JSON lines, and the phone's state at the end.
// Every call may come from any thread (the stack's, the host's timer or asynchronous
// context), so each takes the reporter's lock and writes one whole line.
#ifndef OSTRA_AMLIVE_REPORT_H
#define OSTRA_AMLIVE_REPORT_H

#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <string>
#include <utility>

#include "host/dev_host.h"
#include "sippm/sippm.h"

namespace amlive {

std::string jsonString(const std::string &text);

class Reporter {
public:
    Reporter(std::FILE *out, bool json) : out_(out), json_(json) {}

    double now() const;   // seconds since the reporter was made
    double epoch() const; // the Unix time of now() == 0, to line the timeline up with other logs
    void inbound(const sippm::Inbound &in);
    void outbound(const devhost::Request &request, const sippm::OutRequest &rendered);
    // A module event as raised; the record is read during the raise (pointer texts die after).
    void event(const char *name, const void *data, int size);
    void delivered(int line, const std::string &number, const std::string &name, const std::string &text);
    void note(const std::string &text);    // the tool's own progress (registrations, shutdown)
    void error(const std::string &source, const std::string &text);
    void state();

private:
    void line(const std::string &text);
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    std::chrono::system_clock::time_point wallStart_ = std::chrono::system_clock::now();
    std::FILE *out_;
    bool json_;
    std::mutex mutex_;
    // What the phone shows, by the event that last said so.
    std::map<std::pair<int, std::string>, std::string> blf_, members_, presence_;
    std::map<int, std::string> mwi_;
};

}  // namespace amlive

#endif
