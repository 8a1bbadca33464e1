// The sidecar, byte for byte.
#include "output/meta_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <string>

#include "fake_zel.h"
#include "interposed.h"
#include "tests/support/error_slot.h"
#include "tests/support/files.h"

namespace {

using namespace std::string_literals;

class MetaFile : public testing::Test {
 protected:
  void SetUp() override {
    fake::reset();
    interposed::reset();
  }
  void TearDown() override { (void)meta_close(nullptr); }

  std::string output() const { return scratch_ / "out.h264"; }
  std::string sidecar() const { return read_file(output() + ".meta"); }
  bool open() { return meta_open(output().c_str(), slot_.address()); }
  bool write(fake::Frame frame) { return meta_write_entry(fake::make_buffer(std::move(frame)).get(), slot_.address()); }
  /// A sidecar on a disk that is full.
  bool open_on_full_disk() {
    std::filesystem::create_symlink("/dev/full", output() + ".meta");
    return open();
  }

  TempFolder scratch_;
  ErrorSlot slot_;
};

constexpr const char *kNoSpace = ": No space left on device";

// Catches a changed layout: order, widths, byte order, the reserved word, the count.
TEST_F(MetaFile, RecordsAndCount) {
  ASSERT_TRUE(open());
  ASSERT_TRUE(write({.size = 0x01020304, .header_size = 0x21, .type = 0xA1B2C3D4, .timestamp = 0x1122334455667788}));
  ASSERT_TRUE(write({.payload = {1, 2, 3}, .header_size = 0, .type = 0, .timestamp = 0}));
  ASSERT_TRUE(write({.payload = {1}, .header_size = 1, .type = 1, .timestamp = G_MAXUINT64}));
  ASSERT_TRUE(meta_close(slot_.address()));
  EXPECT_EQ(sidecar(),
            "\xD4\xC3\xB2\xA1\0\0\0\0\x88\x77\x66\x55\x44\x33\x22\x11\x04\x03\x02\x01\x21\0\0\0"
            "\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\0\3\0\0\0\0\0\0\0"
            "\1\0\0\0\0\0\0\0\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\1\0\0\0\1\0\0\0"
            "\3\0\0\0"s);
  EXPECT_EQ(sidecar().size(), 76u);
  EXPECT_EQ(slot_.take(), "none");
}

// Catches queries of the frame in another order, or some that the record does not need.
TEST_F(MetaFile, AsksTheFrameInOrder) {
  ASSERT_TRUE(open());
  const fake::BufferPtr buffer = fake::make_buffer({.id = 3});
  fake::clear_calls();
  ASSERT_TRUE(meta_write_entry(buffer.get(), nullptr));
  EXPECT_EQ(fake::calls(),
            (std::vector<std::string>{"zel_frame_get_size buffer=3", "zel_frame_get_frame_type buffer=3",
                                      "zel_frame_get_timestamp buffer=3", "zel_frame_get_header_size buffer=3"}));
}

// Catches a missing count when nothing was stored.
TEST_F(MetaFile, NoFrameGivesFourBytes) {
  ASSERT_TRUE(open());
  EXPECT_EQ(sidecar(), "");
  ASSERT_TRUE(meta_close(slot_.address()));
  EXPECT_EQ(sidecar(), "\0\0\0\0"s);
}

// Catches records that stay in a buffer: what is there without closing is what a killed run leaves.
TEST_F(MetaFile, EveryRecordIsInTheFileAtOnce) {
  ASSERT_TRUE(open());
  for (std::size_t records = 1; records <= 5; ++records) {
    ASSERT_TRUE(write({.payload = {1}}));
    EXPECT_EQ(sidecar().size(), 24 * records);
  }
}

// Catches closing that fails or writes when nothing is open, as at the end of every run the second time.
TEST_F(MetaFile, ClosingTwiceAndWithoutOpening) {
  EXPECT_TRUE(meta_close(slot_.address()));
  ASSERT_TRUE(open());
  EXPECT_TRUE(meta_close(slot_.address()));
  EXPECT_TRUE(meta_close(nullptr));
  EXPECT_EQ(sidecar().size(), 4u);
  EXPECT_EQ(slot_.take(), "none");
}

// Catches a count that goes on from the sidecar before, and a file that is appended to.
TEST_F(MetaFile, ANewSidecarStartsAtZero) {
  ASSERT_TRUE(open());
  ASSERT_TRUE(write({}));
  ASSERT_TRUE(meta_close(nullptr));
  ASSERT_TRUE(open());
  ASSERT_TRUE(meta_close(nullptr));
  EXPECT_EQ(sidecar(), "\0\0\0\0"s);
}

// Catches an earlier sidecar that is closed (and so given a count) by opening another; the oddity is kept.
TEST_F(MetaFile, OpeningAgainForgetsTheEarlierFile) {
  ASSERT_TRUE(open());
  ASSERT_TRUE(write({}));
  ASSERT_TRUE(meta_open((scratch_ / "second").c_str(), slot_.address()));
  ASSERT_TRUE(meta_close(nullptr));
  EXPECT_EQ(sidecar().size(), 24u);
  EXPECT_EQ(read_file(scratch_ / "second.meta"), "\0\0\0\0"s);
}

// Catches the message and code of "--meta" without an output name.
TEST_F(MetaFile, NoName) {
  EXPECT_FALSE(meta_open(nullptr, slot_.address()));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: No filename provided");
  EXPECT_FALSE(meta_open(nullptr, nullptr));
}

// Catches a failed formatting that goes on to open some file.
TEST_F(MetaFile, NameCannotBeFormatted) {
  interposed::fail("snprintf");
  EXPECT_FALSE(open());
  EXPECT_EQ(slot_.take(), "zel-error-quark/17: Failed to format meta filename");
  EXPECT_FALSE(std::filesystem::exists(output() + ".meta"));
}

// Catches a length check, or a cut at another place than 255 bytes: the suffix is lost by degrees.
TEST_F(MetaFile, LongNamesAreCut) {
  // Folders make the path long, for a file name itself ends at 255 bytes.
  const std::string folder = scratch_ / std::string(100, 'f');
  std::filesystem::create_directory(folder);
  for (const std::size_t length : {250u, 251u, 253u, 255u, 256u, 300u}) {
    const std::string name = folder + "/" + std::string(length - folder.size() - 1, 'n');
    ASSERT_TRUE(meta_open(name.c_str(), slot_.address())) << slot_.take();
    ASSERT_TRUE(meta_close(nullptr));
    const std::string expected = (name + ".meta").substr(0, 255);
    EXPECT_EQ(read_file(expected).size(), 4u) << expected;
    std::filesystem::remove(expected);
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

// Catches a message without the file's name and the system's reason, and a state other than closed afterwards.
TEST_F(MetaFile, CannotBeOpened) {
  const std::string name = scratch_ / "missing/out";
  EXPECT_FALSE(meta_open(name.c_str(), slot_.address()));
  EXPECT_EQ(slot_.take(), "zel-error-quark/8: Failed to open meta file '" + name + ".meta': No such file or directory");
  EXPECT_FALSE(write({}));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: Meta file not opened");

  std::filesystem::create_directory(output() + ".meta");
  EXPECT_FALSE(open());
  EXPECT_EQ(slot_.take(), "zel-error-quark/8: Failed to open meta file '" + output() + ".meta': Is a directory");
}

// Catches writing without a file or a frame, and the order of the two checks.
TEST_F(MetaFile, NotOpenedAndNoFrame) {
  EXPECT_FALSE(meta_write_entry(nullptr, slot_.address()));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: Meta file not opened");
  ASSERT_TRUE(open());
  EXPECT_FALSE(meta_write_entry(nullptr, slot_.address()));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: No frame provided");
  EXPECT_FALSE(meta_write_entry(nullptr, nullptr));
}

// Catches a full disk that goes unnoticed while the record is still in the buffer.
TEST_F(MetaFile, FullDiskAtTheFlush) {
  ASSERT_TRUE(open_on_full_disk());
  EXPECT_FALSE(write({}));
  EXPECT_EQ(slot_.take(), "zel-error-quark/8: Failed to flush meta file"s + kNoSpace);
}

// Catches a short write taken for a written record.
TEST_F(MetaFile, FullDiskAtTheWrite) {
  interposed::open_unbuffered();
  ASSERT_TRUE(open_on_full_disk());
  EXPECT_FALSE(write({}));
  EXPECT_EQ(slot_.take(), "zel-error-quark/8: Failed to write meta entry"s + kNoSpace);
}

// Catches a count that is lost silently, a file that stays open after it, and an error text spoilt by the closing.
TEST_F(MetaFile, FullDiskAtTheCount) {
  interposed::open_unbuffered();
  ASSERT_TRUE(open_on_full_disk());
  EXPECT_FALSE(meta_close(slot_.address()));
  EXPECT_EQ(slot_.take(), "zel-error-quark/8: Failed to write number of frames"s + kNoSpace);
  EXPECT_TRUE(meta_close(slot_.address()));
  EXPECT_FALSE(write({}));
  EXPECT_EQ(slot_.take(), "zel-error-quark/3: Meta file not opened");
}

// Catches a failing close that is reported: its result is ignored, so a disk that fills up with the last four bytes in
// the buffer goes unnoticed; the oddity is kept.
TEST_F(MetaFile, FailingCloseIsIgnored) {
  ASSERT_TRUE(open_on_full_disk());
  EXPECT_TRUE(meta_close(slot_.address()));
  EXPECT_EQ(slot_.take(), "none");
}

// Catches counting a record that did not reach the file: the count is that of the records that did.
TEST_F(MetaFile, FailedRecordsAreNotCounted) {
  // The sidecar is a pipe whose reader closes it and opens it again.
  ASSERT_EQ(mkfifo((output() + ".meta").c_str(), 0600), 0);
  const int reader = ::open((output() + ".meta").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(reader, 0);
  ASSERT_TRUE(open());
  ASSERT_TRUE(write({.type = 1}));
  std::string read(24, '\0');
  ASSERT_EQ(::read(reader, read.data(), read.size()), 24);
  ASSERT_EQ(::close(reader), 0);

  const auto earlier = signal(SIGPIPE, SIG_IGN);
  EXPECT_FALSE(write({.type = 2}));
  EXPECT_EQ(slot_.take(), "zel-error-quark/8: Failed to flush meta file: Broken pipe");
  // The disk has room again.
  const int second_reader = ::open((output() + ".meta").c_str(), O_RDONLY | O_NONBLOCK);
  ASSERT_GE(second_reader, 0);
  EXPECT_TRUE(meta_close(slot_.address()));
  signal(SIGPIPE, earlier);
  read.assign(100, '\0');
  const ssize_t length = ::read(second_reader, read.data(), read.size());
  ASSERT_EQ(::close(second_reader), 0);
  ASSERT_GE(length, 4);
  EXPECT_EQ(read.substr(static_cast<std::size_t>(length) - 4, 4), "\1\0\0\0"s);
}

}  // namespace
