// Applying frame faults.
#include "producer/frame_script.h"

#include <algorithm>

#include "common/random.h"

namespace camera {
namespace {

bool applies(const FrameFault &fault, std::uint64_t sequence, std::uint64_t seed) {
  if (sequence < fault.from) return false;
  const std::uint64_t distance = sequence - fault.from;
  if (fault.probability) {
    return (fault.count <= 1 || distance < fault.count) &&
           draw_fraction(seed, fault.name, sequence) < *fault.probability;
  }
  if (distance % fault.every != 0) return false;
  return fault.count == 0 || distance / fault.every < fault.count;
}

void apply_bytes(const FrameFault &fault, Frame &frame) {
  if (fault.size) frame.payload = made_up_payload(static_cast<std::size_t>(*fault.size), frame.sequence);
  if (fault.header_size) frame.header_size = static_cast<std::size_t>(*fault.header_size);
  if (!fault.chunk_sizes.empty()) {
    frame.payload = cut_payload(*frame.payload, fault.chunk_sizes);
  } else if (fault.chunks && *fault.chunks > 1) {
    const std::vector<std::uint64_t> sizes(static_cast<std::size_t>(*fault.chunks - 1),
                                           frame.payload->size / *fault.chunks);
    frame.payload = cut_payload(*frame.payload, sizes);
  } else if (fault.chunks) {
    frame.payload = cut_payload(*frame.payload, {});
  }
  if (fault.null_chunk) frame.null_chunk = fault.null_chunk;
  if (fault.take_fails) frame.take_fails = true;
}

}  // namespace

FrameFaults FrameScript::faults_of(std::uint64_t sequence) {
  FrameFaults faults;
  const bool is_new = sequence >= unstepped_;
  unstepped_ = std::max(unstepped_, sequence + 1);
  for (const FrameFault &fault : faults_) {
    if (!applies(fault, sequence, seed_)) continue;
    faults.dropped |= fault.drop;
    faults.ends_stream |= fault.end;
    faults.latency_us += fault.latency_us;
    if (fault.jitter_us != 0) faults.latency_us += draw(seed_, fault.name, sequence) % (fault.jitter_us + 1);
    if (is_new) {
      clock_step_us_ += static_cast<std::uint64_t>(fault.clock_step_us);
      utc_step_us_ += static_cast<std::uint64_t>(fault.utc_step_us);
    }
    faults.groups.push_back(&fault);
  }
  return faults;
}

void FrameScript::step_clocks(Frame &frame) const {
  frame.timestamp_us += clock_step_us_;
  frame.utc_us += utc_step_us_;
}

void FrameScript::apply(const FrameFaults &faults, Frame &frame) const {
  for (const FrameFault *fault : faults.groups)
    apply_bytes(*fault, frame);
  frame.capacity = std::max(frame.capacity, frame.payload->size);
  for (const FrameFault *fault : faults.groups) {
    if (fault->timestamp_us) frame.timestamp_us = *fault->timestamp_us;
    if (fault->custom_us) frame.custom_us = *fault->custom_us;
    if (fault->capacity) frame.capacity = static_cast<std::size_t>(*fault->capacity);
    if (fault->type) frame.type = *fault->type;
    if (fault->key) frame.key = *fault->key;
    if (fault->shown) frame.shown = *fault->shown;
    if (fault->segment_start) frame.segment_start = *fault->segment_start;
    if (fault->empty) frame.empty = *fault->empty;
  }
}

}  // namespace camera
