// What the phone shows, built from the module's events.
#include <gtest/gtest.h>

#include "amreplay/state.h"
#include "platform/am.h"

namespace {

using amreplay::Json;

TEST(PhoneState, EventsBuildWhatThePhoneShows) {
    amreplay::PhoneState s;
    s.key(1, "201");
    s.key(1, "205");
    s.apply(AM_BLF_EVENT_NAME, Json{{"number", "201"}, {"line", 1}, {"status", 16}, {"remote", "Bob"}});
    // A list: cleared, members named by the list document, a dialog update keeps the name,
    // cleared again by a new full state.
    s.apply(AM_BLF_LIST_EVENT_NAME, Json{{"line", 2}, {"status", AM_BLF_LIST_CLEAR}});
    s.apply(AM_BLF_LIST_EVENT_NAME, Json{{"number", "300"}, {"name", "Old"}, {"line", 2}, {"status", 1}});
    s.apply(AM_BLF_LIST_EVENT_NAME, Json{{"line", 2}, {"status", AM_BLF_LIST_CLEAR}});
    s.apply(AM_BLF_LIST_EVENT_NAME, Json{{"number", "301"}, {"name", "Ann"}, {"line", 2}, {"status", 1}});
    s.apply(AM_BLF_LIST_EVENT_NAME, Json{{"number", "301"}, {"name", ""}, {"line", 2}, {"status", 128}});
    s.apply(AM_BLF_LIST_EVENT_NAME, Json{{"line", 2}, {"status", AM_BLF_LIST_FINISH}});
    // Appearance 0 sets every known appearance of its line, not of other lines.
    s.apply(AM_SCA_EVENT_NAME, Json{{"line", 1}, {"index", 1}, {"state", 4}});
    s.apply(AM_SCA_EVENT_NAME, Json{{"line", 1}, {"index", 2}, {"state", 5}});
    s.apply(AM_SCA_EVENT_NAME, Json{{"line", 3}, {"index", 1}, {"state", 4}});
    s.apply(AM_SCA_EVENT_NAME, Json{{"line", 1}, {"index", 0}, {"state", 0}});
    // A seizure that ends is gone; a page that ends is gone.
    s.apply(AM_LINE_SEIZE_EVENT_NAME, Json{{"line", 1}, {"index", 2}, {"channel", 5}, {"result", 2}});
    s.apply(AM_LINE_SEIZE_EVENT_NAME, Json{{"line", 1}, {"index", 3}, {"channel", 6}, {"result", 1}});
    s.apply(AM_LINE_SEIZE_EVENT_NAME, Json{{"line", 1}, {"index", 3}, {"channel", 6}, {"result", 0}});
    s.apply(AM_DYNAMIC_MCAST_EVENT_NAME, Json{{"action", 1}, {"host", "239.0.0.1"}, {"port", 5000}});
    s.apply(AM_DYNAMIC_MCAST_EVENT_NAME, Json{{"action", 1}, {"host", "239.0.0.2"}, {"port", 5000}});
    s.apply(AM_DYNAMIC_MCAST_EVENT_NAME, Json{{"action", 2}, {"host", "239.0.0.1"}, {"port", 5000}});
    // The end of a synchronisation run is no setting.
    s.apply(AM_FEATURE_SYNC_INFORM, Json{{"line", 1}, {"feature", AM_FEATURE_FINISH}, {"value", 0}});
    s.apply(AM_FEATURE_SYNC_INFORM,
            Json{{"line", 1}, {"feature", AM_FEATURE_AGENT_STATE}, {"value", 2}, {"reason", "2101"}, {"forwardTo", ""}});
    s.apply(AM_MWI_EVENT_NAME, Json{{"line", 1}, {"newCount", 0}, {"oldCount", 0}, {"waiting", -1}, {"account", ""}});

    EXPECT_EQ(s.text(), "what the phone shows:\n"
                        "  BLF keys\n"
                        "    line 1 201: talking with Bob\n"
                        "    line 1 205: no BLF report\n"
                        "  BLF lists\n"
                        "    line 2: 1 member(s)\n"
                        "      301 \"Ann\": ringing\n"
                        "  message waiting\n"
                        "    line 1: subscription failed\n"
                        "  shared appearances\n"
                        "    line 1 appearance 1: idle\n"
                        "    line 1 appearance 2: idle\n"
                        "    line 3 appearance 1: active\n"
                        "  seized lines\n"
                        "    line 1 appearance 2: channel 5, active\n"
                        "  DND, forwarding and agent state\n"
                        "    line 1 agent-state: not-ready (2101)\n"
                        "  paging\n"
                        "    239.0.0.2:5000 priority 0\n");
    Json j = s.json();
    EXPECT_EQ(j["blfLists"][0]["complete"], true);
    EXPECT_TRUE(j["blf"][1]["record"].is_null());
    EXPECT_EQ(amreplay::blfStatusText(AM_BLF_LIST_CLEAR | (1 << AM_BLF_STATE_TALKING)), "list-clear talking");
    EXPECT_EQ(amreplay::blfStatusText(1 << 8), "bits 256");
}

}  // namespace
