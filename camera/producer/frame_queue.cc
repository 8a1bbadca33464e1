// The queues under their mutex.
#include "producer/frame_queue.h"

#include <algorithm>

namespace camera {
namespace {

/// More events than these that wait are dropped, the oldest first.
constexpr std::size_t kMostEvents = 256;

}  // namespace

/// The end comes after the last frame, kept ones included.
bool FrameQueue::is_at_end() const {
  return end_reason_ && filled_.empty() && held_.empty();
}

void FrameQueue::refresh_frames() {
  if (!filled_.empty() || is_at_end()) {
    frames_.set();
  } else {
    frames_.clear();
  }
}

void FrameQueue::give(BufferHandle buffer) {
  const std::lock_guard lock(mutex_);
  free_.push_back(std::move(buffer));
  if (waits_for_change_) changed_.set();
}

FetchStatus FrameQueue::fetch(std::optional<Filled> &filled, std::string &end_reason) {
  const std::lock_guard lock(mutex_);
  if (!filled_.empty()) {
    filled = std::move(filled_.front());
    filled_.pop_front();
    if (filled_.empty()) refresh_frames();
    return FetchStatus::kFrame;
  }
  if (is_at_end()) {
    end_reason = *end_reason_;
    return FetchStatus::kEnded;
  }
  return running_ ? FetchStatus::kNothing : FetchStatus::kStopped;
}

std::optional<Values> FrameQueue::take_event() {
  const std::lock_guard lock(mutex_);
  if (events_.empty()) return std::nullopt;
  Values event = std::move(events_.front());
  events_.pop_front();
  if (events_.empty()) event_signal_.clear();
  return event;
}

void FrameQueue::begin(bool holds) {
  const std::lock_guard lock(mutex_);
  running_ = true;
  holding_ = holds;
  awaits_key_ = false;
  stopping_ = false;
  end_reason_.reset();
  changed_.clear();
  idle_.clear();
  refresh_frames();
}

bool FrameQueue::release_held(std::optional<std::uint64_t> now_us, std::vector<std::uint32_t> &lost) {
  const std::lock_guard lock(mutex_);
  if (!holding_) return true;
  holding_ = false;
  const auto key = std::find_if(held_.begin(), held_.end(), [](const Filled &held) { return held.frame.key; });
  for (auto held = held_.begin(); held != held_.end(); ++held) {
    if (held < key) {
      lost.push_back(held->frame.sequence);
      free_.push_back(std::move(held->buffer));
    } else {
      if (now_us) held->frame.handed_us = *now_us;
      filled_.push_back(std::move(*held));
    }
  }
  const bool found = key != held_.end();
  awaits_key_ = !found;
  held_.clear();
  if (end_reason_) idle_.set();
  refresh_frames();
  changed_.set();
  return found;
}

void FrameQueue::request_stop() {
  const std::lock_guard lock(mutex_);
  stopping_ = true;
  changed_.set();
}

std::vector<std::uint32_t> FrameQueue::finish_stop() {
  const std::lock_guard lock(mutex_);
  running_ = false;
  stopping_ = false;
  end_reason_.reset();
  changed_.clear();
  idle_.set();
  std::vector<std::uint32_t> lost;
  for (std::deque<Filled> *queue : {&filled_, &held_}) {
    for (Filled &filled : *queue) {
      lost.push_back(filled.frame.sequence);
      free_.push_back(std::move(filled.buffer));
    }
    queue->clear();
  }
  refresh_frames();
  return lost;
}

bool FrameQueue::has_ended() {
  const std::lock_guard lock(mutex_);
  return end_reason_.has_value();
}

bool FrameQueue::is_stopping() {
  const std::lock_guard lock(mutex_);
  return stopping_;
}

std::optional<BufferHandle> FrameQueue::take_free() {
  const std::lock_guard lock(mutex_);
  if (free_.empty()) return std::nullopt;
  BufferHandle buffer = std::move(free_.front());
  free_.pop_front();
  return buffer;
}

void FrameQueue::return_free(BufferHandle buffer) {
  const std::lock_guard lock(mutex_);
  free_.push_front(std::move(buffer));
}

void FrameQueue::wait_for_free() {
  {
    const std::lock_guard lock(mutex_);
    if (!free_.empty() || stopping_) return;
    waits_for_change_ = true;
  }
  (void)wait_readable(changed_.descriptor(), -1, -1);
  const std::lock_guard lock(mutex_);
  waits_for_change_ = false;
  if (!stopping_) changed_.clear();
}

void FrameQueue::wait_until(std::int64_t deadline_us) {
  while (monotonic_us() < deadline_us && !is_stopping()) {
    (void)wait_readable(changed_.descriptor(), -1, deadline_us);
    const std::lock_guard lock(mutex_);
    if (!stopping_) changed_.clear();
  }
}

bool FrameQueue::deliver(Filled &&filled) {
  const std::lock_guard lock(mutex_);
  if (holding_) {
    held_.push_back(std::move(filled));
    return true;
  }
  if (awaits_key_ && !filled.frame.key) {
    free_.push_back(std::move(filled.buffer));
    return false;
  }
  awaits_key_ = false;
  filled_.push_back(std::move(filled));
  frames_.set();
  return true;
}

std::optional<std::uint64_t> FrameQueue::held_span_us() {
  const std::lock_guard lock(mutex_);
  if (!holding_) return std::nullopt;
  return held_.empty() ? 0 : held_.back().frame.captured_us - held_.front().frame.captured_us;
}

std::optional<std::uint32_t> FrameQueue::recycle_held() {
  const std::lock_guard lock(mutex_);
  if (held_.empty()) return std::nullopt;
  const std::uint32_t sequence = held_.front().frame.sequence;
  free_.push_back(std::move(held_.front().buffer));
  held_.pop_front();
  return sequence;
}

void FrameQueue::wait_for_release() {
  {
    const std::lock_guard lock(mutex_);
    if (!holding_ || stopping_) return;
  }
  (void)wait_readable(changed_.descriptor(), -1, -1);
  const std::lock_guard lock(mutex_);
  if (!stopping_) changed_.clear();
}

void FrameQueue::post_event(Values event) {
  const std::lock_guard lock(mutex_);
  if (events_.size() == kMostEvents) events_.pop_front();
  events_.push_back(std::move(event));
  event_signal_.set();
}

void FrameQueue::end(std::string reason) {
  const std::lock_guard lock(mutex_);
  end_reason_ = std::move(reason);
  if (held_.empty()) idle_.set();
  refresh_frames();
}

}  // namespace camera
