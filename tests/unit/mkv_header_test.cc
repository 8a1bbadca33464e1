// The Matroska header, which the first frame brings, and what follows when it is refused.
#include <filesystem>
#include <limits>
#include <optional>
#include <string>

#include "mkv_fixture.h"
#include "output/mkv_container.h"

namespace {

using MkvHeaderTest = MkvTest;

/// What the first block of the file's extradata is, seen from the writer's own stream.
std::string extradata_after_header(const std::string &path, fake::Frame frame) {
  std::optional<MkvWriter> writer = MkvWriter::open(path.c_str(), kJpeg, 64, 48, 30);
  const fake::BufferPtr buffer = fake::make_buffer(std::move(frame));
  if (!writer || !mkv_write_header(*writer, buffer.get(), fake::payload_of(buffer.get()))) return "failed";
  const AVCodecParameters *parameters = writer->file.context()->streams[0]->codecpar;
  return {reinterpret_cast<const char *>(parameters->extradata), static_cast<std::size_t>(parameters->extradata_size)};
}

// Catches a wrong share of the first frame as codec configuration: its header, or all of it below three bytes of
// header; and reading past the frame's end when it claims more header than it has bytes.
TEST_F(MkvHeaderTest, ExtradataIsTheHeaderOrTheFrame) {
  const auto extradata = [this](gssize header_size) {
    return extradata_after_header(path(), {.payload = {'a', 'b', 'c', 'd', 'e'}, .header_size = header_size});
  };
  EXPECT_EQ(extradata(4), "abcd");
  EXPECT_EQ(extradata(3), "abc");
  EXPECT_EQ(extradata(2), "abcde");
  EXPECT_EQ(extradata(0), "abcde");
  EXPECT_EQ(extradata(-1), "abcde");
  EXPECT_EQ(extradata(std::numeric_limits<gssize>::min()), "abcde");
  EXPECT_EQ(extradata(5), "abcde");
  EXPECT_EQ(extradata(6), "abcde");
  EXPECT_EQ(extradata(std::numeric_limits<gssize>::max()), "abcde");
}

// Catches CRC-32 elements in the file, and other options than the one.
TEST_F(MkvHeaderTest, HeaderOptions) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(0)));
  EXPECT_EQ(interposed::header_options(), "write_crc32=0");
}

// Catches a header written before the first frame.
TEST_F(MkvHeaderTest, FileIsEmptyUntilTheFirstFrame) {
  ASSERT_TRUE(create());
  EXPECT_TRUE(std::filesystem::exists(path()));
  EXPECT_EQ(file(), "");
  ASSERT_TRUE(write(frame_at(0)));
  EXPECT_NE(file(), "");  // at once, not when the I/O buffer is full
}

/// First frames that libavformat refuses: codecs that need parameter sets, sizes that are none.
struct RefusedHeader {
  std::uint32_t format;
  std::uint32_t width;
  std::uint32_t height;
};

class MkvRefusedHeader : public MkvTest, public testing::WithParamInterface<RefusedHeader> {
 protected:
  bool create_refused() { return create(GetParam().format, 30, GetParam().width, GetParam().height); }
};

// Catches a crash in the trailer of a muxer that has released its insides, a failure reported as success, and a second
// finalising that touches what the first released.
TEST_P(MkvRefusedHeader, FinalisingFailsWithoutCrash) {
  CapturedOutput errors(stderr);
  const std::size_t descriptors = open_descriptors();
  ASSERT_TRUE(create_refused());
  EXPECT_FALSE(write(frame_at(0)));
  EXPECT_EQ(slot_.take(), kNoHeader);
  EXPECT_EQ(errors.take(), "error: Could not write header: 7\n");  // the size of the extradata
  for (int attempt = 0; attempt < 3; ++attempt) {
    EXPECT_FALSE(finalize());
    EXPECT_EQ(slot_.take(), kNotFinalised);
  }
  EXPECT_EQ(errors.take(), "");
  EXPECT_EQ(open_descriptors(), descriptors);
}

// Catches a second attempt at the header, and packets given to a muxer that was never set up.
TEST_P(MkvRefusedHeader, AFurtherFrameIsRefusedWithoutCrash) {
  ASSERT_TRUE(create_refused());
  CapturedOutput errors(stderr);
  EXPECT_FALSE(write(frame_at(0)));
  (void)errors.take();
  (void)slot_.take();
  EXPECT_FALSE(write(frame_at(33'000)));
  EXPECT_EQ(errors.take(), "error: Could not write frame\n");
  EXPECT_EQ(slot_.take(), kNoFrame);
  EXPECT_FALSE(finalize());
}

// Catches a leak or a crash at the exit of a run that never finalises.
TEST_P(MkvRefusedHeader, WriterIsReleasedWithoutFinalising) {
  ASSERT_TRUE(create_refused());
  const CapturedOutput errors(stderr);
  EXPECT_FALSE(write(frame_at(0)));
}

// Catches an H.264 stream that begins without its parameter sets and gets a header, from which nobody could decode.
TEST_F(MkvHeaderTest, H264NeedsItsParameterSets) {
  ASSERT_TRUE(create(kH264));
  CapturedOutput errors(stderr);
  EXPECT_FALSE(write({.payload = {0, 0, 0, 1, 0x41, 1, 2, 3, 4}, .timestamp = 0}));  // a slice
  EXPECT_EQ(slot_.take(), kNoHeader);
  EXPECT_EQ(errors.take(), "error: Could not write header: 9\n");
  EXPECT_FALSE(finalize());
  EXPECT_EQ(slot_.take(), kNotFinalised);
}

INSTANTIATE_TEST_SUITE_P(All, MkvRefusedHeader,
                         testing::Values(RefusedHeader{kJpeg, 0, 48}, RefusedHeader{kJpeg, 64, 0},
                                         RefusedHeader{kJpeg, 0xFFFFFFFF, 48}, RefusedHeader{kH265, 64, 48},
                                         RefusedHeader{kAv1, 64, 48}));

// Catches "later calls report success" turned into a second failure.
TEST_F(MkvHeaderTest, AFailedHeaderIsNotTriedAgain) {
  std::optional<MkvWriter> writer = MkvWriter::open(path().c_str(), kJpeg, 0, 0, 30);
  ASSERT_TRUE(writer);
  const fake::BufferPtr buffer = fake::make_buffer(frame_at(0));
  const CapturedOutput errors(stderr);
  EXPECT_FALSE(mkv_write_header(*writer, buffer.get(), fake::payload_of(buffer.get())));
  EXPECT_TRUE(mkv_write_header(*writer, buffer.get(), fake::payload_of(buffer.get())));
  EXPECT_EQ(file(), "");
}

// Catches a missing line for the extradata, by exhausted memory and by a first frame that no int can count.
TEST_F(MkvHeaderTest, ExtradataCannotBeAllocated) {
  for (const gsize size : {gsize{7}, gsize{std::numeric_limits<int>::max()}, gsize{G_MAXSIZE}}) {
    ASSERT_TRUE(create());
    CapturedOutput errors(stderr);
    if (size == 7) interposed::fail("av_mallocz");
    fake::Frame frame = frame_at(0);
    frame.size = size;
    EXPECT_FALSE(write(frame));
    EXPECT_EQ(errors.take(), "error: Could not allocate extradata\n");
    EXPECT_EQ(slot_.take(), kNoHeader);
    EXPECT_FALSE(finalize());
    EXPECT_EQ(slot_.take(), kNotFinalised);
  }
}

}  // namespace
