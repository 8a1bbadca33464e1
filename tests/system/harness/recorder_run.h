// zel-record around the client, and what it wrote.
#ifndef ZEL_CLIENT_TESTS_HARNESS_RECORDER_RUN_H
#define ZEL_CLIENT_TESTS_HARNESS_RECORDER_RUN_H

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "harness/client_run.h"

/// The build folder's zel-record, libzel-record.so or zel-record-read.
std::filesystem::path recorder_file(const std::string &name);

/// Lets zel-record start the client of this run, with these options; the recording is the file given with -o. Under an
/// emulator, where a program cannot start another one, the client is started as zel-record would do it.
void record(ClientRun &run, const std::filesystem::path &recording, const std::vector<std::string> &options = {});

/// Starts the client as zel-record would do it. What is preloaded after this stands behind the recorder.
void preload_recorder(ClientRun &run, const std::filesystem::path &recording,
                      const std::vector<std::string> &options = {});

/// Runs zel-record show or frames to its end.
RunResult read_recording(const std::vector<std::string> &arguments, const std::filesystem::path &folder = "/");

/// The items of a recording as zel-record show --json prints them.
std::vector<nlohmann::json> recorded_items(const std::filesystem::path &recording,
                                           const std::vector<std::string> &options = {});

/// Those whose first key is `kind`.
std::vector<nlohmann::json> items_of(const std::vector<nlohmann::json> &items, const std::string &kind);

/// The calls of one name, and the names of all calls.
std::vector<nlohmann::json> calls_named(const std::vector<nlohmann::json> &items, const std::string &name);
std::vector<std::string> names_of_calls(const std::vector<nlohmann::json> &items);

#endif
