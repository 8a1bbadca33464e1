// A recorded call as a line of text, as a programmer would write it.
#ifndef ZEL_FORMATS_RECORDING_TEXT_H
#define ZEL_FORMATS_RECORDING_TEXT_H

#include <span>
#include <string>

#include "formats/recording_reader.h"

namespace formats {

/// "zel_map_set_uint32(map 1, "bitrate", 16)".
std::string call_text(const RecordedCall &call, std::span<const RecordedValue> arguments);

/// The result: "buffer 3", "13", "234 bytes"; "" for a call that returns nothing.
std::string result_text(const RecordingItem &call);

/// A text in quotes, with what cannot be printed as escapes, cut behind `most` bytes.
std::string quoted(std::string_view text, std::size_t most);

}  // namespace formats

#endif
