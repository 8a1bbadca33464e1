// Values as JSON text. Text and no tree of values: the log is written while memory is exhausted too.
#ifndef ZEL_CAMERA_JSON_TEXT_H
#define ZEL_CAMERA_JSON_TEXT_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "settings/values.h"
#include "zel/zel.h"

namespace camera {

/// A value in a log line. Texts must stay until the line is written.
using LogValue = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string_view, zel_pair32u,
                              zel_quad32u, const Values *, std::span<const std::string_view>>;

/// Appends `value` to `text`. Bytes that are no UTF-8 become replacement characters, numbers that JSON has not null.
void append_json(std::string &text, const LogValue &value);

/// Appends a member of an object: "NAME":VALUE, with a comma before it unless it is the first.
void append_member(std::string &text, std::string_view name, const LogValue &value);

/// The same without the value, which the caller appends.
void append_name(std::string &text, std::string_view name);

}  // namespace camera

#endif
