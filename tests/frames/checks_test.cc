// What the check of a capture finds, by kind of capture.
#include "frames/model/checks.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "frames/model/limits.h"
#include "tests/formats/capture/captures.h"

namespace {

using formats::Codec;
using formats::SidecarRecord;
using frames::Capture;
using frames::Findings;
using testing::ElementsAre;
using testing::IsEmpty;

/// A finding as "id frame".
std::vector<std::string> found(const Findings &findings) {
  std::vector<std::string> texts;
  for (const frames::Finding &finding : findings.kept())
    texts.push_back(std::string(finding.id) + (finding.frame ? " " + std::to_string(*finding.frame) : ""));
  return texts;
}

class FramesCheck : public testing::Test {
 protected:
  /// Checks frames of these bytes, with these header sizes, as a raw stream with a sidecar.
  Findings check(const std::vector<std::string> &frames, std::map<std::size_t, std::uint32_t> headers = {},
                 std::optional<Codec> format = {}) const {
    std::string stream;
    std::vector<SidecarRecord> records;
    for (std::size_t i = 0; i < frames.size(); ++i) {
      records.push_back({.time_us = 1'000'000 + i * 40'000,
                         .size = static_cast<std::uint32_t>(frames[i].size()),
                         .header_size = headers.contains(i) ? headers[i] : 0});
      stream += frames[i];
    }
    write_bytes(folder / "a", stream);
    write_bytes(folder / "a.meta", sidecar_bytes(records));
    return check_capture({.capture = folder / "a", .format = format});
  }
  Findings check_capture(const frames::CaptureOptions &options) const {
    Capture capture = frames::open_capture(options);
    find_keys(capture);
    Findings findings = capture.findings;
    frames::check_frames(capture, findings);
    frames::check_times(capture, frames::measure_capture(capture), findings);
    return findings;
  }

  TempFolder folder;
};

const std::string kKey = h264_frame(true, 400);
const std::string kOther = h264_frame(false, 90);

}  // namespace

// Catches a good capture that fails, and start codes of three bytes taken for a fault.
TEST_F(FramesCheck, GoodFrames) {
  EXPECT_THAT(found(check({kKey, kOther, kOther}, {{0, kHeader}})), IsEmpty());
  EXPECT_THAT(found(check({kKey.substr(1), kOther.substr(1)}, {{0, kHeader - 1}})), IsEmpty());
  EXPECT_THAT(found(check({kKey, kOther, ""}, {{0, kHeader}})), IsEmpty());
}

// Catches a frame whose first bytes are lost, and the header of one that is compared all the same.
TEST_F(FramesCheck, FrameStart) {
  EXPECT_THAT(found(check({kKey, kOther, "xyz" + kOther, kOther}, {{0, kHeader}, {2, 3}})),
              ElementsAre("frame-start 2"));
  EXPECT_THAT(found(check({"xyz" + kKey, kOther})), ElementsAre("frame-start 0"));
  EXPECT_THAT(found(check({"one", "three"})), ElementsAre("frame-start 0"));
  EXPECT_THAT(found(check({"two", "two"})), IsEmpty());
  const Findings findings = check({kKey, std::string("\0\1\2", 3)}, {{0, kHeader}});
  ASSERT_EQ(findings.kept().size(), 1u);
  EXPECT_EQ(findings.kept()[0].text, "begins with 00 01 02, as no h264 frame does");
}

// Catches header sizes that are not looked at: of a key frame, of another one, beyond the frame and far into it.
TEST_F(FramesCheck, Header) {
  EXPECT_THAT(found(check({kKey, kOther}, {{0, kHeader - 1}})), ElementsAre("header 0"));
  EXPECT_THAT(found(check({kKey, kOther}, {})), ElementsAre("header 0"));
  EXPECT_THAT(found(check({kKey, kOther}, {{0, kHeader}, {1, 5}})), ElementsAre("header 1"));
  EXPECT_THAT(found(check({kKey, kOther}, {{0, kHeader}, {1, 91}})), ElementsAre("header 1"));
  using namespace std::string_literals;
  const std::string delimited = "\0\0\0\1\x09\xF0"s + kKey;
  EXPECT_THAT(found(check({delimited, kOther}, {{0, kHeader + 6}})), IsEmpty());
  EXPECT_THAT(found(check({delimited, kOther}, {{0, kHeader + 5}})), ElementsAre("header 0"));
  std::string far = h264_frame(true, 16);
  far.insert(8, 5000, '\x55');
  EXPECT_THAT(found(check({far + kKey.substr(16)}, {{0, 5016}})), IsEmpty());
}

// Catches a capture that cannot be decoded from its start.
TEST_F(FramesCheck, FirstKey) {
  EXPECT_THAT(found(check({kOther, kKey}, {{1, kHeader}})), ElementsAre("first-key 0"));
  EXPECT_THAT(found(check({kKey.substr(16), kOther})), ElementsAre("first-key 0"));
  EXPECT_THAT(found(check({"", kKey}, {{1, kHeader}})), ElementsAre("first-key 0"));
}

// Catches JPEG and uncompressed frames judged as if they had parameter sets or depended on others.
TEST_F(FramesCheck, JpegAndUncompressed) {
  const std::string picture = "\xFF\xD8\xFF\xDB picture";
  EXPECT_THAT(found(check({picture, picture})), IsEmpty());
  EXPECT_THAT(found(check({picture, "\xFF\xD9" + picture})), ElementsAre("frame-start 1"));
  EXPECT_THAT(found(check({picture, picture}, {{1, 4}})), ElementsAre("header 1"));
  EXPECT_THAT(found(check({"aaaa", "bbbb"}, {}, Codec::kGray)), IsEmpty());
}

// Catches a hidden AV1 frame that is taken for a fault.
TEST_F(FramesCheck, Av1) {
  using namespace std::string_literals;
  const std::string key = "\x12\0\x0A\2\0\x11\x32\3\x10\x11\x22"s;
  const std::string hidden = "\x12\0\x32\3\x20\x11\x22"s;
  EXPECT_THAT(found(check({key, hidden, hidden}, {{0, 6}})), IsEmpty());
  EXPECT_THAT(found(check({key, "\xFF" + hidden}, {{0, 6}})), ElementsAre("frame-start 1"));
  EXPECT_THAT(found(check({hidden, key}, {{1, 6}})), ElementsAre("first-key 0"));
}

// Catches findings about bytes that are not there, and a header that exceeds its frame where only the sidecar is.
TEST_F(FramesCheck, SidecarAlone) {
  write_bytes(folder / "b.meta", sidecar_bytes({{.time_us = 10, .size = 5, .header_size = 6},
                                                {.time_us = 20, .size = 5, .header_size = 2},
                                                {.time_us = 20, .size = 5},
                                                {.time_us = 15, .size = 5},
                                                {.time_us = 25, .size = 5},
                                                {.time_us = 60, .size = 5}}));
  EXPECT_THAT(found(check_capture({.capture = folder / "b.meta"})),
              ElementsAre("header 0", "time-order 3", "time-order 2", "gap 4"));
}

// Catches a note that fails, and a gap named by the frame behind it.
TEST_F(FramesCheck, GapIsANote) {
  write_bytes(folder / "b.meta", sidecar_bytes({{.time_us = 10}, {.time_us = 20}, {.time_us = 30}, {.time_us = 60}}));
  const Findings findings = check_capture({.capture = folder / "b.meta"});
  ASSERT_THAT(found(findings), ElementsAre("gap 2"));
  EXPECT_FALSE(findings.any_fails());
  EXPECT_EQ(findings.kept()[0].text, "30 us to the next frame, 2 missing");
}

namespace {

Capture limited_capture() {
  Capture capture;
  capture.name = "cap";
  frames::FrameTable &frames = capture.frames;
  const std::vector<std::int64_t> times = {0, 40'000, 80'000, 160'000, 200'000};
  for (const std::int64_t time : times) {
    const std::size_t number = frames.count++;
    frames.time_us.set(number, time);
    frames.size.set(number, number == 0 ? 1000 : 100);
    frames.latency_us.set(number, static_cast<std::int64_t>(number) * 1000 - 500);
    frames.key.set(number, number == 0 || number == 3 ? 1 : 0);
  }
  return capture;
}

std::vector<std::string> exceeded(const Capture &capture, const frames::Limits &limits) {
  Findings findings;
  frames::check_limits(capture, frames::measure_capture(capture), limits, findings);
  return found(findings);
}

std::string not_told(const Capture &capture, const frames::Limits &limits) {
  try {
    (void)exceeded(capture, limits);
  } catch (const formats::Unusable &error) {
    return error.what();
  }
  return "";
}

}  // namespace

// Catches a limit that fails at its value, passes beyond it, or names another frame.
TEST(FramesLimits, AtTheirValues) {
  const Capture capture = limited_capture();
  EXPECT_THAT(exceeded(capture, {.rate = 20, .tolerance_percent = 0}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.rate = 20.1, .tolerance_percent = 1}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.rate = 20.3, .tolerance_percent = 1}), ElementsAre("rate"));
  EXPECT_THAT(exceeded(capture, {.rate = 19.7, .tolerance_percent = 1}), ElementsAre("rate"));
  EXPECT_THAT(exceeded(capture, {.max_missing = 1}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.max_missing = 0}), ElementsAre("max-missing"));
  EXPECT_THAT(exceeded(capture, {.max_latency_us = 3500}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.max_latency_us = 2499}), ElementsAre("max-latency-us 3", "max-latency-us 4"));
  EXPECT_THAT(exceeded(capture, {.p99_latency_us = 3500}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.p99_latency_us = 3499}), ElementsAre("p99-latency-us"));
  EXPECT_THAT(exceeded(capture, {.max_delta_us = 80'000}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.max_delta_us = 79'999}), ElementsAre("max-delta-us 3"));
  EXPECT_THAT(exceeded(capture, {.max_frame_size = 1000}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.max_frame_size = 999}), ElementsAre("max-frame-size 0"));
  EXPECT_THAT(exceeded(capture, {.max_bitrate = 52'000}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.max_bitrate = 51'999}), ElementsAre("max-bitrate"));
  EXPECT_THAT(exceeded(capture, {.gop = 3}), IsEmpty());
  EXPECT_THAT(exceeded(capture, {.gop = 2}), ElementsAre("gop 0"));
  EXPECT_THAT(exceeded(capture, {.gop = 1}), ElementsAre("gop 0", "gop 3"));
}

// Catches a limit that passes because nothing is known.
TEST(FramesLimits, OnWhatIsNotKnown) {
  Capture nothing;
  nothing.name = "cap";
  Capture capture;
  capture.name = "cap";
  capture.frames.size.set(capture.frames.count++, 5);
  EXPECT_EQ(not_told(capture, {.rate = 25}), "cap: --rate: the capture does not tell its frame rate");
  EXPECT_EQ(not_told(capture, {.max_missing = 5}),
            "cap: --max-missing: the capture does not tell how many frames are missing");
  EXPECT_EQ(not_told(capture, {.max_latency_us = 5}),
            "cap: --max-latency-us: the capture does not tell the latency of its frames");
  EXPECT_EQ(not_told(capture, {.p99_latency_us = 5}),
            "cap: --p99-latency-us: the capture does not tell the latency of its frames");
  EXPECT_EQ(not_told(capture, {.max_delta_us = 5}),
            "cap: --max-delta-us: the capture does not tell the distances of its frames");
  EXPECT_EQ(not_told(capture, {.max_bitrate = 5}), "cap: --max-bitrate: the capture does not tell its bit rate");
  EXPECT_EQ(not_told(capture, {.gop = 5}), "cap: --gop: the capture does not tell its key frames");
  EXPECT_EQ(not_told(nothing, {.max_frame_size = 5}),
            "cap: --max-frame-size: the capture does not tell the size of a frame");
  capture.frames.size.set(capture.frames.count++, 5);
  capture.frames.latency_us.set(0, 1);
  EXPECT_NE(not_told(capture, {.max_latency_us = 5}), "");
}

// Catches findings without end.
TEST(FramesFindings, ManyAreCounted) {
  Findings findings;
  for (std::size_t i = 0; i < Findings::kMost + 5; ++i)
    findings.add({.id = "gap", .text = "", .fails = false, .frame = i});
  EXPECT_EQ(findings.kept().size(), Findings::kMost);
  EXPECT_EQ(findings.counts().at("gap").found, Findings::kMost + 5);
  EXPECT_FALSE(findings.any_fails());
}
