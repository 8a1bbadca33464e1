// A recording's item as a line of JSON.
#ifndef ZEL_RECORDER_COMMANDS_ITEM_JSON_H
#define ZEL_RECORDER_COMMANDS_ITEM_JSON_H

#include <string>

#include "formats/recorded_value.h"

namespace recorder {

/// The item's fields. Bytes, which JSON has not, become their number and their hash: {"size":9,"xxh64":"..."}.
std::string json_line(const formats::RecordedValue &fields);

}  // namespace recorder

#endif
