// The calls about enumerations and errors.
#include "recorder/shim/crossing.h"

using namespace recorder;

namespace {

/// A type: with its values where it has not been asked for before.
struct ShownType {
  const gchar *name;
  const GEnumClass *values;  ///< null: the name alone
};

/// How the functions that name a type are written down. The class of an enumeration stays for the process.
struct TypeResult {
  static ShownType of(GType type) {
    if (!G_TYPE_IS_ENUM(type)) return {g_type_name(type), nullptr};
    return {g_type_name(type), first_sight(type) ? static_cast<GEnumClass *>(g_type_class_ref(type)) : nullptr};
  }
};

template <typename Sink>
void encode(Sink &sink, const ShownType &type) {
  if (type.values == nullptr) {
    recorder::encode(sink, Text{type.name});
    return;
  }
  formats::put_cbor_head(sink, formats::CborMajor::kMap, 2);
  formats::put_cbor_text(sink, formats::kTypeName);
  recorder::encode(sink, Text{type.name});
  formats::put_cbor_text(sink, formats::kTypeValues);
  formats::put_cbor_head(sink, formats::CborMajor::kArray, type.values->n_values);
  for (guint i = 0; i < type.values->n_values; ++i) {
    const GEnumValue &value = type.values->values[i];
    formats::put_cbor_head(sink, formats::CborMajor::kArray, 3);
    formats::put_cbor_number(sink, value.value);
    recorder::encode(sink, Text{value.value_name});
    recorder::encode(sink, Text{value.value_nick});
  }
}

struct DomainResult {
  static Text of(GQuark domain) { return {g_quark_to_string(domain)}; }
};

}  // namespace

ZEL_SHIM GType zel_format_get_type(void) {
  return cross<"zel_format_get_type", zel_format_get_type, TypeResult>();
}
ZEL_SHIM GType zel_h264_profile_get_type(void) {
  return cross<"zel_h264_profile_get_type", zel_h264_profile_get_type, TypeResult>();
}
ZEL_SHIM GType zel_h265_profile_get_type(void) {
  return cross<"zel_h265_profile_get_type", zel_h265_profile_get_type, TypeResult>();
}
ZEL_SHIM GType zel_rate_control_mode_get_type(void) {
  return cross<"zel_rate_control_mode_get_type", zel_rate_control_mode_get_type, TypeResult>();
}
ZEL_SHIM GType zel_rate_control_priority_get_type(void) {
  return cross<"zel_rate_control_priority_get_type", zel_rate_control_priority_get_type, TypeResult>();
}
ZEL_SHIM GType zel_timestamp_get_type(void) {
  return cross<"zel_timestamp_get_type", zel_timestamp_get_type, TypeResult>();
}
ZEL_SHIM GType zel_buffer_access_get_type(void) {
  return cross<"zel_buffer_access_get_type", zel_buffer_access_get_type, TypeResult>();
}
ZEL_SHIM GType zel_buffer_strategy_get_type(void) {
  return cross<"zel_buffer_strategy_get_type", zel_buffer_strategy_get_type, TypeResult>();
}
ZEL_SHIM GType zel_lumostream_profile_get_type(void) {
  return cross<"zel_lumostream_profile_get_type", zel_lumostream_profile_get_type, TypeResult>();
}
ZEL_SHIM GType zel_lumostream_gdr_get_type(void) {
  return cross<"zel_lumostream_gdr_get_type", zel_lumostream_gdr_get_type, TypeResult>();
}
ZEL_SHIM GType zel_frame_type_get_type(void) {
  return cross<"zel_frame_type_get_type", zel_frame_type_get_type, TypeResult>();
}
ZEL_SHIM GQuark zel_error_quark(void) {
  return cross<"zel_error_quark", zel_error_quark, DomainResult>();
}

ZEL_SHIM gboolean zel_error_is_expected(GError **error) {
  const auto next = next_function<"zel_error_is_expected", decltype(zel_error_is_expected)>();
  if (!is_recorded()) return next(error);
  InsideCall call("zel_error_is_expected");
  const gboolean result = next(error);
  const CallTimes &times = call.returned();
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    encode_call_head(sink, "zel_error_is_expected", thread, times);
    formats::put_cbor_text(sink, formats::kKeyWith);
    formats::put_cbor_head(sink, formats::CborMajor::kArray, 1);
    recorder::encode(sink, Failure{error != nullptr ? *error : nullptr});
    put_field(sink, formats::kKeyGave, result);
    encode_failure(sink, SlotState::kNotTaken, nullptr, false, times);
  });
  return result;
}
