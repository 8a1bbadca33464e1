// What the fuzz targets of zel-frames' readers share: input as files, and a capture that is read to its end.
#ifndef ZEL_CLIENT_TESTS_FUZZ_READER_INPUT_H
#define ZEL_CLIENT_TESTS_FUZZ_READER_INPUT_H

#include <cstdint>
#include <fstream>
#include <span>
#include <string>

#include "frames/common/unusable.h"
#include "frames/model/capture.h"
#include "frames/model/checks.h"
#include "frames/model/statistics.h"
#include "input.h"
#include "tests/support/files.h"

extern "C" {
#include <libavutil/log.h>
}

/// The path of a file of that name in a folder of this process.
inline std::string input_file(const std::string &name) {
  static const TempFolder folder;
  return folder / name;
}

inline void write_input(const std::string &path, std::span<const std::uint8_t> bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

/// Reads the capture as the commands do: key frames, figures, checks, all bytes. What cannot be used throws Unusable.
inline void read_capture(const frames::CaptureOptions &options) try {
  av_log_set_level(AV_LOG_QUIET);
  frames::Capture capture = frames::open_capture(options);
  find_keys(capture);
  const frames::Statistics statistics = frames::measure_capture(capture);
  require(statistics.frames == capture.frames.count, "every frame is counted");
  frames::Findings findings = capture.findings;
  frames::check_frames(capture, findings);
  frames::check_times(capture, statistics, findings);
  for (const frames::Finding &finding : findings.kept())
    require(!finding.id.empty() && !finding.text.empty(), "a finding says what it is");
  if (!capture.has_bytes()) return;
  const auto reader = capture.open_bytes(capture);
  for (std::size_t i = 0; i < capture.frames.count; ++i) {
    const std::size_t size = reader->read(i).size();
    const bool is_packet = capture.kind == frames::SourceKind::kContainer;
    require(is_packet || size == capture.frames.size[i], "a frame has all of its bytes");
  }
} catch (const frames::Unusable &error) {
  require(!std::string(error.what()).empty(), "what is wrong is said");
}

#endif
