// Putting zel-record before the client.
#include "harness/recorder_run.h"

#include <gtest/gtest.h>

#include <sstream>

#include "harness/build_under_test.h"

std::filesystem::path recorder_file(const std::string &name) {
  return build_under_test().client.parent_path() / name;
}

void record(ClientRun &run, const std::filesystem::path &recording, const std::vector<std::string> &options) {
  if (client_is_emulated()) {
    preload_recorder(run, recording, options);
    return;
  }
  std::vector<std::string> words = {recorder_file("zel-record"), "-o", recording};
  words.insert(words.end(), options.begin(), options.end());
  words.emplace_back("--");
  run.under(words);
}

void preload_recorder(ClientRun &run, const std::filesystem::path &recording, const std::vector<std::string> &options) {
  write_file(recording, "");
  run.preload(recorder_file("libzel-record.so"));
  run.environment("ZEL_RECORD_FILE", recording);
  for (const std::string &option : options) {
    if (option == "--no-pictures") run.environment("ZEL_RECORD_NO_PICTURES", "1");
    if (option.starts_with("--max-size=")) run.environment("ZEL_RECORD_MAX_SIZE", option.substr(option.find('=') + 1));
  }
}

RunResult read_recording(const std::vector<std::string> &arguments, const std::filesystem::path &folder) {
  std::vector<std::string> command = build_under_test().emulator;
  command.push_back(recorder_file("zel-record-read"));
  command.insert(command.end(), arguments.begin(), arguments.end());
  return run_tool(command, folder);
}

std::vector<nlohmann::json> recorded_items(const std::filesystem::path &recording,
                                           const std::vector<std::string> &options) {
  std::vector<std::string> arguments = {"show", "--json", recording};
  arguments.insert(arguments.end(), options.begin(), options.end());
  const RunResult result = read_recording(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  std::vector<nlohmann::json> items;
  std::istringstream lines(result.out);
  for (std::string line; std::getline(lines, line);)
    items.push_back(nlohmann::json::parse(line));
  return items;
}

std::vector<nlohmann::json> items_of(const std::vector<nlohmann::json> &items, const std::string &kind) {
  std::vector<nlohmann::json> found;
  for (const nlohmann::json &item : items) {
    if (item.contains(kind)) found.push_back(item);
  }
  return found;
}

std::vector<nlohmann::json> calls_named(const std::vector<nlohmann::json> &items, const std::string &name) {
  std::vector<nlohmann::json> found;
  for (const nlohmann::json &call : items_of(items, "call")) {
    if (call.at("call") == name) found.push_back(call);
  }
  return found;
}

std::vector<std::string> names_of_calls(const std::vector<nlohmann::json> &items) {
  std::vector<std::string> names;
  for (const nlohmann::json &call : items_of(items, "call"))
    names.push_back(call.at("call"));
  return names;
}
