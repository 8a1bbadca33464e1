// Turning one of our Markdown pages into the body of a manual page.
#ifndef ZEL_CLIENT_TOOLS_MARKDOWN_H
#define ZEL_CLIENT_TOOLS_MARKDOWN_H

#include <iosfwd>

/// Understands what our pages use: headings of three levels, paragraphs, bullets, indented and fenced code, tables,
/// `code` and [links](target) within a line. A table becomes a list: its first column the tag, the second the text, and
/// every further cell that is not empty a sentence headed by its column. The page's title is left out and what stands
/// below it becomes DESCRIPTION.
void write_markdown_body(std::istream &page, std::ostream &out);

#endif
