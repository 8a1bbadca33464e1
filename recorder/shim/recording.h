// What the shim's parts share: whether it records, the thread that it is on, and writing an item.
#ifndef ZEL_RECORDER_RECORDING_H
#define ZEL_RECORDER_RECORDING_H

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "formats/cbor.h"
#include "formats/recording.h"
#include "recorder/shim/ring.h"

namespace recorder {

struct DumpText;

/// What one thread of the program is doing. Signal handlers look at it and change it for as long as they run.
struct ThreadState {
  std::uint32_t number = 0;       ///< from 1; 0: not counted yet
  bool inside = false;            ///< in a call of the library: what the library itself calls does not cross
  const char *doing = nullptr;    ///< the call that the program made, or "poll"; null: none
  DumpText *dump = nullptr;       ///< collects what is printed on standard output; null: nothing does
  bool is_polling = false;        ///< its last item is a poll
  std::uint64_t equal_polls = 0;  ///< that came to the same as that one and are to be written down
  bool in_setting = false;        ///< in the C library's signal() or sigaction(): one may call the other
};

// NOLINTBEGIN(bugprone-dynamic-static-initializers): they are constants at first
extern constinit thread_local ThreadState thread_state;

/// Whether calls are written down. Set by the start, cleared for good by what ends the recording.
extern std::atomic<bool> recording_is_on;

/// Whether chunks keep their bytes. Set by the start.
extern bool keep_pictures;

extern Ring ring;
// NOLINTEND(bugprone-dynamic-static-initializers)

/// This thread's number.
std::uint32_t thread_number();

/// ns of CLOCK_MONOTONIC since the recording's start.
std::uint64_t elapsed_ns();

/// Counts an item that had no room.
void count_lost(std::size_t size);

/// Wakes the writing thread when the ring is filling.
void wake_writer_when_filling();

/// A small item in memory; what is beyond its room is left out.
struct SmallItem {
  std::uint8_t bytes[128];
  std::size_t size = 0;
  void put(const void *from, std::size_t count) {
    if (count > sizeof bytes - size) count = sizeof bytes - size;
    std::memcpy(bytes + size, from, count);
    size += count;
  }
};

/// Counts bytes only.
struct CountingSink {
  std::size_t size = 0;
  void put(const void *, std::size_t count) { size += count; }
};

/// Writes into the ring.
struct RingSink {
  Ring::Place place;
  void put(const void *bytes, std::size_t count) { ring.put(place, bytes, count); }
};

/// Writes the thread's equal polls down, before another item of the thread.
void end_equal_polls();

/// Writes an item: `encode` is called twice, first with a sink that counts, and must put the same both times. Safe in
/// signal handlers as long as `encode` is. Returns false when there was no room.
template <typename Encode>
bool write_item(const Encode &encode) {
  if (thread_state.is_polling || thread_state.equal_polls != 0) end_equal_polls();
  CountingSink count;
  encode(count);
  RingSink sink;
  if (!ring.reserve(count.size, sink.place)) {
    count_lost(count.size);
    return false;
  }
  encode(sink);
  ring.commit(sink.place);
  wake_writer_when_filling();
  return true;
}

/// A key and the number that it holds.
template <typename Sink, std::integral Number>
void put_field(Sink &sink, std::string_view key, Number number) {
  formats::put_cbor_text(sink, key);
  formats::put_cbor_number(sink, number);
}

/// A key and the text that it holds.
template <typename Sink>
void put_text_field(Sink &sink, std::string_view key, std::string_view text) {
  formats::put_cbor_text(sink, key);
  formats::put_cbor_text(sink, text);
}

/// Restores errno at the end of what must not change it.
class ErrnoKept {
 public:
  ErrnoKept() : number_(errno) {}
  ~ErrnoKept() { errno = number_; }
  ErrnoKept(const ErrnoKept &) = delete;
  ErrnoKept &operator=(const ErrnoKept &) = delete;

 private:
  int number_;
};

}  // namespace recorder

#endif
