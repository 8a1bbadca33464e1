// Numbers as the objects' own data, which GLib drops with them.
#include "recorder/shim/objects.h"

#include <atomic>

#include "recorder/shim/recording.h"
#include "recorder/shim/stream_files.h"

namespace recorder {
namespace {

std::atomic<std::uint32_t> objects = 0;
std::atomic<GType> types[kSeenTypes];

GQuark number_quark() {
  static std::atomic<GQuark> quark = 0;
  if (quark == 0) quark = g_quark_from_static_string("zel-record-number");
  return quark;
}

/// The last reference is gone; any thread.
void forget(gpointer number) {
  const auto id = static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(number));
  forget_stream_files(id);
  if (!recording_is_on) return;
  const ErrnoKept kept;
  const std::uint64_t now = elapsed_ns();
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    formats::put_cbor_byte(sink, formats::kCborOpenMap);
    put_field(sink, formats::kItemRelease, id);
    put_field(sink, formats::kKeyThread, thread);
    put_field(sink, formats::kKeyAt, now);
    formats::put_cbor_byte(sink, formats::kCborBreak);
  });
}

}  // namespace

std::uint32_t object_id(gpointer object) {
  if (object == nullptr) return 0;
  auto *const held = static_cast<GObject *>(object);
  const gpointer known = g_object_get_qdata(held, number_quark());
  if (known != nullptr) return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(known));
  const std::uint32_t id = ++objects;
  g_object_set_qdata_full(held, number_quark(), reinterpret_cast<gpointer>(std::uintptr_t{id}), forget);
  return id;
}

bool first_sight(GType type) {
  for (std::atomic<GType> &seen : types) {
    GType expected = 0;
    if (seen.load() == type) return false;
    if (seen.compare_exchange_strong(expected, type)) return true;
    if (expected == type) return false;
  }
  return true;
}

}  // namespace recorder
