// Writes what is made from zel-frames' commands: zel-frames-documents KIND OUTPUT [TEMPLATE].
#include <algorithm>

#include "frames/commands/help.h"
#include "frames/commands/parser.h"
#include "parsed_command.h"

namespace {

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
