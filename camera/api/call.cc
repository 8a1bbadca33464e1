// Applying faults and logging calls.
#include "api/call.h"

#include <csignal>
#include <ctime>

namespace camera {
namespace {

/// Sleeps the whole time, however often signals interrupt it.
void stall(std::uint64_t microseconds) {
  constexpr std::uint64_t kSecond = 1'000'000;
  timespec rest{static_cast<time_t>(microseconds / kSecond), static_cast<long>(microseconds % kSecond * 1000)};
  while (clock_nanosleep(CLOCK_MONOTONIC, 0, &rest, &rest) == EINTR) {
  }
}

}  // namespace

const CallFault *begin_call(Session &session, std::string_view name) {
  if (session.call_script.is_empty()) return nullptr;
  const CallFault *fault = session.call_script.next(name);
  if (fault == nullptr) return nullptr;
  session.log.write("fault", {{"name", std::string_view(fault->name)}, {"call", name}});
  if (fault->stall_us != 0) stall(fault->stall_us);
  if (fault->signal != 0) (void)std::raise(fault->signal);
  return fault->fails ? fault : nullptr;
}

int apply_fault(const CallFault &fault, GError **error) {
  if (fault.sets_error) {
    const auto make = fault.expected ? fail_expected : fail;
    (void)make(error, fault.code, "%s", fault.message.c_str());
  }
  return fault.error_number != 0 ? fault.error_number : EIO;
}

void fail_with_exception(const std::exception &problem, GError **error) {
  const bool memory_is_out = dynamic_cast<const std::bad_alloc *>(&problem) != nullptr;
  if (error != nullptr && *error == nullptr) {
    const gint code = memory_is_out ? kErrorOutOfMemory : kErrorCompound;
    (void)fail(error, code, "%s", memory_is_out ? "Out of memory" : problem.what());
  }
  errno = memory_is_out ? ENOMEM : EIO;
}

}  // namespace camera
