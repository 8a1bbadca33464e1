// The shared state.
#include "recorder/shim/recording.h"

#include "recorder/shim/writer.h"

namespace recorder {

constinit thread_local ThreadState thread_state;
std::atomic<bool> recording_is_on = false;
bool keep_pictures = true;
Ring ring;

namespace {

std::atomic<std::uint32_t> threads = 0;

}  // namespace

std::uint32_t thread_number() {
  if (thread_state.number == 0) thread_state.number = ++threads;
  return thread_state.number;
}

std::uint64_t elapsed_ns() {
  return monotonic_ns() - recording_begin_ns;
}

}  // namespace recorder
