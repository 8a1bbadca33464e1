// One of a program's documents.
#include <algorithm>
#include <array>
#include <fstream>
#include <iostream>
#include <string_view>

#include "completions.h"
#include "manual.h"
#include "program.h"

namespace {

struct Document {
  std::string_view kind;
  /// False when the template does not fit the program. `page` is the template, empty where none is needed.
  bool (*write)(const Program &program, std::istream &page, std::ostream &out);
};

constexpr std::array kDocuments = {
    Document{"man", write_manual},
    Document{"bash",
             [](const Program &program, std::istream &page, std::ostream &out) {
               write_bash_completion(program, page, out);
               return true;
             }},
    Document{"zsh", [](const Program &program, std::istream &,
                       std::ostream &out) { return write_zsh_completion(program, out), true; }},
    Document{"fish", [](const Program &program, std::istream &,
                        std::ostream &out) { return write_fish_completion(program, out), true; }},
};

int refuse_usage(std::string_view tool) {
  std::cerr << "usage: " << tool << ' ';
  for (const Document &document : kDocuments)
    std::cerr << (&document == kDocuments.begin() ? "" : "|") << document.kind;
  std::cerr << " OUTPUT [TEMPLATE]\n";
  return 2;
}

}  // namespace

int write_document(int argc, char **argv, const Program &program) {
  const std::string tool = program.name + "-documents";
  const std::string_view kind = argc > 1 ? argv[1] : "";
  const auto *document = std::ranges::find(kDocuments, kind, &Document::kind);
  if (argc < 3 || document == kDocuments.end()) return refuse_usage(tool);
  std::ifstream page;
  if (argc > 3) page.open(argv[3]);
  std::ofstream out(argv[2]);
  if (!page || !out || !document->write(program, page, out) || !out.flush()) {
    std::cerr << tool << ": cannot write " << argv[2] << '\n';
    return 1;
  }
  return 0;
}
