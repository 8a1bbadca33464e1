// Starting a check's process and watching it.
#include "compliance/runner/child.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "compliance/common/finding.h"
#include "compliance/library/library.h"
#include "compliance/runner/messages.h"

namespace compliance {
namespace {

/// A check as GoogleTest runs it.
class CheckTest : public testing::Test {
 public:
  explicit CheckTest(const Check &check) : check_(check) {}

  void TestBody() override {
    try {
      check_.run();
    } catch (const Skip &skip) {
      GTEST_SKIP() << skip.what();
    } catch (const std::exception &failure) {
      ADD_FAILURE() << failure.what();
    }
  }

 private:
  const Check &check_;
};

/// What an assertion says, without the word with which GoogleTest begins a failure that is only told.
std::string text_of(const testing::TestPartResult &part) {
  const std::string_view text = part.message();
  constexpr std::string_view kFailed = "Failed\n";
  return std::string(text.starts_with(kFailed) ? text.substr(kFailed.size()) : text);
}

/// Hands on what the assertions say.
class Forwarder : public testing::EmptyTestEventListener {
  void OnTestPartResult(const testing::TestPartResult &part) override {
    if (part.failed()) send_message(kFinding, text_of(part));
    if (part.skipped()) send_message(kSkipped, text_of(part));
  }
};

/// The body of a check's process. What the library prints to standard output goes nowhere.
[[noreturn]] void run_here(const Check &check, int messages) {
  (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
  const int nowhere = open("/dev/null", O_RDWR | O_CLOEXEC);
  (void)dup2(nowhere, STDIN_FILENO);
  (void)dup2(nowhere, STDOUT_FILENO);
  send_messages_to(messages);
  const std::string group = check.group();
  const std::string name = check.name.substr(group.size() + 1);
  testing::RegisterTest(group.c_str(), name.c_str(), nullptr, nullptr, "", 0,
                        [&check]() -> testing::Test * { return new CheckTest(check); });
  testing::TestEventListeners &listeners = testing::UnitTest::GetInstance()->listeners();
  delete listeners.Release(listeners.default_result_printer());
  listeners.Append(new Forwarder);
  const int failures = RUN_ALL_TESTS();  // which the messages have told
  if (failures == 0 || failures == 1) send_message(kDone, "");
  std::exit(EXIT_SUCCESS);
}

gint64 now_us() {
  return g_get_monotonic_time();
}

struct Ending {
  int status = 0;  ///< as waitpid() has it
  bool took_too_long = false;
};

/// Collects the messages until the process has ended, or ends it at the deadline.
Ending watch(pid_t child, int messages, gint64 deadline, MessageReader &reader, Result &result) {
  Ending ending;
  bool open = true;
  const auto drain = [&](int wait_ms) {
    pollfd one = {.fd = messages, .events = POLLIN, .revents = 0};
    if (poll(&one, 1, wait_ms) <= 0) return false;
    char data[4096];
    const ssize_t size = read(messages, data, sizeof data);
    if (size > 0) reader.take(data, static_cast<std::size_t>(size), result);
    open = size > 0;
    return open;
  };
  while (true) {
    if (open) {
      (void)drain(20);
    } else {
      (void)poll(nullptr, 0, 1);
    }
    if (waitpid(child, &ending.status, WNOHANG) == child) break;
    if (now_us() < deadline) continue;
    (void)kill(child, SIGKILL);
    (void)waitpid(child, &ending.status, 0);
    ending.took_too_long = true;
    break;
  }
  while (open && drain(0)) {
  }
  return ending;
}

/// What is wrong with how the process ended; empty: nothing.
std::string finding_of(const Ending &ending, bool was_done, unsigned limit_s) {
  const std::string call = take_last_call();
  const std::string where =
      (was_done ? " when the check was over" : "") + (call.empty() ? std::string() : "; the last call was " + call);
  if (ending.took_too_long) {
    return "the check took longer than " + std::to_string(limit_s) + " s" + where + ", expected it to end";
  }
  if (WIFSIGNALED(ending.status)) {
    const int number = WTERMSIG(ending.status);
    return "signal " + std::to_string(number) + " (" + strsignal(number) + ") ended the process" + where +
           ", expected it to go on";
  }
  const int status = WEXITSTATUS(ending.status);
  if (was_done && status == 0) return "";
  return "the process ended with status " + std::to_string(status) + where + ", expected it to go on";
}

}  // namespace

void prepare_checks() {
  share_last_call();
  int count = 1;
  char name[] = "zel-compliance";
  char *arguments[] = {name, nullptr};
  testing::InitGoogleTest(&count, arguments);
  // Whatever the environment says to GoogleTest.
  GTEST_FLAG_SET(filter, "*");
  GTEST_FLAG_SET(output, "");
  GTEST_FLAG_SET(repeat, 1);
  GTEST_FLAG_SET(list_tests, false);
  GTEST_FLAG_SET(break_on_failure, false);
  GTEST_FLAG_SET(throw_on_failure, false);
  GTEST_FLAG_SET(also_run_disabled_tests, true);
}

Result run_check(const Check &check, unsigned limit_s) {
  Result result;
  result.check = check;
  const gint64 begin = now_us();
  int ends[2];
  (void)std::fflush(nullptr);  // the child must not write it again
  pid_t child = -1;
  if (pipe2(ends, O_CLOEXEC) == 0) {
    child = fork();
    if (child == 0) {
      (void)close(ends[0]);
      run_here(check, ends[1]);
    }
    (void)close(ends[1]);
    if (child < 0) (void)close(ends[0]);
  }
  if (child < 0) {
    result.findings.push_back(std::string("no process could be started: ") + std::strerror(errno));
  } else {
    MessageReader reader;
    const Ending ending = watch(child, ends[0], begin + gint64{limit_s} * G_USEC_PER_SEC, reader, result);
    (void)close(ends[0]);
    const std::string finding = finding_of(ending, reader.is_done(), limit_s);
    if (!finding.empty()) result.findings.push_back(finding);
  }
  result.duration_us = now_us() - begin;
  if (!result.findings.empty()) {
    result.outcome = Outcome::kFailed;
  } else if (!result.reason.empty()) {
    result.outcome = Outcome::kSkipped;
  }
  return result;
}

}  // namespace compliance
