// Recorded values as the interface's own.
#include "api/replayed.h"

#include <cerrno>
#include <concepts>
#include <cstdio>
#include <vector>

#include "api/buffer.h"
#include "api/map.h"
#include "api/stream.h"
#include "common/errors.h"

namespace camera {

using formats::RecordedCall;
using formats::RecordedValue;
using formats::RecordingItem;

void ReplayedBuffers::release() {
  std::unordered_map<std::uint32_t, Ref<zel_buffer>> released;
  {
    const std::lock_guard lock(mutex);
    released.swap(held);
  }
}

namespace {

// ---- Arguments ---------------------------------------------------------------------------------------------------

struct ToRecorded {
  RecordedValue operator()(std::nullptr_t) const { return {}; }
  RecordedValue operator()(const Values *) const { return {}; }
  RecordedValue operator()(bool truth) const { return {std::uint64_t{truth}}; }
  RecordedValue operator()(std::uint64_t number) const { return {number}; }
  RecordedValue operator()(std::int64_t number) const {
    return number < 0 ? RecordedValue{number} : RecordedValue{static_cast<std::uint64_t>(number)};
  }
  RecordedValue operator()(double number) const { return {number}; }
  RecordedValue operator()(std::string_view text) const { return {std::string(text)}; }
  RecordedValue operator()(const zel_pair32u &pair) const { return numbers({pair.first, pair.second}); }
  RecordedValue operator()(const zel_quad32u &quad) const {
    return numbers({quad.first, quad.second, quad.third, quad.fourth});
  }
  RecordedValue operator()(std::span<const std::string_view> texts) const {
    RecordedValue::List list;
    for (const std::string_view text : texts)
      list.push_back({std::string(text)});
    return {std::move(list)};
  }

 private:
  static RecordedValue numbers(std::initializer_list<guint32> values) {
    RecordedValue::List list;
    for (const guint32 value : values)
      list.push_back({std::uint64_t{value}});
    return {std::move(list)};
  }
};

/// The arguments as a recording has them: of an error, which the log tells of as a code and a message, the map.
RecordedValue::List arguments_of(const RecordedCall &row, std::span<const LogField> fields) {
  RecordedValue::List list;
  if (row.arguments == "e") {
    RecordedValue::Fields error;
    error.push_back(
        {std::string(formats::kErrorDomain), RecordedValue{std::string(g_quark_to_string(error_domain()))}});
    error.push_back({std::string(formats::kErrorCode), std::visit(ToRecorded(), fields[0].value)});
    error.push_back({std::string(formats::kErrorText), std::visit(ToRecorded(), fields[1].value)});
    list.push_back({std::move(error)});
    return list;
  }
  for (std::size_t i = 0; i < row.arguments.size(); ++i)
    list.push_back(i < fields.size() ? std::visit(ToRecorded(), fields[i].value) : RecordedValue{});
  return list;
}

// ---- Errors ------------------------------------------------------------------------------------------------------

std::string text_of(const RecordedValue *value) {
  return value != nullptr ? value->any_text() : "";
}

void leave_error(const RecordingItem &call, GError **error) {
  const RecordedValue *recorded = call.fields.find(formats::kKeyError);
  if (recorded == nullptr || error == nullptr || *error != nullptr) return;
  const std::string domain = text_of(recorded->find(formats::kErrorDomain));
  const auto code = static_cast<gint>(recorded->find(formats::kErrorCode)->as_integer().value_or(0));
  const std::string text = text_of(recorded->find(formats::kErrorText));
  g_set_error_literal(error, g_quark_from_string(domain.c_str()), code, text.c_str());
}

// ---- Objects -----------------------------------------------------------------------------------------------------

std::uint32_t id_in(const RecordingItem &call) {
  return static_cast<std::uint32_t>(call.gave()->as_unsigned().value_or(0));
}

Ref<zel_map> map_of(Session &session, std::uint32_t id) {
  Ref<zel_map> map(new_object<zel_map>());
  map->state.session = &session;
  map->state.number = id;
  return map;
}

/// The buffer of a number; made, and held for its stream, when it is new.
zel_buffer *buffer_of(Session &session, std::uint32_t id) {
  ReplayedBuffers &buffers = session.replayed_buffers;
  const std::lock_guard lock(buffers.mutex);
  Ref<zel_buffer> &held = buffers.held[id];
  if (held == nullptr) {
    held.reset(new_object<zel_buffer>());
    held->state.session = &session;
    held->state.number = id;
  }
  return held.get();
}

/// The map that a frame owns.
zel_map *extra_of(Session &session, const RecordingItem &call) {
  zel_buffer *buffer = buffer_of(session, object_of(call.row(), call.arguments()));
  Ref<zel_map> &extra = buffer->state.extra;
  if (extra == nullptr || extra->state.number != id_in(call)) extra = map_of(session, id_in(call));
  return extra.get();
}

// ---- Types -------------------------------------------------------------------------------------------------------

void register_type(const std::string &name, const RecordedValue::List &values) {
  auto *table = g_new0(GEnumValue, values.size() + 1);
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto &value = *values[i].as<RecordedValue::List>();
    table[i] = {static_cast<gint>(value[0].as_integer().value_or(0)), g_intern_string(text_of(&value[1]).c_str()),
                g_intern_string(text_of(&value[2]).c_str())};
  }
  (void)g_enum_register_static(name.c_str(), table);  // NOLINT(clang-analyzer-unix.Malloc): it keeps the table
}

GType type_of(const RecordingItem &call) {
  const RecordedValue &gave = *call.gave();
  const RecordedValue *named = gave.find(formats::kTypeName);
  return g_type_from_name(text_of(named != nullptr ? named : &gave).c_str());
}

template <std::integral Number>
Number number_of(Session &session, const RecordingItem &call) {
  const RecordedValue &gave = *call.gave();
  if (call.row().result == 't') return static_cast<Number>(type_of(call));
  if (call.row().result == 'Q') return static_cast<Number>(g_quark_from_string(text_of(&gave).c_str()));
  const std::int64_t recorded = gave.as_integer().value_or(static_cast<std::int64_t>(gave.as_unsigned().value_or(0)));
  if (recorded < 0) return static_cast<Number>(recorded);
  const std::uint32_t object = object_of(call.row(), call.arguments());
  if (call.row().name == "zel_stream_get_fd") return static_cast<Number>(session.replay->frame_descriptor(object));
  if (call.row().name == "zel_stream_get_event_fd") {
    return static_cast<Number>(session.replay->event_descriptor(object));
  }
  return static_cast<Number>(gave.as_unsigned().value_or(0));
}

}  // namespace

void register_types(const RecordedRun &run) {
  for (const auto &[name, values] : run.types()) {
    const GType known = g_type_from_name(name.c_str());
    if (known == G_TYPE_INVALID) {
      register_type(name, *values);
    } else if (!G_TYPE_IS_ENUM(known)) {
      throw std::runtime_error(run.path() + ": " + name + " is no enumeration here");
    }
  }
}

ReplayedCall find_replayed(Session &session, std::string_view name, std::span<const LogField> arguments,
                           GError **error) {
  const RecordedCall &row = formats::kRecordedCalls[formats::call_number(name)];
  const int before = errno;
  const bool is_about_nothing = row.kind == formats::CallClass::kGetter && object_of(row, {}) == 0 &&
                                (row.arguments.empty() || row.arguments == "e");
  const ReplayAnswer found = is_about_nothing && !session.replay->has_any(row)
                                 ? ReplayAnswer{}
                                 : session.replay->answer(row, arguments_of(row, arguments));
  errno = before;
  if (found.call != nullptr) {
    leave_error(*found.call, error);
    if (const auto number = found.call->number(formats::kKeyErrno)) errno = static_cast<int>(*number);
    return {found.call, false};
  }
  if (is_about_nothing) return {nullptr, true};
  if (found.was_interrupted) {
    (void)fail(error, kErrorInterrupted, "A signal interrupted the wait for a frame");
    errno = EINTR;
  } else if (row.can_fail) {
    (void)fail_expected(error, kErrorCompound, "%s", found.divergence.c_str());
    errno = EPROTO;
  }
  return {};
}

void give_replayed(Session &session, const RecordingItem &call, gint &result) {
  result = number_of<gint>(session, call);
}
void give_replayed(Session &session, const RecordingItem &call, guint &result) {
  result = number_of<guint>(session, call);
}
void give_replayed(Session &session, const RecordingItem &call, glong &result) {
  result = number_of<glong>(session, call);
}
void give_replayed(Session &session, const RecordingItem &call, gulong &result) {
  result = number_of<gulong>(session, call);
}
void give_replayed(Session &session, const RecordingItem &call, unsigned long long &result) {
  result = number_of<unsigned long long>(session, call);
}
void give_replayed(Session & /*session*/, const RecordingItem &call, gdouble &result) {
  result = *call.gave()->as<double>();
}

void give_replayed(Session &session, const RecordingItem &call, zel_map *&result) {
  if (call.gave()->is_null()) return;
  result =
      call.row().name == "zel_frame_get_extra_info" ? extra_of(session, call) : map_of(session, id_in(call)).release();
}

void give_replayed(Session &session, const RecordingItem &call, zel_stream *&result) {
  if (call.gave()->is_null()) return;
  Ref<zel_stream> stream(new_object<zel_stream>());
  stream->state.session = &session;
  stream->state.number = id_in(call);
  result = stream.release();
}

void give_replayed(Session &session, const RecordingItem &call, zel_buffer *&result) {
  if (call.gave()->is_null()) return;
  zel_buffer *buffer = buffer_of(session, id_in(call));
  result = call.row().name == "zel_buffer_get_frame" ? buffer : add_ref(buffer).release();
}

/// The interface gives chunks as writable memory; what a recording holds is only ever read.
void give_replayed(Session &session, const RecordingItem &call, zel_chunk &result) {
  const RecordedBytes bytes = session.replay->run().bytes_of(call);
  const RecordedValue *mark = call.gave()->find(formats::kChunkMark);
  result.data = const_cast<std::uint8_t *>(bytes.data);
  result.size = bytes.size;
  result.mark = mark != nullptr ? static_cast<gint32>(mark->as_integer().value_or(0)) : 0;
}

void give_replayed(Session & /*session*/, const RecordingItem &call, GVariant *&result) {
  result = nullptr;
  if (call.gave()->is_null()) return;
  const auto &parts = *call.gave()->as<RecordedValue::List>();
  const std::string type = text_of(&parts[0]);
  const auto &bytes = *parts[1].as<RecordedValue::Bytes>();
  if (g_variant_type_string_is_valid(type.c_str()) == FALSE) return;
  const GVariantType *known = G_VARIANT_TYPE(type.c_str());
  if (g_variant_type_is_definite(known) == FALSE) return;
  GBytes *copy = g_bytes_new(bytes.data(), bytes.size());
  result = g_variant_ref_sink(g_variant_new_from_bytes(known, copy, FALSE));
  g_bytes_unref(copy);
}

void repeat_replayed(const RecordingItem &call) {
  if (call.row().result == 'D') (void)std::fputs(text_of(call.gave()).c_str(), stdout);
}

}  // namespace camera
