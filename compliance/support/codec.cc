// Asking for a codec.
#include "compliance/support/codec.h"

#include <optional>

#include "common/owned.h"
#include "compliance/common/finding.h"

namespace compliance {

Request request_for(const CodecRow &row) {
  const std::optional<guint32> asked = asked_number("format");
  if (asked && *asked != row.format) throw Skip("--set asks for the format " + std::to_string(*asked));
  const EnumClassPtr known = enum_class(zel().format_get_type());
  if (known == nullptr || g_enum_get_value(known.get(), static_cast<gint>(row.format)) == nullptr) {
    throw Skip("the library has no format " + std::to_string(row.format));
  }
  Request request;
  request.set("format", row.format).set("buffer.access", guint32{1});
  if (row.codec != formats::Codec::kJpeg) request.set("gop_length", guint32{4});
  return request;
}

std::string which_frame(const CodecRow &row, int index) {
  return "frame " + std::to_string(index) + " of " + row.name;
}

}  // namespace compliance
