// Comparing arguments by their kinds.
#include "replay/matching.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace camera {
namespace {

using formats::RecordedValue;

/// Null is an empty text.
bool are_same_texts(const RecordedValue &one, const RecordedValue &other) {
  return one.any_text() == other.any_text();
}

bool are_same_errors(const RecordedValue &one, const RecordedValue &other) {
  if (one.is_null() || other.is_null()) return one.is_null() == other.is_null();
  return *one.find(formats::kErrorCode) == *other.find(formats::kErrorCode) &&
         are_same_texts(*one.find(formats::kErrorText), *other.find(formats::kErrorText));
}

/// One that is no number is the same as another such.
bool are_same_doubles(const RecordedValue &one, const RecordedValue &other) {
  const auto *number = one.as<double>();
  const auto *other_number = other.as<double>();
  const bool are_none =
      number != nullptr && other_number != nullptr && std::isnan(*number) && std::isnan(*other_number);
  return are_none || one == other;
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
    case 'd':
      return are_same_doubles(one, other);
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
