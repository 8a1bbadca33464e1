// The signals that handlers of the program get.
//
// In place of the program's handler the kernel calls one of ours, which writes the signal down and calls the program's.
// Whoever asks for the handler is told of the program's.
#include <csignal>
#include <cstring>

#include "recorder/shim/crossing.h"

namespace recorder {
namespace {

using PlainHandler = void(int);
using InfoHandler = void(int, siginfo_t *, void *);

// The program's handlers: those that take a number, and those that take more. A signal has one or the other.
std::atomic<PlainHandler *> plain_handlers[NSIG];
std::atomic<InfoHandler *> info_handlers[NSIG];

void write_signal(int number) {
  if (!recording_is_on) return;
  const ErrnoKept kept;
  const std::uint64_t at = elapsed_ns();
  const std::uint32_t thread = thread_number();
  const char *doing = thread_state.doing;
  (void)write_item([&](auto &sink) {
    formats::put_cbor_byte(sink, formats::kCborOpenMap);
    put_field(sink, formats::kItemSignal, number);
    put_field(sink, formats::kKeyThread, thread);
    put_field(sink, formats::kKeyAt, at);
    if (doing != nullptr) put_text_field(sink, formats::kKeyDuring, doing);
    formats::put_cbor_byte(sink, formats::kCborBreak);
  });
}

/// While a handler of the program runs the thread is in no call: those that the handler makes cross.
class HandlerRuns {
 public:
  HandlerRuns() : before_(thread_state) {
    thread_state.inside = false;
    thread_state.doing = nullptr;
    thread_state.dump = nullptr;
    thread_state.in_setting = false;
  }
  ~HandlerRuns() {
    thread_state.inside = before_.inside;
    thread_state.doing = before_.doing;
    thread_state.dump = before_.dump;
    thread_state.in_setting = before_.in_setting;
  }
  HandlerRuns(const HandlerRuns &) = delete;
  HandlerRuns &operator=(const HandlerRuns &) = delete;

 private:
  ThreadState before_;
};

void on_plain(int number) {
  write_signal(number);
  const HandlerRuns runs;
  plain_handlers[number].load()(number);
}

void on_info(int number, siginfo_t *info, void *context) {
  write_signal(number);
  const HandlerRuns runs;
  info_handlers[number].load()(number, info, context);
}

/// Whether the program sets or asks for the handler of a signal.
bool is_of_the_program(int number) {
  return number > 0 && number < NSIG && !thread_state.in_setting;
}

/// Calls signal() or sigaction() of the C library. What that calls in turn goes on to it as it stands.
template <typename Function, typename... Arguments>
auto set_by(Function *next, Arguments... arguments) {
  thread_state.in_setting = true;
  const auto result = next(arguments...);
  thread_state.in_setting = false;
  return result;
}

bool is_handler(sighandler_t handler) {
  return handler != SIG_DFL && handler != SIG_IGN && handler != SIG_ERR && handler != SIG_HOLD;
}

/// Where ours stands in place of the program's, the program's.
void show_own(struct sigaction &action, PlainHandler *plain, InfoHandler *info) {
  if ((action.sa_flags & SA_SIGINFO) != 0) {
    if (action.sa_sigaction == on_info) action.sa_sigaction = info;
  } else if (action.sa_handler == on_plain) {
    action.sa_handler = plain;
  }
}

/// What the kernel shall have in place of the program's action.
void put_ours(struct sigaction &action, int number) {
  if ((action.sa_flags & SA_SIGINFO) != 0) {
    if (action.sa_sigaction == nullptr || !is_handler(action.sa_handler)) return;
    info_handlers[number] = action.sa_sigaction;
    action.sa_sigaction = on_info;
  } else if (is_handler(action.sa_handler)) {
    plain_handlers[number] = action.sa_handler;
    action.sa_handler = on_plain;
  }
}

template <Name kName>
int set_action(int number, const struct sigaction *action, struct sigaction *old) {
  const auto next = next_function<kName, int(int, const struct sigaction *, struct sigaction *)>();
  if (!is_of_the_program(number)) return next(number, action, old);
  PlainHandler *const plain = plain_handlers[number];
  InfoHandler *const info = info_handlers[number];
  struct sigaction ours {};
  if (action != nullptr) {
    ours = *action;
    if (is_recorded()) put_ours(ours, number);
  }
  const int result = set_by(next, number, action != nullptr ? &ours : nullptr, old);
  if (result != 0) {
    plain_handlers[number] = plain;
    info_handlers[number] = info;
  } else if (old != nullptr) {
    show_own(*old, plain, info);
  }
  return result;
}

template <Name kName>
sighandler_t set_handler(int number, sighandler_t handler) {
  const auto next = next_function<kName, sighandler_t(int, sighandler_t)>();
  if (!is_of_the_program(number)) return next(number, handler);
  PlainHandler *const plain = plain_handlers[number];
  InfoHandler *const info = info_handlers[number];
  sighandler_t ours = handler;
  if (is_recorded() && is_handler(handler)) {
    plain_handlers[number] = handler;
    ours = on_plain;
  }
  const sighandler_t old = set_by(next, number, ours);
  if (old == SIG_ERR) plain_handlers[number] = plain;
  if (old == on_plain) return plain;
  if (old == std::bit_cast<sighandler_t>(&on_info)) return std::bit_cast<sighandler_t>(info);
  return old;
}

}  // namespace
}  // namespace recorder

using namespace recorder;

extern "C" int record_sigaction(int, const struct sigaction *, struct sigaction *) __asm__("sigaction");
extern "C" sighandler_t record_signal(int, sighandler_t) __asm__("signal");
extern "C" sighandler_t record_sysv_signal(int, sighandler_t) __asm__("__sysv_signal");

ZEL_SHIM int record_sigaction(int number, const struct sigaction *action, struct sigaction *old) {
  return set_action<"sigaction">(number, action, old);
}
ZEL_SHIM sighandler_t record_signal(int number, sighandler_t handler) {
  return set_handler<"signal">(number, handler);
}
ZEL_SHIM sighandler_t record_sysv_signal(int number, sighandler_t handler) {
  return set_handler<"__sysv_signal">(number, handler);
}
