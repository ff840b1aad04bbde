// What the phone shows, built from the module's events as the phone's applications would.
#ifndef OSTRA_AMREPLAY_STATE_H
#define OSTRA_AMREPLAY_STATE_H

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "decode.h"

namespace amreplay {

class PhoneState {
public:
    void key(int line, const std::string &number);   // a BLF key configured by the scenario
    void apply(const std::string &event, const Json &record);
    void visualPark(const Json &list) { visualPark_ = list; }
    void delivered() { ++delivered_; }
    Json json() const;
    std::string text() const;

private:
    using LineNumber = std::pair<int, std::string>;
    std::map<LineNumber, Json> blf_;                     // keys without a report hold null
    std::map<int, std::vector<Json>> lists_;             // BLF list members per line
    std::map<int, bool> listComplete_;
    std::map<LineNumber, Json> presence_;
    std::map<int, Json> mwi_;
    std::map<std::pair<int, int>, int> sca_;
    std::map<std::pair<int, int>, Json> seized_;
    std::map<int, int> callPark_;
    Json visualPark_ = Json::array();
    std::map<int, Json> hotel_;
    std::map<std::pair<int, int>, Json> features_;       // (line, feature code)
    std::map<int, Json> sent_;                           // message id -> last send status
    std::map<std::string, Json> paging_;                 // host:port -> active page
    int delivered_ = 0;
};

// Names of the module's state values, for people.
std::string blfStatusText(int status);
const char *presenceText(int state);
const char *scaText(int state);
const char *featureText(int feature);
const char *agentText(int state);

}  // namespace amreplay

#endif
