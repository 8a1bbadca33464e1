// Starts, writes to, times out and waits for the children of the system tests.
#include "harness/process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <system_error>
#include <thread>

#include "tests/support/files.h"

namespace {

constexpr mode_t kReadWrite = 0644;
/// What a shell says when a program cannot be run; the child's standard error has the reason.
constexpr int kCannotRun = 127;

int checked(int descriptor, const std::string &what) {
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return descriptor;
}

int open_for_output(const std::filesystem::path &path) {
  return checked(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, kReadWrite),
                 "open " + path.string());
}

/// What a run left in `path`; nothing for a device.
std::string captured(const std::filesystem::path &path) {
  return std::filesystem::is_regular_file(path) ? read_file(path) : std::string();
}

}  // namespace

Process::Process(ProcessSetup setup) : setup_(std::move(setup)) {
  deadline_ = std::chrono::steady_clock::now() + setup_.guard;
  int stdin_fd = setup_.stdin_fd;
  int stdin_own = -1;
  if (setup_.stdin_pipe) {
    std::array<int, 2> ends{};
    checked(pipe2(ends.data(), O_CLOEXEC), "pipe2");
    stdin_fd = stdin_own = ends[0];
    stdin_write_ = ends[1];
  } else if (stdin_fd < 0) {
    stdin_fd = stdin_own =
        checked(open(setup_.stdin_path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY), "open " + setup_.stdin_path.string());
  }
  const int stdout_fd = open_for_output(setup_.stdout_path);
  const int stderr_fd = open_for_output(setup_.stderr_path);
  pid_ = checked(fork(), "fork");
  if (pid_ == 0) {
    child(stdin_fd, stdout_fd, stderr_fd);
    _exit(kCannotRun);
  }
  close(stdout_fd);
  close(stderr_fd);
  if (stdin_own >= 0) {
    close(stdin_own);
  }
}

/// Runs in the child between fork and exec; returns only when something failed.
void Process::child(int stdin_fd, int stdout_fd, int stderr_fd) const {
  if (setup_.new_session && (setsid() < 0 || ioctl(stdin_fd, TIOCSCTTY, 0) < 0)) {
    return;
  }
  (void)signal(SIGINT, SIG_DFL);  // ignored where the tests run in the background
  dup2(stdin_fd, STDIN_FILENO);
  dup2(stdout_fd, STDOUT_FILENO);
  dup2(stderr_fd, STDERR_FILENO);
  if (!setup_.folder.empty() && chdir(setup_.folder.c_str()) != 0) {
    perror("chdir");
    return;
  }
  for (const auto &[name, value] : setup_.environment) {
    if (value) {
      setenv(name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name.c_str());
    }
  }
  std::vector<char *> words;
  words.reserve(setup_.command.size() + 1);
  for (const std::string &word : setup_.command) {
    words.push_back(const_cast<char *>(word.c_str()));
  }
  words.push_back(nullptr);
  execvp(words[0], words.data());
  perror(words[0]);
}

Process::~Process() {
  if (!ended()) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
  close_stdin();
}

bool Process::ended() {
  int status = 0;
  if (!wait_status_ && waitpid(pid_, &status, WNOHANG) == pid_) {
    wait_status_ = status;
  }
  return wait_status_.has_value();
}

bool Process::guard_struck() const {
  return std::chrono::steady_clock::now() > deadline_;
}

void Process::send_signal(int signal_number) const {
  ASSERT_FALSE(wait_status_) << "the process has ended already";
  ASSERT_EQ(kill(pid_, signal_number), 0) << "kill: " << std::generic_category().message(errno);
}

void Process::write_stdin(const std::string &bytes) const {
  const ssize_t written = write(stdin_write_, bytes.data(), bytes.size());
  ASSERT_EQ(written, static_cast<ssize_t>(bytes.size())) << std::generic_category().message(errno);
}

void Process::close_stdin() {
  if (stdin_write_ >= 0) {
    close(stdin_write_);
    stdin_write_ = -1;
  }
}

bool Process::wait_until(const std::function<bool()> &holds) {
  while (!holds()) {
    if (ended()) {
      return holds();
    }
    if (guard_struck()) {
      ADD_FAILURE() << "what was waited for did not come within " << setup_.guard.count() << " s";
      return false;
    }
    std::this_thread::sleep_for(kLookAgain);
  }
  return true;
}

RunResult Process::wait() {
  RunResult result;
  while (!ended()) {
    if (guard_struck()) {
      kill(pid_, SIGKILL);
      int status = 0;
      waitpid(pid_, &status, 0);
      wait_status_ = status;
      result.timed_out = true;
    } else {
      std::this_thread::sleep_for(kLookAgain);
    }
  }
  if (WIFEXITED(*wait_status_)) {
    result.status = WEXITSTATUS(*wait_status_);
  } else {
    result.signal = WTERMSIG(*wait_status_);
  }
  result.out = captured(setup_.stdout_path);
  result.err = captured(setup_.stderr_path);
  if (result.timed_out) {
    ADD_FAILURE() << setup_.command.front() << " was still running after " << setup_.guard.count()
                  << " s and was killed\nstandard output:\n"
                  << result.out << "\nstandard error:\n"
                  << result.err;
  }
  return result;
}
