// Streams and logs for tests.
#include "support/camera_fixture.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

Failure take_failure(ErrorSlot &error) {
  Failure failure;
  failure.error_number = errno;
  if (error.get() != nullptr) {
    failure.code = error.get()->code;
    failure.message = error.get()->message;
    failure.expected = zel_error_is_expected(error.address()) != FALSE;
    g_clear_error(error.address());
  }
  return failure;
}

std::vector<std::uint8_t> Seen::bytes() const {
  std::vector<std::uint8_t> all;
  for (const auto &chunk : chunks)
    all.insert(all.end(), chunk.begin(), chunk.end());
  return all;
}

CameraTest::CameraTest() {
  configure("pacing=virtual");
}

CameraTest::~CameraTest() {
  stream_.reset();
  buffers_.clear();
}

void CameraTest::configure(std::string_view lines) {
  const std::string name = path("camera" + std::to_string(++configurations_));
  std::ofstream(name) << "[camera]\nlog=" << path("log") << "\nrecord=" << path("record") << "\n" << lines << "\n";
  std::filesystem::remove(path("log"));
  std::filesystem::remove(path("record"));
  setenv("ZEL_CAMERA", name.c_str(), 1);
}

MapRef CameraTest::request(std::initializer_list<Asked> asked) {
  struct Set {
    zel_map *map;
    const char *key;
    void operator()(bool value) const { zel_map_set_boolean(map, key, value ? TRUE : FALSE); }
    void operator()(guint32 value) const { zel_map_set_uint32(map, key, value); }
    void operator()(double value) const { zel_map_set_double(map, key, value); }
    void operator()(const char *value) const { zel_map_set_string(map, key, value); }
    void operator()(const zel_pair32u &value) const { zel_map_set_pair32u(map, key, value); }
    void operator()(const zel_quad32u &value) const { zel_map_set_quad32u(map, key, value); }
  };
  MapRef map(zel_map_new());
  for (const Asked &one : asked)
    std::visit(Set{map.get(), one.key}, one.value);
  return map;
}

void CameraTest::create(std::initializer_list<Asked> asked, int buffers) {
  buffers_.clear();
  stream_.reset();
  const MapRef map = request(asked);
  ErrorSlot error;
  stream_.reset(zel_stream_new(map.get(), nullptr, error.address()));
  ASSERT_NE(stream_, nullptr) << take_failure(error).message;
  for (int i = 0; i < buffers; ++i) {
    buffers_.emplace_back(zel_stream_buffer_alloc(stream_.get(), nullptr, error.address()));
    ASSERT_NE(buffers_.back(), nullptr) << take_failure(error).message;
    ASSERT_TRUE(zel_stream_buffer_enqueue(stream_.get(), buffers_.back().get(), nullptr));
  }
}

Failure CameraTest::refusal(std::initializer_list<Asked> asked) {
  const MapRef map = request(asked);
  ErrorSlot error;
  const StreamRef stream(zel_stream_new(map.get(), nullptr, error.address()));
  EXPECT_EQ(stream, nullptr);
  return take_failure(error);
}

Seen look_at(zel_frame *frame) {
  Seen seen;
  seen.sequence = zel_frame_get_sequence_nbr(frame);
  seen.timestamp = zel_frame_get_timestamp(frame);
  seen.utc = zel_frame_get_utc_timestamp(frame);
  seen.custom = zel_frame_get_custom_timestamp(frame);
  seen.type = zel_frame_get_frame_type(frame);
  seen.header_size = zel_frame_get_header_size(frame);
  seen.size = zel_frame_get_size(frame);
  seen.capacity = zel_buffer_get_capacity(frame);
  seen.key = zel_frame_is_key(frame) != FALSE;
  seen.shown = zel_frame_shown(frame) != FALSE;
  seen.segment_start = zel_frame_is_segment_start(frame) != FALSE;
  seen.empty = zel_map_get_boolean(zel_frame_get_extra_info(frame), "empty", FALSE) != FALSE;
  seen.contiguous = zel_buffer_is_contiguous(frame) != FALSE;
  seen.buffer = zel_buffer_get_id(frame);
  while (true) {
    const zel_chunk chunk = zel_frame_take_chunk(frame, nullptr);
    if (chunk.size == 0) break;
    const auto *data = static_cast<const std::uint8_t *>(chunk.data);
    seen.chunks.emplace_back(data, data == nullptr ? data : data + chunk.size);
  }
  return seen;
}

Seen CameraTest::fetch() {
  ErrorSlot error;
  const BufferRef buffer(zel_stream_get_buffer(stream_.get(), error.address()));
  if (buffer == nullptr) {
    ADD_FAILURE() << "no frame: " << take_failure(error).message;
    return {};
  }
  Seen seen = look_at(zel_buffer_get_frame(buffer.get()));
  EXPECT_TRUE(zel_stream_buffer_enqueue(stream_.get(), buffer.get(), nullptr));
  return seen;
}

std::vector<Seen> CameraTest::fetch(int count) {
  std::vector<Seen> frames;
  for (int i = 0; i < count && !HasFailure(); ++i)
    frames.push_back(fetch());
  return frames;
}

Failure CameraTest::fetch_failure() {
  ErrorSlot error;
  const BufferRef buffer(zel_stream_get_buffer(stream_.get(), error.address()));
  EXPECT_EQ(buffer, nullptr);
  return take_failure(error);
}

std::vector<nlohmann::json> CameraTest::log(std::string_view kind) const {
  std::vector<nlohmann::json> lines;
  std::istringstream text(read_text(path("log")));
  for (std::string line; std::getline(text, line);) {
    nlohmann::json object = nlohmann::json::parse(line);
    if (kind.empty() || object.at("kind") == kind) lines.push_back(std::move(object));
  }
  return lines;
}

std::vector<std::uint8_t> CameraTest::record() const {
  const std::string text = read_text(path("record"));
  return {text.begin(), text.end()};
}

bool is_readable(int descriptor) {
  pollfd one{descriptor, POLLIN, 0};
  return poll(&one, 1, 0) == 1;
}

std::string read_text(const std::string &path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}
