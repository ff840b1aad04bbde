// Allocation-failure sweep: each feature's scenario runs again and again, each time in a
// fresh process (fork), with its 1st, 2nd, 3rd ... allocating host call failing, until a
// run makes no call that the injection reaches. After the failing run the scenario runs
// once more without failures and the feature's state is released where the module lets
// it go; what the host then still holds (blocks, lists, mutexes, parser contexts) must be
// exactly what two clean runs leave. A failure may cost a report, never memory, and the
// feature works again afterwards. Sanitizer reports and crashes end the child abnormally.
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "am_test.h"
#include "platform/am.h"

namespace {

struct Scenario {
    const char *name;
    void (*run)();
    void (*release)();   // nullptr: the feature keeps all it made
};

void notify(const char *event, const char *contentType, const char *body, const char *number = "201") {
    amRecvNotify(1, number, event, "active", contentType, body);
}

const char kDialogs[] =
    "<?xml version=\"1.0\"?><dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"1\" "
    "state=\"full\" entity=\"sip:201@pbx\"><dialog id=\"a\" direction=\"initiator\"><state>confirmed</state>"
    "<remote><identity display=\"Bob\">sip:302@pbx</identity></remote></dialog>"
    "<dialog id=\"b\" direction=\"recipient\"><state>early</state></dialog></dialog-info>";
// A resource list as the protocol manager hands it over: the list, each part, "finish".
const char kRlmi[] =
    "<list xmlns=\"urn:ietf:params:xml:ns:rlmi\" uri=\"sip:keys@pbx\" version=\"1\" fullState=\"true\">"
    "<resource uri=\"sip:201@pbx\"><name>Desk</name><instance id=\"i1\" state=\"active\" cid=\"p1@pbx\"/>"
    "</resource><resource uri=\"sip:202@pbx\"><name>Door</name></resource></list>";
const char kRlmiPart[] =
    "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"1\" state=\"full\" "
    "entity=\"sip:201@pbx\"><dialog id=\"x\" direction=\"initiator\"><state>confirmed</state></dialog>"
    "</dialog-info>";
const char kPidf[] =
    "<?xml version=\"1.0\"?><presence xmlns=\"urn:ietf:params:xml:ns:pidf\" entity=\"sip:202@pbx\"><tuple "
    "id=\"t\"><status><basic>open</basic></status><note>On the phone</note></tuple></presence>";
const char kXpidf[] =
    "<?xml version=\"1.0\"?><presence><atom id=\"1\"><address uri=\"sip:202@pbx\"><status status=\"inuse\"/>"
    "<msnsubstatus substatus=\"onthephone\"/></address></atom></presence>";
const char kCallPark[] =
    "<?xml version=\"1.0\"?><x-broadworks-callpark-info><callpark><parked><name>Bob</name></parked>"
    "</callpark></x-broadworks-callpark-info>";
std::string parkInfo(const char *callId, const char *state) {
    return std::string("<?xml version=\"1.0\"?><park-info><call-id>") + callId + "</call-id><state>" + state +
           "</state><retrieve-number>*881</retrieve-number><parker-identity display=\"Ann\">sip:201@pbx"
           "</parker-identity><parked-identity display=\"Bob\">sip:302@pbx</parked-identity></park-info>";
}
void onMessage(const AmRecvMessage *) {}
int onText(int, const char *, const char *, const char *body) { return body[0] == '!' ? 0 : -1; }
int onXmlText(int, const char *, const char *, const char *, const char *) { return 0; }
const char kXmlText[] = "<?xml version=\"1.0\"?><Message id=\"m-1\"><content>Tom &amp; Jerry</content></Message>";
const char kMcast[] =
    "<?xml version=\"1.0\"?><action name=\"IBC_MC_START\"><mcEntry host=\"224.0.1.10\" port=\"10000\" "
    "priority=\"2\"/><type>stream</type><codec><name>PCMU</name><payload>0</payload></codec>"
    "<caller>sip:100@pbx</caller><callee>Lobby</callee></action>";
const char kHotelType[] = "application/x-broadworks-hoteling+xml";
const char kFeatureEvent[] =
    "<ForwardingEvent><forwardingType>forwardNoAns</forwardingType><forwardStatus>true</forwardStatus>"
    "<forwardTo>4002</forwardTo><ringCount>3</ringCount></ForwardingEvent>";

// One row per feature. The release step undoes what the module lets an application or a
// later NOTIFY undo; anything else the feature made is kept for the process's life.
const Scenario kScenarios[] = {
    {"BlfNotifyWithStore",
     [] {
         amRequestBlf(1, "201");
         amRecvSubscribeResult(1, "201", "dialog", nullptr, 200, nullptr);
         notify("dialog", "application/dialog-info+xml", kDialogs);
     },
     [] {
         amBlfDialogInfoClearByLine(1);
         amPendingClear(1);
     }},
    {"RlmiList",
     [] {
         notify("dialog", "application/rlmi+xml", kRlmi, "keys");
         notify("dialog", "multipart/related", kRlmiPart, "keys");
         notify("dialog", "multipart/related", "finish", "keys");
     },
     [] { amBlfDialogInfoClearByLine(1); }},
    {"Presence",
     [] {
         amRequestPresence(1, "202");
         amRecvSubscribeResult(1, "202", "presence", nullptr, 200, nullptr);
         notify("presence", "application/pidf+xml", kPidf, "202");
         notify("presence", "application/xpidf+xml", kXpidf, "202");
     },
     [] { amPendingClear(1); }},
    {"MessageSummary",
     [] {
         notify("message-summary", "application/simple-message-summary",
                "Messages-Waiting: yes\r\nMessage-Account: sip:201@pbx\r\nVoice-Message: 2/8 (0/2)\r\n");
         amRecvSubscribeResult(1, "201", "dialog-message-summary", nullptr, 0, nullptr);
     },
     nullptr},
    {"ScaAndLineSeize",
     [] {
         notify("call-info", nullptr, "<sip:pbx>;appearance-index=1;appearance-state=active");
         notify("call-info", nullptr, "<sip:pbx>;appearance-index=2;appearance-state=held");
         amRequestLineSeize(1, 3, 7);
         amRecvSubscribeResult(1, "201", "line-seize", nullptr, 1, "<sip:pbx>;appearance-index=3");
         amRecvNotify(1, "201", "line-seize", "active", nullptr, "<sip:pbx>;appearance-index=3");
         amRequestLineSeizeCancel(1, 3);
     },
     nullptr},
    {"CallParkAndVisualParkList",
     [] {
         notify("x-broadworks-callpark", "application/x-broadworks-callpark-info+xml", kCallPark);
         notify("park-info", "application/park-info+xml", parkInfo("c1@pbx", "parked").c_str());
         notify("park-info", "application/park-info+xml", parkInfo("c2@pbx", "parked").c_str());
         notify("park-info", "application/park-info+xml", parkInfo("c1@pbx", "terminated").c_str());
     },
     [] { amRemoveVisualParkInfoByCallId("c2@pbx"); }},
    {"PushXmlAndMessageCallbacks",
     [] {
         amMessageProcessCbRegister(onMessage);
         amRecvMessage(1, "201", "Desk", "text/x-note", "hello");
         notify("push-xml-event", "application/xml", "<?xml version=\"1.0\"?><PhoneExecute/>");
         devhost::drainAsync();
     },
     [] { amMessageProcessCbUnregister(onMessage); }},
    {"PendingQueueWithTimer",
     [] {
         amRequestBlf(1, "201");
         amRequestPresence(1, "202");
         amRequestBlf(1, "203");
         devhost::advance(5);  // the head times out and the next one goes out
         amRecvSubscribeResult(1, "202", "presence", nullptr, 200, nullptr);
         amRequestBlfCancel(1, "203");
     },
     [] { amPendingClear(1); }},
    {"HotelSignInWithChallenge",
     [] {
         devhost::setConfigItem("<PHONE FEATURE MODULE>", "-- Agent Config--  :", "Agent Number       :", "4001");
         devhost::setConfigItem("<PHONE FEATURE MODULE>", "-- Agent Config--  :", "Agent Password     :", "pw");
         amRequestHotelEvent(1, "4001");
         amRecvSubscribeResult(1, "2001", "x-broadworks-hoteling", kHotelType, 1, nullptr);
         amRecvNotify(1, "2001", "x-broadworks-hoteling", "active", kHotelType, "<hoteling><nonce>abc</nonce></hoteling>");
         amRecvNotify(1, "2001", "x-broadworks-hoteling", "active", kHotelType,
                      "<hoteling><guestAddress>4001@10.0.0.5</guestAddress></hoteling>");
         amRequestHotelCancel(1);
     },
     nullptr},
    {"FeatureSyncRequestsAndEvents",
     [] {
         AmFeatureSync dnd{1, 0, 1, AM_FEATURE_DND, "", ""};
         amFeatureSyncRequest(1, "4001", &dnd);
         AmFeatureSync forward{1, 20, 1, AM_FEATURE_FORWARD_NO_ANSWER, "4002", ""};
         amFeatureSyncRequest(1, "4001", &forward);
         amRecvNotify(1, "4001", "as-feature-event", "active", "application/x-as-feature-event+xml", kFeatureEvent);
         amRecvNotify(1, "4001", "dndstatus", "active", nullptr, "<DNDSTATUS>ON</DNDSTATUS>");
     },
     nullptr},
    {"MessagingSendAndReceivers",
     [] {
         amSmsPlainRecvCallBackRegister("ui", onText);
         amSmsUserDefineRecvCbRegister("app", onText);
         amSmsXmlRecvCallBackRegister("ui", onText);
         amXmlSmsRecvCbRegister(onXmlText);
         amSendSms(1, "201", "hello", 7);
         amRecvMessageResult(1, "201", "text/plain", 7, 1);
         amRecvMessage(1, "201", "Ann", "text/plain", "!urgent");
         amRecvMessage(1, "201", "Ann", "text/plain", "no receiver takes this");
         amRecvMessage(1, "201", "Ann", "application/xml", kXmlText);
         amRecvMessage(1, "201", "Ann", "text/xml-pushinfo", "!<x/>");
         devhost::drainAsync();
     },
     [] {
         amSmsPlainRecvCallBackUnRegister("ui");
         amSmsUserDefineRecvCbUnRegister("app");
         amSmsXmlRecvCallBackUnRegister("ui");
     }},
    {"DynamicMcast",
     [] {
         notify("mcast-dynamic-set", "application/iMC+xml", kMcast);
         notify("mcast-dynamic-set", "application/iMC+xml",
                "<action name=\"IBC_MC_END\"><mcEntry host=\"224.0.1.10\" port=\"10000\"/></action>");
     },
     nullptr},
    {"RemoteControl",
     [] {
         const AmInfoRecord start{1, "cti", "application/remotecontrol+xml",
                                  "<cmd>Key=StartJoint</cmd><callID>a84b@cti</callID>"};
         amRecvInfo(&start);
         const AmInfoRecord call{1, "cti", "application/remotecontrol+xml", "<cmd>key=audiocall+2005</cmd>"};
         amRecvInfo(&call);
         amRemoteControlActionInfoReport(1, "cti", AM_REMOTE_CTL_ACTION_ESTABLISHED, "2005", "a84b@cti");
     },
     nullptr},
};

struct Held {
    long failed, effects, blocks, lists, mutexes, parsers;
};

// In a child: the module started, the scenario run with call `nth` failing (0: none),
// run again cleanly, released; the host's holdings written back through a pipe.
bool runInChild(const Scenario &scenario, long nth, Held &held, std::string &why) {
    int fds[2];
    if (pipe(fds) != 0) return why = "pipe", false;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(fds[0]);
        devhost::line(1).multiDialog = 1;
        devhost::line(1).scaEnable = 1;
        amModuleInit();
        if (nth > 0) devhost::failNth(nth);
        scenario.run();
        devhost::failNone();
        Held out{devhost::failedCalls(), static_cast<long>(devhost::events().size() + devhost::requests().size()), 0, 0, 0, 0};
        scenario.run();
        if (scenario.release != nullptr) scenario.release();
        devhost::drainAsync();
        out.blocks = devhost::liveBlocks();
        out.lists = devhost::liveLists();
        out.mutexes = devhost::liveMutexes();
        out.parsers = devhost::liveParsers();
        const bool written = write(fds[1], &out, sizeof out) == static_cast<ssize_t>(sizeof out);
        _exit(written ? 0 : 3);
    }
    close(fds[1]);
    const bool read_ = read(fds[0], &held, sizeof held) == static_cast<ssize_t>(sizeof held);
    close(fds[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) return why = "killed by signal " + std::to_string(WTERMSIG(status)), false;
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !read_) {
        return why = "exit status " + std::to_string(WEXITSTATUS(status)), false;
    }
    return true;
}

void PrintTo(const Scenario &scenario, std::ostream *out) { *out << scenario.name; }

class Sweep : public amtest::HostTest, public ::testing::WithParamInterface<Scenario> {};

TEST_P(Sweep, EveryAllocationFailsWithoutCrashOrLeak) {
    const Scenario &scenario = GetParam();
    Held clean{};
    std::string why;
    ASSERT_TRUE(runInChild(scenario, 0, clean, why)) << "clean run: " << why;
    EXPECT_EQ(clean.parsers, 0);
    EXPECT_GT(clean.effects, 0) << "no event and no request: the scenario does not reach its feature";
    long nth = 1;
    constexpr long kBound = 5000;
    for (; nth <= kBound; ++nth) {
        Held held{};
        ASSERT_TRUE(runInChild(scenario, nth, held, why)) << "failing call " << nth << ": " << why;
        if (held.failed == 0) break;  // the scenario makes fewer calls than nth
        EXPECT_EQ(held.blocks, clean.blocks) << "failing call " << nth;
        EXPECT_EQ(held.lists, clean.lists) << "failing call " << nth;
        EXPECT_EQ(held.mutexes, clean.mutexes) << "failing call " << nth;
        EXPECT_EQ(held.parsers, 0) << "failing call " << nth;
    }
    ASSERT_LE(nth, kBound);
    std::printf("sweep %s: %ld failure points, %ld blocks kept\n", scenario.name, nth - 1, clean.blocks);
}

INSTANTIATE_TEST_SUITE_P(Features, Sweep, ::testing::ValuesIn(kScenarios),
                         [](const ::testing::TestParamInfo<Scenario> &info) { return std::string(info.param.name); });

}  // namespace
