// Commands that CLI11 parses, as the documents have them.
#include "parsed_command.h"

#include <sstream>
#include <utility>

#include "frames/commands/help.h"

namespace {

/// The names in "h264|h265|jpeg"; none where it is no list.
std::vector<std::string> choices_in(const std::string &value) {
  std::vector<std::string> choices;
  std::istringstream words(value);
  for (std::string word; value.find('|') != std::string::npos && std::getline(words, word, '|');)
    choices.push_back(word);
  return choices;
}

Option option_of(const CLI::Option &from) {
  Option option;
  option.name = from.get_positional() ? from.get_name() : from.get_lnames().front();
  if (!from.get_snames().empty()) option.short_name = from.get_snames().front().front();
  option.help = from.get_description();
  if (from.get_items_expected_max() == 0) return option;
  option.value = from.get_positional() ? option.name : from.get_type_name();
  option.choices = choices_in(option.value);
  const bool is_file = option.value == "FILE" || option.value == "CAPTURE" || option.value == "RECORDING";
  option.kind = !option.choices.empty() ? ValueKind::kChoice : is_file ? ValueKind::kFileName : ValueKind::kOther;
  if (option.kind == ValueKind::kChoice) option.value = "NAME";
  return option;
}

}  // namespace

Command command_of(const CLI::App &app, std::string name) {
  Command command;
  command.name = std::move(name);
  command.purpose = app.get_description();
  command.arguments = frames::arguments_synopsis(app);
  for (const CLI::Option *option : app.get_options())
    (option->get_positional() ? command.operands : command.options).push_back(option_of(*option));
  return command;
}
