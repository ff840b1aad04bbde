// Text helpers of the protocol manager, shared with the tools' readers.
#ifndef OSTRA_SIPPM_TEXT_H
#define OSTRA_SIPPM_TEXT_H

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace sippm {

std::string trim(const std::string &text);

// The message with its Content-Length made to agree with the body's bytes (added when
// missing); `warning` says what was changed when the header disagreed.
std::string trustBodyBytes(const std::string &message, std::string &warning);
// The same, writing `fixed` only when something had to change (false: use the message).
bool fixBodyLength(const std::string &message, std::string &fixed, std::string &warning);

// The value of the first header of that name (long or compact form) in the message's
// header block, as written.
std::optional<std::string> rawHeader(const std::string &message, const char *name, const char *compact);

// One part of a multipart body: its content type as written (empty when it has none) and
// its body (absent when empty).
struct MimePart {
    std::string contentType;
    std::optional<std::string> body;
};
// Splits a multipart body at its boundary; false when no delimiter line is found. An
// unterminated last part runs to the end.
bool splitMultipart(const std::string &body, const std::string &boundary, std::vector<MimePart> &parts);

// Where the header block ends (the offset of the body), or npos when it has not ended.
std::size_t headerEnd(const std::string &data, std::size_t from = 0);

}  // namespace sippm

#endif
