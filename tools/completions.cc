// Completions for three shells from one list of options.
#include "completions.h"

#include <iostream>
#include <string>
#include <string_view>

#include "options.h"

namespace {

/// Every option, GOption's own help among them.
std::vector<Option> all_options() {
  std::vector<Option> list = client_option_list();
  for (const Option &option : stream_option_list())
    list.push_back(option);
  list.push_back({.name = "help", .short_name = 'h', .help = "Show help options", .initial = {}, .choices = {}});
  list.push_back({.name = "help-all", .help = "Show all help options", .initial = {}, .choices = {}});
  return list;
}

std::string joined(const std::vector<std::string> &words) {
  std::string text;
  for (const std::string &word : words)
    text += (text.empty() ? "" : " ") + word;
  return text;
}

/// The text with a backslash before each of `special`.
std::string guarded(std::string_view text, std::string_view special) {
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

void write_bash_case(std::ostream &out, const Option &option) {
  if (option.kind == ValueKind::kNone) return;
  out << "    --" << option.name;
  if (option.short_name != 0) out << " | -" << option.short_name;
  out << ')';
  if (!option.choices.empty()) out << " choices='" << joined(option.choices) << '\'';
  if (option.kind == ValueKind::kFileName) out << " files=yes";
  out << " ;;\n";
}

std::string zsh_action(const Option &option) {
  if (option.kind == ValueKind::kFileName) return "_files";
  return option.choices.empty() ? " " : "(" + joined(option.choices) + ")";
}

/// One argument of _arguments; `sign` says how a value follows.
void write_zsh_option(std::ostream &out, std::string spec, std::string_view sign, const std::string &rest) {
  spec += sign;
  spec += rest;
  out << " \\\n  " << quoted(spec);
}

}  // namespace

void write_bash_completion(std::istream &page, std::ostream &out) {
  const std::vector<Option> options = all_options();
  std::string line;
  while (std::getline(page, line)) {
    if (line == "@cases@") {
      for (const Option &option : options)
        write_bash_case(out, option);
    } else if (line == "@words@") {
      for (const Option &option : options)
        out << "  --" << option.name << (option.kind != ValueKind::kNone ? "=" : "") << '\n';
    } else if (line == "@letters@") {
      out << "_zel_client_letters='";
      for (const Option &option : options) {
        if (option.short_name != 0 && option.kind != ValueKind::kNone) out << option.short_name;
      }
      out << "'\n";
    } else {
      out << line << '\n';
    }
  }
}

void write_zsh_completion(std::ostream &out) {
  out << "#compdef zel-client\n\n_arguments -s";
  for (const Option &option : all_options()) {
    std::string help = guarded(option.help.empty() ? option.name : option.help, "[]:\\");
    std::string rest = "[" + help + "]";
    const bool has_value = option.kind != ValueKind::kNone;
    if (has_value) rest += ":" + guarded(option.name, ":\\") + ":" + zsh_action(option);
    write_zsh_option(out, "*--" + option.name, has_value ? "=" : "", rest);
    if (option.short_name != 0) write_zsh_option(out, {'*', '-', option.short_name}, has_value ? "+" : "", rest);
  }
  // Numbers, for which there is nothing to offer; without them no option would be completed behind them.
  out << " \\\n  '*:width and height:()'\n";
}

void write_fish_completion(std::ostream &out) {
  out << "complete -c zel-client -f\n";
  for (const Option &option : all_options()) {
    out << "complete -c zel-client -l " << option.name;
    if (option.short_name != 0) out << " -s " << option.short_name;
    if (!option.choices.empty()) {
      out << " -x -a '" << joined(option.choices) << '\'';
    } else if (option.kind == ValueKind::kFileName) {
      out << " -r -F";
    } else if (option.kind != ValueKind::kNone) {
      out << " -x";
    }
    // Inside single quotes fish knows the escapes of the backslash and of the quote.
    out << " -d '" << guarded(option.help.empty() ? option.name : option.help, "\\'") << "'\n";
  }
}
