// The reading thread.
#include "frames/live/pipe_reader.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "frames/common/unusable.h"

namespace frames {

PipeReader::PipeReader() : stop_(eventfd(0, EFD_CLOEXEC)) {
  if (stop_ < 0) unusable("standard input: {}", std::strerror(errno));
  thread_ = std::thread([this] { run(); });
}

PipeReader::~PipeReader() {
  (void)eventfd_write(stop_, 1);
  thread_.join();
  close(stop_);
}

bool PipeReader::take(std::vector<Piece> &pieces, Clock::time_point deadline) {
  pieces.clear();
  std::unique_lock lock(mutex_);
  came_.wait_until(lock, deadline, [this] { return ended_ || !pieces_.empty(); });
  pieces.swap(pieces_);
  return !ended_ || !pieces.empty();
}

void PipeReader::run() {
  std::array<char, std::size_t{64} * 1024> bytes;
  while (true) {
    std::array<pollfd, 2> waited = {pollfd{.fd = STDIN_FILENO, .events = POLLIN, .revents = 0},
                                    pollfd{.fd = stop_, .events = POLLIN, .revents = 0}};
    (void)poll(waited.data(), waited.size(), -1);
    if (waited[1].revents != 0) return;
    if (waited[0].revents == 0) continue;  // interrupted
    const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
    if (count < 0 && errno == EINTR) continue;
    const std::lock_guard lock(mutex_);
    if (count > 0) pieces_.push_back({.text = {bytes.data(), static_cast<std::size_t>(count)}, .time = Clock::now()});
    if (count <= 0) ended_ = true;
    came_.notify_one();
    if (count <= 0) return;
  }
}

}  // namespace frames
