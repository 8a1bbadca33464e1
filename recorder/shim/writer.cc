// Appending, and ending the recording when that fails.
#include "recorder/shim/writer.h"

#include <linux/futex.h>
#include <pthread.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <csignal>
#include <ctime>

#include "recorder/shim/file_limit.h"
#include "recorder/shim/recording.h"

namespace recorder {

std::uint64_t recording_begin_ns = 0;

namespace {

constexpr std::uint64_t kMillisecond = 1'000'000;
constexpr std::uint64_t kInterval = 20 * kMillisecond;   ///< between two looks at the ring: what a kill may cost
constexpr std::uint64_t kPatience = 5 * kMillisecond;    ///< for items that are not complete at the end
constexpr std::uint64_t kFilling = Ring::kCapacity / 8;  ///< a ring so full is not left alone for an interval

LimitedFile file;
std::atomic<std::uint32_t> wanted = 0;     ///< a futex: 1 when the thread shall look at the ring now
std::atomic<std::uint32_t> finishing = 0;  ///< 1: the thread shall write the rest and end
SmallItem last_item;                       ///< set before `finishing`
std::atomic<std::uint32_t> finished = 0;   ///< a futex: 1 when the file is complete

std::atomic<std::uint64_t> lost_items = 0;
std::atomic<std::uint64_t> lost_bytes = 0;
std::atomic<std::uint64_t> lost_at = 0;
std::atomic<std::uint64_t> lost_until = 0;

void futex_wait(std::atomic<std::uint32_t> &word, std::uint32_t value, std::uint64_t ns) {
  // The kernel takes the C library's own timespec of this width here, whatever time_t is.
  struct {
    long seconds;
    long nanoseconds;
  } const rest = {static_cast<long>(ns / (1000 * kMillisecond)), static_cast<long>(ns % (1000 * kMillisecond))};
  (void)syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, &rest, nullptr, 0);
}

void futex_wake(std::atomic<std::uint32_t> &word) {
  (void)syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, INT_MAX, nullptr, nullptr, 0);
}

/// Says what was lost, if anything was, where it is missing.
void write_lost() {
  const std::uint64_t items = lost_items.exchange(0);
  if (items == 0) return;
  const LostItems lost = {items, lost_bytes.exchange(0), lost_at.load(), lost_until.load()};
  (void)file.append_lost(lost);
}

/// Writes all complete items. False when the file takes no more.
bool write_complete(Ring::Reader &reader) {
  constexpr unsigned kMost = 64;
  while (true) {
    iovec pieces[kMost + 2];
    unsigned count = 0;
    std::uint64_t items = 0;
    std::uint64_t bytes = 0;
    while (count < kMost && bytes < file.usual_append()) {
      const unsigned more = reader.next(pieces + count);
      if (more == 0) break;
      for (unsigned i = 0; i < more; ++i)
        bytes += pieces[count + i].iov_len;
      count += more;
      ++items;
    }
    if (count == 0) return true;
    if (!file.append(pieces, count, items)) return false;
    ring.consume(reader.position());
  }
}

bool write_waiting() {
  Ring::Reader reader(ring);
  const bool written = write_complete(reader);
  if (written) write_lost();
  return written;
}

/// The last items: those that are never completed, because their threads wait for this one, are left out.
bool write_rest() {
  for (std::uint64_t waited = 0; waited < kPatience && ring.used() != 0; waited += kMillisecond) {
    if (!write_waiting()) return false;
    if (ring.used() != 0) futex_wait(finished, 0, kMillisecond);
  }
  Ring::Reader reader(ring);
  do {
    if (!write_complete(reader)) return false;
  } while (reader.skip());
  write_lost();
  const iovec last = {last_item.bytes, last_item.size};
  return file.append(&last, 1, 1);
}

void *run_writer(void *) {
  bool good = true;
  while (good && finishing.load() == 0) {
    good = write_waiting();
    if (good && ring.used() < kFilling && wanted.exchange(0) == 0) futex_wait(wanted, 0, kInterval);
  }
  if (good) (void)write_rest();
  recording_is_on = false;
  file.close();
  finished = 1;
  futex_wake(finished);
  return nullptr;
}

}  // namespace

std::uint64_t monotonic_ns() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1000 * kMillisecond + static_cast<std::uint64_t>(now.tv_nsec);
}

void count_lost(std::size_t size) {
  const std::uint64_t now = elapsed_ns();
  if (lost_items.fetch_add(1) == 0) lost_at = now;
  lost_bytes += size;
  lost_until = now;
}

void wake_writer_when_filling() {
  if (ring.used() < kFilling || wanted.load(std::memory_order_relaxed) != 0) return;
  if (wanted.exchange(1) == 0) futex_wake(wanted);
}

bool start_writer(const WriterSetup &setup) {
  const auto least = static_cast<std::size_t>(PTHREAD_STACK_MIN);
  const std::size_t stack = std::max<std::size_t>(least, std::size_t{128} * 1024);
  file.open(setup.descriptor, setup.path, setup.max_size);
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  (void)pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
  (void)pthread_attr_setstacksize(&attributes, stack);
  pthread_t thread;
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const int status = pthread_create(&thread, &attributes, run_writer, nullptr);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  pthread_attr_destroy(&attributes);
  return status == 0;
}

void finish_writer(const SmallItem &last) {
  last_item = last;
  finishing = 1;
  if (wanted.exchange(1) == 0) futex_wake(wanted);
  await_finished();
}

void await_finished() {
  while (finishing.load() != 0 && finished.load() == 0)
    futex_wait(finished, 0, 100 * kMillisecond);
}

}  // namespace recorder
