// Runs zel-frames, and looks at what it wrote with tools that know nothing of it.
#include "harness/frames_run.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "harness/build_under_test.h"
#include "harness/client_run.h"

RunResult run_frames(const std::vector<std::string> &arguments, const std::filesystem::path &folder) {
  std::vector<std::string> command = build_under_test().emulator;
  command.push_back(build_under_test().frames.string());
  command.insert(command.end(), arguments.begin(), arguments.end());
  return run_tool(command, folder);
}

VideoTrack probe_video(const std::filesystem::path &file) {
  const RunResult result = run_tool({"ffprobe", "-v", "error", "-of", "json", "-select_streams", "v:0", "-show_streams",
                                     "-show_packets", file.string()});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  const nlohmann::json probed = nlohmann::json::parse(result.out);
  VideoTrack track;
  if (probed.value("streams", nlohmann::json::array()).size() != 1) {
    ADD_FAILURE() << "no video track: " << result.out;
    return track;
  }
  const nlohmann::json &stream = probed["streams"][0];
  track.codec = stream.at("codec_name");
  track.tag = stream.at("codec_tag_string");
  track.time_base = stream.at("time_base");
  track.width = stream.at("width");
  track.height = stream.at("height");
  for (const nlohmann::json &packet : probed["packets"]) {
    track.packets.push_back({.pts = packet.at("pts"),
                             .dts = packet.at("dts"),
                             .duration = packet.value("duration", std::int64_t{0}),
                             .key = packet.at("flags").get<std::string>().front() == 'K'});
  }
  return track;
}

std::string pixels_of(const std::vector<std::string> &input, const std::string &pixels, int only) {
  std::vector<std::string> command = {"ffmpeg", "-v", "error"};
  command.insert(command.end(), input.begin(), input.end());
  if (only >= 0) command.insert(command.end(), {"-vf", "select=eq(n\\," + std::to_string(only) + ")"});
  command.insert(command.end(), {"-fps_mode", "passthrough", "-f", "rawvideo"});
  if (!pixels.empty()) command.insert(command.end(), {"-pix_fmt", pixels});
  command.emplace_back("-");
  const RunResult result = run_tool(command);
  EXPECT_EQ(result.status, 0) << result.err;
  return result.out;
}
