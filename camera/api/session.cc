// Reading the key file at the first call, and keeping every session until the process ends.
#include "api/session.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <mutex>

#include "common/errors.h"

namespace camera {
namespace {

CameraConfig read_configuration(const std::string &path, std::string &problem) {
  if (path.empty()) return {};
  GError *error = nullptr;
  std::optional<CameraConfig> config = read_key_file(path, &error);
  if (config) return *std::move(config);
  problem = error->message;
  g_error_free(error);
  return {};
}

std::atomic<Session *> current = nullptr;

/// Reached from `current` until the end of the process: static destructors of the client still make calls.
Session &begin_session(const char *path) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  Session *old = current.load();
  if (old != nullptr && old->path == path) return *old;
  static std::aligned_storage_t<sizeof(std::vector<std::unique_ptr<Session>>), alignof(std::max_align_t)> memory;
  static auto *sessions = std::construct_at(reinterpret_cast<std::vector<std::unique_ptr<Session>> *>(&memory));
  sessions->push_back(std::make_unique<Session>(path));
  current.store(sessions->back().get());
  return *sessions->back();
}

const char *configured_path() {
  const char *path = std::getenv("ZEL_CAMERA");
  return path == nullptr ? "" : path;
}

}  // namespace

Session::Session(const char *name)
    : path(name), config(read_configuration(path, problem)), call_script(config.call_faults, config.seed) {
  if (problem.empty() && !config.log.empty() && !log.open(config.log)) {
    problem = "Camera configuration " + path + ": [camera] log: " + config.log + ": " + std::strerror(errno);
  }
  if (problem.empty() && !config.record.empty() && !recorder.open(config.record)) {
    problem = "Camera configuration " + path + ": [camera] record: " + config.record + ": " + std::strerror(errno);
  }
  if (!problem.empty() || config.recording.empty()) return;
  try {
    auto answering = std::make_unique<Replay>(config.recording, config.pacing);
    register_types(answering->run());
    replay = std::move(answering);
  } catch (const std::exception &why) {
    problem = "Camera configuration " + path + ": [camera] recording: " + why.what();
  }
}

Session &session() {
  Session *known = current.load(std::memory_order_acquire);
  return known != nullptr ? *known : begin_session(configured_path());
}

Session &renewed_session() {
  const char *path = configured_path();
  Session *known = current.load(std::memory_order_acquire);
  return known != nullptr && known->path == path ? *known : begin_session(path);
}

}  // namespace camera
