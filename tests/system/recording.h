// Reading recordings with tools that know nothing of the client.
#ifndef ZEL_CLIENT_TESTS_SYSTEM_RECORDING_H
#define ZEL_CLIENT_TESTS_SYSTEM_RECORDING_H

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "harness/client_run.h"

/// The shown time of a frame in a Matroska file: milliseconds, rounded to the nearest.
constexpr std::int64_t milliseconds(std::uint64_t microseconds) {
  return static_cast<std::int64_t>((microseconds + 500) / 1000);
}

/// A cue's text for a time below 100 hours.
std::string cue_time(std::uint64_t microseconds);

/// What ffprobe says of a packet.
struct StoredPacket {
  std::int64_t pts;       ///< ms
  std::int64_t duration;  ///< ms; 0 when the file has none
  bool key;
};

/// What ffprobe says of a Matroska file.
struct StoredFile {
  std::string codec;                ///< of the video track, FFmpeg's name
  int width, height;                ///< of the video track
  std::string duration;             ///< seconds, from the trailer; "" without one
  std::vector<StoredPacket> video;  ///< track 0
  std::vector<StoredPacket> cues;   ///< track 1
};

/// Fails the test when ffprobe cannot read the file.
StoredFile probe(const std::filesystem::path &file);

/// The texts of the cues as a player gets them; each line of settings is checked.
std::vector<std::string> cue_texts(const std::filesystem::path &file);

/// The bytes of the video track as they lie in the file.
std::string stored_video(const std::filesystem::path &file);

/// Checksums of the decoded pictures of an input; decoding must not complain.
std::vector<std::string> picture_sums(const std::vector<std::string> &input);

/// A record of the sidecar.
struct SidecarRecord {
  std::uint32_t type, reserved;
  std::uint64_t timestamp;
  std::uint32_t size, header_size;
  bool operator==(const SidecarRecord &) const = default;
};

/// The whole records at the start of a sidecar's bytes, up to `count` of them.
std::vector<SidecarRecord> sidecar_records(const std::string &bytes, std::size_t count = SIZE_MAX);

/// The unsigned 32-bit number at the end of a sidecar's bytes.
std::uint32_t sidecar_count(const std::string &bytes);

/// What the sidecar has to say of the frames, as the camera knows them.
std::vector<SidecarRecord> expected_records(const TruthLog &truth);

#endif
