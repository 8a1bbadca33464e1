// zel-compliance: whether a libzel keeps what zel-client relies on.
#include <cstdio>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "compliance/common/options.h"
#include "compliance/program/report.h"
#include "compliance/runner/child.h"
#include "compliance/runner/run.h"

namespace {

using namespace compliance;

/// Every check passed or was skipped; also how the help and the list end.
constexpr int kGood = 0;
constexpr int kDiffers = 1;
constexpr int kUnusable = 2;

/// Prints a text that begins in the column, broken at blanks so that it fits a terminal.
void print_wrapped(std::string_view text, std::size_t column) {
  constexpr std::size_t kWidth = 80;
  while (text.size() > kWidth - column) {
    const std::size_t blank = text.rfind(' ', kWidth - column);
    if (blank == std::string_view::npos) break;
    std::printf("%.*s\n%*s", static_cast<int>(blank), text.data(), static_cast<int>(column), "");
    text.remove_prefix(blank + 1);
  }
  std::printf("%.*s\n", static_cast<int>(text.size()), text.data());
}

void print_help() {
  std::printf(
      "Usage: zel-compliance [OPTION...]\n\n"
      "Checks whether the libzel.so.1 that the loader finds keeps what zel-client\n"
      "relies on.\n\n");
  for (const OptionRow &row : option_rows()) {
    const std::string option = std::string("--") + row.name + (*row.value != '\0' ? "=" : "") + row.value;
    std::printf("  %-20s  ", option.c_str());
    print_wrapped(row.help, 24);
  }
  std::printf("\nExit status: 0: nothing differs, 1: something does, 2: the command line cannot\nbe used\n");
}

std::vector<Check> selected_checks() {
  std::vector<Check> checks;
  for (Check &check : all_checks()) {
    if (is_selected(check.name, options.filter) && (options.all || !check.dangerous || options.list)) {
      checks.push_back(std::move(check));
    }
  }
  return checks;
}

struct CloseFile {
  void operator()(std::FILE *file) const { (void)std::fclose(file); }
};

int fail_to_write() {
  std::fprintf(stderr, "zel-compliance: cannot write %s: %m\n", options.json.c_str());
  return kUnusable;
}

int check_library() {
  const std::vector<Check> checks = selected_checks();
  if (checks.empty()) {
    std::fprintf(stderr, "zel-compliance: no check is called %s%s\n", options.filter.c_str(),
                 options.all ? "" : ", or only dangerous ones, which need --all");
    return kUnusable;
  }
  if (options.list) {
    print_list(checks);
    return kGood;
  }
  std::unique_ptr<std::FILE, CloseFile> json;
  if (!options.json.empty()) {
    json.reset(std::fopen(options.json.c_str(), "we"));  // closed in the checks' processes
    if (json == nullptr) return fail_to_write();
  }
  prepare_checks();
  Run run(print_result);
  for (const Check &check : checks)
    run.take(check);
  print_summary(run.results());
  if (json != nullptr && !write_json(run.results(), json.get())) return fail_to_write();
  for (const Result &result : run.results())
    if (result.outcome == Outcome::kFailed) return kDiffers;
  return kGood;
}

}  // namespace

int main(int argc, char **argv) {
  if (!parse_command_line(argc, argv)) return kUnusable;
  if (options.help) {
    print_help();
    return kGood;
  }
  if (options.version) {
    std::printf("zel-compliance %s\n", ZEL_VERSION);
    return kGood;
  }
  return check_library();
}
