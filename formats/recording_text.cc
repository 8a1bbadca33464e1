// Values by their letters.
#include "formats/recording_text.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>

namespace formats {
namespace {

constexpr std::size_t kLongest = 200;  ///< bytes of a text that are shown

std::string number_text(const RecordedValue &value) {
  if (const auto *negative = value.as<std::int64_t>()) return std::to_string(*negative);
  if (const auto *number = value.as<std::uint64_t>()) return std::to_string(*number);
  const auto *real = value.as<double>();
  if (real == nullptr) return "?";
  std::array<char, 32> digits{};
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), *real).ptr};
}

std::string any_text(const RecordedValue &value) {
  if (value.is_null()) return "NULL";
  if (const auto *text = value.as<std::string>()) return quoted(*text, kLongest);
  const auto *bytes = value.as<RecordedValue::Bytes>();
  return bytes == nullptr ? "?" : quoted({reinterpret_cast<const char *>(bytes->data()), bytes->size()}, kLongest);
}

std::string list_text(const RecordedValue &value, std::string (*one)(const RecordedValue &)) {
  std::string text;
  const auto *list = value.as<RecordedValue::List>();
  for (const RecordedValue &element : list != nullptr ? *list : RecordedValue::List{})
    text += (text.empty() ? "" : ", ") + one(element);
  return text;
}

std::string object_text(const char *kind, const RecordedValue &value) {
  return value.is_null() ? "NULL" : std::string(kind) + " " + number_text(value);
}

/// A number of so many bytes, little-endian.
std::uint64_t number_in(const RecordedValue::Bytes &bytes, std::size_t at, std::size_t length) {
  std::uint64_t number = 0;
  for (std::size_t i = length; i-- > 0;)
    number = number << 8U | bytes[at + i];
  return number;
}

/// A variant of a type that settings have; of another type its size.
std::string variant_text(const RecordedValue &value) {
  if (value.is_null()) return "NULL";
  const auto &list = *value.as<RecordedValue::List>();
  const std::string &type = *list[0].as<std::string>();
  const auto &bytes = *list[1].as<RecordedValue::Bytes>();
  if (type == "b" && bytes.size() == 1) return bytes[0] != 0 ? "true" : "false";
  if (type == "s" && !bytes.empty())
    return quoted({reinterpret_cast<const char *>(bytes.data()), bytes.size() - 1}, kLongest);
  if (type == "d" && bytes.size() == 8) {
    double real = 0;
    std::memcpy(&real, bytes.data(), sizeof real);
    return number_text({real});
  }
  const bool is_tuple = type.starts_with('(');
  const auto count = static_cast<std::size_t>(std::count(type.begin(), type.end(), 'u'));
  if (count != 0 && count + (is_tuple ? 2 : 0) == type.size() && bytes.size() == 4 * count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i)
      text += (i == 0 ? "" : ", ") + std::to_string(number_in(bytes, 4 * i, 4));
    return is_tuple ? "(" + text + ")" : text;
  }
  return type + " of " + std::to_string(bytes.size()) + " bytes";
}

std::string error_text(const RecordedValue &value) {
  if (value.is_null()) return "NULL";
  const auto *domain = value.find(kErrorDomain)->as<std::string>();
  return (domain != nullptr ? *domain : "?") + " " + number_text(*value.find(kErrorCode)) + " " +
         any_text(*value.find(kErrorText));
}

std::string chunk_text(const RecordedValue &value) {
  std::string text = number_text(*value.find(kChunkSize)) + " bytes";
  const RecordedValue *mark = value.find(kChunkMark);
  const RecordedValue *data = value.find(kChunkData);
  const RecordedValue *hash = value.find(kChunkHash);
  const RecordedValue *again = value.find(kChunkAgain);
  if (mark != nullptr) text += ", mark " + number_text(*mark);
  if (data != nullptr && data->is_null()) text += " at NULL";
  if (hash != nullptr && hash->as_unsigned()) {
    std::array<char, 24> digits{};
    (void)std::snprintf(digits.data(), digits.size(), "%016llx", static_cast<unsigned long long>(*hash->as_unsigned()));
    text += std::string(", xxh64 ") + digits.data();
  }
  if (again != nullptr) text += ", those of chunk " + number_text(*again);
  return text;
}

std::string type_text(const RecordedValue &value) {
  if (value.is_null()) return "no type";
  const RecordedValue *name = value.find(kTypeName);
  const auto *text = (name != nullptr ? *name : value).as<std::string>();
  return text != nullptr ? *text : "?";
}

std::string value_text(char letter, const RecordedValue &value) {
  switch (letter) {
    case 'm':
      return object_text("map", value);
    case 's':
      return object_text("stream", value);
    case 'b':
    case 'B':
      return object_text("buffer", value);
    case 'k':
    case 'Q':
    case 'D':
      return any_text(value);
    case 'K':
      return list_text(value, any_text);
    case 'p':
    case 'q':
      return "(" + list_text(value, number_text) + ")";
    case 'v':
      return variant_text(value);
    case 'r':
      return value.is_null() ? "NULL" : number_text(value);
    case 'e':
      return error_text(value);
    case 'c':
      return chunk_text(value);
    case 't':
      return type_text(value);
    default:
      return number_text(value);
  }
}

}  // namespace

std::string quoted(std::string_view text, std::size_t most) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  std::string result = "\"";
  for (const char letter : text.substr(0, most)) {
    const auto code = static_cast<unsigned char>(letter);
    if (letter == '"' || letter == '\\') {
      result.append("\\").push_back(letter);
    } else if (letter == '\n') {
      result += "\\n";
    } else if (code < 0x20 || code == 0x7F) {
      result.append("\\x").push_back(kDigits[code >> 4U]);
      result.push_back(kDigits[code & 0xFU]);
    } else {
      result.push_back(letter);
    }
  }
  return result + (text.size() > most ? "\"..." : "\"");
}

std::string call_text(const RecordedCall &call, std::span<const RecordedValue> arguments) {
  std::string text(call.name);
  for (std::size_t i = 0; i < arguments.size() && i < call.arguments.size(); ++i)
    text += (i == 0 ? "(" : ", ") + value_text(call.arguments[i], arguments[i]);
  return text + (arguments.empty() ? "()" : ")");
}

std::string result_text(const RecordingItem &call) {
  return call.gave() != nullptr ? value_text(call.row().result, *call.gave()) : "";
}

}  // namespace formats
