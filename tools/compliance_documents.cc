// Writes what is made from zel-compliance's options and checks: zel-compliance-documents KIND OUTPUT [TEMPLATE].
#include "compliance/checks/check.h"
#include "compliance/common/options.h"
#include "program.h"

namespace {

Option option_of(const compliance::OptionRow &row) {
  Option option = {.name = row.name, .value = row.value, .help = row.help, .initial = {}, .choices = {}};
  if (!option.value.empty()) option.kind = option.value == "FILE" ? ValueKind::kFileName : ValueKind::kOther;
  return option;
}

/// The checks; those that there are for each codec as one.
ItemList check_list() {
  ItemList list = {.name = "checks", .items = {}};
  for (const compliance::Check &check : compliance::all_checks()) {
    const std::size_t slash = check.name.find('/');
    const std::string name = check.name.substr(0, slash) + (slash != std::string::npos ? "/codec" : "");
    if (!list.items.empty() && list.items.back().name == name) continue;
    list.items.push_back({.name = name, .sentences = {check.expects}});
    list.items.back().sentences.push_back("Needed for: " + check.relies);
    if (check.dangerous) list.items.back().sentences.emplace_back("Only with --all");
  }
  return list;
}

}  // namespace

int main(int argc, char **argv) {
  Command command;
  for (const compliance::OptionRow &row : compliance::option_rows())
    command.options.push_back(option_of(row));
  const Program program = {
      .name = "zel-compliance",
      .version = ZEL_CLIENT_VERSION,
      .commands = {command},
      .lists = {{"options", command.options}},
      .items = {check_list()},
  };
  return write_document(argc, argv, program);
}
