// The line of progress.
#include "frames/common/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <string>

namespace frames {
namespace {

constexpr std::chrono::milliseconds kQuiet(500);    ///< shorter work says nothing
constexpr std::chrono::milliseconds kBetween(100);  ///< two lines
constexpr char kEraseLine[] = "\r\x1B[K";

/// What the terminal does not take is lost.
void put(const std::string &text) {
  [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace

Progress::Progress(std::uint64_t total, const char *unit)
    : total_(total), unit_(unit), is_shown_(isatty(STDERR_FILENO) == 1), due_(Clock::now() + kQuiet) {}

Progress::~Progress() {
  if (is_printed_) put(kEraseLine);
}

void Progress::show(std::uint64_t done) {
  const Clock::time_point now = Clock::now();
  if (now < due_) return;
  due_ = now + kBetween;
  is_printed_ = true;
  put(fmt::format("{}{} of {} {}", kEraseLine, done, total_, unit_));
}

}  // namespace frames
