// Running checks in their order.
#include "compliance/runner/run.h"

#include <algorithm>

#include "compliance/common/options.h"
#include "compliance/runner/child.h"
#include "compliance/runner/open_once.h"

namespace compliance {

void Run::take(const Check &check) {
  const std::string reason = obstacle(check);
  if (passed_.contains(check.name)) return;  // it failed, and others rest on it
  if (!reason.empty()) {
    add({.check = check, .outcome = Outcome::kSkipped, .findings = {}, .reason = reason, .notes = {}});
    return;
  }
  add(run(check));
}

Result Run::run(const Check &check) {
  Result result = run_check(check, options.limit + (check.group() == "Time" ? options.seconds : 0));
  const bool passed = result.outcome == Outcome::kPassed;
  passed_[check.name] = passed;
  if (passed && check.name == kOpens) open_once(options.limit);
  return result;
}

bool Run::passes(const char *needed) {
  const auto known = passed_.find(needed);
  if (known != passed_.end()) return known->second;
  const std::vector<Check> checks = all_checks();
  const Result result = run(*std::ranges::find(checks, needed, &Check::name));
  const bool passed = passed_.at(needed);
  if (!passed) add(result);
  return passed;
}

std::string Run::obstacle(const Check &check) {
  if (check.name != kOpens && !passes(kOpens)) return "there is no library";
  if (check.needs_frames && !passes(kDelivery)) return std::string("no frames come, see ") + kDelivery;
  return "";
}

void Run::add(const Result &result) {
  tell_(result);
  results_.push_back(result);
}

}  // namespace compliance
