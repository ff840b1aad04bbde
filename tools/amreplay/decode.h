// Module event records decoded by their layouts in platform/am.h.
#ifndef OSTRA_AMREPLAY_DECODE_H
#define OSTRA_AMREPLAY_DECODE_H

#include <nlohmann/json.hpp>

#include <string>

namespace amreplay {

using Json = nlohmann::ordered_json;

// The record as an object with the field names of its struct: integers as numbers, texts as
// strings, pointer texts as strings or null, nested records as objects. Read during the
// raise (pointer texts live no longer). An event without a known layout gives its bytes in
// hex under "bytes"; a size that differs from the layout's adds "sizeError".
Json decodeRecord(const char *name, const void *data, int size);

// One line: the fields that say something (empty texts left out).
std::string recordText(const Json &record);

}  // namespace amreplay

#endif
