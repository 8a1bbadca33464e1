// Escaping for HTML, JSON in HTML, and base64.
#include "frames/report/markup.h"

#include <array>

namespace frames {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

/// The text with U+FFFD for what is no UTF-8.
std::string as_utf8(std::string_view text) {
  return Json::parse(Json(text).dump(-1, ' ', false, Json::error_handler_t::replace)).get<std::string>();
}

bool is_control(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return (byte < ' ' && character != '\n' && character != '\t') || byte == 0x7F;
}

}  // namespace

std::string escaped(std::string_view text) {
  std::string result;
  for (const char character : as_utf8(text)) {
    switch (character) {
      case '&':
        result += "&amp;";
        break;
      case '<':
        result += "&lt;";
        break;
      case '>':
        result += "&gt;";
        break;
      case '"':
        result += "&quot;";
        break;
      case '\'':
        result += "&#39;";
        break;
      default:
        if (is_control(character)) {
          result += kReplacement;
        } else {
          result += character;
        }
    }
  }
  return result;
}

std::string script_json(const Json &value) {
  std::string result;
  for (const char character : value.dump(-1, ' ', true, Json::error_handler_t::replace)) {
    if (character == '<') {
      result += "\\u003c";
    } else {
      result += character;
    }
  }
  return result;
}

std::string base64(std::span<const std::uint8_t> bytes) {
  constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    const std::size_t left = bytes.size() - i;
    const std::uint32_t group = std::uint32_t{bytes[i]} << 16U | (left > 1 ? std::uint32_t{bytes[i + 1]} << 8U : 0U) |
                                (left > 2 ? std::uint32_t{bytes[i + 2]} : 0U);
    const std::array<char, 4> digits = {kDigits[group >> 18U], kDigits[group >> 12U & 63U],
                                        left > 1 ? kDigits[group >> 6U & 63U] : '=',
                                        left > 2 ? kDigits[group & 63U] : '='};
    text.append(digits.data(), digits.size());
  }
  return text;
}

std::string bytes_of_hex(std::string_view hex) {
  const auto digit = [](char character) {
    return static_cast<unsigned>(character <= '9' ? character - '0' : character - 'a' + 10);
  };
  std::string bytes;
  for (std::size_t i = 0; i + 1 < hex.size(); i += 2)
    bytes += static_cast<char>(digit(hex[i]) << 4U | digit(hex[i + 1]));
  return bytes;
}

}  // namespace frames
