// zel-frames on captures that are larger than 32 bits count, and on ten million frames. The files have holes, so that
// they take no room.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "harness/frames_run.h"
#include "recording.h"
#include "tests/support/files.h"

namespace {

using namespace std::string_literals;

const std::string kKeyFrame = "\0\0\0\1\x67\x42\x99\x99\0\0\0\1\x68\x42\x99\x99\0\0\0\1\x65 key"s;
const std::string kOtherFrame = "\0\0\0\1\x41 other"s;
constexpr std::uint64_t kGibibyte = std::uint64_t{1} << 30U;

class FramesLarge : public testing::Test {
 protected:
  void put_at(const std::string &name, std::uint64_t place, const std::string &bytes) const {
    if (!std::filesystem::exists(folder / name)) write_file(folder / name, "");
    std::fstream file(folder / name, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(place));
    file << bytes;
    ASSERT_TRUE(file.flush());
  }

  void put_record(const std::string &name, std::uint64_t number, const SidecarRecord &record) const {
    static_assert(sizeof record == 24);
    std::string bytes(sizeof record, '\0');
    std::memcpy(bytes.data(), &record, sizeof record);
    ASSERT_NO_FATAL_FAILURE(put_at(name, number * sizeof record, bytes));
  }

  void put_trailer(const std::string &name, std::uint32_t count) const {
    std::string bytes(sizeof count, '\0');
    std::memcpy(bytes.data(), &count, sizeof count);
    ASSERT_NO_FATAL_FAILURE(put_at(name, std::uint64_t{count} * sizeof(SidecarRecord), bytes));
  }

  /// What the command prints, which it does without complaint.
  std::string printed(const std::vector<std::string> &arguments) const {
    const RunResult result = run_frames(arguments, folder.path());
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    return result.out;
  }

  TempFolder folder;
};

const std::string kColumns =
    "frame,sequence,type,type_name,key,time_us,delta_us,delta_cts_us,offset,size,header,latency_us\n";

}  // namespace

// Catches an offset, a sum or a place in a file that is cut to 32 bits, and frames that are read whole to be listed.
TEST_F(FramesLarge, StreamOfMoreThanFourGibibytes) {
  const std::vector<std::pair<std::string, std::uint32_t>> frames = {{kKeyFrame, 50},
                                                                     {kOtherFrame, 3 * kGibibyte},
                                                                     {kOtherFrame, 2 * kGibibyte},
                                                                     {kKeyFrame, kKeyFrame.size()},
                                                                     {kOtherFrame, kOtherFrame.size()}};
  std::uint64_t place = 0;
  std::uint64_t number = 0;
  for (const auto &[bytes, size] : frames) {
    const std::uint32_t header = bytes == kKeyFrame ? 16 : 0;
    ASSERT_NO_FATAL_FAILURE(put_at("cap.h264", place, bytes));
    ASSERT_NO_FATAL_FAILURE(put_record("cap.h264.meta", number, {3, 0, 1'000'000 + number * 40'000, size, header}));
    place += size;
    ++number;
  }
  ASSERT_NO_FATAL_FAILURE(put_trailer("cap.h264.meta", 5));

  EXPECT_EQ(printed({"list", "--csv", "--from=2", "cap.h264"}), kColumns +
                                                                    "2,,3,,0,1080000,40000,,3221225522,2147483648,0,\n"
                                                                    "3,,3,,1,1120000,40000,,5368709170,25,16,\n"
                                                                    "4,,3,,0,1160000,40000,,5368709195,11,0,\n");
  EXPECT_EQ(printed({"check", "cap.h264"}), "cap.h264: 5 frames, no faults, no notes\n");
  printed({"frame", "3", "-o", "frame.bin", "cap.h264"});
  EXPECT_EQ(read_file(folder / "frame.bin"), kKeyFrame);
  printed({"cut", "--from=3", "--to=4", "-o", "part", "cap.h264"});
  EXPECT_EQ(read_file(folder / "part"), kKeyFrame + kOtherFrame);
  const std::vector<SidecarRecord> records = sidecar_records(read_file(folder / "part.meta"));
  ASSERT_EQ(records.size(), 2u);
  EXPECT_EQ(records[1].timestamp, 1'160'000u);
}

// Catches a count or a table that does not take so many.
TEST_F(FramesLarge, TenMillionFrames) {
  constexpr std::uint32_t kFrames = 10'000'000;
  ASSERT_NO_FATAL_FAILURE(put_record("long.meta", kFrames - 2, {1, 0, 70, 4'000'000'000, 5}));
  ASSERT_NO_FATAL_FAILURE(put_record("long.meta", kFrames - 1, {2, 0, 90, 4'000'000'000, 6}));
  ASSERT_NO_FATAL_FAILURE(put_trailer("long.meta", kFrames));
  EXPECT_EQ(printed({"list", "--csv", "--from=9999997", "long.meta"}),
            kColumns +
                "9999997,,0,,,0,0,,0,0,0,\n"
                "9999998,,1,,,70,70,,0,4000000000,5,\n"
                "9999999,,2,,,90,20,,4000000000,4000000000,6,\n");
}
