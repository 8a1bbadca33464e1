// The truth log: one JSON object a line about every call, frame, drop, event and fault.
#ifndef ZEL_CAMERA_LOG_H
#define ZEL_CAMERA_LOG_H

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "settings/values.h"
#include "zel/zel.h"

namespace camera {

/// A value in a log line. Texts must outlive the line's writing.
using LogValue = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string_view, zel_pair32u,
                              zel_quad32u, const Values *, std::span<const std::string_view>>;

struct LogField {
  std::string_view name;
  LogValue value;
};

/// How a call failed; `error` is null when the call set none.
struct LogFailure {
  const GError *error;
  int error_number;
};

/// An append-only file of log lines. Every line is written with one write(), so that it is in the file when the call
/// that wrote it returns, whatever becomes of the process. Safe from every thread.
class Log {
 public:
  Log() = default;
  Log(const Log &) = delete;
  Log &operator=(const Log &) = delete;
  ~Log();

  /// Opens the file for appending. Returns false with errno set on failure.
  bool open(const std::string &path);
  bool is_open() const { return descriptor_ >= 0; }

  /// {"kind":KIND, fields...}
  void write(std::string_view kind, std::initializer_list<LogField> fields);

  /// {"kind":"call","n":N,"name":NAME,"args":{...},"result":...}, and how it failed if it did.
  void write_call(std::string_view name, std::span<const LogField> arguments, const LogValue &result,
                  const LogFailure *failure);

 private:
  void write_line(const std::string &line);

  int descriptor_ = -1;
  std::mutex mutex_;
  std::uint64_t calls_ = 0;
};

}  // namespace camera

#endif
