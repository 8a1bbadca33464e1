// Running zel-compliance and reading its report.
#include "compliance_run.h"

#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>

#include "harness/build_under_test.h"
#include "harness/client_run.h"
#include "tests/support/files.h"

std::set<std::string> ComplianceRun::checks(const std::string &outcome) const {
  std::set<std::string> names;
  for (const auto &[name, one] : outcomes)
    if (one == outcome) names.insert(name);
  return names;
}

ComplianceRun run_compliance(const std::vector<std::string> &arguments, const Surroundings &surroundings,
                             bool with_report) {
  const TempFolder folder;
  const std::string key_file = folder / "camera.conf";
  const std::string report = folder / "report.json";
  write_file(key_file, surroundings.key_file);
  ProcessSetup setup;
  setup.command = build_under_test().emulator;
  setup.command.push_back(build_under_test().compliance.string());
  setup.command.insert(setup.command.end(), arguments.begin(), arguments.end());
  if (with_report) setup.command.push_back("--json=" + report);
  setup.folder = folder.path();
  setup.stdout_path = folder / "stdout";
  setup.stderr_path = folder / "stderr";
  setup.environment["ZEL_CAMERA"] = key_file;
  for (const auto &[name, value] : surroundings.environment)
    setup.environment[name] = value;
  // A sanitizer opens libraries in the program's place, and does not know the program's path to the camera.
  const bool is_given = !surroundings.libzel_folder.empty();
  setup.environment["LD_LIBRARY_PATH"] =
      is_given ? surroundings.libzel_folder.string() : build_under_test().camera.parent_path().string();
  setup.guard = std::chrono::seconds(1500);
  ComplianceRun run;
  run.result = Process(setup).wait();
  if (!with_report) return run;
  const nlohmann::json read = nlohmann::json::parse(read_file(report));
  for (const nlohmann::json &check : read.at("checks")) {
    const std::string name = check.at("name");
    run.outcomes[name] = check.at("outcome");
    run.texts[name] = check.value("reason", "");
    for (const std::string &text : check.value("findings", std::vector<std::string>{}))
      run.texts[name] += text + "\n";
  }
  return run;
}

std::vector<std::string> quick_options() {
  return {"--set=d:framerate=300", "--size=64x64", "--limit=400"};
}

std::set<std::string> listed_checks(const std::vector<std::string> &arguments) {
  std::vector<std::string> all = arguments;
  all.emplace_back("--list");
  const ComplianceRun run = run_compliance(all, {}, false);
  EXPECT_EQ(run.result.status, 0) << run.result.err;
  std::istringstream lines(run.result.out);
  std::set<std::string> names;
  for (std::string line; std::getline(lines, line);)
    EXPECT_TRUE(names.insert(line.substr(0, line.find(' '))).second) << line;
  return names;
}
