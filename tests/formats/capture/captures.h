// Captures of a few made-up frames, as files of a test's own folder.
#ifndef ZEL_CLIENT_TESTS_FORMATS_CAPTURES_H
#define ZEL_CLIENT_TESTS_FORMATS_CAPTURES_H

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

#include "formats/capture/source.h"
#include "formats/capture/unusable.h"
#include "formats/sidecar.h"
#include "tests/support/files.h"

inline void write_bytes(const std::string &path, const std::string &bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << bytes;
}

/// Records as a sidecar holds them.
inline std::string record_bytes(const std::vector<formats::SidecarRecord> &records) {
  std::string bytes;
  for (const formats::SidecarRecord &record : records) {
    const auto one = formats::sidecar_record_bytes(record);
    bytes.append(reinterpret_cast<const char *>(one.data()), one.size());
  }
  return bytes;
}

inline std::string trailer_bytes(std::uint32_t count) {
  const auto bytes = formats::sidecar_trailer_bytes(count);
  return {reinterpret_cast<const char *>(bytes.data()), bytes.size()};
}

/// A sidecar that was closed properly.
inline std::string sidecar_bytes(const std::vector<formats::SidecarRecord> &records) {
  return record_bytes(records) + trailer_bytes(static_cast<std::uint32_t>(records.size()));
}

/// H.264 frames of a start code, a unit's header and filling: a key frame has 16 bytes of parameter sets, kHeader.
inline constexpr std::uint32_t kHeader = 16;
inline std::string h264_frame(bool key, std::size_t size) {
  using namespace std::string_literals;
  std::string frame = key ? "\0\0\0\1\x67\x42\x99\x99\0\0\0\1\x68\x42\x99\x99\0\0\0\1\x65"s : "\0\0\0\1\x41"s;
  frame.resize(size, '\x77');
  return frame;
}

/// The text of Unusable that opening the capture throws; "" and a failed test when it throws none.
inline std::string unusable_text(const formats::CaptureOptions &options) {
  try {
    (void)formats::open_capture(options);
  } catch (const formats::Unusable &error) {
    return error.what();
  }
  ADD_FAILURE() << options.capture << " can be used";
  return "";
}

#endif
