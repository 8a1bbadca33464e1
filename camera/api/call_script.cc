// Counting calls.
#include "api/call_script.h"

#include "common/random.h"

namespace camera {
namespace {

bool applies(const CallFault &fault, std::uint64_t call, std::uint64_t seed) {
  const Trigger &trigger = fault.trigger;
  if (trigger.probability) return draw_fraction(seed, fault.name, call) < *trigger.probability;
  return call >= trigger.nth && (trigger.times == 0 || call - trigger.nth < trigger.times);
}

}  // namespace

CallScript::CallScript(const std::vector<CallFault> &faults, std::uint64_t seed) : seed_(seed) {
  for (const CallFault &fault : faults)
    faults_.push_back({&fault, 0});
}

const CallFault *CallScript::next(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const CallFault *found = nullptr;
  for (Counted &counted : faults_) {
    if (counted.fault->call != name) continue;
    ++counted.calls;
    if (found == nullptr && applies(*counted.fault, counted.calls, seed_)) found = counted.fault;
  }
  return found;
}

}  // namespace camera
