// The server's feature events, as real servers send them, read into feature sync reports.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

class FeatureEvents : public amtest::HostTest {};

// The reports raised so far, "(line,feature,value,ringTime,forwardTo,reason)", and the
// feature's log lines, then both forgotten.
std::string drained() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_FEATURE_SYNC_INFORM)) {
        AmFeatureSync r = amtest::record<AmFeatureSync>(event);
        out += "(" + std::to_string(r.line) + "," + std::to_string(r.feature) + "," + std::to_string(r.value) + "," +
               std::to_string(r.ringTime) + "," + r.forwardTo + "," + r.reason + ")";
    }
    for (const devhost::LogLine &line : amtest::logsOf("ostra.am.sync")) {
        out += std::to_string(line.level) + ":" + line.text;
    }
    devhost::clearEvents();
    devhost::clearLogs();
    return out;
}

std::string outcome(const char *package, const std::string &body) {
    amRecvNotify(3, "4001", package, "active", "application/x-as-feature-event+xml", body.c_str());
    return drained();
}

std::string csta(const std::string &event, const std::string &inner) {
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<" + event +
           " xmlns=\"http://www.ecma-international.org/standards/ecma-323/csta/ed3\">\r\n"
           "<monitorCrossRefID>0</monitorCrossRefID>\r\n<device>4001</device>\r\n" + inner + "</" + event + ">";
}

std::string forwarding(const std::string &type, const std::string &to, const std::string &status,
                       const std::string &rings = "") {
    return csta("ForwardingEvent", "<forwardingType>" + type + "</forwardingType>\r\n<forwardStatus>" + status +
                                       "</forwardStatus>\r\n<forwardTo>" + to + "</forwardTo>\r\n" +
                                       (rings.empty() ? "" : "<ringCount>" + rings + "</ringCount>\r\n"));
}

std::string reason(const std::string &value) {
    return "<extensions>\r\n<privateData>\r\n<private xmlns:pri=\"http://schema.broadsoft.com/CSTAPrivateData\">\r\n"
           "<pri:AgentNotReadyReasonValue>" + value + "</pri:AgentNotReadyReasonValue>\r\n</private>\r\n"
           "</privateData>\r\n</extensions>\r\n";
}

TEST_F(FeatureEvents, FeatureEventBodies) {
    const std::string fifty(50, '5');
    const struct {
        std::string body;
        const char *outcome;
    } cases[] = {
        {csta("DoNotDisturbEvent", "<doNotDisturbOn>\r\nTRUE\r\n</doNotDisturbOn>\r\n"), "(3,0,1,0,,)"},
        {csta("DoNotDisturbEvent", ""), "(3,0,0,0,,)"},
        {"<DoNotDisturbEvent><doNotDisturbOn>true</doNotDisturbOn>", "(3,0,0,0,,)"},
        {forwarding("forwardImmediate", "4002", "true", "3"), "(3,1,1,0,4002,)"},  // rings: no answer only
        {forwarding("forwardBusyLine", "sip:4003@pbx", "false"), "(3,3,0,0,sip:4003@pbx,)"},
        {forwarding("FORWARDNOANS", "4002", "true", "3"), "(3,2,1,15,4002,)"},
        {forwarding("forwardNoAns", "4002", "true", "30"), "(3,2,1,120,4002,)"},
        {forwarding("forwardNoAns", "4002", "true", "99999999999"), "(3,2,1,120,4002,)"},
        {forwarding("forwardNoAns", "", "", ""), "(3,2,0,0,,)"},
        {forwarding("forwardImmediate", "\r\n" + fifty + "\r\n", "TrueIsh"), "(3,1,1,0,555555555555555555555555555555555555555,)"},
        {forwarding("forwardDND", "4002", "true"), ""},
        {"<ForwardingEvent><forwardingType>forwardBusy</forwardingType>",
         "2:amFeatureSyncBodyContentParse: ForwardingEvent without its closing tag\n"},
        {"<AgentLoggedOnEvent", "(3,4,0,0,,)"},
        {csta("AgentLoggedOffEvent", ""), "(3,4,1,0,,)"},
        {"<AgentLoggedOffEvent>", "2:amFeatureSyncBodyContentParse: AgentLoggedOffEvent without its closing tag\n"},
        {csta("AgentNotReadyEvent", reason("2101")), "(3,4,2,0,,2101)"},
        {csta("AgentNotReadyEvent", reason(std::string(45, '9'))), "(3,4,2,0,,999999999999999999999999999999999999999)"},
        {csta("AgentNotReadyEvent", "</pri:AgentNotReadyReasonValue><pri:AgentNotReadyReasonValue>1"), "(3,4,2,0,,)"},
        {"<AgentNotReadyEvent>" + reason("2101"), ""},
        {csta("AgentReadyEvent", ""), "(3,4,3,0,,)"},
        {"<AgentReadyEvent/>", "2:amFeatureSyncBodyContentParse: AgentReadyEvent without its closing tag\n"},
        {csta("AgentWorkingAfterCallEvent", ""), "(3,4,4,0,,)"},
        {"<AgentWorkingAfterCallEvent>",
         "2:amFeatureSyncBodyContentParse: AgentWorkingAfterCallEvent without its closing tag\n"},
        {csta("AwayEvent", "<away>true</away>"), "(3,7,1,0,,)"},
        {"<AwayEvent><away>true", "(3,7,0,0,,)"},
        // The first kind in the reading order decides.
        {forwarding("forwardImmediate", "4002", "true") + csta("DoNotDisturbEvent", "<doNotDisturbOn>true</doNotDisturbOn>"),
         "(3,0,1,0,,)"},
        {"finish", "(3,6,0,0,,)"},
        {"Finish", "0:amFeatureSyncBodyContentParse: unknown feature\n"},
    };
    for (const auto &c : cases) EXPECT_EQ(outcome("as-feature-event", c.body), c.outcome) << c.body;
    EXPECT_EQ(outcome("b2buaCSTA", csta("AgentReadyEvent", "")), "(3,4,3,0,,)");
    amRecvFeatureSyncProcess(3, nullptr, nullptr);
    EXPECT_EQ(drained(), "1:amFeatureSyncBodyContentParse: body param null\n");
}

TEST_F(FeatureEvents, DndStatusBodies) {
    const char *const invalid = "2:amDndStatusSyncParse: invalid DND status content!";
    const char *const cases[][2] = {
        {"<DNDSTATUS>on</DNDSTATUS>", "(3,5,1,0,,)"}, {"<DNDSTATUS>\r\nOFF\r\n</DNDSTATUS>", "(3,5,0,0,,)"},
        {"<DNDSTATUS>ONE</DNDSTATUS>", "(3,5,0,0,,)"}, {"finish", "(3,6,0,0,,)"},
        {"<DNDSTATUS>\r\n</DNDSTATUS>", invalid},     {"Finish", invalid},
    };
    for (const auto &c : cases) EXPECT_EQ(outcome("dndstatus", c[0]), c[1]) << c[0];
    EXPECT_EQ(amRecvDndStatusSyncProcess(3, nullptr), -1);
    EXPECT_EQ(drained(), "");
}

}  // namespace
