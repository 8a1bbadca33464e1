// The line of progress.
#include "frames/common/progress.h"

#include <fmt/format.h>
#include <unistd.h>

#include <utility>

namespace frames {
namespace {

constexpr std::chrono::milliseconds kQuiet(500);    ///< shorter work says nothing
constexpr std::chrono::milliseconds kBetween(100);  ///< two lines
constexpr char kEraseLine[] = "\r\x1B[K";

}  // namespace

ProgressTerminal standard_error_terminal() {
  const auto put = [](const std::string &text) {  // what the terminal does not take is lost
    [[maybe_unused]] const ssize_t count = write(STDERR_FILENO, text.data(), text.size());
  };
  return {.is_one = isatty(STDERR_FILENO) == 1, .now = std::chrono::steady_clock::now, .put = put};
}

Progress::Progress(std::uint64_t total, const char *unit, ProgressTerminal terminal)
    : total_(total), unit_(unit), terminal_(std::move(terminal)), due_(terminal_.now() + kQuiet) {}

Progress::~Progress() {
  if (is_printed_) terminal_.put(kEraseLine);
}

void Progress::show(std::uint64_t done) {
  const ProgressTerminal::Time now = terminal_.now();
  if (now < due_) return;
  due_ = now + kBetween;
  is_printed_ = true;
  terminal_.put(fmt::format("{}{} of {} {}", kEraseLine, done, total_, unit_));
}

}  // namespace frames
