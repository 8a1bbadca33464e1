// A capture as every command sees it: an index of frames, and where their bytes are.
#ifndef ZEL_FORMATS_CAPTURE_CAPTURE_H
#define ZEL_FORMATS_CAPTURE_CAPTURE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "formats/capture/column.h"
#include "formats/capture/finding.h"
#include "formats/capture/progress.h"
#include "formats/video_format.h"

namespace formats {

/// What is known of the frames, a column each; numbers are set only where the source tells them.
struct FrameTable {
  std::size_t count = 0;
  Column<std::uint32_t> sequence;      ///< the service's number, from a console text
  Column<std::uint32_t> type;          ///< the library's number, from a sidecar
  Column<std::uint16_t> type_name;     ///< index in type_names, from a console text
  Column<std::uint8_t> key;            ///< 1 for a key frame, from the bitstream
  Column<std::int64_t> time_us;        ///< on the service's clock, or from 0 where only distances are known
  Column<std::uint32_t> delta_cts_us;  ///< on the client's clock, to the frame before
  Column<std::uint64_t> offset;        ///< bytes from the start of the first part
  Column<std::uint32_t> size;          ///< bytes; a packet's in a container
  Column<std::uint32_t> header;        ///< bytes of codec header at the frame's start
  Column<std::int64_t> latency_us;
  Column<std::uint64_t> utc_us;
  Column<std::uint64_t> custom;
  std::vector<std::string> type_names;
};

/// Gives the bytes of frames as the raw stream has them: H.264 and H.265 with start codes, AV1 as OBUs with their
/// sizes.
class FrameReader {
 public:
  FrameReader() = default;
  virtual ~FrameReader() = default;
  FrameReader(const FrameReader &) = delete;
  FrameReader &operator=(const FrameReader &) = delete;

  /// All bytes of a frame, valid until the next call. Cheap for frames in rising order. Throws Unusable.
  virtual std::span<const std::uint8_t> read(std::size_t frame) = 0;

  /// The first bytes of a frame, at least `least` or all that it has, valid until the next call.
  virtual std::span<const std::uint8_t> read_start(std::size_t frame, std::size_t least) = 0;
};

/// One file of a raw capture.
struct Part {
  std::string path;
  std::uint64_t start = 0;  ///< bytes of the parts before it
  std::uint64_t bytes = 0;
};

/// What kind of file the capture is.
enum class SourceKind : std::uint8_t { kRaw, kSidecar, kContainer, kConsole };

struct Capture {
  std::string name;  ///< as it was given
  SourceKind kind = SourceKind::kRaw;
  std::optional<Codec> codec;
  std::uint32_t width = 0;   ///< pixels; 0: unknown
  std::uint32_t height = 0;  ///< pixels; 0: unknown
  FrameTable frames;
  std::vector<Part> parts;         ///< of a raw capture
  std::vector<std::string> files;  ///< every file that was read: none of them may be written
  Findings findings;               ///< what its source saw: trailer, reserved, raw-size
  std::size_t records = 0;         ///< whole records of the sidecar, kept as frames or not
  bool has_sidecar = false;
  std::vector<std::uint8_t> extradata;  ///< a container's codec configuration as a raw stream has it; may be empty
  bool is_matroska = false;
  std::size_t frames_without_cue = 0;  ///< of a Matroska file with cues: their times are whole milliseconds
  std::uint64_t tail_bytes = 0;        ///< of a Matroska file that was cut off: behind the last whole frame and cue
  bool tail_has_frame = false;         ///< what was cut off is a frame, not a cue
  ShowProgress show_progress;          ///< of whoever opened it
  /// Opens the frames' bytes; empty when there are none. The reader refers to the capture, which must not move.
  std::function<std::unique_ptr<FrameReader>(const Capture &)> open_bytes;

  bool has_bytes() const { return static_cast<bool>(open_bytes); }
  std::uint64_t raw_bytes() const { return parts.empty() ? 0 : parts.back().start + parts.back().bytes; }
};

/// The part that holds a byte of the stream, an index in `parts`; the last one for a byte behind all.
std::size_t part_at(const std::vector<Part> &parts, std::uint64_t place);

/// The part in which a raw capture's frame begins.
std::size_t part_of(const Capture &capture, std::size_t frame);

/// The codec. Throws Unusable when it is not known.
Codec require_codec(const Capture &capture);

/// Throws Unusable when the frames' bytes are not there.
void require_bytes(const Capture &capture);

/// Throws Unusable unless every frame has a time.
void require_times(const Capture &capture);

/// Whether a frame of a capture whose codec is known is a key frame. Reads its first bytes unless that is known.
bool is_key_frame(const Capture &capture, FrameReader &reader, std::size_t frame);

/// The last key frame up to `frame`, this one included; none when no frame up to there is one.
std::optional<std::size_t> key_frame_before(const Capture &capture, FrameReader &reader, std::size_t frame);

/// Finds the key frames in the bitstream, if the bytes are there and the source has not already. Reads the first bytes
/// of each frame.
void find_keys(Capture &capture);

/// Whether the picture's size is not known and can be found in the frames' bytes.
bool needs_picture_size(const Capture &capture);

/// Finds the picture's size in the first parameter sets or picture, if the bytes are there and nothing has told it yet.
void find_picture_size(Capture &capture);

}  // namespace formats

#endif
