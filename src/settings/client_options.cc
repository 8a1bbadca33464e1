// Owner of the client's options.
#include "settings/client_options.h"

#include <atomic>
#include <type_traits>

// GOption's integer and flag kinds write an int through the field's address.
static_assert(std::is_same_v<decltype(ClientOptions::frames), gint>);
static_assert(std::is_same_v<decltype(ClientOptions::quiet), gint>);
static_assert(std::atomic_ref<gint32>::is_always_lock_free, "the interrupt handler stores the frame limit");

ClientOptions client_options;

gint32 frame_limit() {
  return std::atomic_ref(client_options.frames).load(std::memory_order_relaxed);
}

void request_stop() {
  std::atomic_ref(client_options.frames).store(-1, std::memory_order_relaxed);
}

namespace {

GOptionArg argument_kind(ClientOptionKind kind) {
  switch (kind) {
    case ClientOptionKind::kInteger:
      return G_OPTION_ARG_INT;
    case ClientOptionKind::kFileName:
      return G_OPTION_ARG_FILENAME;
    case ClientOptionKind::kFlag:
      break;
  }
  return G_OPTION_ARG_NONE;
}

gpointer field_address(const ClientOption &option) {
  if (option.kind == ClientOptionKind::kFileName) return &(client_options.*option.field.file_name);
  return &(client_options.*option.field.number);
}

}  // namespace

void add_client_options(GOptionContext *context) {
  std::array<GOptionEntry, kClientOptions.size() + 1> entries = {};  // the last stays empty and ends the list
  for (size_t i = 0; i < kClientOptions.size(); ++i) {
    const ClientOption &option = kClientOptions.at(i);
    entries.at(i) = {option.name,           option.short_name, 0,      argument_kind(option.kind),
                     field_address(option), option.help,       nullptr};
  }
  g_option_context_add_main_entries(context, entries.data(), nullptr);
}
