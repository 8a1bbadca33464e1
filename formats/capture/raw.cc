// Frames of a raw stream, in one file or in numbered parts.
#include <dirent.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string_view>
#include <utility>

#include "formats/capture/file.h"
#include "formats/capture/source.h"
#include "formats/capture/unusable.h"
#include "formats/sidecar.h"

namespace formats {
namespace {

/// A name with one conversion: the texts before and behind its number.
struct Pattern {
  std::string before;
  std::string conversion;  ///< "%03d"
  std::string behind;

  /// The name of the part with that number.
  std::string name(int number) const {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // checked by parse_pattern(): one int
    std::array<char, 64> text{};
    (void)std::snprintf(text.data(), text.size(), conversion.c_str(), number);
#pragma GCC diagnostic pop
    return before + text.data() + behind;
  }
};

/// A decimal conversion as the client takes it for split files: "%d", "%i" or "%u" with flags and a width.
std::size_t conversion_length(std::string_view text) {
  constexpr std::size_t kLongest = 12;  // keeps the formatted number short
  const std::size_t end = text.find_first_not_of("-+ 0123456789", 1);
  if (end > kLongest) return 0;  // npos is too
  return std::string_view("diu").find(text[end]) == std::string_view::npos ? 0 : end + 1;
}

std::optional<Pattern> parse_pattern(std::string_view name) {
  Pattern pattern;
  std::string *rest = &pattern.before;
  while (!name.empty()) {
    if (name.starts_with("%%")) {
      *rest += '%';
      name.remove_prefix(2);
    } else if (name.front() != '%') {
      *rest += name.front();
      name.remove_prefix(1);
    } else {
      const std::size_t length = conversion_length(name);
      if (length == 0 || !pattern.conversion.empty()) return std::nullopt;
      pattern.conversion = name.substr(0, length);
      name.remove_prefix(length);
      rest = &pattern.behind;
    }
  }
  if (pattern.conversion.empty()) return std::nullopt;
  return pattern;
}

/// The number in a part's name, or nothing when the name is no part's.
std::optional<int> part_number(const Pattern &pattern, const std::string &path) {
  if (path.size() <= pattern.before.size() + pattern.behind.size()) return std::nullopt;
  if (!path.starts_with(pattern.before) || !path.ends_with(pattern.behind)) return std::nullopt;
  std::string_view digits = path;
  digits.remove_prefix(pattern.before.size());
  digits.remove_suffix(pattern.behind.size());
  const std::size_t start = digits.find_first_of("-0123456789");  // a run that skipped its first frames has a part -1
  if (start == std::string_view::npos) return std::nullopt;
  int number = 0;
  std::from_chars(digits.data() + start, digits.data() + digits.size(), number);
  if (pattern.name(number) != path) return std::nullopt;
  return number;
}

/// The parts that are there, in the order of their numbers.
std::vector<std::string> find_parts(const Pattern &pattern, const std::string &name) {
  const std::size_t slash = pattern.before.rfind('/');
  const std::string folder = slash == std::string::npos ? "" : pattern.before.substr(0, slash + 1);
  const std::unique_ptr<DIR, int (*)(DIR *)> entries(opendir(folder.empty() ? "." : folder.c_str()), closedir);
  if (entries == nullptr) unusable("{}: {}", name, std::strerror(errno));
  std::vector<std::pair<int, std::string>> numbered;
  while (const dirent *entry = readdir(entries.get())) {
    std::string path = folder + entry->d_name;
    if (const auto number = part_number(pattern, path)) numbered.emplace_back(*number, std::move(path));
  }
  std::sort(numbered.begin(), numbered.end());
  std::vector<std::string> paths;
  paths.reserve(numbered.size());
  for (auto &[number, path] : numbered)
    paths.push_back(std::move(path));
  return paths;
}

void add_parts(Capture &capture, const std::vector<std::string> &paths) {
  for (const std::string &path : paths) {
    const File file(path);
    if (!file.is_regular()) unusable("{}: is no regular file", path);
    capture.parts.push_back({.path = path, .start = capture.raw_bytes(), .bytes = file.size()});
    capture.files.push_back(path);
  }
}

/// Reads the bytes of frames at their offsets, over all parts.
class RawReader : public FrameReader {
 public:
  explicit RawReader(const Capture &capture) : capture_(capture) {}

  std::span<const std::uint8_t> read(std::size_t frame) override {
    return read_bytes(frame, capture_.frames.size[frame]);
  }

  std::span<const std::uint8_t> read_start(std::size_t frame, std::size_t least) override {
    return read_bytes(frame, std::min<std::size_t>(least, capture_.frames.size[frame]));
  }

 private:
  std::span<const std::uint8_t> read_bytes(std::size_t frame, std::size_t size) {
    if (bytes_.size() < size) bytes_.resize(size);
    std::size_t done = 0;
    while (done < size) {
      const std::uint64_t place = capture_.frames.offset[frame] + done;
      const std::size_t part = part_at(capture_.parts, place);
      open_part(part);
      const std::uint64_t within = place - capture_.parts[part].start;
      const std::uint64_t here = std::min<std::uint64_t>(size - done, capture_.parts[part].bytes - within);
      const auto count = static_cast<std::size_t>(here);
      if (file_->read_at(within, std::span(bytes_).subspan(done, count)) != count) {
        unusable("{}: became shorter while it was read", file_->path());
      }
      done += count;
    }
    return std::span(bytes_).first(size);
  }

  void open_part(std::size_t part) {
    if (file_ && part == open_) return;
    file_.emplace(capture_.parts[part].path);
    open_ = part;
  }

  const Capture &capture_;
  std::optional<File> file_;
  std::size_t open_ = 0;
  std::vector<std::uint8_t> bytes_;
};

/// Whether the sizes add up to the files, and each part ends where a frame does. `told` is the sum of all records'
/// sizes.
void check_sizes(Capture &capture, std::uint64_t told) {
  const FrameTable &frames = capture.frames;
  if (told != capture.raw_bytes()) {
    Finding finding{
        .id = "raw-size",
        .text = fmt::format("the sidecar's sizes add up to {} bytes, the stream has {}", told, capture.raw_bytes())};
    if (told > capture.raw_bytes()) finding.frame = frames.count;
    finding.byte = std::min(told, capture.raw_bytes());
    capture.findings.add(std::move(finding));
  }
  std::size_t frame = 0;
  for (const Part &part : capture.parts) {
    while (frame < frames.count && frames.offset[frame] < part.start)
      ++frame;
    const std::uint64_t end = frame == 0 ? 0 : frames.offset[frame - 1] + frames.size[frame - 1];
    if (end <= part.start) continue;
    capture.findings.add({.id = "raw-size",
                          .text = fmt::format("the part before {} ends inside the frame", part.path),
                          .frame = frame - 1,
                          .byte = part.start});
  }
}

/// What the first bytes say of the codec, unless the command line has said it.
std::optional<Codec> codec_of(const Capture &capture, const CaptureOptions &options) {
  if (options.format) return options.format;
  std::array<std::uint8_t, 4096> start{};
  for (const Part &part : capture.parts) {
    if (part.bytes == 0) continue;
    File file(part.path);
    return guess_codec(std::span(start).first(file.read(start)));
  }
  return std::nullopt;
}

/// The same where the stream's first bytes are spoiled: what the first of its frames that says something says.
std::optional<Codec> codec_of_frames(const Capture &capture) {
  constexpr std::size_t kMostFrames = 16;
  constexpr std::size_t kStart = 64;
  RawReader reader(capture);
  for (std::size_t i = 0; i < std::min(capture.frames.count, kMostFrames); ++i)
    if (const auto codec = guess_codec(reader.read_start(i, kStart))) return codec;
  return std::nullopt;
}

std::string sidecar_of(const CaptureOptions &options) {
  if (!options.meta.empty()) return options.meta;
  std::string beside = options.capture + std::string(kSidecarSuffix);
  return file_exists(beside) ? beside : "";
}

}  // namespace

bool is_pattern(const std::string &name) {
  return parse_pattern(name).has_value();
}

Capture open_raw(const CaptureOptions &options) {
  Capture capture;
  capture.name = options.capture;
  capture.kind = SourceKind::kRaw;
  if (file_exists(options.capture)) {
    add_parts(capture, {options.capture});
  } else {
    const std::optional<Pattern> pattern = parse_pattern(options.capture);
    add_parts(capture, find_parts(*pattern, options.capture));
    if (capture.parts.empty())
      unusable("{}: there is neither a file of this name nor one of this pattern", options.capture);
  }
  capture.codec = codec_of(capture, options);
  capture.width = options.width;
  capture.height = options.height;
  const std::string sidecar = sidecar_of(options);
  if (!sidecar.empty()) {
    const std::uint64_t told =
        load_sidecar(capture, sidecar, {.raw_bytes = capture.raw_bytes(), .figures_only = options.figures_only});
    check_sizes(capture, told);
    if (!capture.codec) capture.codec = codec_of_frames(capture);
  } else if (!split_raw(capture, options)) {
    return open_container(options);
  }
  capture.open_bytes = [](const Capture &self) { return std::make_unique<RawReader>(self); };
  return capture;
}

}  // namespace formats
