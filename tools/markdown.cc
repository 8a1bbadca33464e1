// From Markdown to roff, line by line.
#include "markdown.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "roff.h"

namespace {

constexpr std::size_t kLineWidth = 78;

/// What the lines read last belong to.
enum class Part { kNone, kParagraph, kBullet, kCode, kFence, kTableHead, kTable };

struct State {
  std::size_t line = 0;  ///< number of the line that is read, from 1
  Part part = Part::kNone;
  std::size_t first_line = 0;          ///< of the part
  std::string text;                    ///< of the paragraph or bullet so far, with its line breaks
  std::vector<std::string> columns;    ///< headings of the table
  bool below_heading = false;          ///< nothing was written since the last heading
  bool below_bullet = false;           ///< the part before was a bullet
  std::optional<MarkdownFault> fault;  ///< the first one; nothing counts after it
};

void refuse(State &state, std::size_t line, std::string what) {
  if (!state.fault) state.fault = MarkdownFault{.line = line, .what = std::move(what)};
}

/// Refuses what `text`, which begins at `line`, holds and has no translation.
void check_text(State &state, std::size_t line, const std::string &text) {
  if (const std::optional<MarkdownFault> fault = text_fault(text)) refuse(state, line + fault->line, fault->what);
}

std::string trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0)
    text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0)
    text.remove_suffix(1);
  return std::string(text);
}

/// Where the "](" of a link stands that `text` begins with; npos when it begins with none.
std::size_t link_middle(std::string_view text) {
  std::size_t at = text.find_first_of("`[]", 1);
  while (at != std::string_view::npos && text[at] == '`')
    at = text.find_first_of("`[]", text.find('`', at + 1) + 1);
  return at != std::string_view::npos && text.substr(at, 2) == "](" ? at : std::string_view::npos;
}

/// `code` in bold, links as their text. Only for a text without a fault.
std::string inline_text(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t close = text.front() == '`' ? text.find('`', 1) : std::string_view::npos;
    const std::size_t middle = text.front() == '[' ? link_middle(text) : std::string_view::npos;
    if (close != std::string_view::npos) {
      result += "\\fB" + roff_text(text.substr(1, close - 1)) + "\\fR";
      text.remove_prefix(close + 1);
    } else if (middle != std::string_view::npos) {
      result += inline_text(text.substr(1, middle - 1));
      text.remove_prefix(text.find(')', middle) + 1);
    } else {
      const std::size_t plain = std::max<std::size_t>(1, std::min(text.find_first_of("`[", 1), text.size()));
      result += roff_text(text.substr(0, plain));
      text.remove_prefix(plain);
    }
  }
  return result;
}

/// Words of a converted text in lines of a readable width.
void write_wrapped(std::ostream &out, const std::string &text) {
  std::istringstream words(text);
  std::string line;
  std::string word;
  while (words >> word) {
    if (!line.empty() && line.size() + 1 + word.size() > kLineWidth) {
      out << line << '\n';
      line.clear();
    }
    if (line.empty() && (word.front() == '.' || word.front() == '\'')) line = "\\&";
    line += (line.empty() || line == "\\&" ? "" : " ") + word;
  }
  if (!line.empty()) out << line << '\n';
}

/// The cells of a row, which begins and ends with "|".
std::vector<std::string> cells(State &state, const std::string &row) {
  const std::string without = without_code(row);
  if (std::count(row.begin(), row.end(), '|') != std::count(without.begin(), without.end(), '|')) {
    refuse(state, state.line, "a | within the code or the link of a table");
  }
  if (row.size() < 2 || !row.ends_with('|')) refuse(state, state.line, "a table whose rows do not end with |");
  std::vector<std::string> list;
  std::istringstream parts(row.substr(1));
  std::string cell;
  while (std::getline(parts, cell, '|')) {
    list.push_back(trimmed(cell));
    check_text(state, state.line, list.back());
  }
  return list;
}

std::string capitalised(std::string text) {
  if (!text.empty()) text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
  return text;
}

std::string sentence(const std::string &text) {
  return text.ends_with('.') ? text : text + ".";
}

void read_table_head(State &state, const std::string &row) {
  state.columns = cells(state, row);
  if (state.columns.size() < 2) refuse(state, state.line, "a table of one column");
}

/// The line between the headings and the rows.
void read_table_rule(State &state, const std::string &row) {
  for (const std::string &cell : cells(state, row)) {
    if (cell.empty() || cell.find_first_not_of("-:") != std::string::npos) {
      refuse(state, state.line, "a table without |---| below its headings");
    }
  }
}

void write_row(std::ostream &out, State &state, const std::string &row) {
  const std::vector<std::string> row_cells = cells(state, row);
  if (row_cells.size() != state.columns.size()) {
    return refuse(state, state.line,
                  "a row of " + std::to_string(row_cells.size()) + " cells in a table of " +
                      std::to_string(state.columns.size()) + " columns");
  }
  out << ".TP\n" << inline_text(row_cells[0]) << '\n';
  write_wrapped(out, inline_text(sentence(capitalised(row_cells[1]))));
  for (std::size_t i = 2; i < row_cells.size(); ++i) {
    if (row_cells[i].empty()) continue;
    write_wrapped(out, inline_text(capitalised(state.columns[i]) + ": " + sentence(row_cells[i])));
  }
}

/// Ends what is open.
void finish(std::ostream &out, State &state) {
  if (state.part == Part::kParagraph || state.part == Part::kBullet) {
    if (state.part == Part::kBullet) out << ".IP \\(bu 2\n";
    if (state.part == Part::kParagraph && !state.below_heading) out << ".PP\n";
    check_text(state, state.first_line, state.text);
    write_wrapped(out, inline_text(state.text));
  }
  if (state.part == Part::kTableHead) refuse(state, state.first_line, "a table without |---| below its headings");
  if (state.part == Part::kCode || state.part == Part::kFence) out << ".fi\n.RE\n";
  const bool wrote = state.part != Part::kNone;
  if (wrote) state.below_bullet = state.part == Part::kBullet;
  if (wrote) state.below_heading = false;
  state.part = Part::kNone;
  state.text.clear();
}

/// Ends what is open and begins another part at this line.
void begin(std::ostream &out, State &state, Part part) {
  finish(out, state);
  state.part = part;
  state.first_line = state.line;
}

void write_heading(std::ostream &out, State &state, const std::string &line) {
  finish(out, state);
  state.below_heading = true;
  state.below_bullet = false;
  check_text(state, state.line, line);
  if (line.find("](") != std::string::npos) refuse(state, state.line, "a link in a heading");
  const std::size_t level = line.find_first_not_of('#');
  std::string title;
  for (const char letter : trimmed(line.substr(level))) {
    if (letter != '`')
      title += level == 2 ? static_cast<char>(std::toupper(static_cast<unsigned char>(letter))) : letter;
  }
  if (level == 1) title = "DESCRIPTION";
  out << (level < 3 ? ".SH \"" : ".SS \"") << roff_text(title) << "\"\n";
}

void open_code(std::ostream &out, State &state, Part part) {
  begin(out, state, part);
  out << (state.below_heading ? "" : ".PP\n") << ".RS 4\n.nf\n";
}

void read_text(std::ostream &out, State &state, const std::string &line) {
  const bool bullet = line.starts_with("- ");
  if (bullet || (state.part != Part::kParagraph && state.part != Part::kBullet)) {
    if (line.starts_with(' ')) refuse(state, state.line, "an indented paragraph");
    if (state.part == Part::kTable) refuse(state, state.line, "text right below a table");
    begin(out, state, bullet ? Part::kBullet : Part::kParagraph);
  }
  state.text += (state.text.empty() ? "" : "\n") + line.substr(bullet ? 2 : 0);
}

/// A line within code, or one that begins or ends it; false for any other.
bool read_code(std::ostream &out, State &state, const std::string &line) {
  if (state.part == Part::kFence) {
    if (line == "```") {
      finish(out, state);
    } else {
      out << roff_text(line) << '\n';
    }
    return true;
  }
  if (line.starts_with("```")) {
    open_code(out, state, Part::kFence);
    return true;
  }
  const bool may_be_code = (state.part == Part::kNone && !state.below_bullet) || state.part == Part::kCode;
  if (!may_be_code || !line.starts_with("    ")) return false;
  if (state.part != Part::kCode) open_code(out, state, Part::kCode);
  out << roff_text(line.substr(4)) << '\n';
  return true;
}

void read_line(std::ostream &out, State &state, const std::string &line) {
  if (read_code(out, state, line)) return;
  if (const std::optional<MarkdownFault> fault = line_fault(line)) return refuse(state, state.line, fault->what);
  if (line.empty()) {
    finish(out, state);
  } else if (line.starts_with('#')) {
    write_heading(out, state, line);
  } else if (line.starts_with('|') && state.part == Part::kTable) {
    write_row(out, state, line);
  } else if (line.starts_with('|') && state.part == Part::kTableHead) {
    read_table_rule(state, line);
    state.part = Part::kTable;
  } else if (line.starts_with('|')) {
    begin(out, state, Part::kTableHead);
    read_table_head(state, line);
  } else if (!line.starts_with("<!--")) {
    read_text(out, state, line);
  }
}

}  // namespace

std::optional<MarkdownFault> write_markdown_body(std::istream &page, std::ostream &out) {
  State state;
  std::string line;
  while (!state.fault && std::getline(page, line)) {
    ++state.line;
    read_line(out, state, line);
  }
  if (state.part == Part::kFence) refuse(state, state.first_line, "code that nothing closes");
  finish(out, state);
  return state.fault;
}
