// Exhausted memory, for this program and the library in it.
#ifndef ZEL_TEST_FAILING_MEMORY_H
#define ZEL_TEST_FAILING_MEMORY_H

#include <cstddef>

namespace failing_memory {

/// While it lives, `new` on this thread fails once: at its nth use, counted from 0.
class FailsAt {
 public:
  explicit FailsAt(std::size_t nth);
  FailsAt(const FailsAt &) = delete;
  FailsAt &operator=(const FailsAt &) = delete;
  ~FailsAt();

  /// Whether it has failed.
  bool has_failed() const;
};

}  // namespace failing_memory

#endif
