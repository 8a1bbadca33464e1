// Reading the key file: a table says where the value of each key goes.
#include "config/key_file.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cmath>
#include <csignal>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "common/errors.h"
#include "config/call_names.h"
#include "settings/choices.h"

namespace camera {
namespace {

struct KeyFileFree {
  void operator()(GKeyFile *file) const { g_key_file_free(file); }
};
struct GlibFree {
  void operator()(gpointer memory) const { g_free(memory); }
};
struct StringsFree {
  void operator()(gchar **strings) const { g_strfreev(strings); }
};
struct ErrorFree {
  void operator()(GError *error) const { g_error_free(error); }
};

/// What a value's reader throws: what the value should have been.
struct Unreadable : std::runtime_error {
  using std::runtime_error::runtime_error;
};

template <typename Number>
Number read_number(std::string_view text) {
  Number number{};
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (status != std::errc() || end != text.data() + text.size()) {
    throw Unreadable(std::numeric_limits<Number>::is_signed ? "a whole number" : "a whole number, 0 or more");
  }
  return number;
}

bool read_truth(std::string_view text) {
  if (text == "true" || text == "1") return true;
  if (text == "false" || text == "0") return false;
  throw Unreadable("true or false");
}

double read_probability(std::string_view text) {
  double number = 0;
  const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (status != std::errc() || end != text.data() + text.size() || !(number >= 0 && number <= 1)) {
    throw Unreadable("a number from 0 to 1");
  }
  return number;
}

/// A system constant by its name, found by asking the system for the name of each number.
int read_constant(std::string_view text, std::string_view prefix, const char *(*name_of)(int), const char *expected) {
  constexpr int kLastNumber = 200;
  for (int number = 1; number < kLastNumber; ++number) {
    const char *name = name_of(number);
    if (name != nullptr && text == std::string(prefix) + name) return number;
  }
  throw Unreadable(expected);
}

int read_signal(std::string_view text) {
  return read_constant(text, "SIG", sigabbrev_np, "a signal's name, such as SIGINT");
}

int read_errno(std::string_view text) {
  return read_constant(text, "", strerrorname_np, "a name of errno, such as EIO");
}

std::uint32_t read_frame_type(std::string_view text) {
  for (const Choice &choice : kFrameTypes) {
    if (text == choice.nick) return choice.value;
  }
  try {
    return read_number<std::uint32_t>(text);
  } catch (const Unreadable &) {
    throw Unreadable("the nick or number of a frame type");
  }
}

EmptyMark read_empty(std::string_view text) {
  if (text == "wide") return EmptyMark::kWide;
  return read_truth(text) ? EmptyMark::kTrue : EmptyMark::kFalse;
}

std::string_view read_call(std::string_view text) {
  if (std::find(std::begin(kCallNames), std::end(kCallNames), text) != std::end(kCallNames)) return text;
  throw Unreadable("a call of the interface");
}

/// Limited: a frame of that size is allocated.
std::uint64_t read_frame_size(std::string_view text) {
  constexpr std::uint64_t kMost = std::uint64_t{1} << 30U;
  const auto size = read_number<std::uint64_t>(text);
  if (size > kMost) throw Unreadable("at most 1073741824 bytes");
  return size;
}

/// Limited: the frame is cut into so many pieces in memory.
std::uint64_t read_chunk_count(std::string_view text) {
  constexpr std::uint64_t kMost = 1'000'000;
  const auto count = read_number<std::uint64_t>(text);
  if (count > kMost) throw Unreadable("at most 1000000 chunks");
  return count;
}

/// A duration; the limit keeps sums in range.
std::uint64_t read_duration(std::string_view text) {
  constexpr std::uint64_t kMost = 1'000'000'000'000;
  const auto duration = read_number<std::uint64_t>(text);
  if (duration > kMost) throw Unreadable("at most 1000000000000 microseconds");
  return duration;
}

std::vector<std::uint64_t> read_sizes(std::string_view text) {
  std::vector<std::uint64_t> sizes;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(';'), text.size());
    sizes.push_back(read_number<std::uint64_t>(text.substr(0, end)));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return sizes;
}

template <typename Value>
struct Word {
  const char *word;
  Value value;
};

constexpr Word<Pacing> kPacings[] = {
    {"real-time", Pacing::kRealTime}, {"unpaced", Pacing::kUnpaced}, {"virtual", Pacing::kVirtual}};
constexpr Word<ProducerKind> kProducers[] = {
    {"generated", ProducerKind::kGenerated}, {"cached", ProducerKind::kCached}, {"scripted", ProducerKind::kScripted}};

/// The value of one of the words; Unreadable names them all: "a, b or c".
template <typename Value, std::size_t count>
Value read_word(const Word<Value> (&words)[count], std::string_view text) {
  std::string accepted;
  for (std::size_t i = 0; i < count; ++i) {
    if (text == words[i].word) return words[i].value;
    accepted.append(i == 0 ? "" : i + 1 < count ? ", " : " or ").append(words[i].word);
  }
  throw Unreadable(accepted);
}

std::string_view read_text(std::string_view text) {
  if (text.empty()) throw Unreadable("a text");
  return text;
}

/// The text of a key that says where frames come from.
std::string_view read_origin(const CameraConfig &config, std::string_view text) {
  const bool is_first = config.source == SourceKind::kTestPicture && config.recording.empty() && config.capture.empty();
  if (!is_first) throw Unreadable("the only one of capture, recording, graph, file and device");
  return read_text(text);
}

void set_source(CameraConfig &config, SourceKind kind, std::string_view text) {
  config.source_text = read_origin(config, text);
  config.source = kind;
}

template <typename Target>
struct Key {
  const char *name;
  void (*read)(Target &, std::string_view);
};

constexpr Key<CameraConfig> kCameraKeys[] = {
    {"pacing", [](CameraConfig &c, std::string_view t) { c.pacing = read_word(kPacings, t); }},
    {"producer",
     [](CameraConfig &c, std::string_view t) {
       c.producer = read_word(kProducers, t);
       c.has_producer = true;
     }},
    {"graph", [](CameraConfig &c, std::string_view t) { set_source(c, SourceKind::kGraph, t); }},
    {"file", [](CameraConfig &c, std::string_view t) { set_source(c, SourceKind::kFile, t); }},
    {"device", [](CameraConfig &c, std::string_view t) { set_source(c, SourceKind::kDevice, t); }},
    {"capture", [](CameraConfig &c, std::string_view t) { c.capture = read_origin(c, t); }},
    {"console", [](CameraConfig &c, std::string_view t) { c.console = read_text(t); }},
    {"loop",
     [](CameraConfig &c, std::string_view t) {
       c.loop = read_truth(t);
       c.has_loop = true;
     }},
    {"recording", [](CameraConfig &c, std::string_view t) { c.recording = read_origin(c, t); }},
    {"log", [](CameraConfig &c, std::string_view t) { c.log = t; }},
    {"record", [](CameraConfig &c, std::string_view t) { c.record = t; }},
    {"log_getters", [](CameraConfig &c, std::string_view t) { c.log_getters = read_truth(t); }},
    {"marker", [](CameraConfig &c, std::string_view t) { c.marker = read_truth(t); }},
    {"seed", [](CameraConfig &c, std::string_view t) { c.seed = read_number<std::uint64_t>(t); }},
    {"start_us", [](CameraConfig &c, std::string_view t) { c.start_us = read_number<std::uint64_t>(t); }},
    {"utc_start_us", [](CameraConfig &c, std::string_view t) { c.utc_start_us = read_number<std::uint64_t>(t); }},
};

constexpr Key<CallFault> kFaultKeys[] = {
    {"call", [](CallFault &f, std::string_view t) { f.call = read_call(t); }},
    {"nth",
     [](CallFault &f, std::string_view t) {
       f.trigger.nth = read_number<std::uint64_t>(t);
       if (f.trigger.nth == 0) throw Unreadable("a whole number, 1 or more");
     }},
    {"times", [](CallFault &f, std::string_view t) { f.trigger.times = read_number<std::uint64_t>(t); }},
    {"probability", [](CallFault &f, std::string_view t) { f.trigger.probability = read_probability(t); }},
    {"fail", [](CallFault &f, std::string_view t) { f.fails = read_truth(t); }},
    {"code", [](CallFault &f, std::string_view t) { f.code = read_number<gint>(t); }},
    {"message", [](CallFault &f, std::string_view t) { f.message = t; }},
    {"set_error", [](CallFault &f, std::string_view t) { f.sets_error = read_truth(t); }},
    {"expected", [](CallFault &f, std::string_view t) { f.expected = read_truth(t); }},
    {"errno", [](CallFault &f, std::string_view t) { f.error_number = read_errno(t); }},
    {"stall_us", [](CallFault &f, std::string_view t) { f.stall_us = read_duration(t); }},
    {"signal", [](CallFault &f, std::string_view t) { f.signal = read_signal(t); }},
};

constexpr Key<FrameFault> kFrameKeys[] = {
    {"from", [](FrameFault &f, std::string_view t) { f.from = read_number<std::uint64_t>(t); }},
    {"count", [](FrameFault &f, std::string_view t) { f.count = read_number<std::uint64_t>(t); }},
    {"every",
     [](FrameFault &f, std::string_view t) {
       f.every = read_number<std::uint64_t>(t);
       if (f.every == 0) throw Unreadable("a whole number, 1 or more");
     }},
    {"probability", [](FrameFault &f, std::string_view t) { f.probability = read_probability(t); }},
    {"drop", [](FrameFault &f, std::string_view t) { f.drop = read_truth(t); }},
    {"end", [](FrameFault &f, std::string_view t) { f.end = read_truth(t); }},
    {"take_fails", [](FrameFault &f, std::string_view t) { f.take_fails = read_truth(t); }},
    {"latency_us", [](FrameFault &f, std::string_view t) { f.latency_us = read_duration(t); }},
    {"jitter_us", [](FrameFault &f, std::string_view t) { f.jitter_us = read_duration(t); }},
    {"clock_step_us", [](FrameFault &f, std::string_view t) { f.clock_step_us = read_number<std::int64_t>(t); }},
    {"utc_step_us", [](FrameFault &f, std::string_view t) { f.utc_step_us = read_number<std::int64_t>(t); }},
    {"custom_us", [](FrameFault &f, std::string_view t) { f.custom_us = read_number<std::uint64_t>(t); }},
    {"timestamp_us", [](FrameFault &f, std::string_view t) { f.timestamp_us = read_number<std::uint64_t>(t); }},
    {"size", [](FrameFault &f, std::string_view t) { f.size = read_frame_size(t); }},
    {"header_size", [](FrameFault &f, std::string_view t) { f.header_size = read_number<std::uint64_t>(t); }},
    {"capacity", [](FrameFault &f, std::string_view t) { f.capacity = read_number<std::uint64_t>(t); }},
    {"chunks", [](FrameFault &f, std::string_view t) { f.chunks = read_chunk_count(t); }},
    {"chunk_sizes", [](FrameFault &f, std::string_view t) { f.chunk_sizes = read_sizes(t); }},
    {"null_chunk", [](FrameFault &f, std::string_view t) { f.null_chunk = read_number<std::uint64_t>(t); }},
    {"type", [](FrameFault &f, std::string_view t) { f.type = read_frame_type(t); }},
    {"key", [](FrameFault &f, std::string_view t) { f.key = read_truth(t); }},
    {"shown", [](FrameFault &f, std::string_view t) { f.shown = read_truth(t); }},
    {"segment_start", [](FrameFault &f, std::string_view t) { f.segment_start = read_truth(t); }},
    {"empty", [](FrameFault &f, std::string_view t) { f.empty = read_empty(t); }},
};

/// Reads all keys of a group into `target`. Throws Unreadable with the whole message.
template <typename Target, std::size_t kCount>
void read_group(GKeyFile *file, const char *group, const Key<Target> (&keys)[kCount], Target &target) {
  const std::unique_ptr<gchar *, StringsFree> names(g_key_file_get_keys(file, group, nullptr, nullptr));
  for (gchar **name = names.get(); name != nullptr && *name != nullptr; ++name) {
    const auto key =
        std::find_if(std::begin(keys), std::end(keys), [&](const auto &k) { return std::strcmp(k.name, *name) == 0; });
    const std::string place = std::string("[") + group + "] " + *name;
    if (key == std::end(keys)) throw Unreadable(place + ": unknown key");
    GError *raw = nullptr;
    const std::unique_ptr<gchar, GlibFree> text(g_key_file_get_value(file, group, *name, &raw));
    const std::unique_ptr<GError, ErrorFree> problem(raw);
    if (text == nullptr) throw Unreadable(place + ": " + problem->message);
    std::string_view value = text.get();
    while (!value.empty() && value.back() == ' ')
      value.remove_suffix(1);
    try {
      key->read(target, value);
    } catch (const Unreadable &expected) {
      throw Unreadable(place + ": \"" + std::string(value) + "\" is not " + expected.what());
    }
  }
}

/// What the keys of the group "camera" say together.
void check_together(const CameraConfig &config) {
  if (!config.recording.empty() && config.has_producer)
    throw Unreadable("[camera] recording: a recording has no producer");
  if (!config.capture.empty() && config.has_producer) throw Unreadable("[camera] capture: a capture has no producer");
  if (config.capture.empty() && !config.console.empty()) throw Unreadable("[camera] console: there is no capture");
  if (config.capture.empty() && config.has_loop) throw Unreadable("[camera] loop: there is no capture");
}

void read_groups(GKeyFile *file, CameraConfig &config) {
  constexpr std::string_view kFault = "fault ";
  constexpr std::string_view kFrame = "frame ";
  const std::unique_ptr<gchar *, StringsFree> groups(g_key_file_get_groups(file, nullptr));
  for (gchar **group = groups.get(); *group != nullptr; ++group) {
    const std::string_view name = *group;
    if (name == "camera") {
      read_group(file, *group, kCameraKeys, config);
    } else if (name.starts_with(kFault)) {
      CallFault fault;
      fault.name = name.substr(kFault.size());
      read_group(file, *group, kFaultKeys, fault);
      if (fault.call.empty()) throw Unreadable("[" + std::string(name) + "]: the key call is missing");
      if (fault.message.empty()) fault.message = "Injected fault " + fault.name;
      config.call_faults.push_back(std::move(fault));
    } else if (name.starts_with(kFrame)) {
      FrameFault fault;
      fault.name = name.substr(kFrame.size());
      read_group(file, *group, kFrameKeys, fault);
      config.frame_faults.push_back(std::move(fault));
    } else {
      throw Unreadable("[" + std::string(name) + "]: unknown group");
    }
  }
  check_together(config);
}

}  // namespace

std::optional<CameraConfig> read_key_file(const std::string &path, GError **error) {
  const std::unique_ptr<GKeyFile, KeyFileFree> file(g_key_file_new());
  GError *raw = nullptr;
  if (g_key_file_load_from_file(file.get(), path.c_str(), G_KEY_FILE_NONE, &raw) == FALSE) {
    const std::unique_ptr<GError, ErrorFree> problem(raw);
    fail(error, kErrorKeyFile, "Camera configuration %s: %s", path.c_str(), problem->message);
    return std::nullopt;
  }
  CameraConfig config;
  try {
    read_groups(file.get(), config);
  } catch (const Unreadable &problem) {
    fail(error, kErrorKeyFile, "Camera configuration %s: %s", path.c_str(), problem.what());
    return std::nullopt;
  }
  return config;
}

}  // namespace camera
