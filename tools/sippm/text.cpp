#include "text.h"

#include <strings.h>

#include <cctype>
#include <cstring>

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

// Whether [begin, end) holds `name` with blanks around it, ignoring case; no copies, as
// this runs for every header of every message.
bool nameIs(const std::string &data, std::size_t begin, std::size_t end, const char *name) {
    while (begin < end && (data[begin] == ' ' || data[begin] == '\t')) ++begin;
    while (end > begin && (data[end - 1] == ' ' || data[end - 1] == '\t')) --end;
    std::size_t length = std::strlen(name);
    return end - begin == length && strncasecmp(data.data() + begin, name, length) == 0;
}

// The value span of the first header of that name in the header block [0, end).
bool findHeader(const std::string &data, std::size_t end, const char *longName, const char *compact,
                std::size_t &valueBegin, std::size_t &valueEnd) {
    std::size_t line = data.find('\n');   // past the start line
    line = line == std::string::npos ? end : line + 1;
    while (line < end) {
        std::size_t nl = data.find('\n', line);
        if (nl == std::string::npos || nl > end) nl = end;
        const void *colonAt = std::memchr(data.data() + line, ':', nl - line);
        if (colonAt != nullptr) {
            std::size_t colon = static_cast<std::size_t>(static_cast<const char *>(colonAt) - data.data());
            if (nameIs(data, line, colon, longName) || nameIs(data, line, colon, compact)) {
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

namespace {

// The value of a header of that name anywhere in the block (no start line).
std::string partHeader(const std::string &block, const char *longName, const char *compact) {
    std::size_t line = 0;
    while (line < block.size()) {
        std::size_t nl = block.find('\n', line);
        if (nl == std::string::npos) nl = block.size();
        std::size_t colon = block.find(':', line);
        if (colon != std::string::npos && colon < nl) {
            std::string name = trim(block.substr(line, colon - line));
            if (strcasecmp(name.c_str(), longName) == 0 || strcasecmp(name.c_str(), compact) == 0)
                return trim(block.substr(colon + 1, nl - colon - 1));
        }
        line = nl + 1;
    }
    return "";
}

// The next delimiter line at or after `from`: at the start or after a line end.
std::size_t findDelimiter(const std::string &body, const std::string &delimiter, std::size_t from) {
    for (std::size_t at = body.find(delimiter, from); at != std::string::npos; at = body.find(delimiter, at + 1)) {
        if (at == 0 || body[at - 1] == '\n') return at;
    }
    return std::string::npos;
}

}  // namespace

bool splitMultipart(const std::string &body, const std::string &boundary, std::vector<MimePart> &parts) {
    parts.clear();
    if (boundary.empty()) return false;
    const std::string delimiter = "--" + boundary;
    std::size_t at = findDelimiter(body, delimiter, 0);
    if (at == std::string::npos) return false;
    while (at != std::string::npos) {
        std::size_t pos = at + delimiter.size();
        if (body.compare(pos, 2, "--") == 0) break;   // the close delimiter
        std::size_t eol = body.find('\n', pos);
        if (eol == std::string::npos) break;
        std::size_t start = eol + 1;
        std::size_t next = findDelimiter(body, delimiter, start);
        std::size_t end = next == std::string::npos ? body.size() : next;
        // The line end before a delimiter belongs to the delimiter.
        if (next != std::string::npos && end > start && body[end - 1] == '\n') --end;
        if (next != std::string::npos && end > start && body[end - 1] == '\r') --end;
        std::string part = body.substr(start, end - start);
        MimePart mp;
        std::size_t he;
        if (part.compare(0, 2, "\r\n") == 0) he = 2;
        else if (part.compare(0, 1, "\n") == 0) he = 1;
        else he = headerEnd(part);
        std::string headers = he == std::string::npos ? part : part.substr(0, he);
        mp.contentType = bareContentType(partHeader(headers, "Content-Type", "c"));
        if (he != std::string::npos && he < part.size()) mp.body = part.substr(he);
        parts.push_back(std::move(mp));
        at = next;
    }
    return true;
}

bool fixBodyLength(const std::string &message, std::string &fixed, std::string &warning) {
    warning.clear();
    std::size_t end = headerEnd(message);
    std::size_t vb = 0, ve = 0;
    if (end != std::string::npos && findContentLength(message, end, vb, ve)) {
        std::size_t body = message.size() - end;
        std::size_t given = 0;
        bool digits = ve > vb;
        std::size_t i = vb;
        while (i < ve && (message[i] == ' ' || message[i] == '\t')) ++i;
        std::size_t j = ve;
        while (j > i && (message[j - 1] == ' ' || message[j - 1] == '\t')) --j;
        digits = j > i && j - i <= 9;
        for (std::size_t k = i; digits && k < j; ++k) {
            if (!std::isdigit(static_cast<unsigned char>(message[k]))) digits = false;
            else given = given * 10 + static_cast<std::size_t>(message[k] - '0');
        }
        if (digits && given == body) return false;   // the common case: nothing to copy
    }
    fixed = trustBodyBytes(message, warning);
    return true;
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
