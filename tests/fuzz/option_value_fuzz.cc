// Any text as the value of an option of every kind: taken and stored, or refused and nothing stored.
#include "common/owned.h"
#include "fake_zel.h"
#include "input.h"
#include "settings/option_parsers.h"
#include "settings/settings_map.h"

namespace {

constexpr const char *kKey = "key";

gpointer key() {
  return const_cast<char *>(kKey);
}

bool is_stored() {
  return zel_map_contains_va(settings_map(), kKey, nullptr) != FALSE;
}

using Parser = gboolean (*)(const gchar *, const gchar *, gpointer, GError **);

void parse(Parser parser, const char *value, gpointer data, bool may_set_error) {
  zel_map_remove_prefix(settings_map(), "");
  GError *error = nullptr;
  const bool taken = parser("--name", value, data, &error) != FALSE;
  const ErrorPtr held(error);
  require(taken == is_stored(), "a value is stored exactly when it is taken");
  require(!(taken && held), "no error for a value that is taken");
  require(may_set_error || !held, "only enumerations explain themselves");
}

void parse_string(const std::string &text) {
  parse(parse_string_option, text.c_str(), key(), false);
  const VariantPtr stored(zel_map_get_variant(settings_map(), kKey, nullptr));
  // The variant refuses what is not UTF-8; the map has its own way with it, which is not the client's business.
  if (g_utf8_validate(text.c_str(), -1, nullptr) == FALSE) return;
  require(text == g_variant_get_string(stored.get(), nullptr), "the text is stored as it is");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  fake::reset();
  Input input(data, size);
  const auto kind = input.number<std::uint8_t>();
  const std::string text = input.line();
  switch (kind % 6) {
    case 0:
      parse(parse_bool_option, text.c_str(), key(), false);
      break;
    case 1:
      parse(parse_uint_option, text.c_str(), key(), false);
      break;
    case 2:
      parse(parse_double_option, text.c_str(), key(), false);
      break;
    case 3:
      parse_string(text);
      break;
    case 4: {
      EnumOptionData option = {zel_format_get_type(), kKey};
      parse(parse_enum_option, text.c_str(), &option, true);
      break;
    }
    default:
      parse(parse_triple_option, text.c_str(), key(), false);
      break;
  }
  return 0;
}
