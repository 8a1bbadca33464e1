// Every setting of a stream: what it accepts, its default, and what it does in this camera.
#ifndef ZEL_CAMERA_TABLE_H
#define ZEL_CAMERA_TABLE_H

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "settings/choices.h"

namespace camera {

enum class Kind { kBoolean, kUnsigned, kDouble, kChoice, kText, kWords, kPair, kTriple, kQuad };

/// One setting. Numbers out of [minimum, maximum], values that are no choice and texts that are no listed word are
/// refused when the stream is created.
struct Setting {
  const char *key;
  Kind kind;
  double minimum = 0;  ///< of a number, and of every component of a pair, triple or quad
  double maximum = 0;
  const char *zero = nullptr;         ///< what 0 means when it is accepted outside the range; null: it is not
  std::span<const Choice> choices{};  ///< of a kChoice
  const char *words = nullptr;        ///< accepted words of a kText or kWords, separated by spaces; null: any text
  const char *preset = nullptr;       ///< the default as a text; null: absent unless asked for
  const char *derived = nullptr;      ///< how the default is found when it depends on other settings; null: it does not
  bool acts = false;                  ///< whether it changes what the camera delivers
  const char *effect = nullptr;
};

/// All settings in the order in which they are documented.
std::span<const Setting> all_settings();

/// The setting of that key, or null.
const Setting *find_setting(std::string_view key);

/// What a setting accepts, in words: "1 to 65535, or 0: the first frame only".
std::string accepted_text(const Setting &setting);

/// Its default in words.
std::string default_text(const Setting &setting);

}  // namespace camera

#endif
