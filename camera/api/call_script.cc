// Counting calls against the faults that wait for them.
#include "api/call_script.h"

#include "common/random.h"

namespace camera {
namespace {

bool strikes(const CallFault &fault, std::uint64_t call, std::uint64_t seed) {
  const Strike &strike = fault.strike;
  if (strike.probability) return draw_fraction(seed, fault.name, call) < *strike.probability;
  return call >= strike.nth && (strike.times == 0 || call - strike.nth < strike.times);
}

}  // namespace

CallScript::CallScript(const std::vector<CallFault> &faults, std::uint64_t seed) : seed_(seed) {
  for (const CallFault &fault : faults)
    faults_.push_back({&fault, 0});
}

const CallFault *CallScript::next(std::string_view name) {
  const std::lock_guard lock(mutex_);
  const CallFault *struck = nullptr;
  for (Counted &counted : faults_) {
    if (counted.fault->call != name) continue;
    ++counted.calls;
    if (struck == nullptr && strikes(*counted.fault, counted.calls, seed_)) struck = counted.fault;
  }
  return struck;
}

}  // namespace camera
