// Enumerations with other words and numbers.
#include "spoil.h"

namespace {

/// A type with the camera's values as `change` leaves them; made once.
GType changed(GType real, const char *name, const std::function<void(std::vector<GEnumValue> &)> &change) {
  const GType known = g_type_from_name(name);
  if (known != 0) return known;
  auto *type = static_cast<GEnumClass *>(g_type_class_ref(real));
  static std::vector<GEnumValue> values;  // GLib keeps the array; one fault is one type
  values.assign(type->values, type->values + type->n_values);
  change(values);
  values.push_back({});
  return g_enum_register_static(name, values.data());
}

void give(std::vector<GEnumValue> &values, std::string_view word, gint number) {
  for (GEnumValue &value : values)
    if (word == value.value_nick) value.value = number;
}

}  // namespace

SPOILED GType zel_rate_control_priority_get_type() {
  const GType real = BEHIND(zel_rate_control_priority_get_type)();
  if (!spoils("word-with-blank")) return real;
  return changed(real, "WordWithBlank", [](auto &values) { values[0].value_nick = "no priority"; });
}

SPOILED GType zel_format_get_type() {
  const GType real = BEHIND(zel_format_get_type)();
  if (!spoils("format-numbers")) return real;
  return changed(real, "FormatNumbers", [](auto &values) {
    give(values, "h264", 1);
    give(values, "h265", 0);
  });
}

SPOILED GType zel_timestamp_get_type() {
  const GType real = BEHIND(zel_timestamp_get_type)();
  if (!spoils("timestamps-from-one")) return real;
  return changed(real, "TimestampsFromOne", [](auto &values) {
    for (GEnumValue &value : values)
      ++value.value;
  });
}

SPOILED GType zel_buffer_strategy_get_type() {
  const GType real = BEHIND(zel_buffer_strategy_get_type)();
  if (!spoils("service-is-five")) return real;
  return changed(real, "ServiceIsFive", [](auto &values) { give(values, "service", 5); });
}

SPOILED GType zel_buffer_access_get_type() {
  const GType real = BEHIND(zel_buffer_access_get_type)();
  if (!spoils("read-is-two")) return real;
  return changed(real, "ReadIsTwo", [](auto &values) {
    give(values, "read", 2);
    give(values, "write", 1);
  });
}

SPOILED GType zel_frame_type_get_type() {
  const GType real = BEHIND(zel_frame_type_get_type)();
  if (!spoils("long-frame-type")) return real;
  return changed(real, "LongFrameType", [](auto &values) {
    values.push_back({.value = 99, .value_name = "BIDIRECTIONAL", .value_nick = "bidirectional"});
  });
}
