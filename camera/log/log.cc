// Putting log lines together.
#include "log/log.h"

#include <cerrno>
#include <cstring>

namespace camera {
namespace {

void append_failure(std::string &line, const LogFailure &failure) {
  if (failure.error != nullptr) {
    append_name(line, "error");
    line += '{';
    append_member(line, "code", std::int64_t{failure.error->code});
    append_member(line, "message", std::string_view(failure.error->message));
    line += '}';
  }
  const char *cause = strerrorname_np(failure.error_number);
  if (failure.error_number != 0 && cause != nullptr) append_member(line, "errno", std::string_view(cause));
}

}  // namespace

void Log::write(std::string_view kind, std::initializer_list<LogField> fields) noexcept {
  if (!is_open()) return;
  const std::lock_guard lock(mutex_);
  try {
    begin_line(kind);
    for (const LogField &field : fields)
      append_member(line_, field.name, field.value);
    end_line();
  } catch (const std::exception &) {
    file_.complain(ENOMEM);
  }
}

void Log::write_call(std::string_view name, std::span<const LogField> arguments, const LogValue &result,
                     const LogFailure *failure) noexcept {
  if (!is_open()) return;
  const std::lock_guard lock(mutex_);
  ++calls_;
  try {
    begin_line("call");
    append_member(line_, "n", calls_);
    append_member(line_, "name", name);
    append_name(line_, "args");
    line_ += '{';
    for (const LogField &field : arguments)
      append_member(line_, field.name, field.value);
    line_ += '}';
    append_member(line_, "result", result);
    if (failure != nullptr) append_failure(line_, *failure);
    end_line();
  } catch (const std::exception &) {
    file_.complain(ENOMEM);
  }
}

/// After a line that was cut short the next one begins on a line of its own.
void Log::begin_line(std::string_view kind) {
  line_.assign(line_is_cut_ ? "\n{" : "{");
  append_member(line_, "kind", kind);
}

void Log::end_line() {
  line_ += "}\n";
  const std::size_t written = file_.append({reinterpret_cast<const std::uint8_t *>(line_.data()), line_.size()});
  if (written != 0) line_is_cut_ = line_[written - 1] != '\n';
  constexpr std::size_t kUsual = 4096;
  if (line_.capacity() > kUsual) line_ = {};  // of a text of many megabytes
}

}  // namespace camera
