// Sets up the client's surroundings and runs it, natively or under the build's emulator.
#include "harness/client_run.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <iterator>
#include <sstream>
#include <stdexcept>

#include "harness/build_under_test.h"

namespace {

/// The words of a text; none when there is no text.
std::vector<std::string> words_of(const char *text) {
  std::istringstream stream(text != nullptr ? text : "");
  return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

std::string with_option(const char *variable, const std::string &option) {
  const char *present = std::getenv(variable);
  return present == nullptr ? option : std::string(present) + ':' + option;
}

}  // namespace

std::filesystem::path client_program() {
  return build_under_test().client;
}

std::filesystem::path camera_library() {
  return build_under_test().camera;
}

std::filesystem::path preload_library(const std::string &name) {
  return build_under_test().preloads / (name + ".so");
}

bool client_is_emulated() {
  return !build_under_test().emulator.empty();
}

ClientRun::ClientRun() {
  std::filesystem::create_directory(folder());
  std::filesystem::create_directory(folder_.path() / "beside");
  camera_.set("log", beside("log")).set("record", beside("record"));
  setup_.folder = folder();
  setup_.stdout_path = beside("stdout");
  setup_.stderr_path = beside("stderr");
  setup_.environment["ZEL_CAMERA"] = beside("camera");
  setup_.environment["TZ"] = "UTC";
  // The report of the second interrupt is printed by the signal handler.
  setup_.environment["TSAN_OPTIONS"] = with_option("TSAN_OPTIONS", "report_signal_unsafe=0");
}

ClientRun &ClientRun::environment(const std::string &name, const std::string &value) {
  setup_.environment[name] = value;
  return *this;
}

ClientRun &ClientRun::without_environment(const std::string &name) {
  setup_.environment[name] = std::nullopt;
  return *this;
}

ClientRun &ClientRun::called(const std::string &name) {
  program_ = file(name);
  std::filesystem::create_symlink(client_program(), program_);
  return *this;
}

ClientRun &ClientRun::stdin_from(const std::filesystem::path &path) {
  setup_.stdin_path = path;
  return *this;
}

ClientRun &ClientRun::stdin_from_descriptor(int descriptor) {
  setup_.stdin_fd = descriptor;
  return *this;
}

ClientRun &ClientRun::stdin_from_pipe() {
  setup_.stdin_pipe = true;
  return *this;
}

ClientRun &ClientRun::stdout_to(const std::filesystem::path &path) {
  setup_.stdout_path = path;
  return *this;
}

ClientRun &ClientRun::terminal_session() {
  setup_.new_session = true;
  return *this;
}

ClientRun &ClientRun::preload(const std::filesystem::path &library) {
  if (!std::filesystem::exists(library)) throw std::runtime_error(library.string() + " is not built");
  preload_ += (preload_.empty() ? "" : ":") + library.string();
  if (client_is_emulated()) {
    setup_.environment["QEMU_SET_ENV"] = "LD_PRELOAD=" + preload_;
  } else {
    setup_.environment["LD_PRELOAD"] = preload_;
  }
  // The sanitizer's library would insist on being the first one.
  setup_.environment["ASAN_OPTIONS"] = with_option("ASAN_OPTIONS", "verify_asan_link_order=0");
  return *this;
}

ClientRun &ClientRun::clock(const std::vector<ClockReading> &frames) {
  std::string lines;
  for (const ClockReading &reading : frames) {
    lines += std::to_string(reading.monotonic) + ' ' + std::to_string(reading.real) + '\n';
  }
  write_file(beside("clock"), lines);
  setup_.environment["ZEL_TEST_CLOCK"] = beside("clock");
  return preload(preload_library("fake_clock"));
}

ClientRun &ClientRun::under(const std::vector<std::string> &command) {
  before_.insert(before_.end(), command.begin(), command.end());
  return *this;
}

ClientRun &ClientRun::guard(std::chrono::seconds longest) {
  setup_.guard = longest;
  return *this;
}

void ClientRun::start(const std::vector<std::string> &arguments) {
  write_file(beside("camera"), camera_.text());
  setup_.command = words_of(std::getenv("ZEL_TEST_WRAPPER"));
  setup_.command.insert(setup_.command.end(), before_.begin(), before_.end());
  const std::vector<std::string> &emulator = build_under_test().emulator;
  setup_.command.insert(setup_.command.end(), emulator.begin(), emulator.end());
  setup_.command.push_back(program_);
  setup_.command.insert(setup_.command.end(), arguments.begin(), arguments.end());
  process_ = std::make_unique<Process>(setup_);
}

RunResult ClientRun::wait() {
  return process_->wait();
}

RunResult ClientRun::run(const std::vector<std::string> &arguments) {
  start(arguments);
  return wait();
}

TruthLog ClientRun::truth() const {
  return {beside("log"), beside("record")};
}

RunResult run_tool(const std::vector<std::string> &command, const std::filesystem::path &folder) {
  const TempFolder beside;
  ProcessSetup setup;
  setup.command = command;
  setup.folder = folder;
  setup.stdout_path = beside.path() / "stdout";
  setup.stderr_path = beside.path() / "stderr";
  RunResult result = Process(setup).wait();
  constexpr int kCannotRun = 127;
  EXPECT_NE(result.status, kCannotRun) << result.err;
  return result;
}
