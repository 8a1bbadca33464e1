// Hidden names, and removing them when a signal ends the process.
#include "frames/common/temporary_names.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <string_view>

namespace frames {
namespace {

constexpr std::string_view kHidden = ".zel-frames-";
constexpr std::array kSignals = {SIGHUP, SIGINT, SIGTERM};
constexpr int kAttempts = 100;

/// What the handler removes. A command writes at most two files. The strings are malloc()'s until forget_temporary().
std::array<std::atomic<char *>, 4> names{};
static_assert(std::atomic<char *>::is_always_lock_free);

extern "C" void remove_names(int signal_number) {
  for (const std::atomic<char *> &name : names)
    if (const char *path = name.load()) (void)unlink(path);
  (void)signal(signal_number, SIG_DFL);
  (void)raise(signal_number);
}

void catch_signals() {
  for (const int signal_number : kSignals) {
    struct sigaction action = {};
    (void)sigaction(signal_number, nullptr, &action);
    if (action.sa_handler != SIG_DFL) continue;
    action.sa_handler = remove_names;
    (void)sigaction(signal_number, &action, nullptr);
  }
}

void remember(const std::string &path) {
  catch_signals();
  for (std::atomic<char *> &name : names) {
    if (name.load() != nullptr) continue;
    name.store(strdup(path.c_str()));
    return;
  }
}

}  // namespace

HeldSignals::HeldSignals() {
  sigset_t held;
  (void)sigemptyset(&held);
  for (const int signal_number : kSignals)
    (void)sigaddset(&held, signal_number);
  (void)pthread_sigmask(SIG_BLOCK, &held, &before_);
}

HeldSignals::~HeldSignals() {
  (void)pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

std::string temporary_name(const std::string &target) {
  static std::atomic<unsigned> count = 0;
  const std::size_t slash = target.rfind('/');
  std::string name = slash == std::string::npos ? "" : target.substr(0, slash + 1);
  name.append(kHidden).append(std::to_string(getpid())).append("-").append(std::to_string(count++));
  return name;
}

int create_temporary(const std::string &target, std::string &name) {
  for (int i = 0; i < kAttempts; ++i) {
    name = temporary_name(target);
    const int descriptor = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kAnyNewFile);
    if (descriptor < 0 && errno == EEXIST) continue;
    if (descriptor >= 0) remember(name);
    return descriptor;
  }
  return -1;
}

void forget_temporary(const std::string &name) noexcept {
  for (std::atomic<char *> &remembered : names) {
    char *path = remembered.load();
    if (path == nullptr || name != path) continue;
    remembered.store(nullptr);
    std::free(path);
  }
}

}  // namespace frames
