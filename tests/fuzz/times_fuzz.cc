// Any clocks and sizes through the statistics and their report, and any time through the cue texts.
#include <cstdio>
#include <memory>
#include <string>

#include "common/owned.h"
#include "console/frame_stats.h"
#include "console/statistics_report.h"
#include "formats/cue_text.h"
#include "input.h"
#include "output/mkv_packets.h"

namespace {

struct CloseFile {
  void operator()(FILE *file) const { (void)std::fclose(file); }
};

std::string report(const FrameStats &stats, bool custom) {
  char *text = nullptr;
  std::size_t size = 0;
  std::unique_ptr<FILE, CloseFile> file(open_memstream(&text, &size));
  write_statistics(file.get(), stats, custom);
  file.reset();
  const TextPtr held(text);
  return {text, size};
}

FrameSample read_sample(Input *input) {
  FrameSample sample;
  sample.cts = input->number<guint64>();
  sample.pts = input->number<guint64>();
  sample.real_now = input->number<guint64>();
  sample.utc = input->number<guint64>();
  sample.custom = input->number<guint64>();
  sample.size = input->number<guint32>();
  sample.capacity = input->number<guint32>();
  sample.shown = (input->number<std::uint8_t>() & 1) != 0;
  return sample;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  const bool custom = (input.number<std::uint8_t>() & 1) != 0;
  const auto framerate = input.number<std::uint64_t>();
  double rate = 0;
  std::memcpy(&rate, &framerate, sizeof rate);
  const std::int64_t duration = mkv_packet_duration(rate);
  require(duration >= 0 && duration < INT32_MAX, "a duration fits the muxer");

  FrameStats stats;
  PreviousTimes previous;
  guint32 frames = 0;
  while (!input.empty()) {
    const FrameSample sample = read_sample(&input);
    const FrameTiming timing = update_frame_stats(stats, previous, sample, custom);
    require(timing.cts == sample.cts && timing.pts == sample.pts, "the times are handed on");
    stats.server_last_us = timing.pts;
    stats.client_last_us = timing.cts;
    stats.last_utc = sample.utc;
    previous = {.cts = timing.cts, .pts = timing.pts};
    frames += sample.shown ? 1 : 0;
    const auto time = static_cast<std::int64_t>(sample.pts);
    require(formats::parse_cue_text(formats::cue_text(time)) == time, "a cue names its time");
  }
  require(stats.nframes == frames, "shown frames are counted");
  const std::string text = report(stats, custom);
  require(text.starts_with("\nzel-statistics:\n") && text.ends_with('\n'), "the report is whole");
  require((text.find("zel.custom.jitter") != std::string::npos) == custom, "custom times only when asked for");
  return 0;
}
