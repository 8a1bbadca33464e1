// The report on the console.
#include "compliance/program/report.h"

#include <algorithm>
#include <string_view>

namespace compliance {
namespace {

/// Prints a text whose lines are all indented.
void print_indented(std::string_view text) {
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    std::printf("        %.*s\n", static_cast<int>(end), text.data());
    text.remove_prefix(std::min(text.size(), end + 1));
  }
}

std::size_t count_of(const std::vector<Result> &results, Outcome outcome) {
  return static_cast<std::size_t>(std::ranges::count(results, outcome, &Result::outcome));
}

}  // namespace

void print_result(const Result &result) {
  const char *word = result.outcome == Outcome::kPassed ? "pass" : result.outcome == Outcome::kFailed ? "FAIL" : "skip";
  std::printf("%s  %s", word, result.check.name.c_str());
  if (result.outcome == Outcome::kSkipped) std::printf(": %s", result.reason.c_str());
  const bool one_line = result.notes.size() == 1;
  if (one_line) std::printf(": %s", result.notes.front().c_str());
  std::printf("\n");
  for (const std::string &text : result.notes)
    if (!one_line) print_indented(text);
  for (const std::string &finding : result.findings)
    print_indented(finding);
  (void)std::fflush(stdout);
}

void print_summary(const std::vector<Result> &results) {
  const std::size_t failed = count_of(results, Outcome::kFailed);
  std::printf("\n%zu %s: %zu passed, %zu failed, %zu skipped\n", results.size(),
              results.size() == 1 ? "check" : "checks", count_of(results, Outcome::kPassed), failed,
              count_of(results, Outcome::kSkipped));
  if (failed == 0) return;
  std::printf("\nWhat differs, and what of zel-client rests on it:\n");
  for (const Result &result : results) {
    if (result.outcome != Outcome::kFailed) continue;
    std::printf("  %s\n    expected: %s.\n    needed for: %s.\n", result.check.name.c_str(),
                result.check.expects.c_str(), result.check.relies.c_str());
  }
}

void print_list(const std::vector<Check> &checks) {
  std::size_t width = 0;
  for (const Check &check : checks)
    width = std::max(width, check.name.size());
  for (const Check &check : checks) {
    std::printf("%-*s  %s%s\n", static_cast<int>(width), check.name.c_str(), check.expects.c_str(),
                check.dangerous ? " (only with --all)" : "");
  }
}

}  // namespace compliance
