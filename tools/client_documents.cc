// Writes what is made from the client's tables: zel-client-documents KIND OUTPUT [TEMPLATE], the kind being man, bash,
// zsh or fish.
#include <fstream>
#include <iostream>
#include <string_view>

#include "completions.h"
#include "manual.h"

namespace {

/// False for an unknown kind and for a template that names an unknown option.
bool write_document(std::string_view kind, std::istream &page, std::ostream &out) {
  if (kind == "man") return write_manual(page, out, ZEL_CLIENT_VERSION);
  if (kind == "bash") {
    write_bash_completion(page, out);
  } else if (kind == "zsh") {
    write_zsh_completion(out);
  } else if (kind == "fish") {
    write_fish_completion(out);
  } else {
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char **argv) {
  if (argc < 3) {
    std::cerr << "usage: zel-client-documents man|bash|zsh|fish OUTPUT [TEMPLATE]\n";
    return 2;
  }
  std::ifstream page;
  if (argc > 3) page.open(argv[3]);
  std::ofstream out(argv[2]);
  if (!page || !out || !write_document(argv[1], page, out) || !out.flush()) {
    std::cerr << "zel-client-documents: cannot write " << argv[2] << '\n';
    return 1;
  }
  return 0;
}
