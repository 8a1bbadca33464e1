// Parses the software camera's log and replays what it says about maps.
#include "harness/truth_log.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>

#include "tests/support/files.h"

using nlohmann::json;

namespace {

constexpr std::string_view kMapSet = "zel_map_set_";

json field(const json &line, const char *name) {
  const auto found = line.find(name);
  return found == line.end() ? json() : *found;
}

Call parse_call(const json &line, std::size_t position) {
  return {.position = position,
          .name = line.at("name"),
          .args = field(line, "args"),
          .result = field(line, "result"),
          .error = field(line, "error"),
          .error_number = line.value("errno", "")};
}

FrameTruth parse_frame(const json &line, std::size_t position) {
  return {.position = position,
          .sequence = line.at("sequence"),
          .timestamp = line.at("timestamp"),
          .utc = line.at("utc"),
          .custom = line.at("custom"),
          .size = line.at("size"),
          .header_size = line.at("header_size"),
          .type = line.at("type"),
          .key = line.at("key"),
          .segment_start = line.at("segment_start"),
          .buffer = line.at("buffer"),
          .offset = line.value("offset", std::size_t{0}),
          .line = line};
}

/// The words of a value as the tests write them: strings without quotes, everything else as in JSON.
std::string words(const json &value) {
  return value.is_string() ? value.get<std::string>() : value.dump();
}

/// The map that a writing call changes; 0 when it writes into none.
std::uint32_t written_map(const Call &call) {
  if (call.name.starts_with(kMapSet) || call.name == "zel_map_copy_value" || call.name == "zel_map_remove_prefix") {
    return call.args.at("map");
  }
  return call.name == "zel_map_merge" ? call.args.at("destination").get<std::uint32_t>() : 0;
}

}  // namespace

TruthLog::TruthLog(const std::filesystem::path &log, const std::filesystem::path &record) {
  const std::string text = std::filesystem::exists(log) ? read_file(log) : std::string();
  std::istringstream stream(text.substr(0, text.rfind('\n') + 1));
  for (std::string row; std::getline(stream, row);) {
    const json line = json::parse(row, nullptr, false);
    if (line.is_discarded()) {
      ADD_FAILURE() << "not JSON in the camera's log: " << row;
      continue;
    }
    const std::size_t position = lines_.size();
    lines_.push_back(line);
    const std::string kind = line.at("kind");
    if (kind == "call") {
      calls_.push_back(parse_call(line, position));
    } else if (kind == "frame") {
      frames_.push_back(parse_frame(line, position));
    } else if (kind == "drop") {
      drops_.push_back({.sequence = line.at("sequence"), .reason = line.at("reason")});
    } else if (kind == "release") {
      releases_.push_back({.position = position, .object = line.at("object"), .id = line.at("id")});
    }
  }
  if (std::filesystem::exists(record)) {
    record_ = read_file(record);
  }
}

std::vector<Call> TruthLog::calls_named(std::string_view name) const {
  std::vector<Call> found;
  std::copy_if(calls_.begin(), calls_.end(), std::back_inserter(found),
               [&](const Call &call) { return call.name == name; });
  return found;
}

std::vector<std::string> TruthLog::order_of(std::initializer_list<std::string_view> names) const {
  std::vector<std::string> order;
  for (const Call &call : calls_) {
    if (std::find(names.begin(), names.end(), call.name) != names.end()) {
      order.push_back(call.name);
    }
  }
  return order;
}

std::vector<std::string> TruthLog::writes_to_map(std::uint32_t map) const {
  std::vector<std::string> writes;
  for (const Call &call : calls_) {
    if (written_map(call) != map) {
      continue;
    }
    std::string text = call.name.substr(std::string_view("zel_map_").size());
    for (const char *part : {"source", "target", "prefix", "key", "value"}) {
      if (call.args.contains(part)) {
        text += ' ' + words(call.args.at(part));
      }
    }
    writes.push_back(text);
  }
  return writes;
}

std::map<std::string, json> TruthLog::map_at(std::uint32_t map, std::size_t position) const {
  std::map<std::string, json> values;
  for (const Call &call : calls_) {
    if (call.position >= position || written_map(call) != map) {
      continue;
    }
    if (call.name == "zel_map_copy_value") {
      const auto source = values.find(call.args.at("source"));
      if (source != values.end()) {
        values[call.args.at("target")] = source->second;
      }
    } else if (call.name == "zel_map_remove_prefix") {
      const std::string prefix = call.args.at("prefix");
      std::erase_if(values, [&](const auto &entry) { return entry.first.starts_with(prefix); });
    } else if (call.name == "zel_map_merge") {
      for (const auto &[key, value] : map_at(call.args.at("source"), call.position)) {
        values[key] = value;
      }
    } else {
      values[call.args.at("key")] = call.args.at("value");
    }
  }
  return values;
}

std::map<std::string, json> TruthLog::requested_settings() const {
  const std::vector<Call> made = calls_named("zel_stream_new");
  if (made.empty()) {
    ADD_FAILURE() << "no stream was asked for";
    return {};
  }
  return made.front().args.at("values").get<std::map<std::string, json>>();
}

std::string TruthLog::bytes(const FrameTruth &frame) const {
  if (frame.offset + frame.size > record_.size()) {
    ADD_FAILURE() << "frame " << frame.sequence << " lies outside the record";
    return {};
  }
  return record_.substr(frame.offset, frame.size);
}

std::string TruthLog::bytes(std::size_t first, std::size_t count) const {
  std::string all;
  for (std::size_t i = first; i < first + count; ++i) {
    if (i >= frames_.size()) {
      ADD_FAILURE() << "only " << frames_.size() << " frames were handed out; number " << i << " is asked for";
      break;
    }
    all += bytes(frames_[i]);
  }
  return all;
}
