// A run of checks, of which some rest on others.
#ifndef ZEL_COMPLIANCE_RUN_H
#define ZEL_COMPLIANCE_RUN_H

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "compliance/runner/result.h"

namespace compliance {

/// Runs checks one after the other and keeps what became of them.
class Run {
 public:
  /// `tell` gets every result as it comes.
  explicit Run(std::function<void(const Result &)> tell) : tell_(std::move(tell)) {}

  /// Runs the check, or skips it when a check that it rests on fails. That one is run before, also when nobody asked
  /// for it; then it is a result only if it fails.
  void take(const Check &check);

  const std::vector<Result> &results() const { return results_; }

 private:
  Result run(const Check &check);
  bool passes(const char *needed);
  /// Why the check would say nothing; empty: it is worth running.
  std::string obstacle(const Check &check);
  void add(const Result &result);

  std::function<void(const Result &)> tell_;
  std::vector<Result> results_;
  std::map<std::string, bool> passed_;  ///< of every check that has run
};

}  // namespace compliance

#endif
