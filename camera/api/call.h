// What every call of the interface goes through: faults, the log, and no exception across the C boundary.
#ifndef ZEL_CAMERA_CALL_H
#define ZEL_CAMERA_CALL_H

#include <cerrno>
#include <exception>
#include <initializer_list>
#include <new>
#include <span>
#include <string_view>

#include "api/session.h"
#include "common/errors.h"

/// Marks what the library exports.
#define ZEL_EXPORT extern "C" __attribute__((visibility("default")))

namespace camera {

/// How a kind of result looks: what a failed call returns, and what the log shows.
template <typename Result>
struct Answer {
  Result failed;
  LogValue (*show)(const Result &);
  bool (*is_failure)(const Result &);
};

/// Whether a call belongs to the many that read a frame or buffer; the key "log_getters" keeps those out of the log.
enum class CallKind { kOrdinary, kGetter };

/// The part of a call that comes before its work: applies faults (stall, signal, failure).
/// Returns the fault when the call shall fail.
const CallFault *begin_call(Session &session, std::string_view name, std::span<const LogField> arguments);

/// Leaves the fault's error, and returns the errno that the call ends with.
int apply_fault(const CallFault &fault, GError **error);

/// Writes the call's log line.
void log_call(Session &session, std::string_view name, std::span<const LogField> arguments, const LogValue &result,
              const LogFailure *failure);

/// Runs `work`, turning exceptions into errors.
template <typename Result, typename Work>
Result guarded(const Answer<Result> &answer, GError **error, Work &work) {
  try {
    return work(error);
  } catch (const std::bad_alloc &) {
    fail(error, kErrorOutOfMemory, "Out of memory");
    errno = ENOMEM;
  } catch (const std::exception &problem) {
    fail(error, kErrorCompound, "%s", problem.what());
    errno = EIO;
  }
  return answer.failed;
}

/// One call of the interface: `work` does it, taking the address of an error (which may be null).
template <typename Result, typename Work>
Result run_call(Session &session, std::string_view name, CallKind kind, const Answer<Result> &answer, GError **error,
                std::initializer_list<LogField> arguments, Work work) {
  const bool logged = session.log.is_open() && (kind == CallKind::kOrdinary || session.config.log_getters);
  if (!logged && session.call_script.is_empty()) return guarded(answer, error, work);

  const int errno_before = errno;
  GError *own = nullptr;
  GError **slot = error != nullptr && *error == nullptr ? error : &own;
  const CallFault *fault = begin_call(session, name, arguments);
  Result result = answer.failed;
  int number = 0;
  if (fault != nullptr) {
    number = apply_fault(*fault, slot);
  } else {
    errno = errno_before;
    result = guarded(answer, slot, work);
    number = errno;
  }
  if (logged) {
    const bool failed = fault != nullptr || *slot != nullptr || answer.is_failure(result);
    const LogFailure failure{*slot, number};
    log_call(session, name, arguments, answer.show(result), failed ? &failure : nullptr);
  }
  if (slot == &own) g_clear_error(&own);
  errno = number;
  return result;
}

// The kinds of results.
inline constexpr Answer<gboolean> kTruth{FALSE, [](const gboolean &truth) -> LogValue { return truth != FALSE; },
                                         [](const gboolean &) { return false; }};
inline constexpr Answer<gboolean> kSuccess{FALSE, [](const gboolean &truth) -> LogValue { return truth != FALSE; },
                                           [](const gboolean &truth) { return truth == FALSE; }};
inline constexpr Answer<gint> kDescriptor{-1, [](const gint &number) -> LogValue { return std::int64_t{number}; },
                                          [](const gint &number) { return number < 0; }};
inline constexpr Answer<guint32> kUnsigned{0, [](const guint32 &number) -> LogValue { return std::uint64_t{number}; },
                                           [](const guint32 &) { return false; }};
inline constexpr Answer<guint64> kUnsigned64{0, [](const guint64 &number) -> LogValue { return std::uint64_t{number}; },
                                             [](const guint64 &) { return false; }};
inline constexpr Answer<gdouble> kDouble{0, [](const gdouble &number) -> LogValue { return number; },
                                         [](const gdouble &) { return false; }};

/// Stands for the result of a call that returns nothing.
struct Nothing {};
inline constexpr Answer<Nothing> kNothing{
    {}, [](const Nothing &) -> LogValue { return nullptr; }, [](const Nothing &) { return false; }};

}  // namespace camera

#endif
