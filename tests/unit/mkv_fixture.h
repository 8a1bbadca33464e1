// What the tests of the Matroska writer share.
#ifndef ZEL_CLIENT_TESTS_UNIT_MKV_FIXTURE_H
#define ZEL_CLIENT_TESTS_UNIT_MKV_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <iterator>
#include <string>
#include <utility>

#include "captured_output.h"
#include "fake_zel.h"
#include "interposed.h"
#include "output/mkv_writer.h"
#include "tests/support/error_slot.h"
#include "tests/support/files.h"

extern "C" {
#include <libavutil/log.h>
}

constexpr std::uint32_t kH264 = 0, kH265 = 1, kJpeg = 2, kAv1 = 10;

/// What a call that fails says.
inline constexpr const char *kNoHeader = "zel-error-quark/17: Failed writing MKV header";
inline constexpr const char *kNoFrame = "zel-error-quark/17: Failed writing MKV frame";
inline constexpr const char *kNotFinalised = "zel-error-quark/17: Failed finalizing container";

/// Number of this process's open descriptors.
inline std::size_t open_descriptors() {
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(descriptors), end(descriptors)));
}

class MkvTest : public testing::Test {
 protected:
  void SetUp() override {
    av_log_set_level(AV_LOG_QUIET);  // standard error holds the client's lines only
    fake::reset();
    interposed::reset();
  }
  /// Empties the slot: a writer that cannot be built takes the earlier one with it.
  void TearDown() override {
    const CapturedOutput ignored(stderr);
    (void)mkv_create("", kNoFormat, 0, 0, nullptr, 0);
  }

  std::string path() const { return scratch_ / "out.mkv"; }
  bool create(std::uint32_t format = kJpeg, double framerate = 30, std::uint32_t width = 64,
              std::uint32_t height = 48) {
    return mkv_create(path().c_str(), format, width, height, slot_.address(), framerate);
  }
  bool write(fake::Frame frame) { return mkv_write_frame(fake::make_buffer(std::move(frame)).get(), slot_.address()); }
  bool finalize() { return mkv_finalize(slot_.address()); }
  std::string file() const { return read_file(path()); }

  /// A frame that the JPEG track takes; its bytes are of no interest to the muxer.
  static fake::Frame frame_at(guint64 timestamp) {
    return {.payload = {0xFF, 0xD8, 1, 2, 3, 0xFF, 0xD9}, .key = true, .timestamp = timestamp};
  }

  static constexpr std::uint32_t kNoFormat = 0xFFFFFFFF;

  TempFolder scratch_;
  ErrorSlot slot_;
};

#endif
