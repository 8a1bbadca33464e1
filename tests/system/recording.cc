// Reading recordings with tools that know nothing of the client.
#include "recording.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <sstream>

namespace {

constexpr std::size_t kRecordBytes = 24;

std::uint64_t little_endian(const std::string &bytes, std::size_t at, std::size_t length) {
  std::uint64_t value = 0;
  for (std::size_t i = length; i-- > 0;)
    value = value << 8 | static_cast<std::uint8_t>(bytes[at + i]);
  return value;
}

/// Runs a tool that must work and say nothing on standard error.
std::string quiet_tool(const std::vector<std::string> &command) {
  const RunResult result = run_tool(command);
  EXPECT_EQ(result.status, 0) << command.front() << " " << command.back();
  EXPECT_EQ(result.err, "") << command.front() << " " << command.back();
  return result.out;
}

StoredPacket packet_of(const nlohmann::json &packet) {
  return {packet.at("pts"), packet.value("duration", std::int64_t{0}),
          packet.at("flags").get<std::string>().front() == 'K'};
}

}  // namespace

std::string cue_time(std::uint64_t microseconds) {
  const std::uint64_t seconds = microseconds / 1'000'000;
  std::array<char, 64> text{};
  (void)std::snprintf(text.data(), text.size(), "%02u:%02u:%02u.%06u", static_cast<unsigned>(seconds / 3600),
                      static_cast<unsigned>(seconds / 60 % 60), static_cast<unsigned>(seconds % 60),
                      static_cast<unsigned>(microseconds % 1'000'000));
  return text.data();
}

StoredFile probe(const std::filesystem::path &file) {
  const RunResult result = run_tool(
      {"ffprobe", "-v", "error", "-of", "json", "-show_streams", "-show_format", "-show_packets", file.string()});
  EXPECT_EQ(result.status, 0) << result.err;
  const nlohmann::json probed = nlohmann::json::parse(result.out);
  StoredFile stored{};
  if (probed.value("streams", nlohmann::json::array()).size() != 2) {
    ADD_FAILURE() << "not two tracks: " << result.out;
    return stored;
  }
  const nlohmann::json &video = probed["streams"][0];
  stored.codec = video.at("codec_name");
  stored.width = video.at("width");
  stored.height = video.at("height");
  stored.duration = probed["format"].value("duration", "");
  EXPECT_EQ(probed["streams"][1]["codec_name"], "webvtt");
  for (const nlohmann::json &packet : probed["packets"]) {
    (packet["stream_index"] == 0 ? stored.video : stored.cues).push_back(packet_of(packet));
  }
  return stored;
}

std::vector<std::string> cue_texts(const std::filesystem::path &file) {
  // Cues in the file of a player: a line of times and settings, then the text, then an empty line.
  std::istringstream lines(
      quiet_tool({"ffmpeg", "-v", "error", "-i", file.string(), "-map", "0:s", "-c", "copy", "-f", "webvtt", "-"}));
  std::vector<std::string> texts;
  for (std::string line; std::getline(lines, line);) {
    if (line.find(" --> ") == std::string::npos) continue;
    EXPECT_TRUE(line.ends_with(" line:1% position:0% align:start")) << line;
    std::getline(lines, line);
    texts.push_back(line);
  }
  return texts;
}

std::string stored_video(const std::filesystem::path &file) {
  // Made-up bytes are no pictures: no parser shall look for some, and its complaints do not matter.
  const RunResult result = run_tool({"ffmpeg", "-v", "fatal", "-fflags", "+noparse", "-i", file.string(), "-map", "0:v",
                                     "-c", "copy", "-f", "data", "-"});
  EXPECT_EQ(result.status, 0);
  return result.out;
}

std::vector<std::string> picture_sums(const std::vector<std::string> &input) {
  std::vector<std::string> command = {"ffmpeg", "-v", "error"};
  command.insert(command.end(), input.begin(), input.end());
  command.insert(command.end(), {"-map", "0:v", "-fps_mode", "passthrough", "-f", "framemd5", "-"});
  std::istringstream lines(quiet_tool(command));
  std::vector<std::string> sums;
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("#")) sums.push_back(line.substr(line.rfind(' ')));
  }
  return sums;
}

std::vector<SidecarRecord> sidecar_records(const std::string &bytes, std::size_t count) {
  std::vector<SidecarRecord> records;
  for (std::size_t at = 0; at + kRecordBytes <= bytes.size() && records.size() < count; at += kRecordBytes) {
    records.push_back({.type = static_cast<std::uint32_t>(little_endian(bytes, at, 4)),
                       .reserved = static_cast<std::uint32_t>(little_endian(bytes, at + 4, 4)),
                       .timestamp = little_endian(bytes, at + 8, 8),
                       .size = static_cast<std::uint32_t>(little_endian(bytes, at + 16, 4)),
                       .header_size = static_cast<std::uint32_t>(little_endian(bytes, at + 20, 4))});
  }
  return records;
}

std::uint32_t sidecar_count(const std::string &bytes) {
  EXPECT_EQ(bytes.size() % kRecordBytes, 4u);
  return bytes.size() < 4 ? 0 : static_cast<std::uint32_t>(little_endian(bytes, bytes.size() - 4, 4));
}

std::vector<SidecarRecord> expected_records(const TruthLog &truth) {
  std::vector<SidecarRecord> records;
  for (const FrameTruth &frame : truth.frames()) {
    records.push_back({.type = frame.line.at("type_value"),
                       .reserved = 0,
                       .timestamp = frame.timestamp,
                       .size = static_cast<std::uint32_t>(frame.size),
                       .header_size = static_cast<std::uint32_t>(frame.header_size)});
  }
  return records;
}
