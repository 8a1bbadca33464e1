// What a Markdown page may not hold because the manual page would show it wrong.
#ifndef ZEL_CLIENT_TOOLS_MARKDOWN_RULES_H
#define ZEL_CLIENT_TOOLS_MARKDOWN_RULES_H

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/// A construct without a translation.
struct MarkdownFault {
  std::size_t line = 0;  ///< from 1 in a page; in a text, line breaks before it
  std::string what;      ///< "bold or italic text" and the like
};

/// The text with every character of a `code` span and of a link's brackets and target replaced by one that means
/// nothing in Markdown, at the same offsets. What is left is the text that formats are searched in.
std::string without_code(std::string_view text);

/// The first kind of fault within a line that is not code: a list, a quote, a rule and so on. Its line is 0.
std::optional<MarkdownFault> line_fault(const std::string &line);

/// The same within the whole text of a paragraph, a bullet, a cell or a heading, whose lines are separated by '\n'.
std::optional<MarkdownFault> text_fault(const std::string &text);

#endif
