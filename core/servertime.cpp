// Server time pushed in a "sync-server-time" NOTIFY: the date goes to the phone's clock.
#include <cstring>

#include "core/util.h"
#include "platform/am.h"

namespace {
constexpr char kLog[] = "ostra.am.syncservertime";
}  // namespace

extern "C" int amRecvSyncServerTimeParse(int line, const char *body) {
    ostraPrintLog(0, kLog, "%s: line=[%d], body=[%s]\n", "amRecvSyncServerTimeParse", line, am::orEmpty(body));
    if (body == nullptr) return -1;
    const char *date = std::strstr(body, "Date:");
    if (date == nullptr) {
        ostraPrintLog(3, kLog, "%s: line=[%d], body=[%s] parse time error, body cannot find date:\n",
                      "amRecvSyncServerTimeParse", line, body);
        return -1;
    }
    // The clock service takes the text as it follows the key, leading blank included.
    tmSyncSipDate(date + std::strlen("Date:"));
    return 0;
}
