// Help for a terminal of 80 columns.
#include "frames/commands/help.h"

#include <string_view>
#include <utility>
#include <vector>

namespace frames {
namespace {

constexpr std::size_t kColumns = 80;
constexpr std::size_t kTextColumn = 24;  ///< where the texts of a list begin
constexpr std::string_view kIndent = "  ";

/// Appends the text's words in lines that begin at column `start`; the first one goes on at `column`.
void append_wrapped(std::string &help, std::string_view text, std::size_t start, std::size_t column) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (column > start && column + 1 + word.size() > kColumns) {
      help.append("\n").append(start, ' ');
      column = start;
    } else if (column > start) {
      help.append(" ");
      ++column;
    }
    help.append(word);
    column += word.size();
  }
  help.append("\n");
}

void append_item(std::string &help, const std::string &item, std::string_view text) {
  help.append(kIndent).append(item);
  std::size_t column = kIndent.size() + item.size();
  if (column + kIndent.size() > kTextColumn) {
    help.append("\n");
    column = 0;
  }
  help.append(kTextColumn - column, ' ');
  append_wrapped(help, text, kTextColumn, kTextColumn);
}

void append_commands(std::string &help, const CLI::App &app) {
  help.append("\nCommands:\n");
  for (const CLI::App *command : app.get_subcommands({}))
    append_item(help, command->get_name(), command->get_description());
}

void append_operands(std::string &help, const CLI::App &app) {
  bool is_first = true;
  for (const CLI::Option *option : app.get_options()) {
    if (!option->get_positional()) continue;
    if (std::exchange(is_first, false)) help.append("\n");
    append_item(help, option_synopsis(*option), option->get_description());
  }
}

void append_options(std::string &help, const CLI::App &app) {
  for (const std::string &group : app.get_groups()) {
    help.append("\n").append(group).append(":\n");
    for (const CLI::Option *option : app.get_options()) {
      if (option->get_group() != group || option->get_positional()) continue;
      append_item(help, option_synopsis(*option), option->get_description());
    }
  }
}

}  // namespace

std::string option_synopsis(const CLI::Option &option) {
  if (option.get_positional()) return option.get_name();
  std::string synopsis;
  for (const std::string &name : option.get_snames())
    synopsis.append(synopsis.empty() ? "-" : ", -").append(name);
  for (const std::string &name : option.get_lnames())
    synopsis.append(synopsis.empty() ? "--" : ", --").append(name);
  if (option.get_items_expected_max() > 0) synopsis.append(" ").append(option.get_type_name());
  return synopsis;
}

std::string arguments_synopsis(const CLI::App &app) {
  if (!app.get_subcommands({}).empty()) return "COMMAND [OPTIONS] CAPTURE";
  std::string required;
  std::string operands;
  for (const CLI::Option *option : app.get_options()) {
    if (option->get_positional()) {
      operands.append(option->get_required() ? " " + option->get_name() : " [" + option->get_name() + "]");
    } else if (option->get_required()) {
      const bool has_letter = !option->get_snames().empty();
      required.append(has_letter ? "-" + option->get_snames().front() : "--" + option->get_lnames().front());
      required.append(" ").append(option->get_type_name()).append(" ");
    }
  }
  return required + "[OPTIONS]" + operands;
}

std::string HelpFormatter::make_help(const CLI::App *app, std::string name, CLI::AppFormatMode) const {
  std::string help = "Usage: " + (name.empty() ? app->get_name() : name) + " " + arguments_synopsis(*app) + "\n\n";
  append_wrapped(help, app->get_description(), 0, 0);
  if (app->get_subcommands({}).empty()) {
    append_operands(help, *app);
  } else {
    append_commands(help, *app);
  }
  append_options(help, *app);
  if (!app->get_footer().empty()) help.append("\n").append(app->get_footer());
  return help;
}

}  // namespace frames
