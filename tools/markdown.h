// Turning one of our Markdown pages into the body of a manual page.
#ifndef ZEL_CLIENT_TOOLS_MARKDOWN_H
#define ZEL_CLIENT_TOOLS_MARKDOWN_H

#include <iosfwd>
#include <optional>

#include "markdown_rules.h"

/// Understands what our pages use: headings of three levels, paragraphs, bullets, indented and fenced code, tables,
/// `code` and [links](target) within a line. A table becomes a list: its first column the tag, the second the text, and
/// every further cell that is not empty a sentence headed by its column. The page's title is left out and what stands
/// below it becomes DESCRIPTION. A line that begins with "<!--" and ends with "-->" is left out.
///
/// Ends at the first construct that is none of these and returns it; what was written before it is of no use then.
std::optional<MarkdownFault> write_markdown_body(std::istream &page, std::ostream &out);

#endif
