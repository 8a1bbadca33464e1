// Errors: how the client tells one failure from another.
#include <gtest/gtest.h>
#include <sys/time.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <string>

#include "compliance/checks/check.h"
#include "compliance/common/finding.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

/// The code of "nothing to fetch yet".
constexpr gint kNothingToFetch = 13;

void check_domain() {
  const GQuark domain = zel().error_quark();
  EXPECT_NE(domain, 0U) << "of zel_error_quark";
  EXPECT_EQ(zel().error_quark(), domain) << "of zel_error_quark, called twice";
}

void check_nothing_to_fetch() {
  Stream stream(Request().set("socket.blocking", false));
  stream.start();  // without a buffer to fill
  ErrorSlot error;
  const BufferPtr buffer(zel().stream_get_buffer(stream.get(), error.address()));
  EXPECT_EQ(buffer, nullptr) << "fetched from a stream that has no buffers";
  EXPECT_TRUE(error.is_code(kNothingToFetch))
      << "the fetch left " << error.text() << ", expected error 13 of " << g_quark_to_string(zel().error_quark());
  if (error.get() != nullptr) {
    EXPECT_FALSE(zel().error_is_expected(error.address())) << "zel_error_is_expected of " << error.text();
  }
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
  Stream stream(Request().set("socket.blocking", true));
  stream.start();  // without a buffer to fill, so that only a signal can end the fetch
  ErrorSlot error;
  int number = 0;
  {
    const Alarms alarms;
    errno = 0;
    const BufferPtr buffer(zel().stream_get_buffer(stream.get(), error.address()));
    number = errno;
    EXPECT_EQ(buffer, nullptr) << "fetched from a stream that has no buffers";
  }
  EXPECT_EQ(number, EINTR) << "errno (" << std::strerror(number) << ") after a signal, on the left; the fetch left "
                           << error.text();
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
    ASSERT_NE(error.get(), nullptr) << "a fetch failed without an error, expected one";
    EXPECT_TRUE(zel().error_is_expected(error.address())) << "zel_error_is_expected of " << error.text();
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
  ASSERT_NE(error.get(), nullptr) << "zel_stream_new refused a request without an error, expected one";
  EXPECT_EQ(error.get()->domain, zel().error_quark()) << "the domain of " << error.text() << ", on the left";
  EXPECT_STRNE(error.get()->message, "") << "the message of a refusal";
}

void check_null_slots() {
  Stream stream{Request().set("socket.blocking", false)};
  EXPECT_GE(zel().stream_get_event_fd(stream.get(), nullptr), -1) << "the event descriptor, on the left";
  stream.provide(2);
  EXPECT_TRUE(zel().stream_start(stream.get(), nullptr)) << "zel_stream_start";
  EXPECT_TRUE(zel().stream_force_key_frame(stream.get(), nullptr)) << "zel_stream_force_key_frame";
  const MapPtr event(zel().stream_get_event(stream.get(), nullptr));
  const BufferPtr buffer = stream.fetch_when_readable();
  EXPECT_NE(zel().frame_take_chunk(buffer.get(), nullptr).mark, G_MININT32) << "the mark of a chunk";
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
       .run = check_end_of_stream},
      {.name = "Errors.Refusal",
       .expects = "A refused request leaves an error with a message",
       .relies = "The client prints it; without an error it would end silently, as if all had gone well",
       .run = check_refusal},
      {.name = "Errors.NullSlots",
       .expects = "Calls take NULL for the error slot",
       .relies = "The event descriptor, events, key frames, and the release of buffers at the end",
       .run = check_null_slots},
  };
}

}  // namespace compliance
