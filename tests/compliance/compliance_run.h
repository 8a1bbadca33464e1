// Runs of the real zel-compliance.
#ifndef ZEL_TEST_COMPLIANCE_RUN_H
#define ZEL_TEST_COMPLIANCE_RUN_H

#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "harness/process.h"

/// How a run ended, and its report.
struct ComplianceRun {
  RunResult result;
  std::map<std::string, std::string> outcomes;  ///< of each check: "passed", "failed" or "skipped"
  std::map<std::string, std::string> texts;     ///< of each check: findings, or the reason why it was skipped

  /// The checks with that outcome.
  std::set<std::string> checks(const std::string &outcome) const;
};

/// Where a run finds its library and what that is told.
struct Surroundings {
  std::filesystem::path libzel_folder = {};             ///< of libzel.so.1; empty: the software camera's
  std::string key_file = "[camera]\n";                  ///< of the software camera
  std::map<std::string, std::string> environment = {};  ///< more variables
};

/// Runs it to its end, with a report in JSON if `with_report`.
ComplianceRun run_compliance(const std::vector<std::string> &arguments, const Surroundings &surroundings = {},
                             bool with_report = true);

/// Small pictures in quick succession, and enough patience for any machine.
std::vector<std::string> quick_options();

/// The names that --list prints.
std::set<std::string> listed_checks(const std::vector<std::string> &arguments = {});

#endif
