// Comparing arguments by their kinds.
#include "replay/matching.h"

#include <algorithm>
#include <string>

namespace camera {
namespace {

using formats::RecordedValue;

/// A text; null is an empty one.
std::string text_in(const RecordedValue &value) {
  if (const auto *text = value.as<std::string>()) return *text;
  const auto *bytes = value.as<RecordedValue::Bytes>();
  return bytes != nullptr ? std::string(bytes->begin(), bytes->end()) : std::string();
}

bool are_same_texts(const RecordedValue &one, const RecordedValue &other) {
  return text_in(one) == text_in(other);
}

bool are_same_errors(const RecordedValue &one, const RecordedValue &other) {
  if (one.is_null() || other.is_null()) return one.is_null() == other.is_null();
  return *one.find(formats::kErrorCode) == *other.find(formats::kErrorCode) &&
         are_same_texts(*one.find(formats::kErrorText), *other.find(formats::kErrorText));
}

bool are_same(char letter, const RecordedValue &one, const RecordedValue &other) {
  switch (letter) {
    case 'r':
    case 'v':
      return true;
    case 'k':
      return are_same_texts(one, other);
    case 'K': {
      const auto *texts = one.as<RecordedValue::List>();
      const auto *others = other.as<RecordedValue::List>();
      return texts != nullptr && others != nullptr &&
             std::equal(texts->begin(), texts->end(), others->begin(), others->end(), are_same_texts);
    }
    case 'i':  // a truth value
      return (one.as_integer() == 0) == (other.as_integer() == 0);
    case 'e':
      return are_same_errors(one, other);
    default:
      return one == other;
  }
}

}  // namespace

bool is_same_call(const formats::RecordingItem &recorded, const formats::RecordedCall &row,
                  const RecordedValue::List &arguments) {
  if (recorded.row().name != row.name) return false;
  const RecordedValue::List &others = recorded.arguments();
  for (std::size_t i = 0; i < others.size() && i < arguments.size(); ++i) {
    if (!are_same(row.arguments[i], others[i], arguments[i])) return false;
  }
  return true;
}

}  // namespace camera
