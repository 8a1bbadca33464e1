// Filling a request.
#include "compliance/support/request.h"

#include <algorithm>

#include "compliance/common/finding.h"
#include "formats/stream_format.h"

namespace compliance {
namespace {

guint32 number_of(const std::string &key, const std::string &word) {
  const auto found = std::ranges::find(enumerations, key, &Enumeration::setting);
  if (found == enumerations.end()) throw Finding("\"" + key + "\" has no words, expected a setting that has");
  const EnumClassPtr type = enum_class((zel().*found->type)());
  const GEnumValue *value = type != nullptr ? g_enum_get_value_by_nick(type.get(), word.c_str()) : nullptr;
  if (value == nullptr) throw Finding("\"" + key + "\" has no word \"" + word + "\", expected one of the library's");
  return static_cast<guint32>(value->value);
}

/// Stores a setting's value.
struct Store {
  zel_map *map;
  const std::string &key;

  void operator()(bool value) const { zel().map_set_boolean(map, key.c_str(), value ? TRUE : FALSE); }
  void operator()(guint32 value) const { zel().map_set_uint32(map, key.c_str(), value); }
  void operator()(double value) const { zel().map_set_double(map, key.c_str(), value); }
  void operator()(const std::string &value) const { zel().map_set_string(map, key.c_str(), value.c_str()); }
  void operator()(const zel_pair32u &value) const { zel().map_set_pair32u(map, key.c_str(), value); }
  void operator()(const zel_quad32u &value) const { zel().map_set_quad32u(map, key.c_str(), value); }
  void operator()(const Nick &value) const { (*this)(number_of(key, value.word)); }
};

}  // namespace

const std::vector<Enumeration> enumerations = {
    {"format", &Library::format_get_type},
    {"h264.profile", &Library::h264_profile_get_type},
    {"h265.profile", &Library::h265_profile_get_type},
    {"rc.mode", &Library::rate_control_mode_get_type},
    {"rc.prio", &Library::rate_control_priority_get_type},
    {"timestamp.type", &Library::timestamp_get_type},
    {"buffer.access", &Library::buffer_access_get_type},
    {"buffer.strategy", &Library::buffer_strategy_get_type},
    {"lumo.profile", &Library::lumostream_profile_get_type},
    {"lumo.gdr", &Library::lumostream_gdr_get_type},
    {"", &Library::frame_type_get_type},
};

Request::Request() : map_(ObjectPtr<zel_map>(zel().map_new())) {
  if (map_ == nullptr) throw Finding("zel_map_new gave NULL, expected a map");
  // What zel-client asks for unless it is told otherwise.
  set("format", guint32{formats::kFormatH264}).set("frame.chunks", true);
  bool has_rate = false;
  for (const Setting &setting : options.settings) {
    std::visit(Store{map_.get(), setting.key}, setting.value);
    has_rate = has_rate || setting.key == "framerate";
  }
  if (!has_rate) set("framerate.auto", true);
}

Request &Request::set(const char *key, bool value) {
  zel().map_set_boolean(map_.get(), key, value ? TRUE : FALSE);
  return *this;
}

Request &Request::set(const char *key, guint32 value) {
  zel().map_set_uint32(map_.get(), key, value);
  return *this;
}

Request &Request::set(const char *key, zel_pair32u value) {
  zel().map_set_pair32u(map_.get(), key, value);
  return *this;
}

std::optional<guint32> asked_number(const std::string &key) {
  std::optional<guint32> number;
  for (const Setting &setting : options.settings) {
    if (setting.key != key) continue;
    if (const auto *value = std::get_if<guint32>(&setting.value)) number = *value;
    if (const auto *nick = std::get_if<Nick>(&setting.value)) number = number_of(key, nick->word);
  }
  return number;
}

}  // namespace compliance
