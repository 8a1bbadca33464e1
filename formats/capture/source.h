// Opens a capture, whatever kind of file it is.
#ifndef ZEL_FORMATS_CAPTURE_SOURCE_H
#define ZEL_FORMATS_CAPTURE_SOURCE_H

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "formats/capture/capture.h"

namespace formats {

/// A rate in frames a second, as the fraction in which it was given.
struct Rate {
  std::int64_t numerator = 0;
  std::int64_t denominator = 1;
};

/// What the command line says of a capture.
struct CaptureOptions {
  std::string capture;                         ///< a file, a pattern of split files, or "-" for a console text
  std::string meta = {};                       ///< the sidecar, if it does not lie beside the capture; or empty
  std::string log = {};                        ///< a console text to join; or empty
  std::optional<Codec> format = std::nullopt;  ///< of a raw stream that does not say it itself
  std::uint32_t width = 0;                     ///< of uncompressed frames, pixels
  std::uint32_t height = 0;
  std::optional<Rate> fps = std::nullopt;  ///< of a raw stream without times
  ShowProgress show_progress = {};         ///< how far reading is
  bool figures_only = false;               ///< the command needs times and sizes, not types and header sizes
};

/// Reads the index of the capture's whole frames. Throws Unusable.
Capture open_capture(const CaptureOptions &options);

// The kinds of sources, one file each.

/// What is taken of a sidecar.
struct SidecarScope {
  std::optional<std::uint64_t> raw_bytes = std::nullopt;  ///< of the stream: frames up to there are whole
  bool figures_only = false;  ///< times and sizes, and offsets where there is a stream, but not types and header sizes
};

/// The sidecar's records as frames. Adds the findings "trailer" and "reserved". Returns the sum of all records' sizes,
/// in bytes.
std::uint64_t load_sidecar(Capture &capture, const std::string &path, const SidecarScope &scope);

/// A sidecar alone.
Capture open_sidecar(const CaptureOptions &options);

/// A raw stream in one file or, where the name is a pattern, in numbered ones; with a sidecar or as FFmpeg splits it.
Capture open_raw(const CaptureOptions &options);

/// Whether a name has one conversion for a number and may so stand for numbered files.
bool is_pattern(const std::string &name);

/// The codec of a raw stream that begins with these bytes; none when they begin no frame of a coded one.
std::optional<Codec> guess_codec(std::span<const std::uint8_t> start);

/// Splits a raw stream without a sidecar: by picture size where it is uncompressed, else by FFmpeg's parser. False when
/// the bytes are of no kind that it knows.
bool split_raw(Capture &capture, const CaptureOptions &options);

/// A container with one video track; its name for messages is the capture's.
Capture open_container(const CaptureOptions &options);

/// Whether a report line stands in the first MiB.
bool is_console_text(const std::string &path);

/// A console text, or standard input for "-".
Capture open_console(const std::string &path);

/// Joins the console text to a capture from another source, frame by frame in order. Its distances give times to a
/// capture without any.
void join_console(Capture &capture, const std::string &path);

}  // namespace formats

#endif
