// Writes what is made from the client's tables: zel-client-documents KIND OUTPUT [TEMPLATE].
#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>
#include <string_view>

#include "completions.h"
#include "manual.h"

namespace {

struct Document {
  std::string_view kind;
  /// False when the template names an unknown option. `page` is the template, empty where none is needed.
  bool (*write)(std::istream &page, std::ostream &out);
};

constexpr std::array kDocuments = {
    Document{"man", [](std::istream &page, std::ostream &out) { return write_manual(page, out, ZEL_CLIENT_VERSION); }},
    Document{"bash", [](std::istream &page, std::ostream &out) { return write_bash_completion(page, out), true; }},
    Document{"zsh", [](std::istream &, std::ostream &out) { return write_zsh_completion(out), true; }},
    Document{"fish", [](std::istream &, std::ostream &out) { return write_fish_completion(out), true; }},
};

int refuse_usage() {
  std::cerr << "usage: zel-client-documents ";
  for (const Document &document : kDocuments)
    std::cerr << (&document == kDocuments.begin() ? "" : "|") << document.kind;
  std::cerr << " OUTPUT [TEMPLATE]\n";
  return 2;
}

}  // namespace

int main(int argc, char **argv) {
  const std::string_view kind = argc > 1 ? argv[1] : "";
  const auto *document = std::ranges::find(kDocuments, kind, &Document::kind);
  if (argc < 3 || document == kDocuments.end()) return refuse_usage();
  std::ifstream page;
  if (argc > 3) page.open(argv[3]);
  std::ofstream out(argv[2]);
  if (!page || !out || !document->write(page, out) || !out.flush()) {
    std::cerr << "zel-client-documents: cannot write " << argv[2] << '\n';
    return 1;
  }
  return 0;
}
