#include "am_test.h"

#include <sstream>

namespace amtest {

void HostTest::SetUp() { devhost::reset(); }

void HostTest::TearDown() {
    // Threads of the host stop before the process tears down its globals.
    devhost::setAsyncMode(devhost::Mode::Manual);
    devhost::setTimerMode(devhost::Mode::Manual);
}

std::vector<devhost::Event> eventsNamed(const std::string &name) {
    std::vector<devhost::Event> found;
    for (const devhost::Event &event : devhost::events()) {
        if (event.name == name) found.push_back(event);
    }
    return found;
}

int countEvents(const std::string &name) { return static_cast<int>(eventsNamed(name).size()); }

std::vector<devhost::LogLine> logsOf(const std::string &module, int level) {
    std::vector<devhost::LogLine> found;
    for (const devhost::LogLine &line : devhost::logs()) {
        if ((module.empty() || line.module == module) && (level < 0 || line.level == level)) {
            found.push_back(line);
        }
    }
    return found;
}

int countLogs(int level, const std::string &module, const std::string &text) {
    int count = 0;
    for (const devhost::LogLine &line : devhost::logs()) {
        if (line.level == level && line.module == module && line.text == text) ++count;
    }
    return count;
}

bool hasLog(int level, const std::string &module, const std::string &text) {
    return countLogs(level, module, text) > 0;
}

std::string dumpLogs() {
    std::ostringstream out;
    for (const devhost::LogLine &line : devhost::logs()) {
        out << "[" << line.level << "] " << line.module << ": " << line.text << "\n";
    }
    return out.str();
}

std::vector<devhost::Request> subscribes() { return devhost::requestsOf(devhost::Request::Subscribe); }
std::vector<devhost::Request> unsubscribes() { return devhost::requestsOf(devhost::Request::Unsubscribe); }
std::vector<devhost::Request> messages() { return devhost::requestsOf(devhost::Request::Message); }
std::vector<devhost::Request> infos() { return devhost::requestsOf(devhost::Request::Info); }

}  // namespace amtest
