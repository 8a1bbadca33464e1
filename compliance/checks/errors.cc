// Errors: how the client tells one failure from another.
#include <sys/time.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

/// The code of "nothing to fetch yet".
constexpr gint kNothingToFetch = 13;

void check_domain() {
  const GQuark domain = zel().error_quark();
  expect(domain != 0, "zel_error_quark gave 0, expected a domain");
  expect_equal("the domain that zel_error_quark gives when it is called again", zel().error_quark(), domain);
}

/// A stream whose buffers this process fetches and keeps, so that at last there is nothing to fetch.
class DrainedStream {
 public:
  explicit DrainedStream(bool blocking) : stream_(Request().set("socket.blocking", blocking)) { stream_.run(kBuffers); }

  /// Fetches until a fetch fails, which leaves its error in the slot.
  void drain(ErrorSlot &error) {
    while (held_.size() <= kBuffers) {
      errno = 0;
      BufferPtr buffer(zel().stream_get_buffer(stream_.get(), error.address()));
      if (buffer == nullptr) return;
      held_.push_back(std::move(buffer));
    }
    throw Finding("more buffers were filled than the stream has, of which none was handed back, expected " +
                  shown(kBuffers));
  }

 private:
  static constexpr unsigned kBuffers = 2;

  Stream stream_;
  std::vector<BufferPtr> held_;
};

void check_nothing_to_fetch() {
  DrainedStream stream(false);
  ErrorSlot error;
  stream.drain(error);
  expect(error.is_code(kNothingToFetch), "a fetch that found nothing left " + error.text() + ", expected error 13 of " +
                                             g_quark_to_string(zel().error_quark()));
  if (error.get() == nullptr) return;
  expect_truth("zel_error_is_expected of " + error.text(), zel().error_is_expected(error.address()), false);
}

/// Sends this process SIGALRM every 20 ms for as long as it lives.
class Alarms {
 public:
  Alarms() {
    struct sigaction action = {};
    action.sa_handler = [](int) {};
    action.sa_flags = SA_RESTART;  // as signal() installs the client's handler
    (void)sigaction(SIGALRM, &action, nullptr);
    const itimerval often = {.it_interval = {0, 20000}, .it_value = {0, 20000}};
    (void)setitimer(ITIMER_REAL, &often, nullptr);
  }
  Alarms(const Alarms &) = delete;
  Alarms &operator=(const Alarms &) = delete;
  ~Alarms() {
    const itimerval never = {};
    (void)setitimer(ITIMER_REAL, &never, nullptr);
  }
};

void check_interrupted_fetch() {
  DrainedStream stream(true);
  ErrorSlot error;
  const Alarms alarms;
  stream.drain(error);
  const int number = errno;
  expect(number == EINTR, "a fetch that waited when a signal came left errno " + shown(number) + " (" +
                              std::strerror(number) + ") and " + error.text() + ", expected errno " + shown(EINTR) +
                              " (" + std::strerror(EINTR) + ")");
}

void check_end_of_stream() {
  const Request request = Request().set("snapshot", true).set("socket.blocking", false);
  Stream stream(request, "a snapshot");
  stream.run(4);
  (void)stream.fetch_when_readable();
  // A stream that ends says so by its descriptor; one that goes on delivers further frames.
  for (int frames = 1; frames < 4; ++frames) {
    if (!is_readable(stream.descriptor(), short_patience_ms()))
      throw Skip("the library shows no end of a snapshot stream");
    ErrorSlot error;
    const BufferPtr buffer(zel().stream_get_buffer(stream.get(), error.address()));
    if (buffer != nullptr) continue;
    if (error.is_code(kNothingToFetch)) throw Skip("the library shows no end of a snapshot stream");
    require(error.get() != nullptr, "a fetch at the end of a stream failed without an error, expected one");
    expect_truth("zel_error_is_expected of " + error.text(), zel().error_is_expected(error.address()), true);
    return;
  }
  throw Skip("the library goes on after a snapshot");
}

void check_refusal() {
  constexpr guint32 kNoFormat = 0x7FFFFF00;
  const Request request = Request().set("format", kNoFormat);
  ErrorSlot error;
  const ObjectPtr<zel_stream> stream(zel().stream_new(request.map(), nullptr, error.address()));
  if (stream != nullptr) throw Skip("the library takes the format " + std::to_string(kNoFormat));
  require(error.get() != nullptr, "zel_stream_new refused a request without an error, expected one");
  expect(error.get()->domain == zel().error_quark(),
         "zel_stream_new left " + error.text() + ", expected the domain of zel_error_quark");
  const gchar *message = error.get()->message;
  expect(message != nullptr && *message != '\0', "a refusal has no message, expected one");
}

void check_null_slots() {
  Stream stream{Request().set("socket.blocking", false)};
  (void)zel().stream_get_event_fd(stream.get(), nullptr);
  stream.provide(2);
  expect_truth("zel_stream_start without an error slot", zel().stream_start(stream.get(), nullptr), true);
  (void)zel().stream_force_key_frame(stream.get(), nullptr);
  const MapPtr event(zel().stream_get_event(stream.get(), nullptr));
  const BufferPtr buffer = stream.fetch_when_readable();
  expect(zel().frame_take_chunk(buffer.get(), nullptr).mark != G_MININT32,
         "zel_frame_take_chunk without an error slot gave a chunk with the mark of a failure, expected data");
  stream.tear_down();  // buffers are released without a slot
}

}  // namespace

std::vector<Check> error_checks() {
  return {
      {.name = "Errors.Domain",
       .expects = "zel_error_quark gives one domain, always the same",
       .relies = "The client knows the library's errors, and makes its own, in this domain",
       .run = check_domain},
      {.name = "Errors.NothingToFetch",
       .expects = "A fetch that does not block and finds nothing fails with code 13, which is no expected error",
       .relies = "Interactive and delayed runs go on silently at this code and print any other",
       .run = check_nothing_to_fetch},
      {.name = "Errors.InterruptedFetch",
       .expects = "A signal ends a blocking fetch, with errno EINTR",
       .relies = "Ctrl-C ends a run with its files finished, also while no frame comes",
       .run = check_interrupted_fetch},
      {.name = "Errors.EndOfStream",
       .expects = "zel_error_is_expected is true of the error at the end of a stream",
       .relies = "The run ends there; at any other error the client prints a line and fetches again",
       .run = check_end_of_stream,
       .needs_frames = true},
      {.name = "Errors.Refusal",
       .expects = "A refused request leaves an error with a message",
       .relies = "The client prints it; without an error it would end silently, as if all had gone well",
       .run = check_refusal},
      {.name = "Errors.NullSlots",
       .expects = "Calls take NULL for the error slot",
       .relies = "The event descriptor, events, key frames, the key Enter, and the release of buffers at the end",
       .run = check_null_slots,
       .needs_frames = true},
  };
}

}  // namespace compliance
