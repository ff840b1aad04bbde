// Soak: a long stream of mixed NOTIFYs and MESSAGEs through the module, checking that
// neither the host's live block count nor the process's resident memory creeps up.
//   soak [count]      (default 1000000)
// Prints both after the first thousand and at the end; exits 1 when the module holds
// more blocks at the end, or resident memory grew by more than a slack for the
// allocator's own caches.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

#include "host/dev_host.h"
#include "platform/am.h"

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
// The sanitizer's quarantine keeps freed memory resident on purpose.
constexpr bool kResidentMeaningful = false;
#else
constexpr bool kResidentMeaningful = true;
#endif

long residentKb() {
    long pages = 0, resident = 0;
    FILE *statm = std::fopen("/proc/self/statm", "r");
    if (statm == nullptr) return -1;
    if (std::fscanf(statm, "%ld %ld", &pages, &resident) != 2) resident = -1;
    std::fclose(statm);
    return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

std::string dialogInfo(int n) {
    const char *states[] = {"confirmed", "early", "terminated"};
    return "<?xml version=\"1.0\"?><dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"" +
           std::to_string(n) + "\" state=\"partial\" entity=\"sip:2" + std::to_string(n % 10) +
           "@pbx\"><dialog id=\"d" + std::to_string(n % 7) + "\" direction=\"initiator\"><state>" + states[n % 3] +
           "</state><remote><identity display=\"Guest\">sip:3" + std::to_string(n % 10) +
           "@pbx</identity></remote></dialog></dialog-info>";
}

std::string parkInfo(int n, const char *state) {
    return "<?xml version=\"1.0\"?><park-info><call-id>c" + std::to_string(n % 20) + "@pbx</call-id><state>" +
           state + "</state><retrieve-number>*881</retrieve-number><parker-identity display=\"Ann\">sip:201@pbx"
           "</parker-identity><parked-identity display=\"Bob\">sip:302@pbx</parked-identity></park-info>";
}

void onMessage(const AmRecvMessage *) {}

// One of twelve kinds of traffic, by n. The traffic repeats every 60 messages, so that
// whatever the module rightly keeps (dialogs, appearances, parked calls) is all there
// after the first thousand.
void feed(int n) {
    const std::string number = "2" + std::to_string(n % 10);
    switch (n % 12) {
        case 0:
        case 1:
        case 2:
            amRecvNotify(1, number.c_str(), "dialog", "active", "application/dialog-info+xml", dialogInfo(n).c_str());
            break;
        case 3:
            amRecvNotify(1, number.c_str(), "presence", "active", "application/pidf+xml",
                         "<?xml version=\"1.0\"?><presence xmlns=\"urn:ietf:params:xml:ns:pidf\"><tuple id=\"t\">"
                         "<status><basic>open</basic></status><note>On the phone</note></tuple></presence>");
            break;
        case 4:
            amRecvNotify(1, "201", "message-summary", "active", "application/simple-message-summary",
                         n % 2 ? "Messages-Waiting: yes\r\nVoice-Message: 2/8 (0/2)\r\n" : "Messages-Waiting: no\r\n");
            break;
        case 5:
            amRecvNotify(1, "201", "call-info", "active", nullptr,
                         ("<sip:pbx>;appearance-index=" + std::to_string(1 + n % 4) +
                          (n % 3 ? ";appearance-state=active" : ";appearance-state=idle"))
                             .c_str());
            break;
        case 6:
            amRecvNotify(1, "201", "park-info", "active", "application/park-info+xml",
                         parkInfo(n, "parked").c_str());
            break;
        case 7:
            amRecvNotify(1, "201", "park-info", "active", "application/park-info+xml",
                         parkInfo(n - 1, "terminated").c_str());
            break;
        case 8:
            amRecvMessage(1, number.c_str(), "Desk", "text/x-note", "are you there?");
            break;
        case 9:
            amRecvMessage(1, number.c_str(), "Desk", "application/xml", "<?xml version=\"1.0\"?><PhoneExecute/>");
            break;
        case 10:
            amRecvNotify(1, "201", "x-broadworks-callpark", "active", "application/x-broadworks-callpark-info+xml",
                         "<x-broadworks-callpark-info><callpark><parked><name>Bob</name></parked></callpark>"
                         "</x-broadworks-callpark-info>");
            break;
        default:
            amRecvNotify(1, "201", "talk", "active", nullptr, "2");
            break;
    }
    devhost::drainAsync();
}

}  // namespace

int main(int argc, char **argv) {
    const long count = argc > 1 ? std::atol(argv[1]) : 1000000;
    if (count < 1000) {
        std::fprintf(stderr, "soak: count %ld: at least 1000\n", count);
        return 2;
    }
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    long raised = 0;
    devhost::setEventObserver([&raised](const char *, const void *, int) { ++raised; });
    devhost::line(1).multiDialog = 1;
    devhost::line(1).scaEnable = 1;
    amModuleInit();
    amMessageProcessCbRegister(onMessage);

    long blocksAtStart = 0, rssAtStart = 0;
    for (long n = 0; n < count; ++n) {
        feed(static_cast<int>(n % 1000000007));
        if (n + 1 == 1000) {
            blocksAtStart = devhost::liveBlocks();
            rssAtStart = residentKb();
        }
    }
    const long blocks = devhost::liveBlocks();
    const long rss = residentKb();
    std::printf("soak: %ld messages, %ld events; after 1000: %ld blocks, %ld KB resident; at the end: %ld blocks, %ld KB "
                "resident\n",
                count, raised, blocksAtStart, rssAtStart, blocks, rss);
    amMessageProcessCbUnregister(onMessage);
    amModuleUnInit();
    constexpr long kSlackKb = 1024;
    if (blocks > blocksAtStart || (kResidentMeaningful && rss > rssAtStart + kSlackKb)) {
        std::fprintf(stderr, "soak: the module's memory grew\n");
        return 1;
    }
    return 0;
}
