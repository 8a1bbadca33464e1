// The calls about maps.
#include "api/map.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <span>
#include <vector>

#include "api/call.h"

namespace camera {

MapState::~MapState() {
  if (session != nullptr) session->log.write("release", {{"object", "map"}, {"id", std::uint64_t{number}}});
}

Ref<zel_map> make_map(Session &session, Values values) {
  Ref<zel_map> map(new_object<zel_map>());
  map->state.session = &session;
  map->state.number = ++session.maps;
  map->state.values = std::move(values);
  return map;
}

LogValue shown(const zel_map *map) {
  if (map == nullptr) return nullptr;
  return std::uint64_t{map->state.number};
}

}  // namespace camera

using namespace camera;

namespace {

std::string_view text_of(const gchar *text) {
  return text == nullptr ? "" : text;
}

/// A setter: does nothing without a map or key. What `stored` holds becomes a Value of type `Kept`.
template <typename Kept, typename Stored>
void set(const char *call, zel_map *map, const gchar *key, const Stored &stored, const LogValue &logged) {
  run_call(call, CallKind::kOrdinary, kNoResult, nullptr,
           {{"map", shown(map)}, {"key", text_of(key)}, {"value", logged}}, [&](GError **) -> Nothing {
             if (map != nullptr && key != nullptr) store_value(map->state.values, key, Kept(stored));
             return {};
           });
}

template <typename Stored, typename Result>
Result get(const char *call, const Answer<Result> &answer, const zel_map *map, const gchar *key, Result fallback,
           const LogValue &logged) {
  Answer<Result> kind = answer;
  kind.failed = fallback;
  return run_call(call, CallKind::kOrdinary, kind, nullptr,
                  {{"map", shown(map)}, {"key", text_of(key)}, {"default", logged}}, [&](GError **) -> Result {
                    if (map == nullptr || key == nullptr) return fallback;
                    const Stored *found = find_value<Stored>(map->state.values, key);
                    return found == nullptr ? fallback : static_cast<Result>(*found);
                  });
}

struct ToVariant {
  GVariant *operator()(bool truth) const { return g_variant_new_boolean(truth ? TRUE : FALSE); }
  GVariant *operator()(std::uint32_t number) const { return g_variant_new_uint32(number); }
  GVariant *operator()(double number) const { return g_variant_new_double(number); }
  GVariant *operator()(const zel_pair32u &pair) const { return g_variant_new("(uu)", pair.first, pair.second); }
  GVariant *operator()(const zel_quad32u &quad) const {
    return g_variant_new("(uuuu)", quad.first, quad.second, quad.third, quad.fourth);
  }
  /// A variant's text is UTF-8; bytes that are not become replacement characters.
  GVariant *operator()(const std::string &text) const {
    return g_variant_new_take_string(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
  }
};

struct VariantUnref {
  void operator()(GVariant *variant) const { g_variant_unref(variant); }
};

std::unique_ptr<GVariant, VariantUnref> to_variant(const Value &value) {
  return std::unique_ptr<GVariant, VariantUnref>(g_variant_ref_sink(std::visit(ToVariant(), value)));
}

struct GlibFree {
  void operator()(gpointer memory) const { g_free(memory); }
};
using Text = std::unique_ptr<gchar, GlibFree>;

constexpr Answer<GVariant *> kVariant{
    nullptr,
    [](GVariant *const &variant) -> LogValue {
      return variant == nullptr ? std::string_view() : std::string_view(g_variant_get_type_string(variant));
    },
    [](GVariant *const &) { return false; }};

/// The fewest digits that give back the same number.
std::string shortest(double number) {
  std::array<char, 32> text{};
  const auto end = std::to_chars(text.data(), text.data() + text.size(), number).ptr;
  return {text.data(), end};
}

}  // namespace

std::string camera::dump_text(const Values &values) {
  std::string text;
  for (const auto &[key, value] : values) {
    const double *number = std::get_if<double>(&value);
    const Text printed(number != nullptr ? nullptr : g_variant_print(to_variant(value).get(), FALSE));
    text += key + " = " + (number != nullptr ? shortest(*number) : std::string(printed.get())) + "\n";
  }
  return text;
}

ZEL_EXPORT zel_map *zel_map_new(void) {
  return run_first_call("zel_map_new", kMap, nullptr, {},
                        [](Session &now, GError **) { return make_map(now, {}).release(); });
}

ZEL_EXPORT void zel_map_set_boolean(zel_map *map, const gchar *key, gboolean value) {
  // A caller may pass any integer for true: the log shows what it passed.
  const bool is_plain = value == FALSE || value == TRUE;
  const LogValue logged = is_plain ? LogValue(value != FALSE) : LogValue(std::int64_t{value});
  set<bool>("zel_map_set_boolean", map, key, value != FALSE, logged);
}

ZEL_EXPORT void zel_map_set_uint32(zel_map *map, const gchar *key, guint32 value) {
  set<std::uint32_t>("zel_map_set_uint32", map, key, value, std::uint64_t{value});
}

ZEL_EXPORT void zel_map_set_double(zel_map *map, const gchar *key, gdouble value) {
  set<double>("zel_map_set_double", map, key, value, value);
}

ZEL_EXPORT void zel_map_set_string(zel_map *map, const gchar *key, const gchar *value) {
  set<std::string>("zel_map_set_string", value != nullptr ? map : nullptr, key, text_of(value), text_of(value));
}

ZEL_EXPORT void zel_map_set_pair32u(zel_map *map, const gchar *key, zel_pair32u value) {
  set<zel_pair32u>("zel_map_set_pair32u", map, key, value, value);
}

ZEL_EXPORT void zel_map_set_quad32u(zel_map *map, const gchar *key, zel_quad32u value) {
  set<zel_quad32u>("zel_map_set_quad32u", map, key, value, value);
}

ZEL_EXPORT gboolean zel_map_get_boolean(const zel_map *map, const gchar *key, gboolean default_value) {
  return get<bool>("zel_map_get_boolean", kTruth, map, key, default_value, default_value != FALSE);
}

ZEL_EXPORT guint32 zel_map_get_uint32(const zel_map *map, const gchar *key, guint32 default_value) {
  return get<std::uint32_t>("zel_map_get_uint32", kUnsigned, map, key, default_value, std::uint64_t{default_value});
}

ZEL_EXPORT gdouble zel_map_get_double(const zel_map *map, const gchar *key, gdouble default_value) {
  return get<double>("zel_map_get_double", kDouble, map, key, default_value, default_value);
}

ZEL_EXPORT GVariant *zel_map_get_variant(const zel_map *map, const gchar *key, GVariant *default_value) {
  Answer<GVariant *> kind = kVariant;
  kind.failed = default_value;
  GVariant *variant = run_call("zel_map_get_variant", CallKind::kOrdinary, kind, nullptr,
                               {{"map", shown(map)}, {"key", text_of(key)}}, [&](GError **) -> GVariant * {
                                 if (map == nullptr || key == nullptr) return default_value;
                                 const auto found = map->state.values.find(std::string_view(key));
                                 if (found == map->state.values.end()) return default_value;
                                 return to_variant(found->second).release();
                               });
  return variant != nullptr && variant == default_value ? g_variant_ref_sink(variant) : variant;
}

ZEL_EXPORT gboolean zel_map_contains_va(const zel_map *map, ...) {
  va_list arguments;
  va_start(arguments, map);
  const gboolean contains = guarded(kTruth, nullptr, [&](GError **) {
    std::vector<std::string_view> keys;
    for (const gchar *key = va_arg(arguments, const gchar *); key != nullptr; key = va_arg(arguments, const gchar *)) {
      keys.emplace_back(key);
    }
    return run_call("zel_map_contains_va", CallKind::kOrdinary, kTruth, nullptr,
                    {{"map", shown(map)}, {"keys", std::span<const std::string_view>(keys)}},
                    [&](GError **) -> gboolean {
                      if (map == nullptr) return FALSE;
                      const Values &values = map->state.values;
                      const auto is_there = [&](std::string_view key) { return values.find(key) != values.end(); };
                      return std::all_of(keys.begin(), keys.end(), is_there) ? TRUE : FALSE;
                    });
  });
  va_end(arguments);
  return contains;
}

ZEL_EXPORT void zel_map_copy_value(zel_map *map, const gchar *source_key, const gchar *target_key) {
  run_call("zel_map_copy_value", CallKind::kOrdinary, kNoResult, nullptr,
           {{"map", shown(map)}, {"source", text_of(source_key)}, {"target", text_of(target_key)}},
           [&](GError **) -> Nothing {
             if (map == nullptr || source_key == nullptr || target_key == nullptr) return {};
             const auto found = map->state.values.find(std::string_view(source_key));
             if (found != map->state.values.end()) store_value(map->state.values, target_key, Value(found->second));
             return {};
           });
}

ZEL_EXPORT void zel_map_remove_prefix(zel_map *map, const gchar *prefix) {
  run_call("zel_map_remove_prefix", CallKind::kOrdinary, kNoResult, nullptr,
           {{"map", shown(map)}, {"prefix", text_of(prefix)}}, [&](GError **) -> Nothing {
             if (map == nullptr || prefix == nullptr) return {};
             std::erase_if(map->state.values, [&](const auto &entry) { return entry.first.starts_with(prefix); });
             return {};
           });
}

ZEL_EXPORT void zel_map_merge(zel_map *destination, const zel_map *source) {
  run_call("zel_map_merge", CallKind::kOrdinary, kNoResult, nullptr,
           {{"destination", shown(destination)}, {"source", shown(source)}}, [&](GError **) -> Nothing {
             if (destination == nullptr || source == nullptr || destination == source) return {};
             for (const auto &[key, value] : source->state.values)
               destination->state.values[key] = value;
             return {};
           });
}

ZEL_EXPORT void zel_map_dump(const zel_map *map) {
  run_call("zel_map_dump", CallKind::kOrdinary, kNoResult, nullptr,
           {{"map", shown(map)}, {"values", map == nullptr ? LogValue(nullptr) : LogValue(&map->state.values)}},
           [&](GError **) -> Nothing {
             if (map != nullptr) (void)std::fputs(dump_text(map->state.values).c_str(), stdout);
             return {};
           });
}
