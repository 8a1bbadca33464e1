// The program's waits on streams' descriptors.
//
// The functions are named by asm: where 64-bit times are not the C library's own, ppoll is two functions, which differ
// in what the time points to. Nothing here looks at it.
#undef _FORTIFY_SOURCE

#include <poll.h>

#include "recorder/shim/crossing.h"
#include "recorder/shim/stream_files.h"

namespace recorder {
namespace {

bool has_stream_files(const pollfd *set, nfds_t count) {
  for (nfds_t i = 0; i < count; ++i) {
    if (stream_file(set[i].fd).stream != 0) return true;
  }
  return false;
}

void write_poll(const pollfd *set, nfds_t count, int result, const CallTimes &times) {
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    formats::put_cbor_byte(sink, formats::kCborOpenMap);
    put_field(sink, formats::kItemPoll, result);
    put_field(sink, formats::kKeyThread, thread);
    put_field(sink, formats::kKeyAt, times.at_ns);
    put_field(sink, formats::kKeyTook, times.until_ns - times.at_ns);
    formats::put_cbor_text(sink, formats::kKeySet);
    formats::put_cbor_byte(sink, formats::kCborOpenArray);
    for (nfds_t i = 0; i < count; ++i) {
      const StreamFile file = stream_file(set[i].fd);
      if (file.stream == 0) continue;
      formats::put_cbor_head(sink, formats::CborMajor::kArray, 4);
      formats::put_cbor_number(sink, file.stream);
      formats::put_cbor_byte(sink, file.is_event ? formats::kCborTrue : formats::kCborFalse);
      formats::put_cbor_number(sink, set[i].events);
      formats::put_cbor_number(sink, set[i].revents);
    }
    formats::put_cbor_byte(sink, formats::kCborBreak);
    if (result < 0) put_field(sink, formats::kKeyErrno, times.errno_after);
    formats::put_cbor_byte(sink, formats::kCborBreak);
  });
}

/// Waits with `wait` and writes down what came of it, when the set has a stream's descriptor.
template <typename Wait>
int record_wait(const pollfd *set, nfds_t count, const Wait &wait) {
  if (!is_recorded() || set == nullptr || !has_stream_files(set, count)) return wait();
  InsideCall call(formats::kDuringPoll.data());
  const int result = wait();
  write_poll(set, count, result, call.returned());
  return result;
}

}  // namespace
}  // namespace recorder

using namespace recorder;

extern "C" int record_poll(pollfd *, nfds_t, int) __asm__("poll");
extern "C" int record_poll_checked(pollfd *, nfds_t, int, std::size_t) __asm__("__poll_chk");
extern "C" int record_ppoll(pollfd *, nfds_t, const void *, const void *) __asm__("ppoll");
extern "C" int record_ppoll_64(pollfd *, nfds_t, const void *, const void *) __asm__("__ppoll64");
extern "C" int record_ppoll_checked(pollfd *, nfds_t, const void *, const void *, std::size_t) __asm__("__ppoll_chk");
extern "C" int record_ppoll_64_checked(pollfd *, nfds_t, const void *, const void *,
                                       std::size_t) __asm__("__ppoll64_chk");

ZEL_SHIM int record_poll(pollfd *set, nfds_t count, int timeout) {
  const auto next = next_function<"poll", int(pollfd *, nfds_t, int)>();
  return record_wait(set, count, [=] { return next(set, count, timeout); });
}

ZEL_SHIM int record_poll_checked(pollfd *set, nfds_t count, int timeout, std::size_t room) {
  const auto next = next_function<"__poll_chk", int(pollfd *, nfds_t, int, std::size_t)>();
  return record_wait(set, count, [=] { return next(set, count, timeout, room); });
}

namespace {

using TimedWait = int(pollfd *, nfds_t, const void *, const void *);
using CheckedTimedWait = int(pollfd *, nfds_t, const void *, const void *, std::size_t);

template <Name kName>
int timed_wait(pollfd *set, nfds_t count, const void *timeout, const void *signals) {
  const auto next = next_function<kName, TimedWait>();
  return record_wait(set, count, [=] { return next(set, count, timeout, signals); });
}

template <Name kName>
int checked_timed_wait(pollfd *set, nfds_t count, const void *timeout, const void *signals, std::size_t room) {
  const auto next = next_function<kName, CheckedTimedWait>();
  return record_wait(set, count, [=] { return next(set, count, timeout, signals, room); });
}

}  // namespace

ZEL_SHIM int record_ppoll(pollfd *set, nfds_t count, const void *timeout, const void *signals) {
  return timed_wait<"ppoll">(set, count, timeout, signals);
}
ZEL_SHIM int record_ppoll_64(pollfd *set, nfds_t count, const void *timeout, const void *signals) {
  return timed_wait<"__ppoll64">(set, count, timeout, signals);
}
ZEL_SHIM int record_ppoll_checked(pollfd *set, nfds_t count, const void *timeout, const void *signals,
                                  std::size_t room) {
  return checked_timed_wait<"__ppoll_chk">(set, count, timeout, signals, room);
}
ZEL_SHIM int record_ppoll_64_checked(pollfd *set, nfds_t count, const void *timeout, const void *signals,
                                     std::size_t room) {
  return checked_timed_wait<"__ppoll64_chk">(set, count, timeout, signals, room);
}
