// Completions for three shells from one list of commands and options.
#include "completions.h"

#include <iostream>
#include <string>
#include <string_view>

#include "text.h"

namespace {

std::string joined(const std::vector<std::string> &words) {
  std::string text;
  for (const std::string &word : words)
    text += (text.empty() ? "" : " ") + word;
  return text;
}

/// The text with a backslash before each of `special`.
std::string escaped(std::string_view text, std::string_view special) {
  std::string result;
  for (const char letter : text) {
    if (special.find(letter) != std::string_view::npos) result += '\\';
    result += letter;
  }
  return result;
}

/// In single quotes for a shell that ends and reopens them around a quote of the text.
std::string quoted(std::string_view text) {
  std::string result = "'";
  for (const char letter : text)
    result += letter == '\'' ? std::string("'\\''") : std::string(1, letter);
  return result + "'";
}

/// The program's name as part of a function's.
std::string function_name(const Program &program) {
  std::string name = "_" + program.name;
  for (char &letter : name)
    if (letter == '-') letter = '_';
  return name;
}

bool has_value(const Option &option) {
  return option.kind != ValueKind::kNone;
}

bool takes_files(const Command &command) {
  for (const Option &operand : command.operands)
    if (operand.kind == ValueKind::kFileName) return true;
  return false;
}

/// The names of the program's commands.
std::string command_names(const Program &program) {
  std::vector<std::string> names;
  for (const Command &command : program.commands)
    if (!command.name.empty()) names.push_back(command.name);
  return joined(names);
}

void write_bash_command(std::ostream &out, const Command &command) {
  std::string words;
  std::string letters;
  for (const Option &option : command.options) {
    words.append("\n--").append(option.name).append(has_value(option) ? "=" : "");
    if (option.short_name != 0 && has_value(option)) letters += option.short_name;
  }
  out << "    " << quoted(command.name) << ")\n      letters=" << quoted(letters)
      << (takes_files(command) ? " operands=files" : "") << " words='" << words << "\n' ;;\n";
}

void write_bash_case(std::ostream &out, const Command &command, const Option &option) {
  if (!has_value(option)) return;
  out << "    " << quoted(command.name + " --" + option.name);
  if (option.short_name != 0) out << " | " << quoted(command.name + " -" + option.short_name);
  out << ')';
  if (!option.choices.empty()) out << " choices=" << quoted(joined(option.choices));
  if (option.kind == ValueKind::kFileName) out << " files=yes";
  out << " ;;\n";
}

std::string zsh_action(const Option &option) {
  if (option.kind == ValueKind::kNone) return "()";  // an operand for which there is nothing to offer
  if (option.kind == ValueKind::kFileName) return "_files";
  return option.choices.empty() ? " " : "(" + joined(option.choices) + ")";
}

std::string zsh_value(const Option &option) {
  return ":" + escaped(option.name, ":\\") + ":" + zsh_action(option);
}

/// One argument of _arguments; `sign` says how a value follows.
void write_zsh_option(std::ostream &out, std::string spec, std::string_view sign, const std::string &rest) {
  spec += sign;
  spec += rest;
  out << " \\\n  " << quoted(spec);
}

void write_zsh_options(std::ostream &out, const Command &command) {
  for (const Option &option : command.options) {
    const bool valued = has_value(option);
    std::string rest = "[" + escaped(option.help.empty() ? option.name : option.help, "[]:\\") + "]";
    if (valued) rest += zsh_value(option);
    write_zsh_option(out, "*--" + option.name, valued ? "=" : "", rest);
    if (option.short_name != 0) write_zsh_option(out, {'*', '-', option.short_name}, valued ? "+" : "", rest);
  }
}

/// The arguments of one command; the last of its operands may come again, so that options are completed behind it.
void write_zsh_command(std::ostream &out, const Command &command) {
  out << "_arguments -s";
  write_zsh_options(out, command);
  for (const Option &operand : command.operands) {
    const bool last = &operand == &command.operands.back();
    out << " \\\n  " << quoted((last ? "*" : "") + zsh_value(operand));
  }
  out << '\n';
}

/// A function that completes commands, and for each of them its arguments.
void write_zsh_commands(const Program &program, std::ostream &out) {
  out << "local curcontext=$curcontext state line\nlocal -a commands=(";
  for (const Command &command : program.commands)
    if (!command.name.empty()) out << "\n  " << quoted(command.name + ":" + escaped(command.purpose, ":\\"));
  out << "\n)\n_arguments -C -s";
  write_zsh_options(out, program.commands.front());
  out << " \\\n  '1:command:->command' \\\n  '*::argument:->argument'\n\ncase $state in\n"
      << "command) _describe command commands ;;\nargument)\ncase $words[1] in\n";
  for (const Command &command : program.commands) {
    if (command.name.empty()) continue;
    out << command.name << ")\n";
    write_zsh_command(out, command);
    out << ";;\n";
  }
  out << "esac ;;\nesac\n";
}

void write_fish_option(std::ostream &out, const std::string &head, const Option &option) {
  out << head << " -l " << option.name;
  if (option.short_name != 0) out << " -s " << option.short_name;
  if (!option.choices.empty()) {
    out << " -x -a '" << joined(option.choices) << '\'';
  } else if (option.kind == ValueKind::kFileName) {
    out << " -r -F";
  } else if (has_value(option)) {
    out << " -x";
  }
  // Inside single quotes fish knows the escapes of the backslash and of the quote.
  out << " -d '" << escaped(option.help.empty() ? option.name : option.help, "\\'") << "'\n";
}

}  // namespace

void write_bash_completion(const Program &program, std::istream &page, std::ostream &out) {
  std::string line;
  while (std::getline(page, line)) {
    if (line == "@commands@") {
      for (const Command &command : program.commands)
        write_bash_command(out, command);
    } else if (line == "@cases@") {
      for (const Command &command : program.commands)
        for (const Option &option : command.options)
          write_bash_case(out, command, option);
    } else {
      line = replaced(line, "@program@", program.name);
      line = replaced(line, "@function@", function_name(program));
      out << replaced(line, "@names@", command_names(program)) << '\n';
    }
  }
}

void write_zsh_completion(const Program &program, std::ostream &out) {
  out << "#compdef " << program.name << "\n\n";
  if (program.commands.size() == 1) {
    write_zsh_command(out, program.commands.front());
  } else {
    write_zsh_commands(program, out);
  }
}

void write_fish_completion(const Program &program, std::ostream &out) {
  const std::string complete = "complete -c " + program.name;
  const bool has_commands = program.commands.size() > 1;
  out << complete << " -f\n";
  for (const Command &command : program.commands) {
    std::string head = complete;
    if (!command.name.empty()) {
      out << complete << " -n __fish_use_subcommand -a " << command.name << " -d '" << escaped(command.purpose, "\\'")
          << "'\n";
      head += " -n '__fish_seen_subcommand_from " + command.name + "'";
    } else if (has_commands) {
      head += " -n __fish_use_subcommand";
    }
    if (takes_files(command)) out << head << " -F\n";
    for (const Option &option : command.options)
      write_fish_option(out, head, option);
  }
}
