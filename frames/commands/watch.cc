// zel-frames watch: a run's figures while it goes on.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "frames/commands/command.h"
#include "frames/common/unusable.h"
#include "frames/live/live_report.h"
#include "frames/live/live_run.h"
#include "frames/live/screen.h"
#include "frames/print/output.h"
#include "frames/print/statistics_report.h"

namespace frames {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kTerminalPeriod(250);
constexpr milliseconds kLinePeriod(1000);

struct WatchOptions {
  bool json = false;
  std::string save;
  bool force = false;
};

/// Keeps the text as it came. A file that cannot be written any further is said once and given up: the run goes on.
class SavedText {
 public:
  SavedText(const std::string &path, bool force) : path_(path) {
    if (path.empty()) return;
    const int flags = O_WRONLY | O_CREAT | O_CLOEXEC | (force ? O_TRUNC : O_EXCL);
    descriptor_ = open(path.c_str(), flags, 0666);
    if (descriptor_ < 0 && errno == EEXIST) unusable("{}: exists: --force writes over it", path);
    if (descriptor_ < 0) unusable("{}: {}", path, std::strerror(errno));
  }
  ~SavedText() {
    if (descriptor_ >= 0) close(descriptor_);
  }
  SavedText(const SavedText &) = delete;
  SavedText &operator=(const SavedText &) = delete;

  void write(std::string_view text) {
    while (descriptor_ >= 0 && !text.empty()) {
      const ssize_t count = ::write(descriptor_, text.data(), text.size());
      if (count < 0 && errno == EINTR) continue;
      if (count < 0) {
        failure_ = path_ + ": " + std::strerror(errno);
        close(std::exchange(descriptor_, -1));
        return;
      }
      text.remove_prefix(static_cast<std::size_t>(count));
    }
  }

  /// Fails, at the end of the run, when not all of it could be kept.
  void check() const {
    if (!failure_.empty()) throw Unusable(failure_);
  }

 private:
  std::string path_;
  int descriptor_ = -1;
  std::string failure_;
};

void put_line(const std::string &line) {
  Output output;
  output.put(line + "\n");
  output.flush();
}

int watch(const WatchOptions &options) {
  if (isatty(STDIN_FILENO) != 0) {
    unusable("standard input: is a terminal: pipe a run into it, stdbuf -oL zel-client ... | zel-frames watch");
  }
  std::signal(SIGINT, SIG_IGN);  // the client gets it too and ends; the text ends with it
  const bool on_terminal = isatty(STDOUT_FILENO) != 0 && !options.json;
  SavedText saved(options.save, options.force);
  const Clock::time_point start = Clock::now();
  LiveRun run(start);
  Screen screen;
  PipeReader reader;
  const milliseconds period = on_terminal ? kTerminalPeriod : kLinePeriod;
  Clock::time_point next = start + period;
  std::vector<Piece> pieces;
  std::vector<std::string> other_lines;
  while (reader.take(pieces, next)) {
    for (const Piece &piece : pieces) {
      saved.write(piece.text);
      run.take(piece, other_lines);
    }
    const Clock::time_point now = Clock::now();
    if (now < next) continue;
    next = now + period;
    if (on_terminal) {
      screen.draw(other_lines, live_block(run, now, terminal_size().columns));
    } else if (run.capture().frames.count > 0) {
      put_line(options.json ? live_json(run, now) : live_line(run, now));
    }
    other_lines.clear();
  }
  if (on_terminal) screen.draw(other_lines, {});
  const Capture &capture = run.capture();
  if (capture.frames.count == 0) unusable("standard input: holds no frame's line");
  const Statistics statistics = measure_capture(capture);
  if (options.json) {
    print_statistics_json(capture, statistics);
  } else {
    print_statistics_text(capture, statistics);
  }
  saved.check();
  return kExitGood;
}

}  // namespace

Run add_watch(Options &options) {
  auto given = std::make_shared<WatchOptions>();
  add_json_option(options, given->json);
  options.file("--save", given->save, "Keep the text as it comes");
  options.flag("--force", given->force, "Write over an existing file");
  return [given] { return watch(*given); };
}

}  // namespace frames
