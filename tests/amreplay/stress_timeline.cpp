// The live tool writes its timeline from the SIP stack's thread and from the host's timer
// and asynchronous contexts at once: every JSON line must come out whole, and the phone's
// state must count every event.
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "amreplay/timeline.h"
#include "platform/am.h"

namespace {

TEST(TimelineThreads, LinesStayWholeAndTheStateCountsEveryEvent) {
    std::ostringstream out;
    amreplay::TimelineOptions options;
    options.json = true;
    options.flush = true;
    amreplay::Timeline timeline(out, options);
    constexpr int kThreads = 4, kEach = 300;
    std::vector<std::thread> threads;
    for (int n = 0; n < kThreads; ++n) {
        threads.emplace_back([&timeline, n]() {
            for (int i = 0; i < kEach; ++i) {
                AmBlfStatus r;
                std::memset(&r, 0, sizeof r);
                std::snprintf(r.number, sizeof r.number, "%d", 200 + n);
                r.line = 1;
                r.state = i % 2 == 0 ? AM_BLF_STATE_RINGING : AM_BLF_STATE_IDLE;
                timeline.event(i, AM_BLF_EVENT_NAME, amreplay::decodeRecord(AM_BLF_EVENT_NAME, &r, sizeof r));
                timeline.note(i, "test", "thread " + std::to_string(n) + " step " + std::to_string(i));
            }
        });
    }
    for (std::thread &t : threads) t.join();
    timeline.state(0);

    EXPECT_EQ(timeline.events(), kThreads * kEach);
    std::istringstream lines(out.str());
    std::string line;
    int events = 0, notes = 0, states = 0;
    while (std::getline(lines, line)) {
        amreplay::Json j = amreplay::Json::parse(line, nullptr, false);
        ASSERT_FALSE(j.is_discarded()) << line;
        std::string kind = j.value("kind", "");
        events += kind == "event";
        notes += kind == "log";
        if (kind == "state") {
            ++states;
            // Each thread's last event left its key idle.
            ASSERT_EQ(j["state"]["blf"].size(), static_cast<std::size_t>(kThreads));
            for (const auto &key : j["state"]["blf"]) EXPECT_EQ(key["record"]["state"], AM_BLF_STATE_IDLE);
        }
    }
    EXPECT_EQ(events, kThreads * kEach);
    EXPECT_EQ(notes, kThreads * kEach);
    EXPECT_EQ(states, 1);
}

}  // namespace
