// libFuzzer harness: hostile bodies through every inbound entry point. The first byte picks
// the package or content type, the rest is the body. Crashes, overreads and leaks are
// what it looks for; the module's answers are not checked.
#include <cstdint>
#include <cstring>
#include <string>

#include "host/dev_host.h"
#include "platform/am.h"

namespace {

struct Route {
    const char *event;
    const char *contentType;
};

constexpr Route kRoutes[] = {
    {"dialog", "application/dialog-info+xml"},
    {"dialog", "application/rlmi+xml"},
    {"dialog", "multipart/related"},
    {"presence", "application/pidf+xml"},
    {"presence", "application/xpidf+xml"},
    {"message-summary", "application/simple-message-summary"},
    {"dialog-message-summary", "application/simple-message-summary"},
    {"call-info", nullptr},
    {"call-info", "application/x-broadworks-callpark-info+xml"},
    {"line-seize", nullptr},
    {"park-info", "application/park-info+xml"},
    {"talk", nullptr},
    {"acs-request", nullptr},
    {"firmware_update", "message/control"},
    {"push-xml-event", "application/xml"},
    {"sync-server-time", "application/date"},
    {"x-broadworks-hoteling", "application/x-broadworks-hoteling+xml"},
    {"as-feature-event", nullptr},
    {"dndstatus", nullptr},
    {"mcast-dynamic-set", "application/iMC+xml"},
};
constexpr int kRouteCount = static_cast<int>(sizeof kRoutes / sizeof kRoutes[0]);
constexpr const char *kInfoTypes[] = {"kts", "text/plain", "application/remotecontrol+xml"};

int takeXmlMessage(int, const char *, const char *, const char *, const char *) { return 0; }

}  // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***) {
    amModuleInit();
    amXmlSmsRecvCbRegister(takeXmlMessage);  // so that "application/xml" MESSAGEs are read as text messages
    devhost::line(1).multiDialog = 1;
    devhost::setRecordEvents(false);
    devhost::setRecordLogs(false);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0) return 0;
    const int pick = data[0];
    std::string body(reinterpret_cast<const char *>(data + 1), size - 1);
    const char *text = body.c_str();  // stops at the first NUL, as the protocol manager's texts do
    const Route &route = kRoutes[pick % kRouteCount];
    if (pick / kRouteCount % 2 == 0) {
        amRecvNotify(1, "201", route.event, "active", route.contentType, text);
    } else {
        // The same bytes as a MESSAGE and an INFO, then as the event text itself.
        amRecvMessage(1, "201", "name", route.contentType != nullptr ? route.contentType : "text/plain", text);
        pmInfoRecord info{1, "201", kInfoTypes[pick % 3], text};
        amRecvInfo(&info);
        amRecvNotify(1, "201", text, text, text, text);
        devhost::drainAsync();
    }
    devhost::clearRequests();  // challenges are answered with SUBSCRIBEs the host records
    return 0;
}
