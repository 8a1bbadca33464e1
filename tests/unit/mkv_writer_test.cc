// The Matroska writer's life: creating, finalising, and every way in which they fail.
#include "output/mkv_writer.h"

#include <filesystem>
#include <optional>
#include <string>

#include "mkv_fixture.h"
#include "output/mkv_container.h"

namespace {

using MkvWriterTest = MkvTest;

// ---- Creating
// --------------------------------------------------------------------------------------------------------

// Catches the code or message of a missing name.
TEST_F(MkvWriterTest, NoName) {
  EXPECT_FALSE(mkv_create(nullptr, kH264, 64, 48, slot_.address(), 30));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: No filename provided");
  EXPECT_FALSE(mkv_create(nullptr, kH264, 64, 48, nullptr, 30));
}

// Catches a format that is accepted or refused by mistake, and a file that is made for a refused one.
TEST_F(MkvWriterTest, FormatsAcceptedAndRefused) {
  for (const std::uint32_t format : {kH264, kH265, kJpeg, kAv1}) {
    EXPECT_TRUE(create(format)) << format;
    EXPECT_TRUE(std::filesystem::remove(path()));
  }
  for (const std::uint32_t format : {3u, 4u, 9u, 11u, 27u, 255u, kNoFormat}) {
    CapturedOutput errors(stderr);
    EXPECT_FALSE(create(format)) << format;
    EXPECT_EQ(errors.take(), "error: Unsupported video format for MKV writer\n");
    EXPECT_EQ(slot_.take(), "zel-error-quark/17: Failed to create MKV writer");
    EXPECT_FALSE(std::filesystem::exists(path()));
  }
}

// Catches a step of the set-up whose failure goes unseen, has another line, or leaks what was built before it.
TEST_F(MkvWriterTest, EveryStepOfTheSetUpCanFail) {
  const struct {
    const char *call;
    unsigned nth;
    const char *line;
  } steps[] = {
      {"av_packet_alloc", 1, "error: Could not allocate packet\n"},
      {"avformat_alloc_output_context2", 1, "error: Could not create output context\n"},
      {"avformat_new_stream", 1, "error: Could not create video stream\n"},
      {"avformat_new_stream", 2, "error: Could not create subtitle stream\n"},
  };
  for (const auto &step : steps) {
    interposed::reset();
    interposed::fail(step.call, step.nth);
    CapturedOutput errors(stderr);
    EXPECT_FALSE(create());
    EXPECT_EQ(errors.take(), step.line);
    EXPECT_EQ(slot_.take(), "zel-error-quark/17: Failed to create MKV writer");
    EXPECT_FALSE(std::filesystem::exists(path()));
    EXPECT_FALSE(write(frame_at(0)));
    EXPECT_EQ(slot_.take(), "zel-error-quark/3: MKV writer not initialized");
  }
}

// Catches the format being looked at in another place: after the video stream, before the subtitle stream.
TEST_F(MkvWriterTest, FormatIsCheckedAfterTheVideoStream) {
  CapturedOutput errors(stderr);
  interposed::fail("avformat_new_stream", 1);
  EXPECT_FALSE(create(kNoFormat));
  EXPECT_EQ(errors.take(), "error: Could not create video stream\n");
  (void)slot_.take();
  interposed::fail("avformat_new_stream", 2);
  EXPECT_FALSE(create(kNoFormat));
  EXPECT_EQ(errors.take(), "error: Unsupported video format for MKV writer\n");
}

// Catches a line without the file's name.
TEST_F(MkvWriterTest, FileCannotBeOpened) {
  for (const std::string &name : {scratch_ / "missing/out.mkv", scratch_ / ".", std::string()}) {
    CapturedOutput errors(stderr);
    EXPECT_FALSE(mkv_create(name.c_str(), kJpeg, 64, 48, slot_.address(), 30));
    EXPECT_EQ(errors.take(), "error: Could not open output file '" + name + "'\n");
    EXPECT_EQ(slot_.take(), "zel-error-quark/17: Failed to create MKV writer");
  }
}

// Catches stream set-up that sets more or less than it should.
TEST_F(MkvWriterTest, StreamsAreSetUp) {
  const std::optional<MkvWriter> writer = MkvWriter::open(path().c_str(), kAv1, 1920, 1080, 29.97);
  ASSERT_TRUE(writer);
  EXPECT_FALSE(writer->header_written);
  EXPECT_EQ(writer->framerate, 29.97);
  ASSERT_EQ(writer->file.context()->nb_streams, 2u);
  EXPECT_STREQ(writer->file.context()->oformat->name, "matroska");
  EXPECT_NE(writer->file.context()->flags & AVFMT_FLAG_FLUSH_PACKETS, 0);

  const AVStream *video = writer->file.context()->streams[0];
  EXPECT_EQ(video->codecpar->codec_type, AVMEDIA_TYPE_VIDEO);
  EXPECT_EQ(video->codecpar->codec_id, AV_CODEC_ID_AV1);
  EXPECT_EQ(video->codecpar->width, 1920);
  EXPECT_EQ(video->codecpar->height, 1080);
  EXPECT_EQ(av_cmp_q(video->time_base, {1, 1000}), 0);
  EXPECT_EQ(video->codecpar->format, -1);
  EXPECT_EQ(video->codecpar->codec_tag, 0u);
  EXPECT_EQ(video->codecpar->bit_rate, 0);
  EXPECT_EQ(video->codecpar->extradata, nullptr);
  EXPECT_EQ(video->avg_frame_rate.num, 0);

  const AVStream *subtitle = writer->file.context()->streams[1];
  EXPECT_EQ(subtitle->codecpar->codec_type, AVMEDIA_TYPE_SUBTITLE);
  EXPECT_EQ(subtitle->codecpar->codec_id, AV_CODEC_ID_WEBVTT);
  EXPECT_EQ(av_cmp_q(subtitle->time_base, {1, 1000}), 0);
}

// Catches a replaced writer whose file stays open, or that gets a trailer; also by a creation that fails.
TEST_F(MkvWriterTest, CreatingAgainReplacesTheWriter) {
  const CapturedOutput errors(stderr);
  const std::size_t descriptors = open_descriptors();
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(1000)));
  const std::string unfinished = file();
  ASSERT_TRUE(mkv_create((scratch_ / "second.mkv").c_str(), kJpeg, 64, 48, nullptr, 30));
  EXPECT_EQ(open_descriptors(), descriptors + 1);
  EXPECT_EQ(file(), unfinished);

  ASSERT_TRUE(write(frame_at(1000)));
  EXPECT_FALSE(mkv_create((scratch_ / "third.mkv").c_str(), kNoFormat, 64, 48, nullptr, 30));
  EXPECT_EQ(open_descriptors(), descriptors);
  EXPECT_TRUE(finalize());  // nothing left to do
  EXPECT_FALSE(write(frame_at(1000)));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: MKV writer not initialized");
}

// ---- Finalising
// ------------------------------------------------------------------------------------------------------

// Catches finalising that fails when there is nothing to do, before a run and a second time.
TEST_F(MkvWriterTest, FinalisingTwice) {
  const std::size_t descriptors = open_descriptors();
  EXPECT_TRUE(finalize());
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(1'000'000)));
  EXPECT_TRUE(finalize());
  const std::string finished = file();
  EXPECT_TRUE(finalize());
  EXPECT_TRUE(mkv_finalize(nullptr));
  EXPECT_EQ(file(), finished);
  EXPECT_EQ(open_descriptors(), descriptors);
}

// Catches a run without a frame that ends well, or that leaves anything but an empty file.
TEST_F(MkvWriterTest, NoFrame) {
  ASSERT_TRUE(create());
  CapturedOutput errors(stderr);
  EXPECT_FALSE(finalize());
  EXPECT_EQ(slot_.take(), kNotFinalised);
  EXPECT_FALSE(mkv_finalize(nullptr));
  EXPECT_EQ(errors.take(), "");
  EXPECT_EQ(file(), "");

  // The writer that stays in the slot takes no frame either.
  EXPECT_FALSE(write(frame_at(0)));
  EXPECT_EQ(slot_.take(), kNoHeader);
  EXPECT_FALSE(write(frame_at(0)));
  EXPECT_EQ(slot_.take(), kNoFrame);
  EXPECT_FALSE(finalize());
}

// Catches a full disk that goes unnoticed: the header waits in the I/O buffer until the first packet flushes it.
TEST_F(MkvWriterTest, FullDisk) {
  ASSERT_TRUE(mkv_create("/dev/full", kJpeg, 64, 48, slot_.address(), 30));
  CapturedOutput errors(stderr);
  EXPECT_FALSE(write(frame_at(0)));
  EXPECT_EQ(slot_.take(), kNoFrame);
  EXPECT_EQ(errors.take(), "error: Could not write frame\n");
  EXPECT_FALSE(finalize());
  EXPECT_EQ(slot_.take(), kNotFinalised);
  EXPECT_FALSE(mkv_finalize(nullptr));
}

// Catches a trailer that is missing after a run that a failure ended.
TEST_F(MkvWriterTest, ARunThatFailedGetsItsTrailer) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(1'000'000)));
  interposed::fail("av_write_frame");
  const CapturedOutput errors(stderr);
  EXPECT_FALSE(write(frame_at(2'000'000)));
  EXPECT_EQ(slot_.take(), kNoFrame);
  const std::string unfinished = file();
  EXPECT_TRUE(finalize());
  EXPECT_GT(file().size(), unfinished.size());
  EXPECT_NE(file().find("\x1C\x53\xBB\x6B"), std::string::npos);  // the index, "Cues"
}

// Catches complete clusters that wait in the I/O buffer, where a crash loses them. A key frame begins a new cluster
// once the current one has 4 KiB, so here every frame completes the one before it.
TEST_F(MkvWriterTest, EveryCompleteClusterIsInTheFile) {
  ASSERT_TRUE(create());
  for (std::uint8_t number = 0; number < 20; ++number) {
    fake::Frame frame = frame_at(guint64{number} * 33'333);
    frame.payload.assign(5000, number);
    ASSERT_TRUE(write(frame));
    const std::string written = file();
    for (std::uint8_t earlier = 0; earlier < number; ++earlier) {
      EXPECT_NE(written.find(std::string(5000, static_cast<char>(earlier))), std::string::npos) << int{earlier};
    }
  }
}

// Catches a leak, or a trailer, when a run ends without finalising.
TEST_F(MkvWriterTest, ReleasedWithoutTrailer) {
  ASSERT_TRUE(create());
  ASSERT_TRUE(write(frame_at(1'000'000)));
  const std::string unfinished = file();
  {
    const CapturedOutput errors(stderr);
    ASSERT_FALSE(create(kNoFormat));
  }
  EXPECT_EQ(file(), unfinished);
}

}  // namespace
