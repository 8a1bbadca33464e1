// Which calls of the interface a fault applies to.
#ifndef ZEL_CAMERA_CALL_SCRIPT_H
#define ZEL_CAMERA_CALL_SCRIPT_H

#include <cstdint>
#include <mutex>
#include <string_view>
#include <vector>

#include "config/key_file.h"

namespace camera {

/// The call faults of one key file and how often each call was made so far. Safe from every thread.
class CallScript {
 public:
  CallScript(const std::vector<CallFault> &faults, std::uint64_t seed);

  bool is_empty() const { return faults_.empty(); }

  /// Counts a call of `name` and returns the fault that applies to it, or null; of several the first.
  const CallFault *next(std::string_view name);

 private:
  struct Counted {
    const CallFault *fault;
    std::uint64_t calls;
  };

  std::uint64_t seed_;
  std::mutex mutex_;
  std::vector<Counted> faults_;
};

}  // namespace camera

#endif
