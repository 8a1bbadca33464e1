// The fake libzel's record, scripted failures, error domain and enumerations.
#include "fake_state.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <iterator>

namespace fake {

State &state() {
  static State instance;
  return instance;
}

LiveObjects &live() {
  static LiveObjects counts{};
  return counts;
}

void record(std::string call) {
  state().calls.push_back(std::move(call));
}

std::optional<Failure> planned_failure(std::string_view call) {
  std::optional<Failure> due;
  for (PlannedFailure &planned : state().failures) {
    if (planned.call != call) continue;
    if (planned.uses_left == 0) {
      due = planned.failure;
    } else if (--planned.uses_left == 0) {
      due = planned.failure;
      planned.call.clear();  // used up
    }
  }
  return due;
}

void apply(const Failure &failure, GError **error) {
  state().last_error_expected = failure.expected;
  if (!failure.without_error) g_set_error_literal(error, zel_error_quark(), failure.code, failure.message.c_str());
  if (failure.cause) errno = *failure.cause;
}

bool record_and_maybe_fail(const std::string &call, GError **error) {
  record(call);
  const std::optional<Failure> failure = planned_failure(call.substr(0, call.find(' ')));
  if (failure) apply(*failure, error);
  return failure.has_value();
}

void reset() {
  state() = State{};
  state().calls.clear();  // what the old state's objects recorded while they went
}

Script &script() {
  return state().script;
}

void fail(std::string_view call, unsigned nth, Failure failure) {
  state().failures.push_back({std::string(call), nth, std::move(failure)});
}

const std::vector<std::string> &calls() {
  return state().calls;
}

std::vector<std::string> calls(std::string_view prefix) {
  std::vector<std::string> found;
  std::copy_if(state().calls.begin(), state().calls.end(), std::back_inserter(found),
               [prefix](const std::string &call) { return call.starts_with(prefix); });
  return found;
}

void clear_calls() {
  state().calls.clear();
}

LiveObjects live_objects() {
  return live();
}

}  // namespace fake

using fake::state;

GQuark zel_error_quark(void) {
  return g_quark_from_static_string("zel-error-quark");
}

gboolean zel_error_is_expected(GError **error) {
  fake::record("zel_error_is_expected");
  return error != nullptr && *error != nullptr && state().last_error_expected ? TRUE : FALSE;
}

// ---- Enumerations: only a few values each, enough to look one up and to miss one
// ---------------------------------------

namespace {

template <std::size_t N>
GType enum_type(const char *name, const std::array<GEnumValue, N> &values) {
  static_assert(N > 1, "the last value is the zero that ends the table");
  return g_enum_register_static(name, values.data());
}

constexpr GEnumValue kEnd = {0, nullptr, nullptr};

constexpr std::array kFormats = {GEnumValue{0, "ZEL_FORMAT_H264", "h264"}, GEnumValue{1, "ZEL_FORMAT_H265", "h265"},
                                 GEnumValue{2, "ZEL_FORMAT_JPEG", "jpeg"}, GEnumValue{3, "ZEL_FORMAT_NV12", "nv12"},
                                 GEnumValue{10, "ZEL_FORMAT_AV1", "av1"},  kEnd};
constexpr std::array kH264Profiles = {GEnumValue{0, "ZEL_H264_PROFILE_BASELINE", "baseline"},
                                      GEnumValue{1, "ZEL_H264_PROFILE_MAIN", "main"},
                                      GEnumValue{2, "ZEL_H264_PROFILE_HIGH", "high"}, kEnd};
constexpr std::array kH265Profiles = {GEnumValue{0, "ZEL_H265_PROFILE_MAIN", "main"}, kEnd};
constexpr std::array kRateControlModes = {GEnumValue{0, "ZEL_RATE_CONTROL_MODE_VBR", "vbr"},
                                          GEnumValue{1, "ZEL_RATE_CONTROL_MODE_MBR", "mbr"}, kEnd};
constexpr std::array kRateControlPriorities = {GEnumValue{0, "ZEL_RATE_CONTROL_PRIORITY_FRAMERATE", "framerate"},
                                               GEnumValue{1, "ZEL_RATE_CONTROL_PRIORITY_QUALITY", "quality"}, kEnd};
constexpr std::array kTimestamps = {GEnumValue{0, "ZEL_TIMESTAMP_MONOTONIC", "monotonic"},
                                    GEnumValue{1, "ZEL_TIMESTAMP_UTC", "utc"},
                                    GEnumValue{2, "ZEL_TIMESTAMP_CUSTOM", "custom"}, kEnd};
constexpr std::array kBufferAccesses = {GEnumValue{0, "ZEL_BUFFER_ACCESS_NONE", "none"},
                                        GEnumValue{1, "ZEL_BUFFER_ACCESS_READ", "read"}, kEnd};
constexpr std::array kBufferStrategies = {GEnumValue{0, "ZEL_BUFFER_STRATEGY_DEFAULT", "default"},
                                          GEnumValue{4, "ZEL_BUFFER_STRATEGY_SERVICE", "service"}, kEnd};
constexpr std::array kLumostreamProfiles = {GEnumValue{0, "ZEL_LUMOSTREAM_PROFILE_CLASSIC", "classic"},
                                            GEnumValue{1, "ZEL_LUMOSTREAM_PROFILE_STORAGE", "storage"}, kEnd};
constexpr std::array kLumostreamGdrs = {GEnumValue{0, "ZEL_LUMOSTREAM_GDR_OFF", "off"},
                                        GEnumValue{1, "ZEL_LUMOSTREAM_GDR_ON", "on"}, kEnd};
constexpr std::array kFrameTypes = {
    GEnumValue{fake::kTypeIdr, "ZEL_FRAME_TYPE_IDR", "idr"},
    GEnumValue{fake::kTypeI, "ZEL_FRAME_TYPE_I", "i"},
    GEnumValue{fake::kTypeP, "ZEL_FRAME_TYPE_P", "p"},
    GEnumValue{fake::kTypeB, "ZEL_FRAME_TYPE_B", "b"},
    GEnumValue{fake::kTypeAv1Key, "ZEL_FRAME_TYPE_AV1_KEY", "av1-key"},
    GEnumValue{fake::kTypeLongNick, "ZEL_FRAME_TYPE_LONG_NICK",
               "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
               "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
               "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"
               "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx"},
    kEnd};

}  // namespace

GType zel_format_get_type(void) {
  static const GType type = enum_type("zel_format", kFormats);
  return type;
}

GType zel_h264_profile_get_type(void) {
  static const GType type = enum_type("zel_h264_profile", kH264Profiles);
  return type;
}

GType zel_h265_profile_get_type(void) {
  static const GType type = enum_type("zel_h265_profile", kH265Profiles);
  return type;
}

GType zel_rate_control_mode_get_type(void) {
  static const GType type = enum_type("zel_rate_control_mode", kRateControlModes);
  return type;
}

GType zel_rate_control_priority_get_type(void) {
  static const GType type = enum_type("zel_rate_control_priority", kRateControlPriorities);
  return type;
}

GType zel_timestamp_get_type(void) {
  static const GType type = enum_type("zel_timestamp", kTimestamps);
  return type;
}

GType zel_buffer_access_get_type(void) {
  static const GType type = enum_type("zel_buffer_access", kBufferAccesses);
  return type;
}

GType zel_buffer_strategy_get_type(void) {
  static const GType type = enum_type("zel_buffer_strategy", kBufferStrategies);
  return type;
}

GType zel_lumostream_profile_get_type(void) {
  static const GType type = enum_type("zel_lumostream_profile", kLumostreamProfiles);
  return type;
}

GType zel_lumostream_gdr_get_type(void) {
  static const GType type = enum_type("zel_lumostream_gdr", kLumostreamGdrs);
  return type;
}

GType zel_frame_type_get_type(void) {
  static const GType type = enum_type("zel_frame_type", kFrameTypes);
  return type;
}
