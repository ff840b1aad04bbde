// Test fixtures and helpers over the development host.
#ifndef OSTRA_AM_TEST_H
#define OSTRA_AM_TEST_H

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "host/dev_host.h"

namespace amtest {

// Resets the host for each test. Tests run one per process, but the host is reset anyway
// so that a test never sees what its process's start-up did.
class HostTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
};

// Events of one name, in order of raising.
std::vector<devhost::Event> eventsNamed(const std::string &name);
int countEvents(const std::string &name);

// The record of an event, decoded; the test fails when the size differs.
template <typename T>
T record(const devhost::Event &event) {
    T value;
    std::memset(&value, 0, sizeof value);
    EXPECT_EQ(event.data.size(), sizeof(T)) << "record size of " << event.name;
    std::memcpy(&value, event.data.data(), event.data.size() < sizeof(T) ? event.data.size() : sizeof(T));
    return value;
}

// The only event of a name, decoded; fails unless exactly one was raised.
template <typename T>
T onlyRecord(const std::string &name) {
    std::vector<devhost::Event> found = eventsNamed(name);
    EXPECT_EQ(found.size(), 1u) << "events named " << name;
    if (found.empty()) {
        T value;
        std::memset(&value, 0, sizeof value);
        return value;
    }
    return record<T>(found.front());
}

// Log lines of a module (all modules when empty), optionally of one level.
std::vector<devhost::LogLine> logsOf(const std::string &module, int level = -1);
bool hasLog(int level, const std::string &module, const std::string &text);
int countLogs(int level, const std::string &module, const std::string &text);
// All log lines as one text, for failure messages.
std::string dumpLogs();

std::vector<devhost::Request> subscribes();
std::vector<devhost::Request> unsubscribes();
std::vector<devhost::Request> messages();
std::vector<devhost::Request> infos();

}  // namespace amtest

#endif
