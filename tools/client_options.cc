// The client's options, made from its two tables and the library's enumerations.
#include "client_options.h"

#include <string_view>

#include "common/owned.h"
#include "settings/client_options.h"
#include "settings/stream_options.h"

namespace {

std::vector<std::string> nicks(GType type) {
  const EnumClassPtr values = enum_class(type);
  std::vector<std::string> list;
  for (guint i = 0; i < values->n_values; ++i)
    list.emplace_back(values->values[i].value_nick);
  return list;
}

ValueKind value_kind(ClientOptionKind kind) {
  switch (kind) {
    case ClientOptionKind::kInteger:
      return ValueKind::kInteger;
    case ClientOptionKind::kFileName:
      return ValueKind::kFileName;
    case ClientOptionKind::kFlag:
      break;
  }
  return ValueKind::kNone;
}

ValueKind value_kind(OptionKind kind) {
  switch (kind) {
    case OptionKind::kBoolean:
      return ValueKind::kBoolean;
    case OptionKind::kUnsigned:
      return ValueKind::kUnsigned;
    case OptionKind::kDouble:
      return ValueKind::kDouble;
    case OptionKind::kEnum:
      return ValueKind::kChoice;
    case OptionKind::kTriple:
      return ValueKind::kTriple;
    case OptionKind::kString:
      break;
  }
  return ValueKind::kText;
}

std::string initial_value(const ClientOption &option) {
  const ClientOptions initial;
  if (option.kind == ClientOptionKind::kInteger) return std::to_string(initial.*option.field.number);
  if (option.kind == ClientOptionKind::kFileName && initial.*option.field.file_name != nullptr)
    return initial.*option.field.file_name;
  return {};
}

/// What stands for a value of the kind in a synopsis.
std::string placeholder(ValueKind kind) {
  switch (kind) {
    case ValueKind::kNone:
    case ValueKind::kOther:
      return {};
    case ValueKind::kInteger:
    case ValueKind::kUnsigned:
      return "N";
    case ValueKind::kDouble:
      return "NUMBER";
    case ValueKind::kBoolean:
      return "0|1";
    case ValueKind::kText:
      return "TEXT";
    case ValueKind::kFileName:
      return "FILE";
    case ValueKind::kChoice:
      return "NAME";
    case ValueKind::kTriple:
      return "MIN,TARGET,MAX";
  }
  return {};
}

bool is_client_letter(char letter) {
  for (const ClientOption &option : kClientOptions) {
    if (option.short_name == letter) return true;
  }
  return false;
}

}  // namespace

std::vector<Option> client_option_list() {
  std::vector<Option> list;
  list.reserve(kClientOptions.size());
  for (const ClientOption &option : kClientOptions) {
    list.push_back({.name = option.name,
                    .short_name = option.short_name,
                    .kind = value_kind(option.kind),
                    .value = placeholder(value_kind(option.kind)),
                    .help = option.help,
                    .initial = initial_value(option),
                    .choices = {}});
  }
  return list;
}

std::vector<Option> stream_option_list() {
  std::vector<Option> list;
  list.reserve(kStreamOptions.size());
  for (const StreamOption &option : kStreamOptions) {
    Option entry = {.name = option.key,
                    .short_name = is_client_letter(option.short_name) ? '\0' : option.short_name,
                    .kind = value_kind(option.kind),
                    .value = placeholder(value_kind(option.kind)),
                    .help = option.help != nullptr ? option.help : "",
                    .initial = {},
                    .choices = {}};
    if (option.kind == OptionKind::kEnum) entry.choices = nicks(option.enum_type());
    if (option.kind == OptionKind::kBoolean) entry.choices = {"0", "1"};
    list.push_back(entry);
  }
  return list;
}
