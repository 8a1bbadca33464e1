// Output files beyond 2 and 4 GiB, where a 32-bit offset ends.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "capture/raw_output.h"
#include "fake_zel.h"
#include "output/meta_file.h"
#include "output/mkv_writer.h"
#include "settings/client_options.h"
#include "sparse_files.h"
#include "tests/support/error_slot.h"
#include "tests/support/files.h"
#include "tests/support/run_tool.h"

namespace {

constexpr std::int64_t kGiB = std::int64_t{1} << 30;
constexpr std::uint32_t kMayRead = 1;

class LargeFiles : public testing::TestWithParam<std::int64_t> {
 protected:
  void SetUp() override { fake::reset(); }
  void TearDown() override {
    sparse_files::start_at(0);
    close_raw_output();
    client_options = {};
  }

  /// Stores a frame as the raw writer's `count`th; each multiple of `split_nframes` begins a file.
  bool write_raw(std::vector<std::uint8_t> bytes, gint32 count) {
    const fake::BufferPtr buffer = fake::make_buffer({.payload = std::move(bytes)});
    return write_raw_frame(buffer.get(), count, kMayRead, slot_.address());
  }

  static std::string bytes_from(const std::string &path, std::int64_t offset) {
    std::ifstream file(path, std::ios::binary);
    file.seekg(offset);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  TempFolder scratch_;
  ErrorSlot slot_;
};

INSTANTIATE_TEST_SUITE_P(Around, LargeFiles, testing::Values(2 * kGiB - 3, 4 * kGiB - 3));

// Catches a raw file, or one of a split, that ends where 32 bits do.
TEST_P(LargeFiles, RawOutputGoesOn) {
  std::string pattern = scratch_ / "out%d";
  client_options.output = pattern.data();
  client_options.split_nframes = 2;
  sparse_files::start_at(GetParam());
  for (gint32 count = 0; count < 4; ++count) {
    const auto mark = static_cast<std::uint8_t>('a' + count);
    ASSERT_TRUE(write_raw(std::vector<std::uint8_t>(4, mark), count)) << slot_.take();
  }
  close_raw_output();
  EXPECT_EQ(bytes_from(scratch_ / "out0", GetParam()), "aaaabbbb");
  EXPECT_EQ(bytes_from(scratch_ / "out2", GetParam()), "ccccdddd");
}

// Catches a file that keeps what lies beyond 32 bits when only the last frame is to stay.
TEST_P(LargeFiles, LastFrameOnlyStartsAnew) {
  std::string name = scratch_ / "out%d";
  client_options.output = name.data();
  client_options.split_nframes = 2;
  client_options.last = TRUE;
  sparse_files::start_at(GetParam() + 10);
  ASSERT_TRUE(write_raw({'a', 'b'}, 0)) << slot_.take();
  ASSERT_TRUE(write_raw({'c'}, 1)) << slot_.take();
  close_raw_output();
  EXPECT_EQ(std::filesystem::file_size(scratch_ / "out0"), 1U);
  EXPECT_EQ(bytes_from(scratch_ / "out0", 0), "c");
}

// Catches a sidecar that ends where 32 bits do.
TEST_P(LargeFiles, SidecarGoesOn) {
  const fake::BufferPtr buffer = fake::make_buffer({.payload = {1, 2, 3}, .timestamp = 0x0102030405060708});
  sparse_files::start_at(GetParam());
  ASSERT_TRUE(meta_open((scratch_ / "out").c_str(), slot_.address())) << slot_.take();
  ASSERT_TRUE(meta_write_entry(buffer.get(), slot_.address())) << slot_.take();
  ASSERT_TRUE(meta_close(slot_.address())) << slot_.take();
  const std::string bytes = bytes_from(scratch_ / "out.meta", GetParam());
  ASSERT_EQ(bytes.size(), 28U);
  EXPECT_EQ(bytes.substr(8, 8), "\x08\x07\x06\x05\x04\x03\x02\x01");
  EXPECT_EQ(bytes.substr(24), std::string("\x01\0\0\0", 4));
}

// Catches a Matroska file whose size, index or positions are cut to 32 bits: a player then finds nothing behind 4 GiB.
TEST_F(LargeFiles, MatroskaIsIndexedBeyondFourGiB) {
  constexpr std::size_t kFrameSize = 1U << 24;
  constexpr guint64 kFrames = 260;  // 4.06 GiB
  constexpr std::uint32_t kJpeg = 2;
  const std::string path = scratch_ / "out.mkv";
  ASSERT_TRUE(mkv_create(path.c_str(), kJpeg, 64, 48, slot_.address(), 1.0)) << slot_.take();
  const fake::BufferPtr buffer = fake::make_buffer({});
  for (guint64 frame = 0; frame < kFrames; ++frame) {
    fake::refill(buffer.get(),
                 {.payload = std::vector<std::uint8_t>(kFrameSize), .key = true, .timestamp = frame * 1'000'000});
    ASSERT_TRUE(mkv_write_frame(buffer.get(), slot_.address())) << slot_.take();
  }
  ASSERT_TRUE(mkv_finalize(slot_.address())) << slot_.take();

  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_GT(status.st_size, 4 * kGiB);
  // The last frame begins behind 4 GiB; it is found through the index.
  const std::string found = run_tool(
      "ffprobe -v error -select_streams v -read_intervals '259%+#1' -show_entries packet=pts_time,pos -of "
      "csv=p=0 " +
      path);
  EXPECT_EQ(found.substr(0, 11), "259.000000,") << found;
  EXPECT_GT(std::stoll(found.substr(found.rfind(',') + 1)), 4 * kGiB) << found;
}

}  // namespace
