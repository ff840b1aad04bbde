// Call-park NOTIFYs: one status event each, judged by the NOTIFY alone.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kCallPark[] = "ostra.am.callpark";
constexpr char kType[] = "application/x-broadworks-callpark-info+xml";
constexpr char kParked[] = "<?xml version=\"1.0\"?><x-broadworks-callpark-info><callpark><parked>"
                           "<identity display=\"Ann\">sip:201@pbx</identity></parked></callpark>"
                           "</x-broadworks-callpark-info>";
constexpr char kNothing[] = "<x-broadworks-callpark-info><callpark/></x-broadworks-callpark-info>";
constexpr char kNoIdentity[] =
    "<x-broadworks-callpark-info><callpark><parked><name>x</name></parked></callpark></x-broadworks-callpark-info>";

class CallPark : public HostTest {};

std::string statuses() {
    std::string found;
    for (const devhost::Event &event : amtest::eventsNamed(AM_CALL_PARK_EVENT_NAME)) {
        AmCallParkStatus record = amtest::record<AmCallParkStatus>(event);
        found += std::to_string(record.line) + "/" + std::to_string(record.count) + "/" +
                 std::to_string(record.status) + " ";
    }
    return found;
}

TEST_F(CallPark, ParkedIdentityDecidesTheStatusOnEitherPackage) {
    size_t logsAtRaise = 0;  // the status is logged before the event goes out
    devhost::setEventObserver([&](const char *, const void *, int) { logsAtRaise = devhost::logs().size(); });
    amRecvCallParkParse(3, "201", kType, "active", kParked);
    devhost::setEventObserver(nullptr);
    EXPECT_EQ(logsAtRaise, 1u);
    amRecvCallParkParse(3, "201", "Application/X-BroadWorks-CallPark-Info+XML", nullptr, kNothing);
    amRecvCallParkParse(3, "201", kType, "active", kNoIdentity);
    EXPECT_EQ(amRecvNotify(4, "201", "call-info", "active", kType, kParked), 0);
    EXPECT_EQ(amRecvNotify(4, "201", "X-BroadWorks-CallPark;x=1", "active", kType, kNothing), 0);
    EXPECT_EQ(statuses(), "3/1/1 3/1/0 3/1/0 4/1/1 4/1/0 ");
    EXPECT_EQ(devhost::liveParsers(), 0);
}

TEST_F(CallPark, TerminatedReportsWithoutReadingTheBodyUnlessThereIsNone) {
    amRecvCallParkParse(3, "201", "text/plain", "TERMINATED", "not xml at all");
    EXPECT_EQ(statuses(), "3/1/-1 ");
    EXPECT_EQ(amtest::dumpLogs(), "[0] ostra.am.callpark: amCallParkStatusReport: call park status=[-1]\n");
    // An empty or missing content type or body is dropped before the state is looked at.
    devhost::clearEvents();
    devhost::clearLogs();
    for (const char *type : {"", static_cast<const char *>(nullptr)}) {
        amRecvCallParkParse(3, "201", type, "terminated", kParked);
        amRecvCallParkParse(3, "201", kType, "terminated", type);
    }
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_TRUE(devhost::logs().empty());
}

TEST_F(CallPark, UnreadableOrForeignBodiesRaiseNothing) {
    amRecvCallParkParse(3, "201", kType, "active", "<x-broadworks-callpark-info>");
    EXPECT_TRUE(amtest::hasLog(2, kCallPark, "amCallParkBodyContentParse: call park nc parse msg body error!"));
    amRecvCallParkParse(3, "201", "application/xml", "active", kParked);
    devhost::failNth(1);
    amRecvCallParkParse(3, "201", kType, "active", kParked);
    EXPECT_TRUE(amtest::hasLog(2, kCallPark, "amCallParkBodyContentParse: call park nc create failed!"));
    EXPECT_TRUE(devhost::events().empty());
    EXPECT_EQ(devhost::liveParsers(), 0);
}

}  // namespace
