// The pseudo-terminal and the thread that reads its screen.
#include "harness/pty.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <system_error>

#include "harness/process.h"

namespace {

constexpr int kLookForStopMs = 10;
constexpr std::chrono::seconds kGuard{60};

/// Printed by the test itself after the client's end: what stands before it on the screen is complete.
constexpr std::string_view kEnd = "\x1d<end of screen>\x1d";

std::string without_carriage_returns(const std::string &raw) {
  std::string text;
  for (std::size_t i = 0; i < raw.size(); ++i) {
    if (raw[i] == '\r' && i + 1 < raw.size() && raw[i + 1] == '\n') continue;
    text += raw[i];
  }
  return text;
}

}  // namespace

Terminal::Terminal() {
  if (openpty(&master_, &slave_, nullptr, nullptr, nullptr) != 0) {
    throw std::system_error(errno, std::generic_category(), "openpty");
  }
  fcntl(master_, F_SETFD, FD_CLOEXEC);
  fcntl(slave_, F_SETFD, FD_CLOEXEC);
  reader_ = std::jthread([this](const std::stop_token &stop) { read_screen(stop); });
}

Terminal::~Terminal() {
  hang_up();
  close(slave_);
}

void Terminal::hang_up() {
  if (master_ < 0) return;
  reader_.request_stop();
  reader_.join();
  close(master_);
  master_ = -1;
}

/// Runs on the reader's thread.
void Terminal::read_screen(const std::stop_token &stop) {
  std::array<char, 4096> block{};
  while (!stop.stop_requested()) {
    pollfd waiting{.fd = master_, .events = POLLIN, .revents = 0};
    if (poll(&waiting, 1, kLookForStopMs) <= 0) continue;
    const ssize_t count = read(master_, block.data(), block.size());
    if (count <= 0) continue;
    const std::lock_guard lock(mutex_);
    raw_.append(block.data(), static_cast<std::size_t>(count));
  }
}

std::filesystem::path Terminal::path() const {
  return ttyname(slave_);
}

void Terminal::press(std::string_view keys) const {
  ASSERT_EQ(write(master_, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
}

std::string Terminal::screen() const {
  const std::lock_guard lock(mutex_);
  return without_carriage_returns(raw_);
}

std::string Terminal::whole_screen() const {
  EXPECT_EQ(write(slave_, kEnd.data(), kEnd.size()), static_cast<ssize_t>(kEnd.size()));
  const auto deadline = std::chrono::steady_clock::now() + kGuard;
  while (!shows(kEnd)) {
    if (std::chrono::steady_clock::now() > deadline) {
      ADD_FAILURE() << "the screen's end did not come";
      return screen();
    }
    std::this_thread::sleep_for(kLookAgain);
  }
  const std::string text = screen();
  return text.substr(0, text.find(kEnd));
}

termios Terminal::modes() const {
  termios modes{};
  EXPECT_EQ(tcgetattr(slave_, &modes), 0);
  return modes;
}

bool Terminal::nonblocking() const {
  return (fcntl(slave_, F_GETFL) & O_NONBLOCK) != 0;
}
