// The server's feature events, as real servers send them, read into feature sync reports.
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

using amtest::HostTest;
constexpr char kSync[] = "ostra.am.sync";

class FeatureEvents : public HostTest {};

// The reports raised so far as "(line,feature,value,ringTime,forwardTo,reason)", then forgotten.
std::string reports() {
    std::string out;
    for (const devhost::Event &event : amtest::eventsNamed(AM_FEATURE_SYNC_INFORM)) {
        AmFeatureSync r = amtest::record<AmFeatureSync>(event);
        out += "(" + std::to_string(r.line) + "," + std::to_string(r.feature) + "," + std::to_string(r.value) + "," +
               std::to_string(r.ringTime) + "," + r.forwardTo + "," + r.reason + ")";
    }
    devhost::clearEvents();
    return out;
}

std::string warnings() {
    std::string out;
    for (const devhost::LogLine &line : amtest::logsOf(kSync)) {
        if (line.level > 0) out += std::to_string(line.level) + ":" + line.text;
    }
    devhost::clearLogs();
    return out;
}

std::string csta(const std::string &event, const std::string &inner) {
    return "<?xml version=\"1.0\" encoding=\"ISO-8859-1\"?>\r\n<" + event +
           " xmlns=\"http://www.ecma-international.org/standards/ecma-323/csta/ed3\">\r\n"
           "<monitorCrossRefID>0</monitorCrossRefID>\r\n<device>4001</device>\r\n" +
           inner + "</" + event + ">";
}

std::string forwardingEvent(const std::string &type, const std::string &to, const std::string &status,
                            const std::string &rings = "") {
    return csta("ForwardingEvent", "<forwardingType>" + type + "</forwardingType>\r\n<forwardStatus>" + status +
                                       "</forwardStatus>\r\n<forwardTo>" + to + "</forwardTo>\r\n" +
                                       (rings.empty() ? "" : "<ringCount>" + rings + "</ringCount>\r\n"));
}

const std::string kReason =
    "<extensions>\r\n<privateData>\r\n<private xmlns:pri=\"http://schema.broadsoft.com/CSTAPrivateData\">\r\n"
    "<pri:AgentNotReadyReasonValue>2101</pri:AgentNotReadyReasonValue>\r\n</private>\r\n</privateData>\r\n"
    "</extensions>\r\n";

TEST_F(FeatureEvents, CstaEventsBecomeReports) {
    const struct {
        std::string body;
        const char *reports;
    } cases[] = {
        {csta("DoNotDisturbEvent", "<doNotDisturbOn>TRUE</doNotDisturbOn>\r\n"), "(3,0,1,0,,)"},
        {csta("DoNotDisturbEvent", "<doNotDisturbOn>false</doNotDisturbOn>\r\n"), "(3,0,0,0,,)"},
        {csta("DoNotDisturbEvent", "<doNotDisturbOn>\r\ntrue\r\n</doNotDisturbOn>\r\n"), "(3,0,1,0,,)"},
        {csta("DoNotDisturbEvent", ""), "(3,0,0,0,,)"},
        {"<DoNotDisturbEvent><doNotDisturbOn>true</doNotDisturbOn>", "(3,0,0,0,,)"},
        {forwardingEvent("forwardImmediate", "4002", "true"), "(3,1,1,0,4002,)"},
        {forwardingEvent("forwardBusy", "sip:4003@pbx", "false"), "(3,3,0,0,sip:4003@pbx,)"},
        {forwardingEvent("forwardBusyLine", "4003", "true"), "(3,3,1,0,4003,)"},
        {forwardingEvent("FORWARDNOANS", "4002", "true", "3"), "(3,2,1,15,4002,)"},
        {forwardingEvent("forwardNoAns", "4002", "true", "30"), "(3,2,1,120,4002,)"},
        {forwardingEvent("forwardNoAns", "4002", "true", "24"), "(3,2,1,120,4002,)"},
        {forwardingEvent("forwardNoAns", "4002", "true", "99999999999"), "(3,2,1,120,4002,)"},
        {forwardingEvent("forwardNoAns", "", "true", ""), "(3,2,1,0,,)"},
        {forwardingEvent("forwardImmediate", "4002", "true", "3"), "(3,1,1,0,4002,)"},  // rings: no-answer only
        {forwardingEvent("forwardImmediate", "\r\n" + std::string(50, '5') + "\r\n", ""),
         "(3,1,0,0,555555555555555555555555555555555555555,)"},
        {forwardingEvent("forwardDND", "4002", "true"), ""},
        {csta("ForwardingEvent", "<forwardStatus>true</forwardStatus>"), ""},
        {csta("AgentLoggedOnEvent", ""), "(3,4,0,0,,)"},
        {"<AgentLoggedOnEvent", "(3,4,0,0,,)"},
        {csta("AgentLoggedOffEvent", ""), "(3,4,1,0,,)"},
        {csta("AgentNotReadyEvent", kReason), "(3,4,2,0,,2101)"},
        {csta("AgentNotReadyEvent", ""), "(3,4,2,0,,)"},
        {csta("AgentNotReadyEvent", "<pri:AgentNotReadyReasonValue>" + std::string(45, '9') +
                                        "</pri:AgentNotReadyReasonValue>"),
         "(3,4,2,0,,999999999999999999999999999999999999999)"},
        {csta("AgentNotReadyEvent", "</pri:AgentNotReadyReasonValue><pri:AgentNotReadyReasonValue>1"),
         "(3,4,2,0,,)"},
        {"<AgentNotReadyEvent>" + kReason, ""},
        {csta("AgentReadyEvent", ""), "(3,4,3,0,,)"},
        {csta("AgentWorkingAfterCallEvent", ""), "(3,4,4,0,,)"},
        {csta("AwayEvent", "<away>true</away>"), "(3,7,1,0,,)"},
        {csta("AwayEvent", "<away>no</away>"), "(3,7,0,0,,)"},
        {"<AwayEvent><away>true", "(3,7,0,0,,)"},
        // The first kind in the reading order decides.
        {forwardingEvent("forwardImmediate", "4002", "true") +
             csta("DoNotDisturbEvent", "<doNotDisturbOn>true</doNotDisturbOn>"),
         "(3,0,1,0,,)"},
        {csta("AwayEvent", "<away>true</away>") + csta("AgentReadyEvent", ""), "(3,4,3,0,,)"},
        {"finish", "(3,6,0,0,,)"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(amRecvNotify(3, "4001", "as-feature-event", "active", "application/x-as-feature-event+xml",
                               c.body.c_str()),
                  0);
        EXPECT_EQ(reports(), c.reports) << c.body;
        EXPECT_EQ(warnings(), "") << c.body;
    }
}

TEST_F(FeatureEvents, UnreadableBodiesAreLogged) {
    const struct {
        std::string body;
        const char *log;
    } cases[] = {
        {"<ForwardingEvent><forwardingType>forwardBusy</forwardingType>",
         "2:amFeatureSyncBodyContentParse: ForwardingEvent without its closing tag\n"},
        {"<AgentLoggedOffEvent>", "2:amFeatureSyncBodyContentParse: AgentLoggedOffEvent without its closing tag\n"},
        {"<AgentReadyEvent/>", "2:amFeatureSyncBodyContentParse: AgentReadyEvent without its closing tag\n"},
        {"<AgentWorkingAfterCallEvent>",
         "2:amFeatureSyncBodyContentParse: AgentWorkingAfterCallEvent without its closing tag\n"},
    };
    for (const auto &c : cases) {
        amRecvNotify(3, "4001", "b2buaCSTA", "active", nullptr, c.body.c_str());
        EXPECT_EQ(reports(), "") << c.body;
        EXPECT_EQ(warnings(), c.log) << c.body;
    }
    for (const char *body : {"Finish", "", "<CallForwardingEvent/>"}) {
        amRecvFeatureSyncProcess(3, nullptr, body);
        EXPECT_TRUE(amtest::hasLog(0, kSync, "amFeatureSyncBodyContentParse: unknown feature\n")) << body;
        devhost::clearLogs();
    }
    amRecvFeatureSyncProcess(3, nullptr, nullptr);
    EXPECT_EQ(warnings(), "1:amFeatureSyncBodyContentParse: body param null\n");
    EXPECT_EQ(reports(), "");
}

TEST_F(FeatureEvents, DndStatusPackage) {
    const struct {
        const char *body;
        const char *reports;
        bool invalid;
    } cases[] = {
        {"<DNDSTATUS>on</DNDSTATUS>", "(5,5,1,0,,)", false},
        {"<DNDSTATUS>OFF</DNDSTATUS>", "(5,5,0,0,,)", false},
        {"<DNDSTATUS>\r\nON\r\n</DNDSTATUS>", "(5,5,1,0,,)", false},
        {"<DNDSTATUS>ONE</DNDSTATUS>", "(5,5,0,0,,)", false},
        {"finish", "(5,6,0,0,,)", false},
        {"<DNDSTATUS></DNDSTATUS>", "", true},
        {"<DNDSTATUS>\r\n</DNDSTATUS>", "", true},
        {"Finish", "", true},
        {"<dndstatus>on</dndstatus>", "", true},
    };
    for (const auto &c : cases) {
        amRecvNotify(5, "4001", "dndstatus", "active", "application/dndstatus", c.body);
        EXPECT_EQ(reports(), c.reports) << c.body;
        EXPECT_EQ(warnings(), c.invalid ? "2:amDndStatusSyncParse: invalid DND status content!" : "") << c.body;
    }
    EXPECT_EQ(amRecvDndStatusSyncProcess(5, nullptr), -1);
    EXPECT_EQ(amtest::logsOf(kSync).size(), 0u);
}

}  // namespace
