// Filling the template of the manual page.
#include "manual.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <string>
#include <string_view>

#include "roff.h"
#include "text.h"

namespace {

using Notes = std::map<std::string, std::string>;

/// "integer, 0 unless given" and the like; empty where the help says it.
std::string value_text(const Option &option) {
  std::string text;
  switch (option.kind) {
    case ValueKind::kOther:
      return {};
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

/// Writes the note of that name, if there is one, and takes it out of `notes`.
void write_note(std::ostream &out, const std::string &name, Notes &notes) {
  const auto note = notes.find(name);
  if (note == notes.end()) return;
  out << note->second;
  notes.erase(note);
}

/// One option as a tagged paragraph.
void write_option(std::ostream &out, const Option &option, const std::string &note, Notes &notes) {
  out << ".TP\n\\fB\\-\\-" << roff_text(option.name) << "\\fR";
  if (!option.value.empty()) out << "=\\fI" << roff_text(option.value) << "\\fR";
  if (option.short_name != 0) {
    out << ", \\fB\\-" << option.short_name << "\\fR";
    if (!option.value.empty()) out << " \\fI" << roff_text(option.value) << "\\fR";
  }
  out << '\n';
  if (!option.help.empty()) out << sentence(option.help) << '\n';
  const std::string value = value_text(option);
  if (!value.empty()) out << sentence(value) << '\n';
  write_note(out, note, notes);
}

/// One item as a tagged paragraph.
void write_item(std::ostream &out, const Item &item) {
  out << ".TP\n.B " << roff_text(item.name) << '\n';
  for (const std::string &text : item.sentences)
    out << sentence(text) << '\n';
}

bool is_listed(const Program &program, const Option &option) {
  return std::ranges::any_of(program.lists, [&option](const OptionList &list) {
    const auto listed = std::ranges::find(list.options, option.name, &Option::name);
    return listed != list.options.end() && listed->help == option.help;
  });
}

void write_command(std::ostream &out, const Program &program, const Command &command, Notes &notes) {
  out << ".SS " << roff_text(program.name + " " + command.name + " " + command.arguments) << '\n'
      << sentence(command.purpose) << '\n';
  write_note(out, command.name, notes);
  for (const Option &option : command.options)
    if (!is_listed(program, option)) write_option(out, option, command.name + " " + option.name, notes);
}

std::string read_note(std::istream &page) {
  std::string note;
  std::string line;
  while (std::getline(page, line) && line != "@end")
    note += line + '\n';
  return note;
}

}  // namespace

bool write_manual(const Program &program, std::istream &page, std::ostream &out) {
  constexpr std::string_view kAbout = "@about ";
  Notes notes;
  std::string line;
  while (std::getline(page, line)) {
    const auto is_named = [&line](const auto &list) { return line == "@" + list.name + "@"; };
    const auto list = std::ranges::find_if(program.lists, is_named);
    const auto items = std::ranges::find_if(program.items, is_named);
    if (line.starts_with(kAbout)) {
      notes[line.substr(kAbout.size())] = read_note(page);
    } else if (list != program.lists.end()) {
      for (const Option &option : list->options)
        write_option(out, option, option.name, notes);
    } else if (items != program.items.end()) {
      for (const Item &item : items->items)
        write_item(out, item);
    } else if (line == "@commands@") {
      for (const Command &command : program.commands)
        if (!command.name.empty()) write_command(out, program, command, notes);
    } else {
      out << replaced(line, "@version@", program.version) << '\n';
    }
  }
  for (const auto &[name, note] : notes)
    std::cerr << "no command or option is called " << name << '\n';
  return notes.empty();
}
