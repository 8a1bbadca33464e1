// Writes a manual page around a Markdown page: zel-markdown-page OUTPUT TEMPLATE MARKDOWN. In the template the line
// "@page@" becomes the page, and "@version@" the version.
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "markdown.h"

int main(int argc, char **argv) {
  if (argc != 4) {
    std::cerr << "usage: zel-markdown-page OUTPUT TEMPLATE MARKDOWN\n";
    return 2;
  }
  constexpr std::string_view kVersionMark = "@version@";
  std::ostringstream out;  // reaches the file only when it is whole, so that a failed build makes it again
  std::ifstream page(argv[2]);
  std::ifstream markdown(argv[3]);
  std::string line;
  while (std::getline(page, line)) {
    if (line == "@page@") {
      if (const std::optional<MarkdownFault> fault = write_markdown_body(markdown, out)) {
        std::cerr << argv[3] << ':' << fault->line << ": " << fault->what << " cannot go into a manual page\n";
        return 1;
      }
      continue;
    }
    const std::size_t at = line.find(kVersionMark);
    if (at != std::string::npos) line.replace(at, kVersionMark.size(), ZEL_CLIENT_VERSION);
    out << line << '\n';
  }
  if (page.eof() && markdown.eof()) {
    std::ofstream file(argv[1]);
    if ((file << out.str()).flush()) return 0;
  }
  std::cerr << "zel-markdown-page: cannot write " << argv[1] << '\n';
  return 1;
}
