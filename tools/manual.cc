// Filling the template of the manual page.
#include "manual.h"

#include <iostream>
#include <map>
#include <string_view>

#include "options.h"
#include "roff.h"

namespace {

using Notes = std::map<std::string, std::string>;

/// "integer, 0 unless given" and the like.
std::string value_text(const Option &option) {
  std::string text;
  switch (option.kind) {
    case ValueKind::kNone:
      return "Flag";
    case ValueKind::kInteger:
      text = "Integer, 32 bits";
      break;
    case ValueKind::kUnsigned:
      return "Unsigned integer, 32 bits";
    case ValueKind::kDouble:
      return "Number";
    case ValueKind::kBoolean:
      return "Boolean";
    case ValueKind::kText:
      return "Text";
    case ValueKind::kFileName:
      text = "File name";
      break;
    case ValueKind::kTriple:
      return "Three unsigned integers";
    case ValueKind::kChoice:
      text = "One of";
      for (const std::string &choice : option.choices)
        text += (choice == option.choices.front() ? " " : ", ") + choice;
      return text;
  }
  return option.initial.empty() ? text : text + "; default " + option.initial;
}

std::string sentence(std::string_view text) {
  const bool ends = text.ends_with('.') || text.ends_with('!');
  return roff_text(text) + (ends ? "" : ".");
}

/// One option as a tagged paragraph; takes its note out of `notes`.
void write_option(std::ostream &out, const Option &option, Notes &notes) {
  const std::string value = placeholder(option);
  out << ".TP\n\\fB\\-\\-" << roff_text(option.name) << "\\fR";
  if (!value.empty()) out << "=\\fI" << roff_text(value) << "\\fR";
  if (option.short_name != 0) {
    out << ", \\fB\\-" << option.short_name << "\\fR";
    if (!value.empty()) out << " \\fI" << roff_text(value) << "\\fR";
  }
  out << '\n';
  if (!option.help.empty()) out << sentence(option.help) << '\n';
  out << sentence(value_text(option)) << '\n';
  const auto note = notes.find(option.name);
  if (note == notes.end()) return;
  out << note->second;
  notes.erase(note);
}

std::string replaced(std::string line, std::string_view what, const std::string &by) {
  for (std::size_t at = line.find(what); at != std::string::npos; at = line.find(what, at + by.size()))
    line.replace(at, what.size(), by);
  return line;
}

std::string read_note(std::istream &page) {
  std::string note;
  std::string line;
  while (std::getline(page, line) && line != "@end")
    note += line + '\n';
  return note;
}

}  // namespace

bool write_manual(std::istream &page, std::ostream &out, const std::string &version) {
  constexpr std::string_view kAbout = "@about ";
  Notes notes;
  std::string line;
  while (std::getline(page, line)) {
    if (line.starts_with(kAbout)) {
      notes[line.substr(kAbout.size())] = read_note(page);
    } else if (line == "@client-options@") {
      for (const Option &option : client_option_list())
        write_option(out, option, notes);
    } else if (line == "@stream-options@") {
      for (const Option &option : stream_option_list())
        write_option(out, option, notes);
    } else {
      out << replaced(line, "@version@", version) << '\n';
    }
  }
  for (const auto &[name, note] : notes)
    std::cerr << "no option is called " << name << '\n';
  return notes.empty();
}
