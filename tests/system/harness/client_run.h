// One run of the real zel-client on the software camera, with everything around it.
//
//     ClientRun run;
//     run.camera().scripted().frames({.count = 0, .size = 100});
//     const RunResult result = run.run({"--frames=3", "-o", "out", "640", "480"});
//     EXPECT_EQ(result.status, 0);
//     EXPECT_EQ(read_file(run.file("out")), run.truth().bytes());
//
// The client runs in the zone UTC. The run's working directory is fresh and empty and goes with the object; the
// camera's script, log and record lie in another folder, so that listing the working directory shows what the client
// wrote and nothing else. The words of the environment variable ZEL_TEST_WRAPPER stand before the client's command: a
// tool that runs it, such as valgrind.
#ifndef ZEL_CLIENT_TESTS_HARNESS_CLIENT_RUN_H
#define ZEL_CLIENT_TESTS_HARNESS_CLIENT_RUN_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "harness/camera_script.h"
#include "harness/process.h"
#include "harness/truth_log.h"
#include "tests/support/files.h"

/// The client's and the software camera's files in the build folder.
std::filesystem::path client_program();
std::filesystem::path camera_library();

/// A library of tests/system/preload for ClientRun::preload(), such as "fake_clock".
std::filesystem::path preload_library(const std::string &name);

/// True when the client runs under an emulator: what needs the host's own loader cannot be tested then.
bool client_is_emulated();

/// What the client's clocks say when it reads them for a frame, microseconds.
struct ClockReading {
  std::int64_t monotonic = 0;
  std::int64_t real = 0;
};

class ClientRun {
 public:
  ClientRun();

  /// The camera's script; written to its file when the client starts.
  CameraScript &camera() { return camera_; }

  /// Set-up, all to be done before the start; each returns the run itself.
  ClientRun &environment(const std::string &name, const std::string &value);
  ClientRun &without_environment(const std::string &name);
  ClientRun &called(const std::string &name);                ///< through a link of that name in its working directory
  ClientRun &stdin_from(const std::filesystem::path &path);  ///< default "/dev/null"
  ClientRun &stdin_from_descriptor(int descriptor);          ///< such as a terminal's; stays the caller's
  ClientRun &stdin_from_pipe();                              ///< fed through process().write_stdin()
  ClientRun &stdout_to(
      const std::filesystem::path &path);  ///< a device, such as "/dev/full"; RunResult::out stays empty
  ClientRun &terminal_session();           ///< a session of its own whose terminal is the descriptor
  ClientRun &preload(const std::filesystem::path &library);   ///< LD_PRELOAD; may be given several times
  ClientRun &clock(const std::vector<ClockReading> &frames);  ///< the client's clocks, one reading a frame
  ClientRun &under(const std::vector<std::string> &command);  ///< words before the client's, behind earlier ones
  ClientRun &guard(std::chrono::seconds longest);             ///< default 120 s

  /// Runs to the end.
  RunResult run(const std::vector<std::string> &arguments);

  /// The same in two steps; process() is the running client in between.
  void start(const std::vector<std::string> &arguments);
  Process &process() { return *process_; }
  RunResult wait();

  /// The client's working directory, and a file in it.
  std::filesystem::path folder() const { return folder_.path() / "work"; }
  std::filesystem::path file(const std::string &name) const { return folder() / name; }
  std::vector<std::string> files() const { return list_files(folder()); }

  /// The camera's account; may be read while the client runs.
  TruthLog truth() const;

 private:
  std::filesystem::path beside(const std::string &name) const { return folder_.path() / "beside" / name; }

  TempFolder folder_;
  CameraScript camera_;
  ProcessSetup setup_;
  std::filesystem::path program_ = client_program();
  std::string preload_;
  std::vector<std::string> before_;  ///< words of under()
  std::unique_ptr<Process> process_;
};

/// Runs another program (ffprobe, ffmpeg, mkvinfo, readelf, ...) in a folder. Failing to run it fails the test.
RunResult run_tool(const std::vector<std::string> &command, const std::filesystem::path &folder = "/");

#endif
