#include <strings.h>

#include <cstdlib>

#include "live.h"

namespace amlive {

namespace {

bool digits(const std::string &text) {
    return !text.empty() && text.find_first_not_of("0123456789") == std::string::npos && text.size() < 6;
}

}  // namespace

std::pair<int, std::string> lineAndRest(const std::string &arg) {
    std::size_t colon = arg.find(':');
    if (colon != std::string::npos && digits(arg.substr(0, colon)))
        return {std::atoi(arg.substr(0, colon).c_str()), arg.substr(colon + 1)};
    return {1, arg};
}

bool parseAccount(const std::string &arg, Account &account) {
    // The password may hold ':' and '@': the user ends at the second ':' and the server
    // begins after the last '@'.
    std::size_t at = arg.rfind('@');
    if (at == std::string::npos) return false;
    std::string who = arg.substr(0, at), where = arg.substr(at + 1);
    std::size_t c1 = who.find(':');
    std::size_t c2 = c1 == std::string::npos ? std::string::npos : who.find(':', c1 + 1);
    if (c2 == std::string::npos || !digits(who.substr(0, c1))) return false;
    account.line.index = std::atoi(who.substr(0, c1).c_str());
    account.line.user = who.substr(c1 + 1, c2 - c1 - 1);
    account.password = who.substr(c2 + 1);
    account.tcp = false;
    std::size_t semicolon = where.find(';');
    if (semicolon != std::string::npos) {
        std::string param = where.substr(semicolon + 1);
        where.resize(semicolon);
        if (strcasecmp(param.c_str(), "transport=tcp") == 0) account.tcp = true;
        else if (strcasecmp(param.c_str(), "transport=udp") != 0) return false;
    }
    account.proxy = where;
    account.line.server = where;
    return account.line.index > 0 && !account.line.user.empty() && !where.empty() &&
           where.find_first_of(" <>\"") == std::string::npos;
}

}  // namespace amlive
