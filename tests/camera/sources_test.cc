// Sources of pictures.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>

#include "picture/source.h"
#include "support/camera_fixture.h"
#include "support/fake_webcam.h"
#include "support/marker_reader.h"
#include "support/picture_decoder.h"

namespace {

using SourceTest = CameraTest;

// A graph is delivered in its own size and rate, and nothing is drawn into it.
TEST_F(SourceTest, AGraphBringsItsSizeAndRate) {
  configure("pacing=virtual\ngraph=color=c=red:size=96x64:rate=25,format=rgb24");
  create({{"format", guint32{6}}});
  const MapRef info(zel_stream_get_info(stream_.get(), nullptr));
  EXPECT_EQ(zel_map_get_uint32(info.get(), "width", 0), 96U);
  EXPECT_EQ(zel_map_get_uint32(info.get(), "height", 0), 64U);
  EXPECT_EQ(zel_map_get_double(info.get(), "framerate", 0), 25);
  start();
  const std::vector<std::uint8_t> bytes = fetch().bytes();
  ASSERT_EQ(bytes.size(), 96U * 64 * 3);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    EXPECT_GE(bytes[i], 250);
    EXPECT_LE(bytes[i + 1], 5);
    EXPECT_LE(bytes[i + 2], 5);
  }
  EXPECT_EQ(fetch().timestamp, 1040000U);
}

TEST_F(SourceTest, AGraphIsScaledToTheResolution) {
  configure("pacing=virtual\nmarker=true\ngraph=testsrc2=size=96x64:rate=25");
  create({{"format", guint32{5}}, {"resolution", zel_pair32u{320, 192}}, {"framerate", 50.0}});
  start();
  const Seen seen = fetch();
  const std::optional<Marker> marker = read_marker(from_raw(seen, "gray", 320, 192));
  ASSERT_TRUE(marker);
  EXPECT_EQ(marker->captured_us, seen.timestamp);
}

// A graph that ends is the expected end of the stream.
TEST_F(SourceTest, AGraphMayEnd) {
  configure("pacing=virtual\ngraph=testsrc2=size=64x64:rate=10:duration=0.3");
  create({});
  start();
  (void)fetch(3);
  const Failure failure = fetch_failure();
  EXPECT_EQ(failure.code, 5);
  EXPECT_TRUE(failure.expected);
}

// What is wrong with a source is said when the stream is created.
TEST_F(SourceTest, UnusableSourcesAreNamed) {
  configure("graph=nonsense");
  EXPECT_EQ(refusal({}).message, "Source graph \"nonsense\": Invalid argument");
  configure("graph=sine");
  EXPECT_TRUE(refusal({}).message.starts_with("Source graph \"sine\": "));
  configure("graph=hflip");
  EXPECT_EQ(refusal({}).message, "Source graph \"hflip\": it must have no input and one video output");
  configure("file=" + path("absent.mp4"));
  EXPECT_EQ(refusal({}).message, path("absent.mp4") + ": No such file or directory");
  configure("device=/dev/nonexistent-camera");
  EXPECT_EQ(refusal({}).message, "/dev/nonexistent-camera: No such file or directory");
}

/// Tests with a video file of five pictures.
class FileSourceTest : public CameraTest {
 protected:
  /// Writes the file and returns its name.
  std::string write_file() {
    create({{"resolution", zel_pair32u{192, 128}}, {"framerate", 10.0}});
    start();
    const std::vector<Seen> recorded = fetch(5);
    stream_.reset();
    std::ofstream file(path("five.h264"), std::ios::binary);
    for (const Seen &seen : recorded) {
      const std::vector<std::uint8_t> bytes = seen.bytes();
      file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    }
    return path("five.h264");
  }

  /// The numbers of the file's pictures in the next frames, which must be raw.
  std::vector<guint32> fetch_numbers(int count) {
    std::vector<guint32> numbers;
    for (const Seen &seen : fetch(count)) {
      const std::optional<Marker> marker = read_marker(from_raw(seen, "yuv420p", 192, 128));
      numbers.push_back(marker ? marker->sequence : 99);
    }
    return numbers;
  }

  /// How starting fails.
  Failure start_failure() {
    ErrorSlot error;
    EXPECT_FALSE(zel_stream_start(stream_.get(), error.address()));
    return take_failure(error);
  }
};

// A file begins anew at its end.
TEST_F(FileSourceTest, AFileIsLooped) {
  configure("pacing=virtual\nfile=" + write_file());
  create({{"format", guint32{4}}});
  start();
  EXPECT_EQ(fetch_numbers(12), (std::vector<guint32>{0, 1, 2, 3, 4, 0, 1, 2, 3, 4, 0, 1}));
}

// A file that is gone at its end is named, at every start until it is there again; the only buffer is not lost.
TEST_F(FileSourceTest, AFileMayGoAndComeBack) {
  const std::string file = write_file();
  configure("pacing=virtual\nfile=" + file);
  create({{"format", guint32{4}}}, 1);
  start();
  (void)fetch(1);
  std::filesystem::rename(file, file + ".away");
  EXPECT_EQ(fetch_numbers(4), (std::vector<guint32>{1, 2, 3, 4}));
  for (int i = 0; i < 3; ++i) {
    const Failure failure = fetch_failure();
    EXPECT_EQ(failure.code, 5);
    EXPECT_EQ(failure.message, file + ": No such file or directory");
    stop();
    start();
  }
  stop();
  std::filesystem::rename(file + ".away", file);
  start();
  EXPECT_EQ(fetch_numbers(6), (std::vector<guint32>{0, 1, 2, 3, 4, 0}));
}

// The cached loop is whole or not there: a start during which the file goes must not leave a part of it to the next.
TEST_F(FileSourceTest, ALoopIsCachedWholeOrNotAtAll) {
  const std::string file = write_file();
  configure("pacing=virtual\nproducer=cached\nfile=" + file);
  create({{"format", guint32{4}}, {"framerate", 10.0}, {"gop_length", guint32{8}}});
  std::filesystem::rename(file, file + ".away");
  for (int i = 0; i < 2; ++i) {
    const Failure failure = start_failure();
    EXPECT_EQ(failure.code, 17);
    EXPECT_EQ(failure.message, file + ": No such file or directory");
  }
  std::filesystem::rename(file + ".away", file);
  start();
  std::vector<guint32> expected;
  for (guint32 i = 0; i < 24; ++i)
    expected.push_back(i % 5);
  expected.insert(expected.end(), {0, 1});
  EXPECT_EQ(fetch_numbers(26), expected);
}

// A dropped frame was captured all the same: the source must not fall behind the frames' numbers.
TEST_F(SourceTest, AGraphGoesOnThroughDroppedFrames) {
  configure(
      "pacing=virtual\ngraph=color=size=64x64:rate=10,format=gray,geq=lum=10*(1+N)\n"
      "[frame lost]\nfrom=2\ncount=3\ndrop=true");
  create({{"format", guint32{5}}});
  start();
  for (const Seen &seen : fetch(5))
    EXPECT_NEAR(seen.bytes()[0], 10 * (1 + static_cast<int>(seen.sequence)), 2) << seen.sequence;
}

// A scene that changes in a dropped frame and then stands still has changed for the client all the same.
TEST_F(SourceTest, AChangeInADroppedFrameIsShownByTheNext) {
  configure(
      "pacing=virtual\ngraph=color=black:size=64x64:rate=10,format=gray,geq=lum=if(gte(N\\,3)\\,200\\,50)\n"
      "[frame lost]\nfrom=3\ndrop=true");
  create({{"format", guint32{4}}, {"lumo.fps_mode", guint32{1}}, {"lumo.min_fps_den", guint32{1000}}});
  start();
  const std::vector<Seen> frames = fetch(2);
  EXPECT_EQ(frames[0].sequence, 0U);
  EXPECT_EQ(frames[1].sequence, 4U);
}

// A webcam is delivered in its own size and rate, picture after picture.
TEST_F(SourceTest, ADeviceIsCaptured) {
  fake_webcam::make(path("video0"));
  configure("pacing=virtual\ndevice=" + path("video0"));
  create({{"format", guint32{5}}});
  const MapRef info(zel_stream_get_info(stream_.get(), nullptr));
  EXPECT_EQ(zel_map_get_uint32(info.get(), "width", 0), fake_webcam::kWidth);
  EXPECT_EQ(zel_map_get_uint32(info.get(), "height", 0), fake_webcam::kHeight);
  EXPECT_EQ(zel_map_get_double(info.get(), "framerate", 0), fake_webcam::kFramesPerSecond);
  start();
  guint32 first = 0;
  for (const Seen &seen : fetch(10)) {
    ASSERT_EQ(seen.size, gsize{fake_webcam::kWidth} * fake_webcam::kHeight);
    if (seen.sequence == 0) first = (seen.bytes()[0] - fake_webcam::brightness(0)) / 10U;
    EXPECT_NEAR(seen.bytes()[0], fake_webcam::brightness(first + seen.sequence), 2) << seen.sequence;
  }
}

// Pictures that wait in the device, from before the start or from the time of one frame to the next, are out of date:
// a frame that showed one would lie about its moment of capture, and every later frame with it.
TEST_F(SourceTest, ADeviceGivesItsNewestPicture) {
  fake_webcam::make(path("video0"));
  configure("pacing=virtual\ndevice=" + path("video0"));
  create({{"format", guint32{5}}}, 1);
  for (int i = 0; i < 3; ++i) {
    const guint32 newest = fake_webcam::capture(3);
    start();
    EXPECT_NEAR(fetch().bytes()[0], fake_webcam::brightness(newest), 2) << i;
    stop();
  }
}

// A device that gives nothing must not hang the stream's creation or its stop for ever.
TEST_F(SourceTest, ASilentDeviceIsGivenUp) {
  constexpr std::chrono::milliseconds kPatience(20);
  fake_webcam::make(path("video0"));
  fake_webcam::fall_silent();
  EXPECT_THROW((void)camera::open_device(
                   path("video0"), [] { return false; }, kPatience)
                   ->next(),
               camera::AvFailure);
}

// Stopping does not wait until a device that shows nothing counts as broken.
TEST_F(SourceTest, ASilentDeviceDoesNotHoldUpTheStop) {
  fake_webcam::make(path("video0"));
  configure("pacing=virtual\ndevice=" + path("video0"));
  create({{"format", guint32{5}}}, 1);
  start();
  const BufferRef only(zel_stream_get_buffer(stream_.get(), nullptr));
  fake_webcam::fall_silent();
  ASSERT_TRUE(zel_stream_buffer_enqueue(stream_.get(), only.get(), nullptr));
  fake_webcam::wait_for_look();
  stop();
  (void)fake_webcam::capture(1);
  start();
  EXPECT_EQ(fetch().size, gsize{fake_webcam::kWidth} * fake_webcam::kHeight);
}

// The same below the calls, without a clock.
TEST_F(SourceTest, ASilentDeviceLooksForTheStop) {
  fake_webcam::make(path("video0"));
  int looks = 0;
  const auto source = camera::open_device(
      path("video0"), [&] { return ++looks > 3; }, std::chrono::hours(1));
  fake_webcam::fall_silent();
  const auto take_all = [&] {
    while (true)
      (void)source->next();
  };
  EXPECT_THROW(take_all(), camera::Stopped);
}

// The default picture moves: two frames in a row are never the same.
TEST_F(SourceTest, TheTestPictureMoves) {
  configure("pacing=virtual\nmarker=false");
  create({{"format", guint32{5}}, {"resolution", zel_pair32u{320, 192}}});
  start();
  const std::vector<Seen> frames = fetch(10);
  for (std::size_t i = 1; i < frames.size(); ++i)
    EXPECT_NE(frames[i].bytes(), frames[i - 1].bytes());
}

// The marker must be readable after the coarsest coding there is.
TEST_F(SourceTest, TheMarkerSurvivesTheCoarsestCoding) {
  for (const zel_pair32u size : {zel_pair32u{1280, 720}, zel_pair32u{176, 144}, zel_pair32u{64, 64}}) {
    create({{"resolution", size}, {"compression", guint32{100}}});
    start();
    const std::vector<Seen> frames = fetch(3);
    for (const DecodedPicture &picture : decode("h264", frames))
      EXPECT_TRUE(read_marker(picture)) << size.first;
  }
}

// A graph of almost no frames a second must not become a rate of 0.
TEST_F(SourceTest, TheRateOfASourceIsKeptInRange) {
  configure("pacing=virtual\ngraph=color=size=64x64:rate=1/100000000");
  create({});
  const MapRef info(zel_stream_get_info(stream_.get(), nullptr));
  EXPECT_EQ(zel_map_get_double(info.get(), "framerate", 0), 0.1);
}

}  // namespace
