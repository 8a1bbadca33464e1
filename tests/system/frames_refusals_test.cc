// zel-frames on captures that a command can do nothing with: what it says.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "frames_folder.h"

namespace {

using namespace std::string_literals;

/// The record of a frame without a header.
std::string record(std::uint8_t time_us, std::uint8_t size) {
  return "\0\0\0\0\0\0\0\0"s + static_cast<char>(time_us) + "\0\0\0\0\0\0\0"s + static_cast<char>(size) +
         "\0\0\0\0\0\0\0"s;
}

class FramesRefusals : public FramesFolder {
 protected:
  void make(const std::string &name, std::vector<std::string> options) const {
    options.insert(options.begin(), {"ffmpeg", "-v", "error"});
    options.push_back((folder.path() / name).string());
    const RunResult made = run_tool(options);
    ASSERT_EQ(made.status, 0) << made.err;
  }

  /// A stream of H.264 whose two frames are no key frames.
  void make_keyless() const {
    write("cap",
          "\0\0\0\1\x41"
          "abcde"
          "\0\0\0\1\x41"
          "fghij"s);
    write("cap.meta", record(10, 10) + record(50, 10) + "\2\0\0\0"s);
  }

  /// Two grey pictures of 2x2.
  void make_grey() const {
    write("grey", "gggggggg");
    write("grey.meta", record(10, 4) + record(50, 4) + "\2\0\0\0"s);
  }
};

}  // namespace

// Catches one of several tracks that is taken without a word.
TEST_F(FramesRefusals, FilesWithoutOneVideoTrack) {
  const std::vector<std::string> source = {"-f", "lavfi", "-i", "testsrc2=s=64x48:d=0.2"};
  std::vector<std::string> twice = source;
  twice.insert(twice.end(), source.begin(), source.end());
  twice.insert(twice.end(), {"-map", "0:v", "-map", "1:v", "-c:v", "mjpeg"});
  ASSERT_NO_FATAL_FAILURE(make("two.mkv", twice));
  ASSERT_NO_FATAL_FAILURE(make("sound.wav", {"-f", "lavfi", "-i", "sine=d=0.1"}));
  EXPECT_EQ(refusal({"list", "two.mkv"}), "two.mkv: has 2 video tracks, not one");
  EXPECT_EQ(refusal({"stats", "sound.wav"}), "sound.wav: has no video track");
}

// Catches a codec that no camera has being called by another's name, or ending what needs no codec.
TEST_F(FramesRefusals, VideoOfAnotherCodec) {
  ASSERT_NO_FATAL_FAILURE(make("other.mkv", {"-f", "lavfi", "-i", "testsrc2=s=64x48:d=0.2:r=25", "-c:v", "ffv1"}));
  const std::string message = "other.mkv: its video has another codec than a camera's";
  EXPECT_EQ(refusal({"frame", "0", "-o", "0.png", "other.mkv"}), message);
  EXPECT_EQ(refusal({"mux", "-o", "out.mp4", "other.mkv"}), message);
  EXPECT_EQ(refusal({"check", "--decode", "other.mkv"}), message);
  EXPECT_EQ(output({"stats", "--json", "other.mkv"}).find(R"({"width":64,"height":48,"frames":5,)"), 0u);
}

// Catches a rate that is taken in place of the times that are there.
TEST_F(FramesRefusals, RatesOfCapturesWithTimes) {
  make_keyless();
  write("run.txt", "zel-client: frame =    0, type = p, Δpts =       0, latency =       5 µs, size = 10\n");
  for (const std::string name : {"cap", "cap.meta", "run.txt"})
    EXPECT_EQ(refusal({"list", "--fps=25", name}), name + ": has times of its own, --fps is not needed");
}

// Catches a start that cannot be decoded, and a file that no player can begin.
TEST_F(FramesRefusals, StreamsWithoutAKeyFrame) {
  make_keyless();
  EXPECT_EQ(refusal({"cut", "--from=1", "--to=1", "-o", "out", "cap"}), "cap: frame 1: no key frame stands before it");
  EXPECT_EQ(refusal({"frame", "1", "-o", "1.png", "cap"}), "cap: frame 1: does not decode to a picture");
  EXPECT_EQ(refusal({"mux", "-o", "out.mkv", "cap"}), "cap: the size of its pictures is not known: --size says it");
  EXPECT_EQ(refusal({"mux", "-o", "out.mkv", "--size=64x48", "cap"}),
            "cap: frame 0: neither it nor one behind it has the parameter sets that players need");
}

// Catches pictures that are made of another picture's bytes.
TEST_F(FramesRefusals, SizesOfUncompressedPictures) {
  make_grey();
  EXPECT_EQ(refusal({"frame", "0", "-o", "0.png", "--format=gray", "grey"}),
            "grey: the size of its pictures is not known: --size says it");
  EXPECT_EQ(refusal({"frame", "0", "-o", "0.png", "--format=gray", "--size=4x4", "grey"}),
            "grey: frame 0: has 4 bytes, a picture of 4x4 in gray has 16");
  std::filesystem::remove(folder.path() / "grey.meta");
  EXPECT_EQ(refusal({"list", "--format=rgb", "--size=65535x65535", "grey"}), "grey: no frame is of that size");
  EXPECT_EQ(refusal({"list", "--format=gray", "--size=3x3", "grey"}), "grey: holds no whole frame");
}
