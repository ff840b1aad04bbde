#include "handlers.h"

#include <sstream>

#include "platform/am.h"

namespace coretest {

int gVisualParkListInitResult = 0;

std::vector<std::string> &handlerCalls() {
    static std::vector<std::string> calls;
    return calls;
}

}  // namespace coretest

namespace {

void put(std::ostringstream &out, const char *text) { out << (text != nullptr ? text : "null"); }
void put(std::ostringstream &out, int value) { out << value; }

template <typename... Args>
void record(const char *name, Args... args) {
    std::ostringstream out;
    out << name << "(";
    const char *separator = "";
    ((out << separator, put(out, args), separator = ","), ...);
    (void)separator;  // calls without arguments
    out << ")";
    coretest::handlerCalls().push_back(out.str());
}

}  // namespace

extern "C" {
int amRecvDialogInfoParse(int l, const char *n, const char *c, const char *s, const char *b) {
    return record("dialogInfo", l, n, c, s, b), 0;
}
int amDialogRecvSubscribeResult(int l, const char *n, int r) { return record("dialogSubscribed", l, n, r), 0; }
int amDialogRecvUnsubscribeResult(int l, const char *n, int r) { return record("dialogUnsubscribed", l, n, r), 0; }
void amRecvPresenceParse(int l, const char *n, const char *c, const char *b) { record("presence", l, n, c, b); }
int amPresenceRecvSubscribeResult(int l, const char *n, int s) { return record("presenceSubscribed", l, n, s), 0; }
int amPresenceRecvUnsubscribeResult(int l, const char *n, int s) {
    return record("presenceUnsubscribed", l, n, s), 0;
}
int amRecvMwiParse(int l, const char *c, const char *b, const char *n, int f) { return record("mwi", l, c, b, n, f), 0; }
int amRecvMwiSubscribeFailed(int l, const char *n, int f) { return record("mwiFailed", l, n, f), 0; }
void amRecvScaParse(int l, const char *b) { record("sca", l, b); }
int amRecvLineSeizeParse(int l, int r, const char *b) { return record("lineSeize", l, r, b), 0; }
int amRecvCallParkParse(int l, const char *n, const char *c, const char *s, const char *b) {
    return record("callPark", l, n, c, s, b), 0;
}
int amRecvHotelParse(int l, const char *c, const char *b) { return record("hotel", l, c, b), 0; }
int amRecvHotelSubscribeResult(int l, int r) { return record("hotelSubscribed", l, r), 0; }
int amRecvFeatureSyncProcess(int l, const char *c, const char *b) { return record("featureSync", l, c, b), 0; }
int amRecvDndStatusSyncProcess(int l, const char *b) { return record("dndStatus", l, b), 0; }
int amVisualParkParse(int l, const char *b) { return record("visualPark", l, b), 0; }
void amVisualParkLockInit(void) { record("parkLockInit"); }
int amVisualParkInfoListInit(void) { return record("parkListInit"), coretest::gVisualParkListInitResult; }
void amVisualParkInfoListUnInit(void) { record("parkListUnInit"); }
void amVisualParkLockUninit(void) { record("parkLockUninit"); }
}
