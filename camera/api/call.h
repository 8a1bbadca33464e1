// What every call of the interface goes through: faults, the log, and no exception across the C boundary.
#ifndef ZEL_CAMERA_CALL_H
#define ZEL_CAMERA_CALL_H

#include <cerrno>
#include <exception>
#include <initializer_list>
#include <new>
#include <span>
#include <string_view>
#include <type_traits>

#include "api/replayed.h"
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
const CallFault *begin_call(Session &session, std::string_view name);

/// Leaves the fault's error, and returns the errno that the call ends with.
int apply_fault(const CallFault &fault, GError **error);

/// Leaves the exception's error, unless an error is there already, and sets errno.
void fail_with_exception(const std::exception &problem, GError **error);

/// Runs `work`, which takes the address of an error (or null). An exception becomes an error and the failed result.
template <typename Result, typename Work>
Result guarded(const Answer<Result> &answer, GError **error, const Work &work) {
  try {
    return work(error);
  } catch (const std::exception &problem) {
    fail_with_exception(problem, error);
    return answer.failed;
  }
}

/// Stands for the result of a call that returns nothing.
struct Nothing {};

/// A call in a session that answers from a recording.
template <typename Result, typename Work>
Result replay_call(Session &session, std::string_view name, const Answer<Result> &answer, GError **error,
                   std::span<const LogField> arguments, const Work &work) {
  const ReplayedCall found = find_replayed(session, name, arguments, error);
  if (found.does_work) return work(error);
  if (found.item == nullptr) return answer.failed;
  const int number = errno;
  Result result = answer.failed;
  if constexpr (std::is_same_v<Result, Nothing>) {
    repeat_replayed(*found.item);
  } else {
    give_replayed(session, *found.item, result);
  }
  errno = number;
  return result;
}

/// Runs a call in `session`: faults, work, log line. To be called inside guarded(). An error that is in `error` already
/// stays.
template <typename Result, typename Work>
Result run_call_in(Session &session, std::string_view name, CallKind kind, const Answer<Result> &answer, GError **error,
                   std::initializer_list<LogField> arguments, const Work &work) {
  const bool logged = session.log.is_open() && (kind == CallKind::kOrdinary || session.config.log_getters);
  GError *own = nullptr;
  GError **slot = error != nullptr && *error == nullptr ? error : (logged ? &own : nullptr);
  const auto make = [&] {
    return guarded(answer, slot, [&](GError **own_slot) {
      if (session.replay == nullptr) return static_cast<Result>(work(own_slot));
      return replay_call(session, name, answer, own_slot, std::span(arguments.begin(), arguments.size()), work);
    });
  };
  if (!logged && session.call_script.is_empty()) return make();

  const int errno_before = errno;
  const CallFault *fault = begin_call(session, name);
  Result result = answer.failed;
  int number = 0;
  if (fault != nullptr) {
    number = apply_fault(*fault, slot);
  } else {
    errno = errno_before;
    result = make();
    number = errno;
  }
  if (logged) {
    const bool failed = fault != nullptr || *slot != nullptr || answer.is_failure(result);
    const LogFailure failure{*slot, number};
    session.log.write_call(name, arguments, answer.show(result), failed ? &failure : nullptr);
  }
  g_clear_error(&own);
  errno = number;
  return result;
}

/// A call of the interface, from its first line on: `work` does it.
template <typename Result, typename Work>
Result run_call(std::string_view name, CallKind kind, const Answer<Result> &answer, GError **error,
                std::initializer_list<LogField> arguments, const Work &work) {
  return guarded(answer, error,
                 [&](GError **) { return run_call_in(session(), name, kind, answer, error, arguments, work); });
}

/// The same for a call that makes the first object of a run: `work` takes the session too, which is a new one when
/// ZEL_CAMERA names another file by now.
template <typename Result, typename Work>
Result run_first_call(std::string_view name, const Answer<Result> &answer, GError **error,
                      std::initializer_list<LogField> arguments, const Work &work) {
  return guarded(answer, error, [&](GError **) {
    Session &now = renewed_session();
    return run_call_in(now, name, CallKind::kOrdinary, answer, error, arguments,
                       [&](GError **slot) { return work(now, slot); });
  });
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

inline constexpr Answer<Nothing> kNoResult{
    {}, [](const Nothing &) -> LogValue { return nullptr; }, [](const Nothing &) { return false; }};

}  // namespace camera

#endif
