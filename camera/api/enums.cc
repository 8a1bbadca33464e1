// The enumeration types, made from the tables of choices.
#include <vector>

#include "api/call.h"
#include "settings/choices.h"

using namespace camera;

namespace {

constexpr Answer<GType> kType{G_TYPE_INVALID,
                              [](const GType &type) -> LogValue {
                                const gchar *name = g_type_name(type);
                                return std::string_view(name != nullptr ? name : "");
                              },
                              [](const GType &type) { return type == G_TYPE_INVALID; }};

/// Registers an enumeration. GLib keeps the table of values until the process ends, and so does its owner.
template <std::size_t kCount>
GType register_choices(const char *name, const std::array<Choice, kCount> &choices,
                       std::array<GEnumValue, kCount + 1> &values) {
  for (std::size_t i = 0; i < kCount; ++i) {
    values[i] = {static_cast<gint>(choices[i].value), choices[i].nick, choices[i].nick};
  }
  return g_enum_register_static(name, values.data());
}

/// One call that names a type: registers it the first time.
template <const auto &kChoices>
GType choice_type(const char *call, const char *name) {
  return run_call(call, CallKind::kOrdinary, kType, nullptr, {}, [&](GError **) {
    static std::array<GEnumValue, kChoices.size() + 1> values{};
    static const GType type = register_choices(name, kChoices, values);
    return type;
  });
}

}  // namespace

ZEL_EXPORT GType zel_format_get_type(void) {
  return choice_type<kFormats>("zel_format_get_type", "zel_format");
}
ZEL_EXPORT GType zel_h264_profile_get_type(void) {
  return choice_type<kH264Profiles>("zel_h264_profile_get_type", "zel_h264_profile");
}
ZEL_EXPORT GType zel_h265_profile_get_type(void) {
  return choice_type<kH265Profiles>("zel_h265_profile_get_type", "zel_h265_profile");
}
ZEL_EXPORT GType zel_rate_control_mode_get_type(void) {
  return choice_type<kRateControls>("zel_rate_control_mode_get_type", "zel_rate_control_mode");
}
ZEL_EXPORT GType zel_rate_control_priority_get_type(void) {
  return choice_type<kRatePriorities>("zel_rate_control_priority_get_type", "zel_rate_control_priority");
}
ZEL_EXPORT GType zel_timestamp_get_type(void) {
  return choice_type<kTimestampTypes>("zel_timestamp_get_type", "zel_timestamp");
}
ZEL_EXPORT GType zel_buffer_access_get_type(void) {
  return choice_type<kBufferAccesses>("zel_buffer_access_get_type", "zel_buffer_access");
}
ZEL_EXPORT GType zel_buffer_strategy_get_type(void) {
  return choice_type<kBufferStrategies>("zel_buffer_strategy_get_type", "zel_buffer_strategy");
}
ZEL_EXPORT GType zel_lumostream_profile_get_type(void) {
  return choice_type<kLumostreamProfiles>("zel_lumostream_profile_get_type", "zel_lumostream_profile");
}
ZEL_EXPORT GType zel_lumostream_gdr_get_type(void) {
  return choice_type<kLumostreamGdrs>("zel_lumostream_gdr_get_type", "zel_lumostream_gdr");
}
ZEL_EXPORT GType zel_frame_type_get_type(void) {
  return choice_type<kFrameTypes>("zel_frame_type_get_type", "zel_frame_type");
}
