// From Markdown to roff, line by line.
#include "markdown.h"

#include <cctype>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "roff.h"

namespace {

constexpr std::size_t kLineWidth = 78;

/// What the lines read last belong to.
enum class Part { kNone, kParagraph, kBullet, kCode, kFence, kTable };

struct State {
  Part part = Part::kNone;
  std::string text;                  ///< of the paragraph or bullet so far
  std::vector<std::string> columns;  ///< headings of the table
  bool below_heading = false;        ///< nothing was written since the last heading
};

std::string trimmed(std::string_view text) {
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.front())) != 0)
    text.remove_prefix(1);
  while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())) != 0)
    text.remove_suffix(1);
  return std::string(text);
}

/// `code` in bold, links as their text.
std::string inline_text(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t close = text.front() == '`' ? text.find('`', 1) : std::string_view::npos;
    const std::size_t bracket = text.front() == '[' ? text.find("](") : std::string_view::npos;
    const std::size_t target = bracket != std::string_view::npos ? text.find(')', bracket) : bracket;
    if (close != std::string_view::npos) {
      result += "\\fB" + roff_text(text.substr(1, close - 1)) + "\\fR";
      text.remove_prefix(close + 1);
    } else if (target != std::string_view::npos) {
      result += inline_text(text.substr(1, bracket - 1));
      text.remove_prefix(target + 1);
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

std::vector<std::string> cells(const std::string &row) {
  std::vector<std::string> list;
  std::istringstream parts(row.substr(1));
  std::string cell;
  while (std::getline(parts, cell, '|'))
    list.push_back(trimmed(cell));
  return list;
}

std::string capitalised(std::string text) {
  if (!text.empty()) text.front() = static_cast<char>(std::toupper(static_cast<unsigned char>(text.front())));
  return text;
}

std::string sentence(const std::string &text) {
  return text.ends_with('.') ? text : text + ".";
}

void write_row(std::ostream &out, const State &state, const std::string &row) {
  const std::vector<std::string> row_cells = cells(row);
  if (row_cells.size() < 2 || row_cells[0].find_first_not_of("-:") == std::string::npos) return;
  out << ".TP\n" << inline_text(row_cells[0]) << '\n';
  write_wrapped(out, inline_text(sentence(capitalised(row_cells[1]))));
  for (std::size_t i = 2; i < row_cells.size() && i < state.columns.size(); ++i) {
    if (row_cells[i].empty()) continue;
    write_wrapped(out, inline_text(capitalised(state.columns[i]) + ": " + sentence(row_cells[i])));
  }
}

/// Ends what is open.
void finish(std::ostream &out, State &state) {
  if (state.part == Part::kParagraph || state.part == Part::kBullet) {
    if (state.part == Part::kBullet) out << ".IP \\(bu 2\n";
    if (state.part == Part::kParagraph && !state.below_heading) out << ".PP\n";
    write_wrapped(out, inline_text(state.text));
  }
  if (state.part == Part::kCode || state.part == Part::kFence) out << ".fi\n.RE\n";
  const bool wrote = state.part != Part::kNone;
  state = State{.text = {}, .columns = {}, .below_heading = state.below_heading && !wrote};
}

void write_heading(std::ostream &out, const std::string &line) {
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
  finish(out, state);
  out << (state.below_heading ? "" : ".PP\n") << ".RS 4\n.nf\n";
  state.part = part;
}

void read_text(std::ostream &out, State &state, const std::string &line) {
  const bool bullet = line.starts_with("- ");
  if (bullet || (state.part != Part::kParagraph && state.part != Part::kBullet)) {
    finish(out, state);
    state.part = bullet ? Part::kBullet : Part::kParagraph;
  }
  state.text += ' ' + line.substr(bullet ? 2 : 0);
}

void read_line(std::ostream &out, State &state, const std::string &line) {
  if (line.starts_with("```")) {
    if (state.part == Part::kFence) return finish(out, state);
    return open_code(out, state, Part::kFence);
  }
  if (state.part == Part::kFence) {
    out << roff_text(line) << '\n';
  } else if (line.empty()) {
    finish(out, state);
  } else if (line.starts_with("    ") && (state.part == Part::kNone || state.part == Part::kCode)) {
    if (state.part != Part::kCode) open_code(out, state, Part::kCode);
    out << roff_text(line.substr(4)) << '\n';
  } else if (line.starts_with('#')) {
    finish(out, state);
    write_heading(out, line);
    state.below_heading = true;
  } else if (line.starts_with('|') && state.part != Part::kTable) {
    finish(out, state);
    state.part = Part::kTable;
    state.columns = cells(line);
  } else if (line.starts_with('|')) {
    write_row(out, state, line);
  } else if (!line.starts_with("<!--")) {
    read_text(out, state, line);
  }
}

}  // namespace

void write_markdown_body(std::istream &page, std::ostream &out) {
  State state;
  std::string line;
  while (std::getline(page, line))
    read_line(out, state, line);
  finish(out, state);
}
