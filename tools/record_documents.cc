// Writes what is made from zel-record's commands: zel-record-documents KIND OUTPUT [TEMPLATE].
#include <utility>

#include "parsed_command.h"
#include "recorder/commands/parser.h"

int main(int argc, char **argv) {
  recorder::Run run;
  const auto app = recorder::make_app(run);
  Program program;
  program.name = app->get_name();
  program.version = ZEL_CLIENT_VERSION;
  program.commands.push_back(command_of(*app, ""));
  program.commands.front().arguments = "[OPTION...] [--] COMMAND [ARGUMENT...]";
  for (const CLI::App *command : std::as_const(*app).get_subcommands({}))
    program.commands.push_back(command_of(*command, command->get_name()));
  program.lists.push_back({.name = "program-options", .options = program.commands.front().options});
  return write_document(argc, argv, program);
}
