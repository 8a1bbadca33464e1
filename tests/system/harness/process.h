// A child process with captured output and a guard against hanging.
#ifndef ZEL_CLIENT_TESTS_HARNESS_PROCESS_H
#define ZEL_CLIENT_TESTS_HARNESS_PROCESS_H

#include <sys/types.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

/// How long to wait before looking again at what has no descriptor to wait on.
inline constexpr std::chrono::milliseconds kLookAgain{1};

/// How a process ended and what it wrote.
struct RunResult {
  int status = -1;         ///< exit status; -1 when a signal ended it
  int signal = 0;          ///< the signal that ended it; 0 when it exited
  bool timed_out = false;  ///< the hang guard killed it; the test has failed already
  std::string out;         ///< standard output, all of it
  std::string err;         ///< standard error, all of it
};

/// What to run and with what around it.
struct ProcessSetup {
  std::vector<std::string> command;                               ///< program (searched in PATH) and arguments
  std::map<std::string, std::optional<std::string>> environment;  ///< changes to the test's own; no value: unset
  std::filesystem::path folder;                                   ///< working directory
  std::filesystem::path stdin_path = "/dev/null";                 ///< opened for reading as standard input
  int stdin_fd = -1;                  ///< when not negative: standard input instead of `stdin_path`
  bool stdin_pipe = false;            ///< standard input is a pipe that write_stdin() writes to
  std::filesystem::path stdout_path;  ///< standard output goes there; it must exist for "/dev/..."
  std::filesystem::path stderr_path;  ///< likewise; the files may be read while the child runs
  bool new_session = false;           ///< leads a session of its own whose terminal is `stdin_fd`
  std::chrono::seconds guard{120};    ///< killed, and the test failed, after so long
};

/// One running child. Whatever is still running when the object goes is killed.
class Process {
 public:
  explicit Process(ProcessSetup setup);
  ~Process();
  Process(const Process &) = delete;
  Process &operator=(const Process &) = delete;

  pid_t pid() const { return pid_; }

  /// Sends a signal to the child alone.
  void send_signal(int signal_number) const;

  /// Writes to the child's standard input (`stdin_pipe` set-ups only).
  void write_stdin(const std::string &bytes) const;
  void close_stdin();

  /// Calls `holds` repeatedly while the child runs. False when the child ended or its time was over first.
  bool wait_until(const std::function<bool()> &holds);

  /// Waits for the end; kills the child and fails the test when its time is over.
  RunResult wait();

 private:
  void child(int stdin_fd, int stdout_fd, int stderr_fd) const;
  bool ended();
  bool guard_struck() const;

  ProcessSetup setup_;
  std::chrono::steady_clock::time_point deadline_;
  pid_t pid_ = -1;
  int stdin_write_ = -1;
  std::optional<int> wait_status_;
};

#endif
