// JSON's notation.
#include "log/json_text.h"

#include <glib.h>

#include <array>
#include <charconv>
#include <cmath>

namespace camera {
namespace {

void append_letter(std::string &text, char letter) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  constexpr std::string_view kLetters = "\"\\\b\f\n\r\t";
  constexpr std::string_view kEscapes = "\"\\bfnrt";
  const auto code = static_cast<unsigned char>(letter);
  if (const std::size_t known = kLetters.find(letter); known != std::string_view::npos) {
    text += '\\';
    text += kEscapes[known];
  } else if (code < 0x20) {
    text += "\\u00";
    text += kDigits[code >> 4U];
    text += kDigits[code & 0xFU];
  } else {
    text += letter;
  }
}

void append_string(std::string &text, std::string_view value) {
  constexpr std::string_view kReplacement = "\xEF\xBF\xBD";
  text += '"';
  while (!value.empty()) {
    const gchar *end = nullptr;
    (void)g_utf8_validate_len(value.data(), value.size(), &end);
    const auto valid = static_cast<std::size_t>(end - value.data());
    for (const char letter : value.substr(0, valid))
      append_letter(text, letter);
    value.remove_prefix(valid);
    if (value.empty()) break;
    if (value.front() == '\0') {
      append_letter(text, '\0');  // which GLib does not take for a letter
    } else {
      text += kReplacement;
    }
    value.remove_prefix(1);
  }
  text += '"';
}

template <typename... Format>
void append_digits(std::string &text, auto number, Format... format) {
  std::array<char, 64> digits{};
  text.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number, format...).ptr);
}

/// The fewest digits that give back the same number, with a point or an exponent in it.
void append_double(std::string &text, double number) {
  if (!std::isfinite(number)) {
    text += "null";
    return;
  }
  const double magnitude = std::abs(number);
  if (number != 0 && (magnitude < 1e-5 || magnitude >= 1e15)) {
    append_digits(text, number, std::chars_format::scientific);
    return;
  }
  const std::size_t begin = text.size();
  append_digits(text, number, std::chars_format::fixed);
  if (text.find('.', begin) == std::string::npos) text += ".0";
}

/// Appends each of `values` in brackets.
template <typename Range>
void append_list(std::string &text, const Range &values) {
  text += '[';
  bool first = true;
  for (const auto &value : values) {
    if (!first) text += ',';
    first = false;
    append_json(text, value);
  }
  text += ']';
}

struct Append {
  std::string &text;

  void operator()(std::nullptr_t) const { text += "null"; }
  void operator()(bool truth) const { text += truth ? "true" : "false"; }
  void operator()(std::uint32_t number) const { append_digits(text, number); }
  void operator()(std::int64_t number) const { append_digits(text, number); }
  void operator()(std::uint64_t number) const { append_digits(text, number); }
  void operator()(double number) const { append_double(text, number); }
  void operator()(std::string_view value) const { append_string(text, value); }
  void operator()(const zel_pair32u &pair) const {
    append_list(text, std::array<std::uint64_t, 2>{pair.first, pair.second});
  }
  void operator()(const zel_quad32u &quad) const {
    append_list(text, std::array<std::uint64_t, 4>{quad.first, quad.second, quad.third, quad.fourth});
  }
  void operator()(std::span<const std::string_view> texts) const { append_list(text, texts); }
  void operator()(const Values *values) const {
    text += '{';
    for (const auto &[key, value] : *values) {
      append_name(text, key);
      std::visit(*this, value);
    }
    text += '}';
  }
};

}  // namespace

void append_json(std::string &text, const LogValue &value) {
  std::visit(Append{text}, value);
}

void append_name(std::string &text, std::string_view name) {
  if (!text.empty() && text.back() != '{') text += ',';
  append_string(text, name);
  text += ':';
}

void append_member(std::string &text, std::string_view name, const LogValue &value) {
  append_name(text, name);
  append_json(text, value);
}

}  // namespace camera
