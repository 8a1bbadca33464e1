// The conversion of a Markdown page to a manual page's body, and what it refuses.
#include "markdown.h"

#include <gtest/gtest.h>

#include <optional>
#include <sstream>
#include <string>

namespace {

/// The body that a page becomes; the page must have no fault.
std::string body_of(const std::string &page) {
  std::istringstream in(page);
  std::ostringstream out;
  const std::optional<MarkdownFault> fault = write_markdown_body(in, out);
  if (fault) ADD_FAILURE() << "line " << fault->line << ": " << fault->what;
  return out.str();
}

/// "LINE: WHAT" of the page's fault, "none" without one.
std::string fault_of(const std::string &page) {
  std::istringstream in(page);
  std::ostringstream out;
  const std::optional<MarkdownFault> fault = write_markdown_body(in, out);
  return fault ? std::to_string(fault->line) + ": " + fault->what : "none";
}

// A heading in the wrong place of the page's order, or the page's own title kept.
TEST(Markdown, HeadingsBecomeSections) {
  EXPECT_EQ(body_of("# The page\n\nText.\n\n## Two `words`\n\n### `[group]`: more\n\nText.\n"),
            ".SH \"DESCRIPTION\"\nText.\n.SH \"TWO WORDS\"\n.SS \"[group]: more\"\nText.\n");
}

// Lines of one paragraph set apart, or two paragraphs run together.
TEST(Markdown, ParagraphsAndBullets) {
  EXPECT_EQ(body_of("One\nparagraph.\n\nAnother.\n\n- a bullet\n  of two lines\n- the next\n"),
            ".PP\nOne paragraph.\n.PP\nAnother.\n.IP \\(bu 2\na bullet of two lines\n.IP \\(bu 2\nthe next\n");
}

// A line of prose that begins with a dot is taken for a request and vanishes.
TEST(Markdown, DotsAtTheStartOfALineAreText) {
  EXPECT_EQ(body_of(".PP is text.\n"), ".PP\n\\&.PP is text.\n");
}

// Code and links keep their marks, or lose their text.
TEST(Markdown, CodeAndLinks) {
  EXPECT_EQ(body_of("Take `a*b|c_d_` and [the `x[0]` page](a_b_c.md), [this] too.\n"),
            ".PP\nTake \\fBa*b|c_d_\\fR and the \\fBx[0]\\fR page, [this] too.\n");
  EXPECT_EQ(body_of("Code `over\ntwo lines`.\n"), ".PP\nCode \\fBover two lines\\fR\\&.\n");
}

// What is code is read as Markdown.
TEST(Markdown, CodeBlocksAreLeftAlone) {
  EXPECT_EQ(body_of("Text:\n\n    1. **a** | `b\n\n```sh\n# c\n* d  \n```\n"),
            ".PP\nText:\n.PP\n.RS 4\n.nf\n1. **a** | \\(gab\n.fi\n.RE\n.PP\n.RS 4\n.nf\n# c\n* d  \n.fi\n.RE\n");
}

// A cell in the wrong column, or an empty one with a heading of its own.
TEST(Markdown, TablesBecomeLists) {
  EXPECT_EQ(body_of("| key | value | default |\n|---|:--|---|\n| `a` | the first | 1 |\n| `b` | more. | |\n"),
            ".TP\n\\fBa\\fR\nThe first.\nDefault: 1.\n.TP\n\\fBb\\fR\nMore.\n");
}

// Marks of the page's own tools are shown to the reader.
TEST(Markdown, CommentsAreLeftOut) {
  EXPECT_EQ(body_of("<!-- file: a.conf -->\n\nText.\n"), ".PP\nText.\n");
}

// Signs that mean nothing where they stand are refused.
TEST(Markdown, HarmlessSignsAreText) {
  for (const char *text : {"a * b * c", "qp.* and no other", "log_getters and part_a_b", "x < y, a & b", "C:\\dir",
                           "[one] or [two]", "24 × N; 1. at the end", "- 1. in a bullet"}) {
    EXPECT_EQ(fault_of(std::string(text) + "\n"), "none") << text;
  }
}

// A construct without a translation is mangled in the manual page, and nobody notices.
TEST(Markdown, RefusesLinesThatItDoesNotKnow) {
  EXPECT_EQ(fault_of("Text.\n\n1. one\n"), "3: a numbered list");
  EXPECT_EQ(fault_of("  12) twelve\n"), "1: a numbered list");
  EXPECT_EQ(fault_of("* one\n"), "1: a list with * or +");
  EXPECT_EQ(fault_of("- one\n  - two\n"), "2: a list that is indented");
  EXPECT_EQ(fault_of("#### Deep\n"), "1: a heading below the third level");
  EXPECT_EQ(fault_of("#Heading\n"), "1: a heading that is no \"# \" and text");
  EXPECT_EQ(fault_of("Heading\n=======\n"), "2: a rule or an underlined heading");
  EXPECT_EQ(fault_of("---\n"), "1: a rule or an underlined heading");
  EXPECT_EQ(fault_of("> quoted\n"), "1: a quote");
  EXPECT_EQ(fault_of("~~~\n"), "1: a fence that is no ``` at the start of the line");
  EXPECT_EQ(fault_of("Text.\n\n```sh\nls\n"), "3: code that nothing closes");
  EXPECT_EQ(fault_of("[here]: there.md\n"), "1: a definition of a link or a footnote");
  EXPECT_EQ(fault_of("<!-- one\ntwo -->\n"), "1: a comment of several lines");
  EXPECT_EQ(fault_of("one  \ntwo\n"), "1: a space or a backslash at the end of a line");
  EXPECT_EQ(fault_of("one\\\ntwo\n"), "1: a space or a backslash at the end of a line");
  EXPECT_EQ(fault_of("a\tb\n"), "1: a tab");
  EXPECT_EQ(fault_of("- one\n\n  more of it\n"), "3: an indented paragraph");
  EXPECT_EQ(fault_of("- one\n\n    more of it\n"), "3: an indented paragraph");
}

TEST(Markdown, RefusesTextThatItDoesNotKnow) {
  EXPECT_EQ(fault_of("One\ntwo **bold**.\n"), "2: bold or italic text");
  EXPECT_EQ(fault_of("- **`code` in bold**\n"), "1: bold or italic text");
  EXPECT_EQ(fault_of("an *italic* word\n"), "1: bold or italic text");
  EXPECT_EQ(fault_of("an _italic_ word\n"), "1: bold or italic text");
  EXPECT_EQ(fault_of("## A __bold__ heading\n"), "1: bold or italic text");
  EXPECT_EQ(fault_of("two ``back`ticks``\n"), "1: code in more than one backtick");
  EXPECT_EQ(fault_of("an open `backtick\n"), "1: a backtick that nothing closes");
  EXPECT_EQ(fault_of("~~struck~~\n"), "1: struck text");
  EXPECT_EQ(fault_of("an ![image](a.png)\n"), "1: an image");
  EXPECT_EQ(fault_of("a note[^1]\n"), "1: a footnote or a link that is no [text](target)");
  EXPECT_EQ(fault_of("a [link][there]\n"), "1: a footnote or a link that is no [text](target)");
  EXPECT_EQ(fault_of("## A [link](a.md)\n"), "1: a link in a heading");
  EXPECT_EQ(fault_of("a \\* star\n"), "1: a backslash that hides a character");
  EXPECT_EQ(fault_of("a&nbsp;b\n"), "1: a character by its name");
  EXPECT_EQ(fault_of("<b>bold</b>\n"), "1: HTML");
  EXPECT_EQ(fault_of("at <https://a.example>\n"), "1: HTML");
}

TEST(Markdown, RefusesTablesThatItDoesNotKnow) {
  const std::string head = "| a | b |\n|---|---|\n";
  EXPECT_EQ(fault_of(head + "| `x|y` | z |\n"), "3: a | within the code or the link of a table");
  EXPECT_EQ(fault_of(head + "| one |\n"), "3: a row of 1 cells in a table of 2 columns");
  EXPECT_EQ(fault_of(head + "| one | two | three |\n"), "3: a row of 3 cells in a table of 2 columns");
  EXPECT_EQ(fault_of(head + "| one | two\n"), "3: a table whose rows do not end with |");
  EXPECT_EQ(fault_of(head + "| **one** | two |\n"), "3: bold or italic text");
  EXPECT_EQ(fault_of(head + "| one | two |\ntext\n"), "4: text right below a table");
  EXPECT_EQ(fault_of("| a | b |\n| c | d |\n"), "2: a table without |---| below its headings");
  EXPECT_EQ(fault_of("| a | b |\n"), "1: a table without |---| below its headings");
  EXPECT_EQ(fault_of("| a |\n|---|\n"), "1: a table of one column");
  EXPECT_EQ(fault_of("a | b\n--- | ---\n"), "2: a table whose rows do not begin with |");
}

}  // namespace
