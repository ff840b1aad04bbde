// Cost of the messaging, paging and remote-control paths as the protocol manager drives
// them: a text MESSAGE offered to several receivers, an XML text message read with the
// node parser, a multicast paging NOTIFY, and a remote-control INFO and its answer.
#include <benchmark/benchmark.h>

#include "host/dev_host.h"
#include "platform/am.h"
#include "quiet_host.h"

namespace {

int decline(int, const char *, const char *, const char *) { return 1; }
int accept(int, const char *, const char *, const char *, const char *) { return 0; }

void BM_TextMessageToEveryReceiver(benchmark::State &state) {
    quietHost();
    static bool registered = false;  // the lists live as long as the process
    if (!registered) {
        for (const char *name : {"ui", "log", "notify", "store"}) {
            amSmsUserDefineRecvCbRegister(name, decline);
            amSmsPlainRecvCallBackRegister(name, decline);
        }
        registered = true;
    }
    for (auto _ : state) benchmark::DoNotOptimize(amRecvMessage(1, "2001", "Ann", "text/plain", "See you at 10"));
}
BENCHMARK(BM_TextMessageToEveryReceiver);

void BM_XmlTextMessage(benchmark::State &state) {
    quietHost();
    amXmlSmsRecvCbRegister(accept);
    const char *body = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Message id=\"m-17\">\n"
                       "  <content>Room 12 needs towels &amp; water</content>\n</Message>";
    for (auto _ : state) benchmark::DoNotOptimize(amRecvMessage(1, "2001", "Ann", "application/xml", body));
}
BENCHMARK(BM_XmlTextMessage);

void BM_DynamicMcastNotify(benchmark::State &state) {
    quietHost();
    const char *body = "<action name=\"IBC_MC_START\"><mcEntry host=\"224.0.1.10\" port=\"10000\" priority=\"2\"/>"
                       "<phone vol=\"5\"/><type>stream</type><codec><name>PCMU</name><payload>0</payload>"
                       "<fmtp>annexb=no</fmtp></codec><caller>sip:100@pbx</caller><callee>sip:200@pbx</callee>"
                       "</action>";
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            amRecvNotify(1, "ibc", "mcast-dynamic-set", "active", "application/iMC+xml", body));
    }
}
BENCHMARK(BM_DynamicMcastNotify);

void BM_RemoteControlCommandAndAnswer(benchmark::State &state) {
    quietHost();
    const AmInfoRecord info = {1, "cti", "application/remotecontrol+xml",
                               "<cmd>key=audiocall+2005</cmd>\r\n<callID>a84b4c76e66710@cti</callID>\r\n"};
    long sent = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(amRecvInfo(&info));
        benchmark::DoNotOptimize(amRemoteControlActionInfoReport(1, "cti", 4, "2005", "a84b4c76e66710@cti"));
        if (++sent % 1024 == 0) devhost::clearRequests();
    }
}
BENCHMARK(BM_RemoteControlCommandAndAnswer);

}  // namespace
