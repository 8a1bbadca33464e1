// The report as JSON.
#include <sys/utsname.h>

#include <nlohmann/json.hpp>

#include "compliance/common/options.h"
#include "compliance/program/report.h"

namespace compliance {
namespace {

using Json = nlohmann::ordered_json;

const char *word_of(Outcome outcome) {
  if (outcome == Outcome::kPassed) return "passed";
  return outcome == Outcome::kFailed ? "failed" : "skipped";
}

Json json_of(const Result &result) {
  Json json = {{"name", result.check.name},
               {"outcome", word_of(result.outcome)},
               {"expected", result.check.expects},
               {"needed_for", result.check.relies},
               {"duration_us", result.duration_us}};
  if (!result.findings.empty()) json["findings"] = result.findings;
  if (!result.reason.empty()) json["reason"] = result.reason;
  if (!result.notes.empty()) json["notes"] = result.notes;
  return json;
}

/// How a setting's value is shown.
struct Show {
  Json operator()(bool value) const { return value; }
  Json operator()(guint32 value) const { return value; }
  Json operator()(double value) const { return value; }
  Json operator()(const std::string &value) const { return value; }
  Json operator()(const zel_pair32u &value) const { return Json::array({value.first, value.second}); }
  Json operator()(const zel_quad32u &value) const {
    return Json::array({value.first, value.second, value.third, value.fourth});
  }
  Json operator()(const Nick &value) const { return value.word; }
};

}  // namespace

bool write_json(const std::vector<Result> &results, std::FILE *file) {
  utsname machine = {};
  (void)uname(&machine);
  Json report = {{"program", "zel-compliance"},
                 {"version", ZEL_VERSION},
                 {"machine", static_cast<const char *>(machine.machine)},
                 {"system", std::string(machine.sysname) + " " + machine.release},
                 {"word_bits", sizeof(void *) * 8},
                 {"settings", Json::object()},
                 {"passed", 0},
                 {"failed", 0},
                 {"skipped", 0},
                 {"checks", Json::array()}};
  for (const Setting &setting : options.settings)
    report["settings"][setting.key] = std::visit(Show{}, setting.value);
  for (const Result &result : results) {
    Json &count = report[word_of(result.outcome)];
    count = count.get<int>() + 1;
    report["checks"].push_back(json_of(result));
  }
  // What the library says need not be UTF-8.
  const std::string text = report.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
  return std::fwrite(text.data(), text.size(), 1, file) == 1 && std::fflush(file) == 0;
}

}  // namespace compliance
