// A call on its way from the program to the library and back.
#ifndef ZEL_RECORDER_CROSSING_H
#define ZEL_RECORDER_CROSSING_H

#include <dlfcn.h>

#include <tuple>
#include <type_traits>

#include "recorder/shim/recording.h"
#include "recorder/shim/values.h"

/// Marks what stands before the library's function of the same name.
#define ZEL_SHIM extern "C" __attribute__((visibility("default")))

namespace recorder {

/// A function's name as a template argument.
template <std::size_t kSize>
struct Name {
  // NOLINTNEXTLINE(google-explicit-constructor): literals become names
  constexpr Name(const char (&letters)[kSize]) {
    for (std::size_t i = 0; i < kSize; ++i)
      text[i] = letters[i];
  }
  char text[kSize]{};
};

/// Ends the process as the loader does when a program needs a function that no library has.
[[noreturn]] void end_without(const char *name);

/// The function of that name behind this library's.
template <Name kName, typename Function>
Function *next_function() {
  static constinit std::atomic<Function *> known = nullptr;
  Function *next = known.load(std::memory_order_relaxed);
  if (next != nullptr) return next;
  const ErrnoKept kept;
  next = reinterpret_cast<Function *>(dlsym(RTLD_NEXT, kName.text));
  if (next == nullptr) end_without(kName.text);
  known.store(next, std::memory_order_relaxed);
  return next;
}

/// What is written down of every call besides arguments and result.
struct CallTimes {
  std::uint64_t at_ns = 0;
  std::uint64_t until_ns = 0;
  int errno_before = 0;
  int errno_after = 0;
};

/// The state of the error slot before the call.
enum class SlotState { kNotTaken, kNone, kHeld, kEmpty };

inline SlotState state_of(GError *const *slot) {
  if (slot == nullptr) return SlotState::kNone;
  return *slot != nullptr ? SlotState::kHeld : SlotState::kEmpty;
}

/// Marks the thread as inside the library for one call, and measures it.
class InsideCall {
 public:
  explicit InsideCall(const char *name) : times_{.errno_before = errno} {
    thread_state.inside = true;
    thread_state.doing = name;
    times_.at_ns = elapsed_ns();
    errno = times_.errno_before;
  }
  InsideCall(const InsideCall &) = delete;
  InsideCall &operator=(const InsideCall &) = delete;
  ~InsideCall() { errno = times_.errno_after; }

  /// The library is done.
  const CallTimes &returned() {
    times_.errno_after = errno;
    times_.until_ns = elapsed_ns();
    thread_state.inside = false;
    thread_state.doing = nullptr;
    return times_;
  }

 private:
  CallTimes times_;
};

// ---- Results -----------------------------------------------------------------------------------------------------

/// How most results are written down.
struct PlainResult {
  static auto of(const auto &result) {
    if constexpr (std::is_same_v<std::remove_cvref_t<decltype(result)>, GVariant *>) {
      return Variant{result};
    } else {
      return snapshot(result);
    }
  }
};

/// Whether a call of this result has failed, as far as its result tells.
template <typename Result>
bool looks_failed(const Result &result) {
  if constexpr (std::is_same_v<Result, zel_chunk>) {
    return result.mark == G_MININT32;
  } else if constexpr (std::is_pointer_v<Result>) {
    return result == nullptr;
  } else if constexpr (std::is_same_v<Result, gint>) {
    return result <= 0;
  } else {
    return false;
  }
}

// ---- The call ----------------------------------------------------------------------------------------------------

template <typename Sink>
void encode_call_head(Sink &sink, std::string_view name, std::uint32_t thread, const CallTimes &times) {
  formats::put_cbor_byte(sink, formats::kCborOpenMap);
  put_text_field(sink, formats::kItemCall, name);
  put_field(sink, formats::kKeyThread, thread);
  put_field(sink, formats::kKeyAt, times.at_ns);
  put_field(sink, formats::kKeyTook, times.until_ns - times.at_ns);
}

/// The arguments but the error's address.
template <typename Sink, typename... Snapshots>
void encode_arguments(Sink &sink, const std::tuple<Snapshots...> &snapshots) {
  constexpr std::size_t kCount = (std::size_t{!std::is_same_v<Snapshots, ErrorSlot>} + ... + 0);
  formats::put_cbor_text(sink, formats::kKeyWith);
  formats::put_cbor_head(sink, formats::CborMajor::kArray, kCount);
  const auto one = [&sink](const auto &value) {
    if constexpr (!std::is_same_v<std::remove_cvref_t<decltype(value)>, ErrorSlot>) encode(sink, value);
  };
  std::apply([&one](const auto &...values) { (one(values), ...); }, snapshots);
}

/// What goes wrong, and the end of the item.
template <typename Sink>
void encode_failure(Sink &sink, SlotState slot, const GError *error, bool has_failed, const CallTimes &times) {
  if (slot == SlotState::kNone) put_text_field(sink, formats::kKeySlot, formats::kSlotNone);
  if (slot == SlotState::kHeld) put_text_field(sink, formats::kKeySlot, formats::kSlotHeld);
  if (error != nullptr) {
    formats::put_cbor_text(sink, formats::kKeyError);
    encode(sink, Failure{error});
  }
  if (has_failed || error != nullptr || times.errno_after != times.errno_before)
    put_field(sink, formats::kKeyErrno, times.errno_after);
  formats::put_cbor_byte(sink, formats::kCborBreak);
}

/// The error slot among the arguments.
template <typename... Snapshots>
GError **slot_in(const std::tuple<Snapshots...> &snapshots, bool &taken) {
  GError **slot = nullptr;
  const auto one = [&](const auto &value) {
    if constexpr (std::is_same_v<std::remove_cvref_t<decltype(value)>, ErrorSlot>) {
      slot = value.slot;
      taken = true;
    }
  };
  std::apply([&one](const auto &...values) { (one(values), ...); }, snapshots);
  return slot;
}

/// Makes the call and writes it down. `Shape::of(result)` gives what is written of the result.
template <Name kName, typename Shape, typename Function, typename... Arguments>
auto record_call(Function *next, Arguments... arguments) {
  using Result = std::invoke_result_t<Function *, Arguments...>;
  const int errno_before = errno;
  const std::tuple snapshots{snapshot(arguments)...};
  bool takes_error = false;
  GError **const slot = slot_in(snapshots, takes_error);
  const SlotState state = takes_error ? state_of(slot) : SlotState::kNotTaken;
  errno = errno_before;
  InsideCall call(kName.text);
  const auto write = [&](const CallTimes &times, bool has_failed, const auto &encode_result) {
    const GError *error = state == SlotState::kEmpty ? *slot : nullptr;
    const std::uint32_t thread = thread_number();
    (void)write_item([&](auto &sink) {
      encode_call_head(sink, kName.text, thread, times);
      encode_arguments(sink, snapshots);
      encode_result(sink);
      encode_failure(sink, state, error, has_failed, times);
    });
  };
  if constexpr (std::is_void_v<Result>) {
    next(arguments...);
    write(call.returned(), false, [](auto &) {});
  } else {
    const Result result = next(arguments...);
    const CallTimes &times = call.returned();
    const auto shown = Shape::of(result);
    const bool can_fail = takes_error || std::string_view(kName.text) == "zel_stream_stop";
    write(times, can_fail && looks_failed(result), [&shown](auto &sink) {
      formats::put_cbor_text(sink, formats::kKeyGave);
      encode(sink, shown);
    });
    return result;
  }
}

/// Whether a call that is made now crosses from the program and is to be written down.
inline bool is_recorded() {
  return recording_is_on.load(std::memory_order_relaxed) && !thread_state.inside;
}

/// A function of the interface: the call goes on to the library's.
template <Name kName, auto *kFunction, typename Shape = PlainResult, typename... Arguments>
auto cross(Arguments... arguments) {
  auto *const next = next_function<kName, std::remove_pointer_t<decltype(kFunction)>>();
  if (!is_recorded()) return next(arguments...);
  return record_call<kName, Shape>(next, arguments...);
}

}  // namespace recorder

#endif
