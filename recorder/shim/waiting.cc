// The program's waits on streams' descriptors.
//
// The functions are named by asm: where 64-bit times are not the C library's own, ppoll is two functions, which differ
// in what the time points to. Nothing here looks at it.
#undef _FORTIFY_SOURCE

#include <poll.h>

#include <algorithm>
#include <utility>

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

/// What a wait came to, for one descriptor of a stream.
struct Waited {
  StreamFile file{};
  short events = 0;
  short revents = 0;

  bool operator==(const Waited &) const = default;
};

/// Calls `take` with what the wait came to for each descriptor of a stream.
template <typename Take>
void for_stream_files(const pollfd *set, nfds_t count, const Take &take) {
  for (nfds_t i = 0; i < count; ++i) {
    const StreamFile file = stream_file(set[i].fd);
    if (file.stream != 0) take(Waited{file, set[i].events, set[i].revents});
  }
}

/// The times of one wait, or from the first of several to the end of the last.
struct WaitTimes {
  std::uint64_t at_ns = 0;
  std::uint64_t until_ns = 0;
};

/// Writes `times` equal polls down. `for_each` calls its argument with each Waited.
template <typename ForEach>
void write_poll(const ForEach &for_each, int result, int number, const WaitTimes &when, std::uint64_t times) {
  const std::uint32_t thread = thread_number();
  (void)write_item([&](auto &sink) {
    formats::put_cbor_byte(sink, formats::kCborOpenMap);
    put_field(sink, formats::kItemPoll, result);
    put_field(sink, formats::kKeyThread, thread);
    put_field(sink, formats::kKeyAt, when.at_ns);
    put_field(sink, formats::kKeyTook, when.until_ns - when.at_ns);
    formats::put_cbor_text(sink, formats::kKeySet);
    formats::put_cbor_byte(sink, formats::kCborOpenArray);
    for_each([&sink](const Waited &waited) {
      formats::put_cbor_head(sink, formats::CborMajor::kArray, 4);
      formats::put_cbor_number(sink, waited.file.stream);
      formats::put_cbor_byte(sink, waited.file.is_event ? formats::kCborTrue : formats::kCborFalse);
      formats::put_cbor_number(sink, waited.events);
      formats::put_cbor_number(sink, waited.revents);
    });
    formats::put_cbor_byte(sink, formats::kCborBreak);
    if (times > 1) put_field(sink, formats::kKeyTimes, times);
    if (result < 0) put_field(sink, formats::kKeyErrno, number);
    formats::put_cbor_byte(sink, formats::kCborBreak);
  });
}

/// The polls of a thread that come to the same, one after the other, with no other item of the thread between them.
/// The first is written down at once, those of the next tenth of a second together: a program that polls without
/// sleeping makes a million a second. ThreadState counts those that are to be written down.
struct EqualPolls {
  static constexpr std::size_t kMost = 4;  ///< descriptors of streams in a set; larger sets are never equal

  int result = 0;
  std::size_t count = 0;  ///< 0: there is no poll
  Waited waited[kMost]{};
  std::uint64_t written_at_ns = 0;  ///< the end of the poll that was written down last
  WaitTimes when{};                 ///< of those that are to be written down

  bool operator==(const EqualPolls &other) const {
    return result == other.result && std::equal(waited, waited + count, other.waited, other.waited + other.count);
  }
};

constinit thread_local EqualPolls equal_polls;

/// The set as polls are compared; without descriptors when it cannot be compared.
EqualPolls outcome_of(const pollfd *set, nfds_t count, int result) {
  EqualPolls outcome;
  outcome.result = result;
  std::size_t files = 0;
  for_stream_files(set, count, [&](const Waited &waited) {
    if (files < EqualPolls::kMost) outcome.waited[files] = waited;
    ++files;
  });
  if (result >= 0 && files <= EqualPolls::kMost) outcome.count = files;
  return outcome;
}

void write_or_count_poll(const pollfd *set, nfds_t count, int result, const CallTimes &times) {
  constexpr std::uint64_t kTogetherNs = 100'000'000;
  const EqualPolls outcome = outcome_of(set, count, result);
  if (outcome.count > 0 && thread_state.is_polling && outcome == equal_polls &&
      times.until_ns - equal_polls.written_at_ns < kTogetherNs) {
    if (thread_state.equal_polls == 0) equal_polls.when.at_ns = times.at_ns;
    equal_polls.when.until_ns = times.until_ns;
    ++thread_state.equal_polls;
    return;
  }
  write_poll([=](const auto &take) { for_stream_files(set, count, take); }, result, times.errno_after,
             {times.at_ns, times.until_ns}, 1);
  equal_polls = outcome;
  equal_polls.written_at_ns = times.until_ns;
  thread_state.is_polling = true;
}

/// Waits with `wait` and writes down what came of it, when the set has a stream's descriptor.
template <typename Wait>
int record_wait(const pollfd *set, nfds_t count, const Wait &wait) {
  if (!is_recorded() || set == nullptr || !has_stream_files(set, count)) return wait();
  InsideCall call(formats::kDuringPoll.data());
  const int result = wait();
  write_or_count_poll(set, count, result, call.returned());
  return result;
}

}  // namespace

void end_equal_polls() {
  thread_state.is_polling = false;
  const std::uint64_t times = std::exchange(thread_state.equal_polls, 0);
  if (times == 0) return;
  const EqualPolls polls = equal_polls;
  const auto for_each = [&polls](const auto &take) { std::for_each(polls.waited, polls.waited + polls.count, take); };
  write_poll(for_each, polls.result, 0, polls.when, times);
}

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
