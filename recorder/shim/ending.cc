// exit, quick_exit, _exit: each completes the file. What a signal or exec ends is not seen.
#include "recorder/shim/ending.h"

#include <pthread.h>
#include <unistd.h>

#include <cstdlib>

#include "recorder/shim/crossing.h"
#include "recorder/shim/writer.h"

namespace recorder {
namespace {

pid_t owner = 0;  ///< the process that records
std::atomic<int> quick_status = 0;

/// The last item. A child of vfork shares this memory and must not end its parent's recording.
void end_recording(std::string_view how, int status) {
  if (getpid() != owner) return;
  const ErrnoKept kept;
  if (!recording_is_on.exchange(false)) {
    await_finished();
    return;
  }
  end_equal_polls();
  const std::uint64_t at = elapsed_ns();
  const std::uint32_t thread = thread_number();
  SmallItem item;
  formats::put_cbor_byte(item, formats::kCborOpenMap);
  put_text_field(item, formats::kItemEnd, how);
  put_field(item, formats::kKeyThread, thread);
  put_field(item, formats::kKeyAt, at);
  put_field(item, formats::kKeyStatus, status & 0xFF);
  formats::put_cbor_byte(item, formats::kCborBreak);
  finish_writer(item);
}

}  // namespace

/// Handlers run in the opposite order in which they were registered, and this is done before the program has begun: the
/// recording ends after everything that the program does at its end.
bool watch_for_the_end() {
  owner = getpid();
  const auto at_exit = [](int status, void *) { end_recording("exit", status); };
  const auto at_quick = [] { end_recording("quick_exit", quick_status); };
  const auto in_child = [] { recording_is_on = false; };
  return on_exit(at_exit, nullptr) == 0 && at_quick_exit(at_quick) == 0 &&
         pthread_atfork(nullptr, nullptr, in_child) == 0;
}

}  // namespace recorder

using namespace recorder;

extern "C" [[noreturn]] void record_quick_exit(int) __asm__("quick_exit");
extern "C" [[noreturn]] void record_posix_exit(int) __asm__("_exit");
extern "C" [[noreturn]] void record_c_exit(int) __asm__("_Exit");

ZEL_SHIM void record_quick_exit(int status) {
  quick_status = status;
  next_function<"quick_exit", void(int)>()(status);
  __builtin_unreachable();
}
ZEL_SHIM void record_posix_exit(int status) {
  end_recording("_exit", status);
  next_function<"_exit", void(int)>()(status);
  __builtin_unreachable();
}
ZEL_SHIM void record_c_exit(int status) {
  end_recording("_Exit", status);
  next_function<"_Exit", void(int)>()(status);
  __builtin_unreachable();
}
