// Frames of any layout through the raw writer, the Matroska writer and the sidecar.
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "capture/raw_output.h"
#include "common/owned.h"
#include "fake_zel.h"
#include "input.h"
#include "output/meta_file.h"
#include "output/mkv_writer.h"
#include "settings/client_options.h"

extern "C" {
#include <libavutil/log.h>
}

namespace {

/// A folder for the files of this process, in memory where there is such a place.
class Folder {
 public:
  Folder() {
    const std::filesystem::path base =
        access("/dev/shm", W_OK) == 0 ? std::filesystem::path("/dev/shm") : std::filesystem::temp_directory_path();
    std::string name = base / "zel-fuzz-XXXXXX";
    require(mkdtemp(name.data()) != nullptr, "there is a folder");
    path_ = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  Folder(const Folder &) = delete;
  Folder &operator=(const Folder &) = delete;
  std::string operator/(const char *name) const { return path_ / name; }

 private:
  std::filesystem::path path_;
};

std::string bytes_of(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// The frames' bytes as the raw file must hold them.
std::string stored_bytes(const fake::Frame &frame) {
  const std::vector<gsize> sizes = frame.chunks.empty() ? std::vector<gsize>{frame.payload.size()} : frame.chunks;
  std::string bytes;
  gsize offset = 0;
  for (std::size_t i = 0; i < sizes.size() && sizes[i] != 0; ++i) {  // a chunk of no bytes ends the frame
    if (frame.failing_chunk == static_cast<int>(i)) break;
    if (frame.null_chunk != static_cast<int>(i)) {
      bytes.append(reinterpret_cast<const char *>(frame.payload.data()) + offset, sizes[i]);
    }
    offset += sizes[i];
  }
  return bytes;
}

/// What a record of the sidecar says, against the frame's own words.
void check_record(const std::string &meta, std::size_t index, const fake::Frame &frame) {
  const auto number = [&](std::size_t offset, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t i = size; i-- > 0;)
      value = value << 8 | static_cast<std::uint8_t>(meta.at(index * 24 + offset + i));
    return value;
  };
  require(number(0, 4) == frame.type, "the type is recorded");
  require(number(4, 4) == 0, "the reserved word is zero");
  require(number(8, 8) == frame.timestamp, "the time is recorded");
  require(number(16, 4) == static_cast<guint32>(frame.size.value_or(frame.payload.size())), "the size is recorded");
  require(number(20, 4) == static_cast<guint32>(frame.header_size), "the header's size is recorded");
}

enum Bits : std::uint8_t { kContiguous = 1, kKey = 2, kHasHeader = 4, kOtherSize = 8, kNullChunk = 16, kFails = 32 };

fake::Frame read_frame(Input *input) {
  const auto bits = input->number<std::uint8_t>();
  fake::Frame frame;
  frame.contiguous = (bits & kContiguous) != 0;
  frame.key = (bits & kKey) != 0;
  frame.type = input->number<guint32>();
  frame.timestamp = input->number<guint64>();
  if ((bits & kHasHeader) != 0) frame.header_size = input->number<std::int16_t>();
  std::size_t total = input->number<std::uint16_t>() % 5000;
  if (!frame.contiguous) {
    total = 0;
    const auto count = input->number<std::uint8_t>() % 9;
    for (int i = 0; i < count; ++i) {
      frame.chunks.push_back(input->number<std::uint16_t>() % 2000);
      total += frame.chunks.back();
    }
    // The one chunk of a contiguous frame is taken as its size; the sizes of several are checked against it.
    if ((bits & kOtherSize) != 0) frame.size = input->number<std::uint16_t>();
    if ((bits & kNullChunk) != 0) frame.null_chunk = input->number<std::uint8_t>() % 8;
    if ((bits & kFails) != 0) frame.failing_chunk = input->number<std::uint8_t>() % 8;
  }
  const auto seed = input->number<std::uint8_t>();
  frame.payload.resize(total);
  for (std::size_t i = 0; i < total; ++i)
    frame.payload[i] = static_cast<std::uint8_t>(seed * (i + 1) >> 3);
  return frame;
}

class Slot {
 public:
  GError **address() {
    held_.reset();
    error_ = nullptr;
    return &error_;
  }
  bool check(bool succeeded) {
    held_.reset(error_);
    error_ = nullptr;
    require(!(succeeded && held_), "no error after a success");
    return succeeded;
  }

 private:
  GError *error_ = nullptr;
  ErrorPtr held_;
};

/// Without splitting; the first frame opens the file anew because its number divides by anything.
void write_raw(const std::vector<fake::Frame> &frames, const std::string &path, bool last, bool may_read) {
  client_options.output = path.c_str();
  client_options.split_nframes = INT32_MAX;
  client_options.last = last ? TRUE : FALSE;
  Slot slot;
  std::string expected;
  for (std::size_t i = 0; i < frames.size(); ++i) {
    const fake::BufferPtr frame = fake::make_buffer(frames[i]);
    require(slot.check(write_raw_frame(frame.get(), static_cast<gint32>(i), may_read ? 1 : 0, slot.address())),
            "a frame is stored");
    if (last) expected.clear();
    if (may_read) expected += stored_bytes(frames[i]);
  }
  close_raw_output();
  require(frames.empty() || bytes_of(path) == expected, "the file holds the frames' bytes");
}

void write_meta(const std::vector<fake::Frame> &frames, const std::string &path) {
  Slot slot;
  require(slot.check(meta_open(path.c_str(), slot.address())), "the sidecar opens");
  for (const fake::Frame &description : frames) {
    const fake::BufferPtr frame = fake::make_buffer(description);
    require(slot.check(meta_write_entry(frame.get(), slot.address())), "a record is written");
  }
  require(slot.check(meta_close(slot.address())), "the sidecar closes");
  const std::string meta = bytes_of(path + ".meta");
  require(meta.size() == frames.size() * 24 + 4, "whole records and the count");
  for (std::size_t i = 0; i < frames.size(); ++i)
    check_record(meta, i, frames[i]);
}

void write_mkv(const std::vector<fake::Frame> &frames, const std::string &path, std::uint32_t format,
               double framerate) {
  Slot slot;
  if (!slot.check(mkv_create(path.c_str(), format, 64, 48, slot.address(), framerate))) return;
  bool header = false;
  for (const fake::Frame &description : frames) {
    const fake::BufferPtr frame = fake::make_buffer(description);
    if (!slot.check(mkv_write_frame(frame.get(), slot.address()))) break;
    header = true;
  }
  const bool finalized = slot.check(mkv_finalize(slot.address()));
  require(finalized || !header, "a file with a frame is finalised");
  const std::string bytes = bytes_of(path);
  require(!finalized || bytes.starts_with("\x1A\x45\xDF\xA3"), "it is Matroska");
  if (!finalized) require(!mkv_finalize(nullptr), "what could not be finalised stays so");
}

constexpr std::array<std::uint32_t, 5> kFormats = {0, 1, 2, 10, 0xFFFFFFFF};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const Folder folder;
  av_log_set_level(AV_LOG_QUIET);
  fake::reset();

  Input input(data, size);
  const auto mode = input.number<std::uint8_t>();
  const auto format = kFormats.at(input.number<std::uint8_t>() % kFormats.size());
  const double framerate = input.number<std::uint8_t>();
  std::vector<fake::Frame> frames;
  while (!input.empty() && frames.size() < 12)
    frames.push_back(read_frame(&input));

  switch (mode % 3) {
    case 0:
      write_raw(frames, folder / "out", (mode & 16) != 0, (mode & 32) == 0);
      break;
    case 1:
      write_meta(frames, folder / "out");
      break;
    default:
      write_mkv(frames, folder / "out.mkv", format, framerate);
      break;
  }
  return 0;
}
