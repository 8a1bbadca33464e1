// The peer of the client's start: a program that links GLib and nothing else writes the time to the descriptor that
// ZEL_STUB_FIRST names, as the stub libzel does at the client's first call.
#include <glib-object.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>

int main() {
  const GType type = g_type_from_name("GObject");
  timespec now{};
  (void)clock_gettime(CLOCK_MONOTONIC, &now);
  const std::int64_t nanoseconds = std::int64_t{now.tv_sec} * 1'000'000'000 + now.tv_nsec;
  const char *descriptor = std::getenv("ZEL_STUB_FIRST");
  if (type == 0 || descriptor == nullptr) return 1;
  return write(static_cast<int>(std::strtol(descriptor, nullptr, 10)), &nanoseconds, sizeof nanoseconds) < 0 ? 1 : 0;
}
