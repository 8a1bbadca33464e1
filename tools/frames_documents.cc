// Writes what is made from zel-frames' commands: zel-frames-documents KIND OUTPUT [TEMPLATE].
#include <algorithm>
#include <sstream>

#include "frames/commands/help.h"
#include "frames/commands/parser.h"
#include "program.h"

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
  const bool is_file = option.value == "FILE" || option.value == "CAPTURE";
  option.kind = !option.choices.empty() ? ValueKind::kChoice : is_file ? ValueKind::kFileName : ValueKind::kOther;
  if (option.kind == ValueKind::kChoice) option.value = "NAME";
  return option;
}

Command command_of(const CLI::App &app, std::string name) {
  Command command;
  command.name = std::move(name);
  command.purpose = app.get_description();
  command.arguments = frames::arguments_synopsis(app);
  for (const CLI::Option *option : app.get_options())
    (option->get_positional() ? command.operands : command.options).push_back(option_of(*option));
  return command;
}

/// Whether both say the same of an option of the same name.
bool is_same(const Option &one, const Option &other) {
  return one.name == other.name && one.help == other.help;
}

/// The options that most commands have, and the program itself has not.
OptionList shared_options(const std::vector<Command> &commands) {
  OptionList shared = {.name = "common-options", .options = {}};
  const auto has = [](const std::vector<Option> &options, const Option &wanted) {
    return std::ranges::any_of(options, [&wanted](const Option &option) { return is_same(option, wanted); });
  };
  for (const Command &command : commands) {
    for (const Option &option : command.options) {
      const auto takes = [&](const Command &other) { return has(other.options, option); };
      const auto times = static_cast<std::size_t>(std::ranges::count_if(commands, takes));
      const bool is_shared = times * 2 > commands.size() && !has(commands.front().options, option);
      if (is_shared && !has(shared.options, option)) shared.options.push_back(option);
    }
  }
  return shared;
}

}  // namespace

int main(int argc, char **argv) {
  frames::Run run;
  const auto app = frames::make_app(run);
  Program program;
  program.name = app->get_name();
  program.version = ZEL_CLIENT_VERSION;
  program.commands.push_back(command_of(*app, ""));
  for (const CLI::App *command : std::as_const(*app).get_subcommands({}))
    program.commands.push_back(command_of(*command, command->get_name()));
  program.lists.push_back(shared_options(program.commands));
  program.lists.push_back({.name = "program-options", .options = program.commands.front().options});
  return write_document(argc, argv, program);
}
