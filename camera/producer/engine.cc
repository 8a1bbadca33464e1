// One frame after the other: wait, look for a buffer, make, hand over. A frame that is dropped is never encoded, so
// that a drop cannot break the coded stream.
#include "producer/engine.h"

#include <exception>
#include <new>
#include <string>
#include <utility>

#include "common/av_messages.h"
#include "common/signal_mask.h"
#include "common/stop_check.h"

namespace camera {
Engine::Engine(const CameraConfig &config, const Plan &plan, std::uint32_t stream, std::size_t capacity, Log &log,
               FrameQueue &queue, std::unique_ptr<Producer> producer)
    : plan_(plan),
      stream_(stream),
      capacity_(capacity),
      log_(log),
      queue_(queue),
      pacer_(config, plan.rate_numerator, plan.rate_denominator, producer->timeline()),
      script_(config),
      segmenter_(plan_),
      producer_(std::move(producer)) {
  if (producer_->timeline() != nullptr) sequence_ = producer_->timeline()->first_sequence();
}

Engine::~Engine() {
  try {
    stop();
  } catch (const std::exception &) {
    // Memory is exhausted: by then the thread has ended.
  }
}

void Engine::start() {
  if (queue_.has_ended()) stop();  // the client may see the end before the thread has ended
  if (is_running()) return;
  const SignalsBlocked blocked;
  const MessagesSilenced silenced;
  producer_->begin(sequence_);
  segmenter_.begin();
  key_forced_.store(false);
  ended_ = false;
  overruns_ = false;
  queue_.begin(plan_.hold_us != 0 && !plays_);
  try {
    post("started");
    thread_ = std::thread([this] { run(); });
  } catch (const std::exception &) {
    (void)queue_.finish_stop();
    post("stopped");
    throw;
  }
}

void Engine::stop() {
  plays_ = false;
  if (!is_running()) return;
  queue_.request_stop();
  thread_.join();
  for (Delayed &delayed : delayed_) {
    log_drop(delayed.filled.frame.sequence, "stopped");
    queue_.give(std::move(delayed.filled.buffer));
  }
  delayed_.clear();
  for (const std::uint32_t sequence : queue_.finish_stop())
    log_drop(sequence, "stopped");
  post("stopped");
}

void Engine::play() {
  plays_ = true;
  if (!is_running()) return;
  const auto now = pacer_.is_virtual() ? std::nullopt : std::optional(pacer_.now_us(0));
  std::vector<std::uint32_t> lost;
  if (!queue_.release_held(now, lost)) force_key();
  for (const std::uint32_t sequence : lost)
    log_drop(sequence, "expired");
}

void Engine::run() {
  const MessagesSilenced silenced;
  try {
    pacer_.begin(sequence_);
    while (!queue_.is_stopping() && run_one()) {
    }
    release_delayed();
  } catch (const Stopped &) {
    // The client stops the stream while its source has nothing.
  } catch (const std::exception &problem) {
    finish_after(problem);
  }
}

/// Ends the stream, also when there is no memory to hand over the delayed frames: they are dropped at the stop then.
void Engine::finish_after(const std::exception &problem) {
  try {
    finish(dynamic_cast<const std::bad_alloc *>(&problem) != nullptr ? "Out of memory" : problem.what());
  } catch (const std::exception &) {
    queue_.end({});
  }
}

/// Ends the stream after the frames that still wait for their latency.
void Engine::finish(std::string reason) {
  release_delayed();
  queue_.end(std::move(reason));
}

/// One frame, or several that came too late. Returns false at the end of the stream.
bool Engine::run_one() {
  wait_for_capture(pacer_.due_us(sequence_));
  if (queue_.is_stopping()) return false;
  const Availability availability = producer_->availability(sequence_);
  if (availability == Availability::kEnded) {
    finish("The stream has ended");
    return false;
  }
  const FrameFaults faults = script_.faults_of(sequence_);
  if (faults.ends_stream) {
    finish("The stream has ended");
    return false;
  }
  if (faults.dropped) {
    producer_->skip();
    drop("injected");
    return true;
  }
  if (availability == Availability::kMissing) {
    drop("gap");
    return true;
  }
  if (pacer_.is_missed(sequence_)) {
    drop("late");  // without a skip: the source itself may be what is slow
    return true;
  }
  std::optional<BufferHandle> buffer = find_buffer();
  if (!buffer) {
    if (queue_.is_stopping()) return false;
    producer_->skip();
    drop("no-buffer");
    return true;
  }
  Filled filled{*std::move(buffer), {}};
  try {
    make_and_hand_over(faults, filled);
  } catch (...) {
    if (filled.buffer != nullptr) queue_.return_free(std::move(filled.buffer));
    throw;
  }
  return !ended_;
}

/// Hands over delayed frames while it waits.
void Engine::wait_for_capture(std::int64_t due_us) {
  if (due_us < 0) return;
  while (!queue_.is_stopping()) {
    const std::uint64_t now = pacer_.now_us(0);
    while (!delayed_.empty() && delayed_.front().due_us <= now) {
      delayed_.front().filled.frame.handed_us = now;
      deliver(delayed_.front().filled);
      delayed_.pop_front();
    }
    if (static_cast<std::int64_t>(now) >= due_us) return;
    const bool delivery_first = !delayed_.empty() && static_cast<std::int64_t>(delayed_.front().due_us) < due_us;
    queue_.wait_until(delivery_first ? static_cast<std::int64_t>(delayed_.front().due_us) : due_us);
  }
}

/// A buffer for the next frame. Only in real time is a frame dropped for lack of one; else the producer waits.
std::optional<BufferHandle> Engine::find_buffer() {
  while (!queue_.is_stopping()) {
    const std::optional<std::uint64_t> held_us = queue_.held_span_us();
    const bool holds_enough = held_us && *held_us >= plan_.hold_us;
    if (holds_enough && !pacer_.is_real_time()) {
      queue_.wait_for_release();
      continue;
    }
    if (holds_enough) {
      if (const auto sequence = queue_.recycle_held()) log_drop(*sequence, "expired");
      continue;
    }
    if (std::optional<BufferHandle> buffer = queue_.take_free()) return buffer;
    if (held_us && pacer_.is_real_time()) {
      const auto sequence = queue_.recycle_held();
      if (!sequence) return std::nullopt;
      log_drop(*sequence, "expired");
    } else if (pacer_.is_real_time()) {
      return std::nullopt;
    } else {
      queue_.wait_for_free();
    }
  }
  return std::nullopt;
}

/// Makes the frame and hands it over. If it throws before that, `filled.buffer` still owns the buffer.
void Engine::make_and_hand_over(const FrameFaults &faults, Filled &filled) {
  overruns_ = false;
  const std::uint64_t captured = pacer_.captured_us(sequence_);
  const bool key = key_forced_.exchange(false) || segmenter_.wants_key(captured);
  Product product = producer_->make({sequence_, captured, pacer_.utc_us(captured), key});
  if (product.new_framerate) {
    Values event;
    event["event"] = std::string("settings");
    event["framerate"] = *product.new_framerate;
    log_.write("event", {{"stream", std::uint64_t{stream_}}, {"event", &event}});
    queue_.post_event(std::move(event));
  }
  if (product.outcome != Outcome::kMade) {
    queue_.return_free(std::move(filled.buffer));
    if (product.outcome == Outcome::kLeftOut) {
      drop("still");
    } else {
      ended_ = true;
      finish("The stream has ended");
    }
    return;
  }
  const std::uint64_t latency_us = product.latency_us + faults.latency_us;
  filled.frame = frame_of(std::move(product), captured);
  script_.apply(faults, filled.frame);
  hand_over(filled, latency_us);
  ++sequence_;
  if (plan_.snapshot) {
    ended_ = true;
    finish("The snapshot has been delivered");
  }
}

Frame Engine::frame_of(Product product, std::uint64_t captured_us) {
  if (!has_first_) first_captured_us_ = captured_us;
  has_first_ = true;
  Frame frame;
  frame.payload = std::move(product.payload);
  frame.sequence = sequence_;
  frame.type = product.type;
  frame.timestamp_us = captured_us;
  if (pacer_.keeps_distances()) frame.timestamp_us += static_cast<std::uint64_t>(product.clock_offset_us);
  frame.captured_us = captured_us;
  frame.utc_us = pacer_.utc_us(captured_us);
  frame.header_size = product.header_size;
  frame.capacity = capacity_;
  frame.key = product.key;
  frame.shown = product.shown;
  frame.empty = product.empty ? EmptyMark::kTrue : EmptyMark::kFalse;
  frame.segment_start = segmenter_.add(captured_us, frame.payload->size, product.key);
  script_.step_clocks(frame);
  switch (plan_.timestamp_type) {
    case kTimestampUtc:
      frame.custom_us = frame.utc_us;
      break;
    case kTimestampElapsed:
      frame.custom_us = captured_us - first_captured_us_;
      break;
    case kTimestampSequence:
      frame.custom_us = sequence_;
      break;
    default:
      frame.custom_us = frame.timestamp_us;
      break;
  }
  return frame;
}

/// On the virtual clock latency passes in no time; unpaced, everything waits for it.
void Engine::hand_over(Filled &filled, std::uint64_t latency_us) {
  const std::uint64_t captured = filled.frame.captured_us;
  if (pacer_.is_real_time() && (latency_us != 0 || !delayed_.empty())) {
    delayed_.emplace_back(captured + latency_us, std::move(filled));
    return;
  }
  if (!pacer_.is_virtual() && latency_us != 0) queue_.wait_until(static_cast<std::int64_t>(captured + latency_us));
  filled.frame.handed_us = pacer_.is_virtual() ? captured + latency_us : pacer_.now_us(captured);
  deliver(filled);
}

void Engine::deliver(Filled &filled) {
  const std::uint32_t sequence = filled.frame.sequence;
  if (!queue_.deliver(std::move(filled))) log_drop(sequence, "expired");
}

/// Hands over all delayed frames at their time.
void Engine::release_delayed() {
  while (!delayed_.empty() && !queue_.is_stopping()) {
    wait_for_capture(static_cast<std::int64_t>(delayed_.front().due_us));
  }
}

void Engine::drop(std::string_view reason) {
  log_drop(sequence_, reason);
  if (reason == "no-buffer" && !overruns_) {
    overruns_ = true;
    post("overrun");
  }
  ++sequence_;
}

void Engine::log_drop(std::uint32_t sequence, std::string_view reason) {
  log_.write("drop", {{"stream", std::uint64_t{stream_}}, {"sequence", std::uint64_t{sequence}}, {"reason", reason}});
}

void Engine::post(std::string_view event) {
  Values values;
  values["event"] = std::string(event);
  values["sequence"] = sequence_;
  log_.write("event", {{"stream", std::uint64_t{stream_}}, {"event", &values}});
  queue_.post_event(std::move(values));
}

}  // namespace camera
