// Text as it stands in a page, and bytes as text.
#ifndef ZEL_FRAMES_REPORT_MARKUP_H
#define ZEL_FRAMES_REPORT_MARKUP_H

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

namespace frames {

/// Any bytes as text of a page, between tags or in a quoted attribute. What is no UTF-8, and control characters, become
/// U+FFFD.
std::string escaped(std::string_view text);

/// The value as text for a <script> that holds data: no text in it can end the element. What is no UTF-8 becomes
/// U+FFFD.
std::string script_json(const nlohmann::ordered_json &value);

/// Base64 with padding, in one line.
std::string base64(std::span<const std::uint8_t> bytes);

/// `hex`, pairs of lower-case digits, as the bytes that they say.
std::string bytes_of_hex(std::string_view hex);

}  // namespace frames

#endif
