// Finding each call's place, and waiting until it is due.
#include "replay/replay.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string_view>

#include "common/signal_mask.h"
#include "formats/recording_text.h"
#include "replay/matching.h"

namespace camera {

using formats::CallClass;
using formats::RecordedCall;
using formats::RecordedValue;

Replay::Replay(const std::string &path, Pacing pacing) : run_(path), is_paced_(pacing == Pacing::kRealTime) {
  for (const RecordedSignal &signal : run_.signals_between()) {
    if (signal.after == nullptr) arm(signal);
  }
  const SignalsBlocked blocked;
  keeper_ = std::thread([this] { keep(); });
}

Replay::~Replay() {
  {
    const std::lock_guard lock(mutex_);
    is_ending_ = true;
  }
  changed_.notify_all();
  keeper_.join();
}

bool Replay::has_any(const RecordedCall &row) const {
  const auto &events = run_.events_of(0);
  return std::any_of(events.begin(), events.end(),
                     [&](const RecordedEvent &event) { return event.call->row().name == row.name; });
}

// ---- Places ------------------------------------------------------------------------------------------------------

/// The object's next event that has its place in the order; null: there is none.
const RecordedEvent *Replay::next_step(std::uint32_t object, std::size_t *index) const {
  const auto &events = run_.events_of(object);
  const auto place = places_.find(object);
  for (std::size_t i = place != places_.end() ? place->second.next : 0; i < events.size(); ++i) {
    if (!events[i].is_step) continue;
    if (index != nullptr) *index = i;
    return &events[i];
  }
  return nullptr;
}

/// The object goes on behind an event. Signals that came during what is passed by are to be raised.
void Replay::consume(std::uint32_t object, std::size_t index, std::vector<int> &signals) {
  Place &place = places_[object];
  for (; place.next <= index; ++place.next) {
    const RecordedEvent &event = run_.events_of(object)[place.next];
    if (event.call != nullptr) pass(*event.call, signals);
  }
}

void Replay::pass(const Item &call, std::vector<int> &signals) {
  for (const RecordedSignal &signal : run_.signals_between()) {
    if (signal.before != &call || std::find(sent_.begin(), sent_.end(), &signal) != sent_.end()) continue;
    sent_.push_back(&signal);
    signals.push_back(signal.number);
  }
  const std::vector<int> &during = run_.signals_in(call);
  signals.insert(signals.end(), during.begin(), during.end());
  for (const RecordedSignal &signal : run_.signals_between()) {
    if (signal.after == &call) arm(signal);
  }
  if (call.row().name != "zel_stream_get_buffer" || call.gave()->is_null()) return;
  // The buffer goes on where it was filled: what was not asked of its frame before is left out.
  const auto buffer = static_cast<std::uint32_t>(*call.gave()->as_unsigned());
  const auto &events = run_.events_of(buffer);
  Place &place = places_[buffer];
  while (place.next < events.size() && events[place.next].call != nullptr)
    ++place.next;
  if (place.next < events.size()) ++place.next;
}

/// A call that only looks: what comes before the object's next step, else what it has answered since the last one.
const Replay::Item *Replay::look(const RecordedCall &row, const RecordedValue::List &arguments,
                                 std::vector<int> &signals) {
  const std::uint32_t object = object_of(row, arguments);
  const auto &events = run_.events_of(object);
  const std::size_t here = places_[object].next;
  for (std::size_t i = here; i < events.size() && !events[i].is_step; ++i) {
    if (!is_same_call(*events[i].call, row, arguments)) continue;
    consume(object, i, signals);
    return events[i].call;
  }
  for (std::size_t i = here; i-- > 0 && !(events[i].is_step && object != 0);) {
    if (!events[i].is_step && is_same_call(*events[i].call, row, arguments)) return events[i].call;
  }
  if (object != 0) return nullptr;
  // What is asked of no object, such as a type, is the same at any time.
  const auto found = std::find_if(events.begin(), events.end(), [&](const RecordedEvent &event) {
    return !event.is_step && is_same_call(*event.call, row, arguments);
  });
  return found != events.end() ? found->call : nullptr;
}

const Replay::Item *Replay::find_step(const RecordedCall &row, const RecordedValue::List &arguments,
                                      std::vector<int> &signals) {
  const std::uint32_t object = object_of(row, arguments);
  std::size_t index = 0;
  const RecordedEvent *next = next_step(object, &index);
  if (next == nullptr || next->call == nullptr || !is_same_call(*next->call, row, arguments)) return nullptr;
  consume(object, index, signals);
  return next->call;
}

/// What a fetch gave that had nothing to give, nearest to the object's place; null: none did.
const Replay::Item *Replay::nothing_to_fetch(std::uint32_t object, const RecordedCall &row) const {
  const auto &events = run_.events_of(object);
  const auto place = places_.find(object);
  const std::size_t here = place != places_.end() ? place->second.next : 0;
  const Item *found = nullptr;
  for (std::size_t i = 0; i < events.size() && (i < here || found == nullptr); ++i) {
    if (!events[i].is_step && events[i].call->row().name == row.name) found = events[i].call;
  }
  return found;
}

namespace {

/// Handlers got the signals of a recording; one that has no handler now would end the program.
bool has_handler(int signal) {
  struct sigaction action {};
  if (sigaction(signal, nullptr, &action) != 0) return false;
  return (action.sa_flags & SA_SIGINFO) != 0 || (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
}

}  // namespace

void Replay::diverge(const RecordedCall &row, const RecordedValue::List &arguments, const Item *recorded) {
  if (!divergence_.empty()) return;
  divergence_ = run_.path() + ": the program calls " + formats::call_text(row, arguments) + ", the recording ";
  divergence_ +=
      recorded != nullptr ? "has " + formats::call_text(recorded->row(), recorded->arguments()) : "has no more calls";
}

// ---- Answers -----------------------------------------------------------------------------------------------------

std::int64_t Replay::due_us(std::uint64_t ns) const {
  if (!is_paced_) return 0;
  return start_us_ + static_cast<std::int64_t>((ns - std::min(ns, run_.begin_ns())) / 1000);
}

/// Waits until the call's answer is due. False when a signal came first, where that matters.
bool Replay::wait_for(std::unique_lock<std::mutex> &lock, const Item &call, bool can_be_interrupted) {
  const std::int64_t due = due_us(call);
  lock.unlock();
  bool good = true;
  while (good && monotonic_us() < due)
    good = wait_readable(-1, -1, due) || !can_be_interrupted;
  lock.lock();
  return good;
}

ReplayAnswer Replay::answer(const RecordedCall &row, const RecordedValue::List &arguments) {
  std::unique_lock lock(mutex_);
  if (start_us_ == 0) start_us_ = monotonic_us();
  if (!divergence_.empty()) return {nullptr, divergence_, false};
  const std::uint32_t object = object_of(row, arguments);
  std::vector<int> signals;
  const Item *found = nullptr;
  if (row.kind == CallClass::kGetter) {
    found = look(row, arguments, signals);
  } else {
    const RecordedEvent *next = next_step(object);
    const bool is_next = next != nullptr && next->call != nullptr && is_same_call(*next->call, row, arguments);
    const bool is_fetch = row.kind == CallClass::kFetch;
    const Item *nothing = is_fetch ? nothing_to_fetch(object, row) : nullptr;
    if (is_next && (nothing == nullptr || monotonic_us() >= due_us(*next->call))) {
      if (!wait_for(lock, *next->call, is_fetch)) return {nullptr, "", true};
      found = find_step(row, arguments, signals);
    } else {
      found = nothing;
    }
  }
  if (found == nullptr) {
    signals = run_.signals_in_unreturned(row.name);
    const RecordedEvent *next = next_step(object);
    diverge(row, arguments, next != nullptr ? next->call : nullptr);
  }
  ReplayAnswer result{found, found == nullptr ? divergence_ : "", false};
  show_readiness();
  changed_.notify_all();
  lock.unlock();
  for (const int signal : signals) {
    if (has_handler(signal)) (void)std::raise(signal);
  }
  return result;
}

// ---- Descriptors and signals -------------------------------------------------------------------------------------

Replay::StreamFiles &Replay::files_of(std::uint32_t stream) {
  return files_[stream];
}

int Replay::frame_descriptor(std::uint32_t stream) {
  const std::lock_guard lock(mutex_);
  const int descriptor = files_of(stream).frames.descriptor();
  show_readiness();
  return descriptor;
}

int Replay::event_descriptor(std::uint32_t stream) {
  const std::lock_guard lock(mutex_);
  const int descriptor = files_of(stream).events.descriptor();
  show_readiness();
  return descriptor;
}

void Replay::show_readiness() {
  const auto show = [](Wakeup &wakeup, bool ready) { ready ? wakeup.set() : wakeup.clear(); };
  for (auto &[stream, files] : files_) {
    const RecordedEvent *next = next_step(stream);
    const bool is_due = next != nullptr && next->call != nullptr && monotonic_us() >= due_us(*next->call);
    show(files.frames, is_due && next->call->row().name == "zel_stream_get_buffer");
    show(files.events, is_due && next->call->row().name == "zel_stream_get_event");
  }
}

namespace {

/// Whether a thread of this process waits for something.
bool is_asleep(int thread) {
  const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
  std::FILE *file = std::fopen(path.c_str(), "re");
  if (file == nullptr) return false;
  char text[512];
  const std::size_t size = std::fread(text, 1, sizeof text, file);
  (void)std::fclose(file);
  const std::string_view stat(text, size);
  const std::size_t name = stat.rfind(") ");
  return name != std::string_view::npos && name + 2 < stat.size() && stat[name + 2] == 'S';
}

/// Processor time that a thread of this process has used, us; 0 when it is gone.
std::int64_t busy_us(int thread) {
  const auto clock = static_cast<clockid_t>(~static_cast<unsigned>(thread) << 3U | 6U);  // as the C library makes it
  timespec time{};
  if (clock_gettime(clock, &time) != 0) return 0;
  return std::int64_t{time.tv_sec} * 1'000'000 + time.tv_nsec / 1000;
}

}  // namespace

/// The signal is to be sent to the calling thread once it waits.
void Replay::arm(const RecordedSignal &signal) {
  const int thread = gettid();
  armed_.push_back({&signal, thread, busy_us(thread)});
}

/// Sends the signals that came while a thread waited between two calls to the threads that wait there now. One whose
/// descriptors are ready and that does not take what there is never sleeps: it is known by the time that it is busy.
void Replay::send_signals() {
  constexpr std::int64_t kBusyUs = 5000;
  std::erase_if(armed_, [this](const Armed &armed) {
    if (std::find(sent_.begin(), sent_.end(), armed.signal) != sent_.end()) return true;
    if (!armed.signal->is_in_wait) return true;  // it is raised in the next call
    if (monotonic_us() < due_us(armed.signal->at_ns)) return false;
    if (!is_asleep(armed.thread) && busy_us(armed.thread) < armed.busy_us + kBusyUs) return false;
    sent_.push_back(armed.signal);
    if (has_handler(armed.signal->number)) (void)tgkill(getpid(), armed.thread, armed.signal->number);
    return true;
  });
}

void Replay::keep() {
  constexpr std::chrono::milliseconds kLookAgain{1};
  std::unique_lock lock(mutex_);
  while (!is_ending_) {
    send_signals();
    show_readiness();
    const bool is_waited_for = !armed_.empty() || (is_paced_ && !files_.empty());
    if (is_waited_for) {
      changed_.wait_for(lock, kLookAgain);
    } else {
      changed_.wait(lock);
    }
  }
}

}  // namespace camera
