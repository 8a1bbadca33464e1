// The allocation functions of C++, replaced for the whole program.
#include "support/failing_memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local bool armed = false;
thread_local bool failed = false;
thread_local std::size_t left = 0;

void *allocate(std::size_t size) {
  if (armed && !failed && left-- == 0) {
    failed = true;
    return nullptr;
  }
  return std::malloc(size == 0 ? 1 : size);
}

void *allocate_or_throw(std::size_t size) {
  void *memory = allocate(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}

}  // namespace

namespace failing_memory {

FailsAt::FailsAt(std::size_t nth) {
  left = nth;
  failed = false;
  armed = true;
}

FailsAt::~FailsAt() {
  armed = false;
}

// It is this thread's, of which there is one.
// NOLINTNEXTLINE(readability-convert-member-functions-to-static)
bool FailsAt::has_failed() const {
  return failed;
}

}  // namespace failing_memory

void *operator new(std::size_t size) {
  return allocate_or_throw(size);
}
void *operator new[](std::size_t size) {
  return allocate_or_throw(size);
}
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
  return allocate(size);
}
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
  return allocate(size);
}
void operator delete(void *memory) noexcept {
  std::free(memory);
}
void operator delete[](void *memory) noexcept {
  std::free(memory);
}
void operator delete(void *memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete[](void *memory, std::size_t) noexcept {
  std::free(memory);
}
