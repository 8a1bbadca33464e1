// Following a run line by line.
#include "frames/live/live_run.h"

#include <algorithm>
#include <utility>

#include "formats/report_line.h"
#include "frames/model/statistics.h"

namespace frames {
namespace {

using std::chrono::seconds;

/// Frames that came in one read and cover more than that on the camera's clock were held back together.
constexpr std::int64_t kBurstUs = 150'000;
constexpr std::size_t kBurstFrames = 4;
constexpr std::size_t kWatched = 100;  ///< frames by which bursts are judged

/// The whole run is measured again when so many times as long as measuring it took has passed.
constexpr int kMeasurePause = 50;

LiveFigures measure_frames(const FrameTable &frames, std::size_t from) {
  LiveFigures figures;
  figures.distance = measure([&](auto &&visit) {
    for (std::size_t i = std::max<std::size_t>(from, 1); i < frames.count; ++i)
      visit(distance_us(frames.time_us[i - 1], frames.time_us[i]));
  });
  figures.latency = measure([&](auto &&visit) {
    for (std::size_t i = from; i < frames.count; ++i)
      if (frames.latency_us.known(i)) visit(frames.latency_us[i]);
  });
  return figures;
}

}  // namespace

LiveRun::LiveRun(Clock::time_point start) : start_(start), filler_(capture_.frames) {
  capture_.name.assign(1, '-');
}

std::int64_t LiveRun::second_of(Clock::time_point time) const {
  return std::chrono::duration_cast<seconds>(time - start_).count();
}

void LiveRun::take(const Piece &piece, std::vector<std::string> &other_lines) {
  const std::size_t first = capture_.frames.count;
  std::string_view rest = piece.text;
  while (true) {
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos) break;
    unfinished_.append(rest.substr(0, end));
    rest.remove_prefix(end + 1);
    take_line(std::exchange(unfinished_, {}), piece.time, other_lines);
  }
  unfinished_.append(rest);
  note_burst(first);
}

void LiveRun::take_line(std::string_view line, Clock::time_point time, std::vector<std::string> &other_lines) {
  formats::ReportLine report;
  switch (formats::parse_report_line(line, report)) {
    case formats::ReportParse::kFrame:
      filler_.take(report);
      note_frame(capture_.frames.count - 1, time);
      break;
    case formats::ReportParse::kMalformed:  // shown as it is: giving up would end the client that is watched
    case formats::ReportParse::kOther:
      other_lines.emplace_back(line);
  }
}

void LiveRun::note_frame(std::size_t frame, Clock::time_point time) {
  const FrameTable &frames = capture_.frames;
  arrivals_.push_back({.time = time, .frame = frame});
  std::int64_t value = 0;
  if (frames.latency_us.known(frame)) {
    value = frames.latency_us[frame];
  } else if (frame > 0) {
    value = distance_us(frames.time_us[frame - 1], frames.time_us[frame]);
  }
  const std::int64_t number = second_of(time);
  if (seconds_.empty() || seconds_.back().number != number) seconds_.push_back({.number = number, .largest = value});
  seconds_.back().largest = std::max(seconds_.back().largest, value);
  while (seconds_.size() > kMinute)
    seconds_.pop_front();
}

void LiveRun::note_burst(std::size_t first) {
  const FrameTable &frames = capture_.frames;
  const std::size_t count = frames.count - first;
  if (count == 0) return;
  const std::int64_t covered = distance_us(frames.time_us[first], frames.time_us[frames.count - 1]);
  watched_frames_ += count;
  if (count >= kBurstFrames && covered > kBurstUs) burst_frames_ += count;
  if (watched_frames_ < kWatched) return;
  in_bursts_ = burst_frames_ * 2 > watched_frames_;
  watched_frames_ = 0;
  burst_frames_ = 0;
}

LiveFigures LiveRun::measure_last_second() const {
  return arrivals_.empty() ? LiveFigures{} : measure_frames(capture_.frames, arrivals_.front().frame);
}

LiveView LiveRun::view(Clock::time_point now) {
  const FrameTable &frames = capture_.frames;
  while (!arrivals_.empty() && arrivals_.front().time + seconds(1) < now)
    arrivals_.pop_front();
  if (now >= next_measure_) {
    const Clock::time_point begin = Clock::now();
    whole_run_ = measure_frames(frames, 0);
    next_measure_ = now + (Clock::now() - begin) * kMeasurePause;
  }
  const std::int64_t nominal = whole_run_.distance ? whole_run_.distance->p50 : 0;
  for (std::size_t i = std::max<std::size_t>(measured_gaps_, 1); i < frames.count; ++i) {
    const std::uint64_t skipped = skipped_before(frames, i).value_or(0);
    const bool is_long = nominal > 0 && distance_us(frames.time_us[i - 1], frames.time_us[i]) > nominal + nominal / 2;
    if (skipped > 0 || is_long) ++gaps_;
    missing_ += skipped;
  }
  measured_gaps_ = frames.count;

  LiveView view;
  view.frames = frames.count;
  view.gaps = gaps_;
  view.missing = missing_;
  view.in_bursts = in_bursts_;
  for (const Arrival &arrival : arrivals_)
    view.bitrate_bps += frames.size[arrival.frame] * 8.0;
  view.rate = static_cast<double>(arrivals_.size());
  view.last_second = measure_last_second();
  view.whole_run = whole_run_;
  return view;
}

std::vector<std::optional<std::int64_t>> LiveRun::minute(Clock::time_point now) const {
  std::vector<std::optional<std::int64_t>> result(kMinute);
  const std::int64_t last = second_of(now);
  for (const Second &second : seconds_) {
    const std::int64_t ago = last - second.number;
    if (ago >= 0 && ago < static_cast<std::int64_t>(kMinute))
      result[kMinute - 1 - static_cast<std::size_t>(ago)] = second.largest;
  }
  return result;
}

}  // namespace frames
