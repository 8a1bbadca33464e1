// What the fuzz targets share: reading structured values from the engine's bytes, and requirements on the results.
#ifndef ZEL_CLIENT_TESTS_FUZZ_INPUT_H
#define ZEL_CLIENT_TESTS_FUZZ_INPUT_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <span>
#include <string>

/// The bytes of one execution, consumed from the front. Past the end every value is 0 and every text is empty.
class Input {
 public:
  Input(const std::uint8_t *data, std::size_t size) : rest_(data, size) {}

  bool empty() const { return rest_.empty(); }

  /// A number of as many bytes as its type has, little-endian.
  template <typename T>
  T number() {
    T value = 0;
    const std::size_t length = rest_.size() < sizeof value ? rest_.size() : sizeof value;
    if (length != 0) std::memcpy(&value, rest_.data(), length);
    rest_ = rest_.subspan(length);
    return value;
  }

  /// Everything up to the next zero byte, newline or the end.
  std::string line() {
    std::string text;
    while (!rest_.empty()) {
      const char next = static_cast<char>(rest_.front());
      rest_ = rest_.subspan(1);
      if (next == '\0' || next == '\n') break;
      text.push_back(next);
    }
    return text;
  }

 private:
  std::span<const std::uint8_t> rest_;
};

/// Ends the process, which the engine takes for a finding, when `holds` is false.
inline void require(bool holds, const char *what) {
  if (holds) return;
  (void)std::fprintf(stderr, "does not hold: %s\n", what);
  std::abort();
}

/// One execution. Returns 0.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size);

#endif
