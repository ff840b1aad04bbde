// Cost of dialog NOTIFYs through the module's entry point, each beside a bare pugixml
// parse of the same bytes (the floor any XML reader on this host pays).
#include <benchmark/benchmark.h>
#include <pugixml.hpp>

#include <cstring>
#include <string>

#include "host/dev_host.h"
#include "platform/am.h"
#include "quiet_host.h"

namespace {

constexpr char kDialogInfo[] = "application/dialog-info+xml";
constexpr char kMultipart[] = "multipart/related";
constexpr char kRlmi[] = "application/rlmi+xml";
// A plain parse: white space between elements is dropped. Keeping it is the node
// parser's own need (an indented container has a value), so it is counted as its cost.
constexpr unsigned kParseOptions = pugi::parse_default;

std::string dialogElement(int i) {
    const std::string id = std::to_string(i);
    return "  <dialog id=\"d" + id + "\" call-id=\"c" + id + "@pbx.example.com\" local-tag=\"lt" + id +
           "\" remote-tag=\"rt" + id + "\" direction=\"" + (i % 2 ? "initiator" : "recipient") +
           "\">\n"
           "    <state>" +
           (i % 3 ? "confirmed" : "early") +
           "</state>\n"
           "    <duration>" +
           std::to_string(60 + i) +
           "</duration>\n"
           "    <local>\n"
           "      <identity display=\"Front Desk\">sip:201@pbx.example.com</identity>\n"
           "      <target uri=\"sip:201@192.0.2.10:5060\"/>\n"
           "    </local>\n"
           "    <remote>\n"
           "      <identity display=\"Caller " +
           id + "\">sip:" + std::to_string(5550100 + i) +
           "@carrier.example.net</identity>\n"
           "      <target uri=\"sip:" +
           std::to_string(5550100 + i) +
           "@198.51.100.7\"/>\n"
           "    </remote>\n"
           "  </dialog>\n";
}

std::string dialogDocument(int dialogs, const char *tail = "") {
    std::string body =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<dialog-info xmlns=\"urn:ietf:params:xml:ns:dialog-info\" version=\"12\" state=\"full\"\n"
        "             entity=\"sip:201@pbx.example.com\">\n";
    for (int i = 0; i < dialogs; ++i) body += dialogElement(i);
    body += "</dialog-info>\n";
    return body + tail;
}

std::string rlmiDocument(int members) {
    std::string body =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<list xmlns=\"urn:ietf:params:xml:ns:rlmi\" uri=\"sip:keys@pbx.example.com\" version=\"1\" "
        "fullState=\"true\">\n"
        "  <name>Keys</name>\n";
    for (int i = 0; i < members; ++i) {
        const std::string n = std::to_string(1000 + i);
        body += "  <resource uri=\"sip:" + n + "@pbx.example.com\">\n    <name>Extension " + n +
                "</name>\n    <instance id=\"i" + n + "\" state=\"active\" cid=\"" + n + "@pbx\"/>\n  </resource>\n";
    }
    return body + "</list>\n";
}

void bareParse(benchmark::State &state, const std::string &body) {
    for (auto _ : state) {
        pugi::xml_document document;
        benchmark::DoNotOptimize(document.load_buffer(body.data(), body.size(), kParseOptions, pugi::encoding_utf8));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}

// The host's node parser alone (pugixml plus the element tree it builds), as the readers
// use it: the step between the bare parse and the whole NOTIFY.
void nodeParse(benchmark::State &state, const std::string &body) {
    for (auto _ : state) {
        ncContext *context = ncCreatePrivate("blf");
        context->option = 1;
        benchmark::DoNotOptimize(ncParseFromBuf(context, body.c_str(), 0));
        ncDestroy(context);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}

void notifyLoop(benchmark::State &state, const char *contentType, const char *number, const std::string &body) {
    for (auto _ : state) {
        amRecvNotify(1, number, "dialog", "active", contentType, body.c_str());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * body.size()));
}

void BM_OneDialog(benchmark::State &state) {
    quietHost();
    const std::string body = dialogDocument(1);
    notifyLoop(state, kDialogInfo, "201", body);
}
void BM_OneDialog_Bare(benchmark::State &state) { bareParse(state, dialogDocument(1)); }

// Multi-dialog mode on and the store already holding the document's dialogs: the steady
// state of a busy extension that the server keeps sending in full.
void BM_FiftyDialogs(benchmark::State &state) {
    quietHost();
    devhost::line(1).multiDialog = 1;
    const std::string body = dialogDocument(50);
    amRecvNotify(1, "201", "dialog", "active", kDialogInfo, body.c_str());
    notifyLoop(state, kDialogInfo, "201", body);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 50));
    amBlfDialogInfoClearByLine(1);
}
void BM_FiftyDialogs_Bare(benchmark::State &state) { bareParse(state, dialogDocument(50)); }
void BM_FiftyDialogs_NodeParser(benchmark::State &state) { nodeParse(state, dialogDocument(50)); }

// The same fifty dialogs in a body the parser rejects (a stray tag after the document):
// the parse fails at the end and the text scanner reads it.
void BM_FiftyDialogsText(benchmark::State &state) {
    quietHost();
    devhost::line(1).multiDialog = 1;
    const std::string body = dialogDocument(50, "<br>");
    amRecvNotify(1, "201", "dialog", "active", kDialogInfo, body.c_str());
    notifyLoop(state, kDialogInfo, "201", body);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * 50));
    amBlfDialogInfoClearByLine(1);
}
void BM_FiftyDialogsText_Bare(benchmark::State &state) { bareParse(state, dialogDocument(50, "<br>")); }

void BM_Rlmi(benchmark::State &state) {
    quietHost();
    const int members = static_cast<int>(state.range(0));
    const std::string body = rlmiDocument(members);
    notifyLoop(state, kRlmi, "keys", body);
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * members));
}
void BM_Rlmi_Bare(benchmark::State &state) {
    const int members = static_cast<int>(state.range(0));
    bareParse(state, rlmiDocument(members));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * members));
}

void BM_Rlmi_NodeParser(benchmark::State &state) {
    const int members = static_cast<int>(state.range(0));
    nodeParse(state, rlmiDocument(members));
    state.SetItemsProcessed(static_cast<int64_t>(state.iterations() * members));
}

// One dialog-info part of a resource list (list records, no store document).
void BM_ListPart(benchmark::State &state) {
    quietHost();
    const std::string body = dialogDocument(1);
    notifyLoop(state, kMultipart, nullptr, body);
}

}  // namespace

BENCHMARK(BM_OneDialog);
BENCHMARK(BM_OneDialog_Bare);
BENCHMARK(BM_FiftyDialogs);
BENCHMARK(BM_FiftyDialogs_Bare);
BENCHMARK(BM_FiftyDialogs_NodeParser);
BENCHMARK(BM_FiftyDialogsText);
BENCHMARK(BM_FiftyDialogsText_Bare);
BENCHMARK(BM_Rlmi)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_Rlmi_Bare)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_Rlmi_NodeParser)->Arg(10)->Arg(100)->Arg(1000);
BENCHMARK(BM_ListPart);
