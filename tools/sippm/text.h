// Text helpers of the protocol manager, shared with the tools' readers.
#ifndef OSTRA_SIPPM_TEXT_H
#define OSTRA_SIPPM_TEXT_H

#include <cstddef>
#include <string>

namespace sippm {

std::string trim(const std::string &text);

// The message with its Content-Length made to agree with the body's bytes (added when
// missing); `warning` says what was changed when the header disagreed.
std::string trustBodyBytes(const std::string &message, std::string &warning);

// Where the header block ends (the offset of the body), or npos when it has not ended.
std::size_t headerEnd(const std::string &data, std::size_t from = 0);

}  // namespace sippm

#endif
