// Writes the software camera's key file from typed rules.
#include "harness/camera_script.h"

#include <sstream>
#include <type_traits>

namespace {

using Entries = std::vector<std::pair<std::string, std::string>>;

template <typename Value>
void add(Entries &entries, const char *key, const std::optional<Value> &value) {
  if (!value) {
    return;
  }
  if constexpr (std::is_same_v<Value, std::string>) {
    entries.emplace_back(key, *value);
  } else if constexpr (std::is_same_v<Value, bool>) {
    entries.emplace_back(key, *value ? "true" : "false");
  } else {
    entries.emplace_back(key, std::to_string(*value));
  }
}

}  // namespace

CameraScript::CameraScript() : camera_{{"pacing", "virtual"}} {}

CameraScript &CameraScript::set(const std::string &key, const std::string &value) {
  camera_[key] = value;
  return *this;
}

CameraScript &CameraScript::fault(const Fault &fault) {
  Entries entries = {{"call", fault.call}};
  add(entries, "nth", fault.nth);
  add(entries, "times", fault.times);
  add(entries, "probability", fault.probability);
  add(entries, "fail", fault.fail);
  add(entries, "code", fault.code);
  add(entries, "message", fault.message);
  add(entries, "set_error", fault.set_error);
  add(entries, "errno", fault.error_number);
  add(entries, "expected", fault.expected);
  add(entries, "stall_us", fault.stall_us);
  add(entries, "signal", fault.signal);
  groups_.emplace_back("fault " + std::to_string(groups_.size()), entries);
  return *this;
}

CameraScript &CameraScript::frames(const FrameRule &rule) {
  Entries entries;
  add(entries, "from", rule.from);
  add(entries, "count", rule.count);
  add(entries, "every", rule.every);
  add(entries, "probability", rule.probability);
  add(entries, "drop", rule.drop);
  add(entries, "latency_us", rule.latency_us);
  add(entries, "jitter_us", rule.jitter_us);
  add(entries, "clock_step_us", rule.clock_step_us);
  add(entries, "utc_step_us", rule.utc_step_us);
  add(entries, "custom_us", rule.custom_us);
  add(entries, "size", rule.size);
  add(entries, "header_size", rule.header_size);
  add(entries, "chunks", rule.chunks);
  add(entries, "chunk_sizes", rule.chunk_sizes);
  add(entries, "null_chunk", rule.null_chunk);
  add(entries, "type", rule.type);
  add(entries, "key", rule.key);
  add(entries, "shown", rule.shown);
  add(entries, "segment_start", rule.segment_start);
  add(entries, "empty", rule.empty);
  add(entries, "timestamp_us", rule.timestamp_us);
  add(entries, "capacity", rule.capacity);
  add(entries, "take_fails", rule.take_fails);
  groups_.emplace_back("frame " + std::to_string(groups_.size()), entries);
  return *this;
}

std::string CameraScript::text() const {
  std::ostringstream text;
  text << "[camera]\n";
  for (const auto &[key, value] : camera_) {
    text << key << '=' << value << '\n';
  }
  for (const auto &[name, entries] : groups_) {
    text << "\n[" << name << "]\n";
    for (const auto &[key, value] : entries) {
      text << key << '=' << value << '\n';
    }
  }
  return text.str();
}
