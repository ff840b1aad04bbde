#include "state.h"

#include "platform/am.h"

namespace amreplay {

namespace {

int intOf(const Json &record, const char *field, int fallback = 0) {
    auto it = record.find(field);
    return it != record.end() && it->is_number_integer() ? it->get<int>() : fallback;
}

std::string textOf(const Json &record, const char *field) {
    auto it = record.find(field);
    return it != record.end() && it->is_string() ? it->get<std::string>() : std::string();
}

// The records of a map, in key order.
template <typename Map>
Json values(const Map &map) {
    Json out = Json::array();
    for (const auto &entry : map) out.push_back(entry.second);
    return out;
}

}  // namespace

std::string blfStatusText(int status) {
    static const std::pair<int, const char *> names[] = {
        {AM_BLF_STATE_IDLE, "idle"},       {AM_BLF_STATE_ONGOING, "ongoing"},   {AM_BLF_STATE_SUCCESS, "success"},
        {AM_BLF_STATE_FAILED, "failed"},   {AM_BLF_STATE_TALKING, "talking"},   {AM_BLF_STATE_HOLDING, "holding"},
        {AM_BLF_STATE_PARKED, "parked"},   {AM_BLF_STATE_RINGING, "ringing"},   {AM_BLF_STATE_RESET, "reset"},
        {AM_BLF_STATE_DIALING, "dialing"}, {AM_BLF_STATE_DND, "dnd"},           {AM_BLF_STATE_AWAY, "away"},
        {AM_BLF_STATE_ONLY_SIP, "only-sip"}, {AM_BLF_STATE_OFFLINE, "offline"},
    };
    std::string out;
    if (status & AM_BLF_LIST_CLEAR) out += "list-clear ";
    if (status & AM_BLF_LIST_FINISH) out += "list-finish ";
    for (const auto &n : names) {
        if (status & (1 << n.first)) out += std::string(n.second) + " ";
    }
    if (out.empty()) return status == 0 ? "none" : "bits " + std::to_string(status);
    out.pop_back();
    return out;
}

const char *presenceText(int state) {
    switch (state) {
    case AM_PRESENCE_STATE_SEND_FAILED: return "send failed";
    case AM_PRESENCE_STATE_OFFLINE: return "offline";
    case AM_PRESENCE_STATE_READY: return "ready";
    case AM_PRESENCE_STATE_TALKING: return "talking";
    case AM_PRESENCE_STATE_RINGING: return "ringing";
    case AM_PRESENCE_STATE_FAILED: return "failed";
    case AM_PRESENCE_STATE_ONGOING: return "ongoing";
    case AM_PRESENCE_STATE_ALERTING: return "alerting";
    default: return "unknown";
    }
}

const char *scaText(int state) {
    static const char *names[] = {"idle", "seized", "progressing", "alerting", "active",
                                  "held", "held-private", "bridge-active", "bridge-held"};
    return state >= 0 && state <= 8 ? names[state] : "unknown";
}

const char *featureText(int feature) {
    static const char *names[] = {"dnd", "forward-always", "forward-no-answer", "forward-busy",
                                  "agent-state", "dnd-status", "finish", "away"};
    return feature >= 0 && feature <= 7 ? names[feature] : "unknown";
}

const char *agentText(int state) {
    static const char *names[] = {"logged-on", "logged-off", "not-ready", "ready", "working-after-call"};
    return state >= 0 && state <= 4 ? names[state] : "unknown";
}

void PhoneState::key(int line, const std::string &number) { blf_.emplace(LineNumber{line, number}, nullptr); }

void PhoneState::apply(const std::string &event, const Json &r) {
    int line = intOf(r, "line");
    if (event == AM_BLF_EVENT_NAME) {
        blf_[{line, textOf(r, "number")}] = r;
    } else if (event == AM_BLF_LIST_EVENT_NAME) {
        int status = intOf(r, "status");
        if (status & AM_BLF_LIST_CLEAR) {
            lists_[line].clear();
            listComplete_[line] = false;
            return;
        }
        if (status & AM_BLF_LIST_FINISH) {
            listComplete_[line] = true;
            return;
        }
        std::vector<Json> &members = lists_[line];
        std::string number = textOf(r, "number");
        for (Json &m : members) {
            if (textOf(m, "number") == number) {
                // A dialog update keeps the member's name from the list document.
                Json merged = r;
                if (textOf(r, "name").empty()) merged["name"] = m["name"];
                m = merged;
                return;
            }
        }
        members.push_back(r);
    } else if (event == AM_PRESENCE_EVENT_NAME) {
        presence_[{line, textOf(r, "number")}] = r;
    } else if (event == AM_MWI_EVENT_NAME) {
        mwi_[line] = r;
    } else if (event == AM_SCA_EVENT_NAME) {
        int index = intOf(r, "index");
        if (index == 0) {
            for (auto &entry : sca_) {
                if (entry.first.first == line) entry.second = intOf(r, "state");
            }
        } else {
            sca_[{line, index}] = intOf(r, "state");
        }
    } else if (event == AM_LINE_SEIZE_EVENT_NAME) {
        std::pair<int, int> k{line, intOf(r, "index")};
        if (intOf(r, "result") == AM_LINE_SEIZE_RESULT_FAILED) seized_.erase(k);
        else seized_[k] = r;
    } else if (event == AM_CALL_PARK_EVENT_NAME) {
        callPark_[line] = intOf(r, "status");
    } else if (event == AM_HOTEL_EVENT_NAME) {
        hotel_[line] = r;
    } else if (event == AM_FEATURE_SYNC_INFORM) {
        int feature = intOf(r, "feature");
        if (feature != AM_FEATURE_FINISH) features_[{line, feature}] = r;
    } else if (event == AM_SMS_SEND_EVENT_NAME) {
        sent_[intOf(r, "id")] = r;
    } else if (event == AM_DYNAMIC_MCAST_EVENT_NAME) {
        std::string where = textOf(r, "host") + ":" + std::to_string(intOf(r, "port"));
        if (intOf(r, "action") == AM_MCAST_ACTION_END) paging_.erase(where);
        else paging_[where] = r;
    }
}

Json PhoneState::json() const {
    Json out = Json::object();
    Json keys = Json::array();
    for (const auto &k : blf_) {
        keys.push_back(Json{{"line", k.first.first}, {"number", k.first.second}, {"record", k.second}});
    }
    out["blf"] = keys;
    Json lists = Json::array();
    for (const auto &l : lists_) {
        auto complete = listComplete_.find(l.first);
        lists.push_back(Json{{"line", l.first},
                             {"complete", complete != listComplete_.end() && complete->second},
                             {"members", l.second}});
    }
    out["blfLists"] = lists;
    out["presence"] = values(presence_);
    out["mwi"] = values(mwi_);
    Json sca = Json::array();
    for (const auto &s : sca_) sca.push_back(Json{{"line", s.first.first}, {"index", s.first.second}, {"state", s.second}});
    out["sca"] = sca;
    out["lineSeize"] = values(seized_);
    Json park = Json::array();
    for (const auto &p : callPark_) park.push_back(Json{{"line", p.first}, {"status", p.second}});
    out["callPark"] = park;
    out["visualPark"] = visualPark_;
    out["hotel"] = values(hotel_);
    out["features"] = values(features_);
    out["messagesSent"] = values(sent_);
    out["paging"] = values(paging_);
    out["messagesDelivered"] = delivered_;
    return out;
}

std::string PhoneState::text() const {
    std::string out = "what the phone shows:\n";
    auto section = [&](const std::string &title, const std::vector<std::string> &lines) {
        if (lines.empty()) return;
        out += "  " + title + "\n";
        for (const std::string &l : lines) out += "    " + l + "\n";
    };
    std::vector<std::string> lines;
    for (const auto &k : blf_) {
        std::string l = "line " + std::to_string(k.first.first) + " " + k.first.second + ": ";
        if (k.second.is_null()) l += "no BLF report";
        else {
            l += blfStatusText(intOf(k.second, "status"));
            std::string remote = textOf(k.second, "remote");
            if (!remote.empty()) l += " with " + remote;
        }
        lines.push_back(l);
    }
    section("BLF keys", lines);
    lines.clear();
    for (const auto &l : lists_) {
        auto complete = listComplete_.find(l.first);
        lines.push_back("line " + std::to_string(l.first) + ": " + std::to_string(l.second.size()) + " member(s)" +
                        (complete != listComplete_.end() && complete->second ? "" : " (list not finished)"));
        for (const Json &m : l.second) {
            std::string t = "  " + textOf(m, "number") + " \"" + textOf(m, "name") + "\": " +
                            blfStatusText(intOf(m, "status"));
            auto parked = m.find("parked");
            if (parked != m.end() && parked->is_object() && !textOf(*parked, "number").empty())
                t += " parked " + textOf(*parked, "number");
            lines.push_back(t);
        }
    }
    section("BLF lists", lines);
    lines.clear();
    for (const auto &p : presence_) {
        lines.push_back("line " + std::to_string(p.first.first) + " " + p.first.second + ": " +
                        presenceText(intOf(p.second, "state")));
    }
    section("presence", lines);
    lines.clear();
    for (const auto &m : mwi_) {
        int waiting = intOf(m.second, "waiting");
        lines.push_back("line " + std::to_string(m.first) + ": " +
                        (waiting < 0 ? std::string("subscription failed")
                                     : std::to_string(intOf(m.second, "newCount")) + " new, " +
                                           std::to_string(intOf(m.second, "oldCount")) + " old" +
                                           (waiting ? ", waiting" : "")) +
                        (textOf(m.second, "account").empty() ? "" : " (" + textOf(m.second, "account") + ")"));
    }
    section("message waiting", lines);
    lines.clear();
    for (const auto &s : sca_) {
        lines.push_back("line " + std::to_string(s.first.first) + " appearance " + std::to_string(s.first.second) +
                        ": " + scaText(s.second));
    }
    section("shared appearances", lines);
    lines.clear();
    for (const auto &s : seized_) {
        lines.push_back("line " + std::to_string(s.first.first) + " appearance " + std::to_string(s.first.second) +
                        ": channel " + std::to_string(intOf(s.second, "channel")) +
                        (intOf(s.second, "result") == AM_LINE_SEIZE_RESULT_ACTIVE ? ", active" : ", accepted"));
    }
    section("seized lines", lines);
    lines.clear();
    for (const auto &p : callPark_) {
        lines.push_back("line " + std::to_string(p.first) + ": " +
                        (p.second == AM_CALL_PARK_STATUS_PARKED ? "call parked"
                         : p.second == AM_CALL_PARK_STATUS_TERMINATED ? "terminated" : "none"));
    }
    section("call park", lines);
    lines.clear();
    for (const Json &v : visualPark_) {
        lines.push_back(textOf(v, "retrieveNumber") + ": " + textOf(v, "parkedDisplay") + " " + textOf(v, "parkedUri") +
                        " parked by " + textOf(v, "parkerDisplay") + " " + textOf(v, "parkerUri") + " (line " +
                        std::to_string(intOf(v, "line")) + ", state " + std::to_string(intOf(v, "state")) + ")");
    }
    section("visual park list", lines);
    lines.clear();
    for (const auto &h : hotel_) {
        int status = intOf(h.second, "status");
        lines.push_back("line " + std::to_string(h.first) + ": " +
                        (status == AM_HOTEL_STATUS_GUEST ? "guest " + textOf(h.second, "guestNumber")
                         : status == AM_HOTEL_STATUS_SUBSCRIBED ? std::string("subscribed")
                                                                : std::string("signed out")));
    }
    section("hoteling", lines);
    lines.clear();
    for (const auto &f : features_) {
        int value = intOf(f.second, "value");
        std::string l = "line " + std::to_string(f.first.first) + " " + featureText(f.first.second) + ": ";
        if (f.first.second == AM_FEATURE_AGENT_STATE) {
            l += agentText(value);
            if (!textOf(f.second, "reason").empty()) l += " (" + textOf(f.second, "reason") + ")";
        } else {
            l += value ? "on" : "off";
            if (!textOf(f.second, "forwardTo").empty()) l += " to " + textOf(f.second, "forwardTo");
        }
        lines.push_back(l);
    }
    section("DND, forwarding and agent state", lines);
    lines.clear();
    for (const auto &s : sent_) {
        lines.push_back("id " + std::to_string(s.first) + " to " + textOf(s.second, "number") + ": " +
                        (intOf(s.second, "status") == AM_SMS_STATUS_SENT ? "sent" : "failed"));
    }
    section("messages sent", lines);
    lines.clear();
    for (const auto &p : paging_) {
        std::string codec = textOf(p.second, "codecName");
        lines.push_back(p.first + " priority " + std::to_string(intOf(p.second, "priority")) +
                        (codec.empty() ? "" : " " + codec));
    }
    section("paging", lines);
    if (delivered_ > 0) out += "  messages delivered to receivers: " + std::to_string(delivered_) + "\n";
    if (out.find('\n') == out.size() - 1) out += "  nothing reported\n";
    return out;
}

}  // namespace amreplay
