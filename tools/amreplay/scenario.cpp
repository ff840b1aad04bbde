#include "scenario.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <sstream>

namespace amreplay {

namespace {

std::vector<std::string> words(const std::string &line) {
    // Words split at blanks; a double-quoted word may hold blanks.
    std::vector<std::string> out;
    std::size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t' || line[i] == '\r')) ++i;
        if (i >= line.size()) break;
        std::string word;
        bool quoted = false;
        while (i < line.size() && (quoted || (line[i] != ' ' && line[i] != '\t' && line[i] != '\r'))) {
            if (line[i] == '"') quoted = !quoted;
            else word += line[i];
            ++i;
        }
        out.push_back(word);
    }
    return out;
}

bool number(const std::string &text, double &value) {
    if (text.empty()) return false;
    char *end = nullptr;
    value = std::strtod(text.c_str(), &end);
    return *end == '\0';
}

bool integer(const std::string &text, int &value) {
    if (text.empty()) return false;
    char *end = nullptr;
    long v = std::strtol(text.c_str(), &end, 10);
    if (*end != '\0' || v < -1000000000L || v > 1000000000L) return false;
    value = static_cast<int>(v);
    return true;
}

bool yesNo(const std::string &text, int &value) {
    if (text == "1" || text == "yes" || text == "on" || text == "true") value = 1;
    else if (text == "0" || text == "no" || text == "off" || text == "false") value = 0;
    else return false;
    return true;
}

struct Arity {
    std::size_t min, max;
    const char *usage;
};

const std::map<std::string, Arity> &verbs() {
    static const std::map<std::string, Arity> table = {
        {"blf", {2, 2, "blf LINE NUMBER"}},
        {"blf-cancel", {2, 2, "blf-cancel LINE NUMBER"}},
        {"presence", {2, 2, "presence LINE NUMBER"}},
        {"presence-cancel", {2, 2, "presence-cancel LINE NUMBER"}},
        {"seize", {3, 3, "seize LINE INDEX CHANNEL"}},
        {"seize-cancel", {2, 2, "seize-cancel LINE INDEX"}},
        {"hotel", {2, 2, "hotel LINE NUMBER"}},
        {"hotel-cancel", {1, 1, "hotel-cancel LINE"}},
        {"dnd", {3, 3, "dnd LINE NUMBER on|off"}},
        {"forward", {4, 6, "forward LINE NUMBER always|no-answer|busy on|off [DESTINATION [RING-SECONDS]]"}},
        {"agent", {3, 4, "agent LINE NUMBER logged-on|logged-off|not-ready|ready|working-after-call [REASON]"}},
        {"sms", {5, 5, "sms LINE NUMBER ID text|medical|push-xml|app-xml TEXT"}},
        {"advance", {1, 1, "advance SECONDS"}},
        {"register", {2, 2, "register LINE yes|no"}},
    };
    return table;
}

}  // namespace

std::string checkAction(const Action &action) {
    auto found = verbs().find(action.verb);
    if (found == verbs().end()) return "unknown action \"" + action.verb + "\"";
    const Arity &arity = found->second;
    if (action.args.size() < arity.min || action.args.size() > arity.max) return std::string("usage: ") + arity.usage;
    int v;
    double d;
    if (action.verb == "advance") return number(action.args[0], d) && d >= 0 ? "" : "advance takes seconds";
    if (!integer(action.args[0], v)) return "the line must be a number";
    if ((action.verb == "seize" || action.verb == "seize-cancel") && !integer(action.args[1], v))
        return "the appearance index must be a number";
    if (action.verb == "seize" && !integer(action.args[2], v)) return "the channel must be a number";
    if (action.verb == "sms" && !integer(action.args[2], v)) return "the message id must be a number";
    if ((action.verb == "dnd" && !yesNo(action.args[2], v)) || (action.verb == "register" && !yesNo(action.args[1], v)) ||
        (action.verb == "forward" && !yesNo(action.args[3], v)))
        return "expected on or off";
    return "";
}

bool parseScenario(const std::string &text, const std::string &name, Scenario &out, std::string &error) {
    std::istringstream in(text);
    std::string raw;
    int lineNo = 0;
    auto fail = [&](const std::string &why) {
        error = name + ":" + std::to_string(lineNo) + ": " + why;
        return false;
    };
    while (std::getline(in, raw)) {
        ++lineNo;
        std::size_t hash = raw.find('#');
        // A '#' inside quotes belongs to the text (an sms body may hold one).
        std::size_t quotes = hash == std::string::npos ? 0 : std::count(raw.begin(), raw.begin() + hash, '"');
        if (hash != std::string::npos && quotes % 2 == 0) raw.erase(hash);
        std::vector<std::string> w = words(raw);
        if (w.empty()) continue;
        if (w[0] == "line") {
            LineSetup setup;
            if (w.size() < 2 || !integer(w[1], setup.line.index) || setup.line.index < 0)
                return fail("usage: line N user=NUMBER server=HOST [display=TEXT] [registered=yes|no] "
                            "[multi-dialog=0|1] [sca=0|1] [expires=SECONDS]");
            for (std::size_t i = 2; i < w.size(); ++i) {
                std::size_t eq = w[i].find('=');
                if (eq == std::string::npos) return fail("expected KEY=VALUE, got \"" + w[i] + "\"");
                std::string key = w[i].substr(0, eq), value = w[i].substr(eq + 1);
                bool ok = true;
                if (key == "user") setup.line.user = value;
                else if (key == "server") setup.line.server = value;
                else if (key == "display") setup.line.display = value;
                else if (key == "registered") {
                    int v = 0;
                    ok = yesNo(value, v);
                    setup.registered = v != 0;
                } else if (key == "multi-dialog") ok = yesNo(value, setup.multiDialog);
                else if (key == "sca") ok = yesNo(value, setup.sca);
                else if (key == "expires") ok = integer(value, setup.expires);
                else return fail("unknown line setting \"" + key + "\"");
                if (!ok) return fail("unusable value for " + key + ": \"" + value + "\"");
            }
            out.lines.push_back(setup);
        } else if (w[0] == "config") {
            if (w.size() < 4 || w.size() > 5) return fail("usage: config MODULE GROUP ITEM [VALUE]");
            out.config.push_back({w[1], w[2], w[3], w.size() == 5 ? w[4] : ""});
        } else if (w[0] == "mac") {
            if (w.size() != 2 || w[1].size() != 12) return fail("usage: mac TWELVE-HEX-DIGITS");
            out.mac = w[1];
        } else if (w[0] == "at") {
            Action action;
            if (w.size() < 3 || !number(w[1], action.t) || action.t < 0) return fail("usage: at SECONDS ACTION ARGUMENTS");
            action.verb = w[2];
            action.args.assign(w.begin() + 3, w.end());
            action.where = name + ":" + std::to_string(lineNo);
            std::string why = checkAction(action);
            if (!why.empty()) return fail(why);
            out.actions.push_back(action);
        } else {
            return fail("unknown statement \"" + w[0] + "\"");
        }
    }
    std::stable_sort(out.actions.begin(), out.actions.end(),
                     [](const Action &a, const Action &b) { return a.t < b.t; });
    return true;
}

}  // namespace amreplay
