// Captures with a sidecar: which of its records count, and which bytes belong to them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "captures.h"

namespace {

using formats::SidecarRecord;
using testing::ElementsAre;
using testing::StartsWith;

const std::vector<SidecarRecord> kRecords = {
    {.frame_type = 1, .time_us = 1'000'000, .size = 50, .header_size = kHeader},
    {.frame_type = 2, .time_us = 1'040'000, .size = 20},
    {.frame_type = 2, .time_us = 1'080'000, .size = 30},
};

std::string stream_bytes() {
  return h264_frame(true, 50) + h264_frame(false, 20) + h264_frame(false, 30);
}

std::vector<std::string> finding_texts(const formats::Capture &capture) {
  std::vector<std::string> texts;
  for (const formats::Finding &finding : capture.findings.kept())
    texts.push_back(std::string(finding.id) + ": " + finding.text);
  return texts;
}

/// A capture in the folder of its test.
class CaptureSidecar : public testing::Test {
 protected:
  formats::Capture open(const std::string &name) const { return formats::open_capture({.capture = folder / name}); }
  std::string failure(const std::string &name) const {
    std::string text = unusable_text({.capture = folder / name});
    const std::string place = folder / "";
    if (const auto found = text.find(place); found != std::string::npos) text.erase(found, place.size());
    return text;
  }
  void write(const std::string &name, const std::string &bytes) const { write_bytes(folder / name, bytes); }

  TempFolder folder;
};

}  // namespace

// Catches a value in the wrong column, and offsets that are not summed up.
TEST_F(CaptureSidecar, Alone) {
  write("a.meta", sidecar_bytes(kRecords));
  const formats::Capture capture = open("a.meta");
  ASSERT_EQ(capture.frames.count, 3u);
  EXPECT_EQ(capture.frames.type[1], 2u);
  EXPECT_EQ(capture.frames.time_us[2], 1'080'000);
  EXPECT_EQ(capture.frames.offset[2], 70u);
  EXPECT_EQ(capture.frames.size[2], 30u);
  EXPECT_EQ(capture.frames.header[0], kHeader);
  EXPECT_FALSE(capture.frames.key.any());
  EXPECT_FALSE(capture.has_bytes());
  EXPECT_TRUE(capture.findings.kept().empty());
}

// Catches an option that is ignored.
TEST_F(CaptureSidecar, AloneTakesNoOther) {
  write("a.meta", sidecar_bytes(kRecords));
  EXPECT_EQ(unusable_text({.capture = folder / "a.meta", .meta = folder / "a.meta"}),
            folder / "a.meta" + ": is a sidecar itself, --meta names that of a stream");
}

// Catches a recording without frames that is refused, and what is no sidecar that is not.
TEST_F(CaptureSidecar, WithoutRecords) {
  write("closed.meta", trailer_bytes(0));
  EXPECT_EQ(open("closed.meta").frames.count, 0u);
  write("empty.meta", "");
  EXPECT_EQ(failure("empty.meta"), "empty.meta: is empty");
  write("counted.meta", trailer_bytes(1));
  EXPECT_EQ(failure("counted.meta"), "counted.meta: holds no whole record");
  write("cut.meta", record_bytes(kRecords).substr(0, 23));
  EXPECT_EQ(failure("cut.meta"), "cut.meta: holds no whole record");
  std::filesystem::create_directory(folder / "folder.meta");
  EXPECT_EQ(failure("folder.meta"), "folder.meta: is a folder");
  EXPECT_THAT(failure("none.meta"), StartsWith("none.meta: No such file"));
}

// Catches a trailer that does not hold, a missing one that is not told, and a cut record that counts.
TEST_F(CaptureSidecar, TheTrailerCounts) {
  write("fewer.meta", record_bytes(kRecords) + trailer_bytes(2));
  EXPECT_EQ(open("fewer.meta").frames.count, 2u);
  EXPECT_THAT(finding_texts(open("fewer.meta")),
              ElementsAre("trailer: the trailer counts 2 records, the file holds 3"));
  write("more.meta", record_bytes(kRecords) + trailer_bytes(9));
  EXPECT_EQ(open("more.meta").frames.count, 3u);
  EXPECT_THAT(finding_texts(open("more.meta")), ElementsAre("trailer: the trailer counts 9 records, the file holds 3"));
  write("none.meta", record_bytes(kRecords));
  EXPECT_EQ(open("none.meta").frames.count, 3u);
  EXPECT_THAT(finding_texts(open("none.meta")), ElementsAre(StartsWith("trailer: the count of records is missing")));
  write("cut.meta", record_bytes(kRecords) + std::string(13, 'x'));
  EXPECT_EQ(open("cut.meta").frames.count, 3u);
  EXPECT_THAT(finding_texts(open("cut.meta")), ElementsAre(testing::HasSubstr("13 bytes of a cut record")));
}

// Catches any bytes taken for frames.
TEST_F(CaptureSidecar, RandomBytes) {
  std::string noise;
  std::uint32_t state = 1;
  for (int i = 0; i < 24 * 1000; ++i) {
    state = state * 1'664'525 + 1'013'904'223;
    noise.push_back(static_cast<char>(state >> 24));
  }
  write("noise.meta", noise);
  EXPECT_EQ(failure("noise.meta"), "noise.meta: holds no records of frames");
}

// Catches a reserved word that is not told of, and a frame that is lost for it.
TEST_F(CaptureSidecar, ReservedWord) {
  auto records = kRecords;
  records[1].reserved = 7;
  write("a.meta", sidecar_bytes(records));
  EXPECT_EQ(open("a.meta").frames.count, 3u);
  EXPECT_THAT(finding_texts(open("a.meta")), ElementsAre("reserved: the reserved word is 7, not 0"));
}

// Catches frames without their bytes, and bytes of another frame.
TEST_F(CaptureSidecar, BesideItsStream) {
  write("a.h264", stream_bytes());
  write("a.h264.meta", sidecar_bytes(kRecords));
  const formats::Capture capture = open("a.h264");
  EXPECT_EQ(capture.codec, formats::Codec::kH264);
  const auto reader = capture.open_bytes(capture);
  const auto bytes = reader->read(1);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), h264_frame(false, 20));
  EXPECT_EQ(reader->read_start(0, 7).size(), 7u);
  EXPECT_EQ(reader->read_start(2, 1000).size(), 30u);
}

// Catches a file that is read beyond its last whole frame while the client still writes it, whichever file is ahead.
TEST_F(CaptureSidecar, GrowingFiles) {
  write("a.h264", stream_bytes().substr(0, 69));
  write("a.h264.meta", record_bytes(kRecords));
  EXPECT_EQ(open("a.h264").frames.count, 1u);
  write("a.h264", stream_bytes().substr(0, 70));
  EXPECT_EQ(open("a.h264").frames.count, 2u);
  write("a.h264", stream_bytes());
  write("a.h264.meta", record_bytes(kRecords).substr(0, 50));
  EXPECT_EQ(open("a.h264").frames.count, 2u);
  write("a.h264", "");
  EXPECT_EQ(open("a.h264").frames.count, 0u);
}

// Catches sizes that do not add up and are not told of, both ways.
TEST_F(CaptureSidecar, SizesThatDoNotAddUp) {
  write("a.h264.meta", sidecar_bytes(kRecords));
  write("a.h264", stream_bytes().substr(0, 90));
  EXPECT_THAT(finding_texts(open("a.h264")),
              ElementsAre("raw-size: the sidecar's sizes add up to 100 bytes, the stream has 90"));
  EXPECT_EQ(open("a.h264").findings.kept()[0].frame, 2u);
  write("a.h264", stream_bytes() + "more");
  EXPECT_THAT(finding_texts(open("a.h264")),
              ElementsAre("raw-size: the sidecar's sizes add up to 100 bytes, the stream has 104"));
  EXPECT_EQ(open("a.h264").findings.kept()[0].byte, 100u);
}

// Catches parts in the order of their names, a part of another name, and one that ends inside a frame.
TEST_F(CaptureSidecar, Parts) {
  write("p%d.h264.meta", sidecar_bytes(kRecords));
  write("p2.h264", h264_frame(true, 50));
  write("p10.h264", h264_frame(false, 20) + h264_frame(false, 30));
  write("p02.h264", "not a part");
  write("p3.h264x", "not a part");
  const formats::Capture capture = open("p%d.h264");
  EXPECT_EQ(capture.frames.count, 3u);
  EXPECT_TRUE(capture.findings.kept().empty());
  EXPECT_EQ(capture.parts.size(), 2u);
  EXPECT_EQ(formats::part_of(capture, 0), 0u);
  EXPECT_EQ(formats::part_of(capture, 1), 1u);
  EXPECT_EQ(capture.open_bytes(capture)->read(2).size(), 30u);
  write("p2.h264", h264_frame(true, 50) + "\1");
  write("p10.h264", (h264_frame(false, 20) + h264_frame(false, 30)).substr(1));
  EXPECT_THAT(finding_texts(open("p%d.h264")), ElementsAre(StartsWith("raw-size: the part before ")));
  std::filesystem::remove(folder / "p10.h264");
  EXPECT_EQ(open("p%d.h264").frames.count, 1u);
}

// Catches a frame that two parts hold read from one of them.
TEST_F(CaptureSidecar, AFrameAcrossParts) {
  write("p%02d.meta", sidecar_bytes(kRecords));
  write("p00", stream_bytes().substr(0, 60));
  write("p05", "");
  write("p07", stream_bytes().substr(60));
  const formats::Capture capture = open("p%02d");
  const auto reader = capture.open_bytes(capture);
  const auto bytes = reader->read(1);
  EXPECT_EQ(std::string(bytes.begin(), bytes.end()), h264_frame(false, 20));
}

// Catches flags, widths, signs and doubled percent signs read in another way than they are written.
TEST_F(CaptureSidecar, PatternNames) {
  const auto parts_of = [this](const std::string &pattern) {
    write(pattern + ".meta", sidecar_bytes(kRecords));
    return open(pattern).parts.size();
  };
  write("a-1", "");
  write("a000", stream_bytes());
  write("a  7", "");
  write("b%0.h264", stream_bytes());
  write("c5%", stream_bytes());
  EXPECT_EQ(parts_of("a%03d"), 1u);
  EXPECT_EQ(parts_of("a%d"), 1u);
  EXPECT_EQ(open("a%d").parts[0].path, folder / "a-1");
  EXPECT_EQ(parts_of("a%3d"), 1u);
  EXPECT_EQ(open("a%3d").parts[0].path, folder / "a  7");
  EXPECT_EQ(parts_of("b%%%d.h264"), 1u);
  EXPECT_EQ(parts_of("c%u%%"), 1u);
  EXPECT_EQ(failure("none%d"), "none%d: there is neither a file of this name nor one of this pattern");
  write("file%d", stream_bytes());
  write("file%d.meta", sidecar_bytes(kRecords));
  EXPECT_EQ(open("file%d").parts[0].path, folder / "file%d");
  for (const char *name : {"no%s", "no%d%d", "no%n", "no%", "no%*d", "no%5.5d", "no%ld"})
    EXPECT_THAT(failure(name), testing::HasSubstr("No such file")) << name;
}

// Catches a codec that a spoiled first frame hides.
TEST_F(CaptureSidecar, CodecOfASpoiledStart) {
  write("a.h264", std::string(50, 'x') + stream_bytes().substr(50));
  write("a.h264.meta", sidecar_bytes(kRecords));
  EXPECT_EQ(open("a.h264").codec, formats::Codec::kH264);
}
