#include "text.h"

#include <strings.h>

#include <cctype>

#include "sippm.h"

namespace sippm {

std::string trim(const std::string &text) {
    std::size_t begin = 0, end = text.size();
    while (begin < end && std::isspace(static_cast<unsigned char>(text[begin]))) ++begin;
    while (end > begin && std::isspace(static_cast<unsigned char>(text[end - 1]))) --end;
    return text.substr(begin, end - begin);
}

std::string bareContentType(const std::string &value) {
    return trim(value.substr(0, value.find(';')));
}

std::size_t headerEnd(const std::string &data, std::size_t from) {
    // Lines may end in CRLF or LF alone; the first empty line ends the headers.
    std::size_t pos = from;
    while (pos < data.size()) {
        std::size_t nl = data.find('\n', pos);
        if (nl == std::string::npos) return std::string::npos;
        std::size_t next = nl + 1;
        if (next < data.size() && data[next] == '\n') return next + 1;
        if (next + 1 < data.size() && data[next] == '\r' && data[next + 1] == '\n') return next + 2;
        pos = next;
    }
    return std::string::npos;
}

namespace {

// The value span of the first header of that name in the header block [0, end).
bool findHeader(const std::string &data, std::size_t end, const char *longName, const char *compact,
                std::size_t &valueBegin, std::size_t &valueEnd) {
    std::size_t line = data.find('\n');   // past the start line
    line = line == std::string::npos ? end : line + 1;
    while (line < end) {
        std::size_t nl = data.find('\n', line);
        if (nl == std::string::npos || nl > end) nl = end;
        std::size_t colon = data.find(':', line);
        if (colon != std::string::npos && colon < nl) {
            std::string name = trim(data.substr(line, colon - line));
            if (strcasecmp(name.c_str(), longName) == 0 || strcasecmp(name.c_str(), compact) == 0) {
                valueBegin = colon + 1;
                valueEnd = nl > valueBegin && data[nl - 1] == '\r' ? nl - 1 : nl;
                return true;
            }
        }
        line = nl + 1;
    }
    return false;
}

bool findContentLength(const std::string &data, std::size_t end, std::size_t &valueBegin, std::size_t &valueEnd) {
    return findHeader(data, end, "Content-Length", "l", valueBegin, valueEnd);
}

}  // namespace

std::optional<std::string> rawHeader(const std::string &message, const char *name, const char *compact) {
    std::size_t end = headerEnd(message);
    std::size_t vb = 0, ve = 0;
    if (!findHeader(message, end == std::string::npos ? message.size() : end, name, compact, vb, ve))
        return std::nullopt;
    return trim(message.substr(vb, ve - vb));
}

std::string trustBodyBytes(const std::string &message, std::string &warning) {
    warning.clear();
    std::size_t end = headerEnd(message);
    std::string text = message;
    if (end == std::string::npos) {
        // Headers only, without the closing empty line.
        bool crlf = text.find("\r\n") != std::string::npos;
        if (!text.empty() && text.back() != '\n') text += crlf ? "\r\n" : "\n";
        text += crlf ? "\r\n" : "\n";
        end = text.size();
    }
    std::size_t body = text.size() - end;
    std::size_t vb = 0, ve = 0;
    if (!findContentLength(text, end, vb, ve)) {
        std::size_t blank = text[end - 2] == '\r' ? end - 2 : end - 1;
        std::string eol = text[end - 2] == '\r' ? "\r\n" : "\n";
        text.insert(blank, "Content-Length: " + std::to_string(body) + eol);
        return text;
    }
    std::string given = trim(text.substr(vb, ve - vb));
    if (given != std::to_string(body)) {
        warning = "Content-Length " + (given.empty() ? std::string("(empty)") : given) + " but the body has " +
                  std::to_string(body) + " bytes: the bytes are trusted";
        text.replace(vb, ve - vb, " " + std::to_string(body));
    }
    return text;
}

}  // namespace sippm
