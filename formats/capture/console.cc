// Frames from a console text: the report lines that a run printed.
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>
#include <utility>
#include <vector>

#include "formats/capture/console_lines.h"
#include "formats/capture/file.h"
#include "formats/capture/source.h"
#include "formats/capture/unusable.h"
#include "formats/report_line.h"

namespace formats {
namespace {

constexpr std::size_t kBlock = std::size_t{64} * 1024;  ///< stays in the processor's cache
/// Without a frame's line in so many bytes the text is taken to have ended.
constexpr std::size_t kMostOther = std::size_t{8} * 1024 * 1024;
/// No frame's line is as long.
constexpr std::size_t kLongestLine = std::size_t{64} * 1024;
constexpr std::size_t kSearched = std::size_t{1024} * 1024;

File open_text(const std::string &path) {
  return path == "-" ? File(STDIN_FILENO, "standard input") : File(path);
}

/// Hands out a text's finished lines, and the starts of those that are longer than kLongestLine.
class LineReader {
 public:
  explicit LineReader(File &file) : file_(file), buffer_(kBlock + kLongestLine) {}

  /// The next line without its newline, valid until the next call; nothing at the end. What follows the start of a long
  /// line comes as empty lines, so that a text without newlines can be given up.
  std::optional<std::string_view> next() {
    while (true) {
      const std::size_t found = find_newline();
      if (found != end_) {
        const std::string_view line(buffer_.data() + begin_, found - begin_);
        begin_ = scanned_ = found + 1;
        ++number_;
        if (!std::exchange(skipping_, false)) return line;
        continue;
      }
      if (end_ - begin_ > kLongestLine) {
        const std::string_view start(buffer_.data() + begin_, kLongestLine);
        begin_ = scanned_ = end_;
        return std::exchange(skipping_, true) ? std::string_view() : start;
      }
      if (!refill()) return std::nullopt;
    }
  }

  /// The number of the line that was handed out last, from 1.
  std::size_t number() const { return skipping_ ? number_ + 1 : number_; }
  /// Bytes of the text up to the end of what was handed out last.
  std::uint64_t place() const { return bytes_ - (end_ - begin_); }

 private:
  std::size_t find_newline() {
    const void *found = std::memchr(buffer_.data() + scanned_, '\n', end_ - scanned_);
    scanned_ = end_;
    return found == nullptr ? end_ : static_cast<std::size_t>(static_cast<const char *>(found) - buffer_.data());
  }

  bool refill() {
    std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
    end_ -= begin_;
    scanned_ -= begin_;
    begin_ = 0;
    const std::span<char> room = std::span(buffer_).subspan(end_);
    const std::size_t count = file_.read_some({reinterpret_cast<std::uint8_t *>(room.data()), room.size()});
    end_ += count;
    bytes_ += count;
    return count != 0;
  }

  File &file_;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;    ///< of what was not handed out yet
  std::size_t scanned_ = 0;  ///< no newline before it
  std::size_t end_ = 0;
  std::size_t number_ = 0;
  std::uint64_t bytes_ = 0;  ///< that were taken from the file
  bool skipping_ = false;    ///< inside a line whose start was handed out
};

/// Adds the line's frame; what no run prints is unusable by its place in the text.
void take_line(TableFiller &filler, const File &file, const ReportLine &line, std::size_t number) try {
  filler.take(line);
} catch (const Unusable &error) {
  unusable("{}: line {}: {}", file.path(), number, error.what());
}

/// Reads the text to its end, or until no frame's line comes any more. `on_frame` gets each frame's line and its
/// number.
template <typename OnFrame>
void read_frames(File &file, OnFrame on_frame) {
  LineReader lines(file);
  ReportLine frame;
  std::uint64_t last_frame = 0;
  while (const std::optional<std::string_view> line = lines.next()) {
    switch (parse_report_line(*line, frame)) {
      case ReportParse::kFrame:
        on_frame(frame, lines.number());
        last_frame = lines.place();
        break;
      case ReportParse::kMalformed:
        unusable("{}: line {}: begins like a frame's line and is none", file.path(), lines.number());
      case ReportParse::kOther:
        if (lines.place() - last_frame > kMostOther) return;
    }
  }
}

/// By how many bytes a frame may differ from its line: FFmpeg's parser leaves the first byte of an H.265 frame's start
/// code to the frame before.
std::uint64_t parser_slack(const Capture &capture) {
  return capture.kind == SourceKind::kRaw && !capture.has_sidecar && capture.codec == Codec::kH265 ? 1 : 0;
}

}  // namespace

bool is_console_text(const std::string &path) {
  File file(path);
  std::vector<char> start(kSearched);
  start.resize(file.read({reinterpret_cast<std::uint8_t *>(start.data()), start.size()}));
  std::string_view rest(start.data(), start.size());
  ReportLine frame;
  while (true) {
    const std::size_t found = rest.find(kReportPrefix);
    if (found == std::string_view::npos) return false;
    const bool begins_line = rest.data() + found == start.data() || rest[found - 1] == '\n';
    const std::size_t end = rest.find('\n', found);
    if (end == std::string_view::npos) return false;
    if (begins_line && parse_report_line(rest.substr(found, end - found), frame) != ReportParse::kOther) {
      return true;
    }
    rest.remove_prefix(end);
  }
}

Capture open_console(const std::string &path) {
  Capture capture;
  capture.name = path;
  capture.kind = SourceKind::kConsole;
  File file = open_text(path);
  TableFiller filler(capture.frames);
  read_frames(file, [&](const ReportLine &line, std::size_t number) { take_line(filler, file, line, number); });
  if (capture.frames.count == 0) unusable("{}: holds no frame's line", file.path());
  if (path != "-") capture.files.push_back(path);
  return capture;
}

void join_console(Capture &capture, const std::string &path) {
  FrameTable &frames = capture.frames;
  File file = open_text(path);
  FrameTable text;
  TableFiller filler(text);
  const bool compares_sizes = capture.kind != SourceKind::kContainer;
  const std::uint64_t slack = parser_slack(capture);
  std::size_t last_line = 0;
  read_frames(file, [&](const ReportLine &line, std::size_t number) {
    const std::size_t frame = text.count;
    if (frame >= frames.count) {
      unusable("{}: line {}: one frame more than the {} of {}", file.path(), number, frames.count, capture.name);
    }
    const std::uint64_t size = compares_sizes ? frames.size[frame] : line.size;
    if (std::max(size, line.size) - std::min(size, line.size) > slack) {
      unusable("{}: line {}: has {} bytes, frame {} of {} has {}", file.path(), number, line.size, frame, capture.name,
               size);
    }
    take_line(filler, file, line, number);
    last_line = number;
  });
  if (text.count == 0 && frames.count != 0) unusable("{}: holds no frame's line", file.path());
  if (text.count != frames.count) {
    unusable("{}: line {}: the last of {} frames, {} has {}", file.path(), last_line, text.count, capture.name,
             frames.count);
  }
  frames.sequence = std::move(text.sequence);
  frames.type_name = std::move(text.type_name);
  frames.type_names = std::move(text.type_names);
  frames.delta_cts_us = std::move(text.delta_cts_us);
  frames.latency_us = std::move(text.latency_us);
  frames.utc_us = std::move(text.utc_us);
  frames.custom = std::move(text.custom);
  if (!frames.time_us.any()) frames.time_us = std::move(text.time_us);
  if (path != "-") capture.files.push_back(path);
}

}  // namespace formats
