// Taking the client's console output apart.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_CONSOLE_TEXT_H
#define ZEL_CLIENT_TESTS_SYSTEM_CONSOLE_TEXT_H

#include <sstream>
#include <string>
#include <string_view>
#include <vector>

/// What the client prints once the stream is set up: everything behind the line "Starting Stream[...]:".
inline std::string after_start(const std::string &out) {
  const std::size_t line = out.find("Starting Stream[");
  if (line == std::string::npos) return "<no start>" + out;
  return out.substr(out.find('\n', line) + 1);
}

/// The lines that begin with `prefix`.
inline std::vector<std::string> lines_with(const std::string &out, std::string_view prefix) {
  std::vector<std::string> lines;
  std::istringstream stream(out);
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(prefix)) lines.push_back(line);
  }
  return lines;
}

/// The lines of frames.
inline std::vector<std::string> frame_lines(const std::string &out) {
  return lines_with(out, "zel-client: frame = ");
}

/// How often `part` occurs.
inline std::size_t occurrences(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos; at = text.find(part, at + part.size()))
    ++count;
  return count;
}

/// The text of a column or of the report's line `label`: what stands behind "<label> = ", blanks skipped, up to the
/// next blank, comma or line end. "" when there is none.
inline std::string field(const std::string &text, const std::string &label) {
  std::size_t at = text.find(label);
  if (at == std::string::npos) return "";
  at = text.find_first_not_of(" =", at + label.size());
  return text.substr(at, text.find_first_of(" ,\n", at) - at);
}

/// The same as a number.
inline long long number(const std::string &text, const std::string &label) {
  return std::stoll(field(text, label));
}

#endif
