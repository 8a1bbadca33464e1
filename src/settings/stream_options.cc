// Registration of the stream options.
#include "settings/stream_options.h"

#include "settings/option_builders.h"

namespace {

void register_option(const StreamOption &option) {
  switch (option.kind) {
    case OptionKind::kBoolean:
      return add_bool_option(option.short_name, option.key, option.help);
    case OptionKind::kUnsigned:
      return add_uint_option(option.short_name, option.key, option.help);
    case OptionKind::kDouble:
      return add_double_option(option.short_name, option.key, option.help);
    case OptionKind::kString:
      return add_string_option(option.short_name, option.key, option.help);
    case OptionKind::kEnum:
      return add_enum_option(option.short_name, option.enum_type(), option.key);
    case OptionKind::kTriple:
      return add_triple_option(option.key, option.help);
  }
}

}  // namespace

void register_stream_options() {
  for (const StreamOption &option : kStreamOptions)
    register_option(option);
}
