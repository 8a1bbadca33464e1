// The log: one JSON object a line about every call, frame, drop, event and fault.
#ifndef ZEL_CAMERA_LOG_H
#define ZEL_CAMERA_LOG_H

#include <glib.h>

#include <cstdint>
#include <initializer_list>
#include <mutex>
#include <span>
#include <string>
#include <string_view>

#include "log/append_file.h"
#include "log/json_text.h"

namespace camera {

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
/// that wrote it returns, whatever becomes of the process. A line that cannot be written is lost, which is said once on
/// standard error. Safe from every thread.
class Log {
 public:
  /// Opens the file for appending. Returns false with errno set on failure.
  bool open(const std::string &path) { return file_.open(path); }
  bool is_open() const { return file_.is_open(); }

  /// {"kind":KIND, fields...}
  void write(std::string_view kind, std::initializer_list<LogField> fields) noexcept;

  /// {"kind":"call","n":N,"name":NAME,"args":{...},"result":...}, and how it failed if it did.
  void write_call(std::string_view name, std::span<const LogField> arguments, const LogValue &result,
                  const LogFailure *failure) noexcept;

 private:
  void begin_line(std::string_view kind);
  void end_line();

  AppendFile file_{"log"};
  std::mutex mutex_;
  std::uint64_t calls_ = 0;
  std::string line_;          ///< the one that is being put together
  bool line_is_cut_ = false;  ///< the file ends in a part of a line
};

}  // namespace camera

#endif
