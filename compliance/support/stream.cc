// Driving a stream.
#include "compliance/support/stream.h"

#include <poll.h>

#include <cerrno>
#include <cstring>

#include "compliance/common/finding.h"

namespace compliance {
namespace {

/// The stream, or null with the error.
zel_stream *new_stream(const Request &request, ErrorSlot &error) {
  return zel().stream_new(request.map(), nullptr, error.address());
}

}  // namespace

std::string ErrorSlot::text() const {
  if (error_ == nullptr) return "no error";
  const gchar *domain = g_quark_to_string(error_->domain);
  return "error " + std::to_string(error_->code) + " of " + (domain != nullptr ? domain : "no domain") + ": " +
         (error_->message != nullptr ? error_->message : "(no message)");
}

std::string failure_text(const char *call, const ErrorSlot &error, int number) {
  return std::string(call) + " failed with " + error.text() + " (errno: " + std::strerror(number) + ")";
}

int patience_ms() {
  return static_cast<int>(options.limit) * 500;
}

int short_patience_ms() {
  return patience_ms() / 5;
}

bool is_readable(int descriptor, int milliseconds) {
  pollfd one = {.fd = descriptor, .events = POLLIN, .revents = 0};
  return poll(&one, 1, milliseconds) == 1;
}

Stream::Stream(const Request &request) {
  ErrorSlot error;
  stream_.reset(new_stream(request, error));
  if (stream_ == nullptr) throw Finding(failure_text("zel_stream_new", error, errno) + ", expected a stream");
}

Stream::Stream(const Request &request, const std::string &what) {
  ErrorSlot error;
  stream_.reset(new_stream(request, error));
  if (stream_ == nullptr) throw Skip("the library refuses " + what + ": " + error.text());
}

Stream::~Stream() {
  try {
    tear_down();
  } catch (const MissingFunction &) {  // the check has found it
  }
}

void Stream::provide(unsigned count) {
  for (unsigned i = 0; i < count; ++i) {
    ErrorSlot error;
    zel_buffer *buffer = zel().stream_buffer_alloc(get(), nullptr, error.address());
    const std::string which = ", expected buffer " + std::to_string(i + 1) + " of " + std::to_string(count);
    if (buffer == nullptr) throw Finding(failure_text("zel_stream_buffer_alloc", error, errno) + which);
    buffers_.push_back(buffer);
    if (zel().stream_buffer_enqueue(get(), buffer, error.address()) == FALSE) {
      throw Finding(failure_text("zel_stream_buffer_enqueue", error, errno) + which + " to be taken");
    }
  }
}

void Stream::start() {
  ErrorSlot error;
  if (zel().stream_start(get(), error.address()) == FALSE) {
    throw Finding(failure_text("zel_stream_start", error, errno) + ", expected the stream to start");
  }
}

void Stream::stop() {
  if (zel().stream_stop(get()) == FALSE) throw Finding("zel_stream_stop gave FALSE, expected TRUE");
}

BufferPtr Stream::fetch() {
  ErrorSlot error;
  BufferPtr buffer(zel().stream_get_buffer(get(), error.address()));
  if (buffer == nullptr) {
    throw Finding(failure_text("zel_stream_get_buffer", error, errno) + ", expected a filled buffer");
  }
  return buffer;
}

BufferPtr Stream::fetch_when_readable() {
  if (!is_readable(descriptor(), patience_ms())) {
    throw Finding("no frame came within " + std::to_string(patience_ms() / 1000) + " s, expected one");
  }
  return fetch();
}

void Stream::hand_back(const BufferPtr &buffer) {
  ErrorSlot error;
  if (zel().stream_buffer_enqueue(get(), buffer.get(), error.address()) == FALSE) {
    throw Finding(failure_text("zel_stream_buffer_enqueue", error, errno) + ", expected the buffer to be taken back");
  }
}

int Stream::descriptor() const {
  ErrorSlot error;
  const gint descriptor = zel().stream_get_fd(get(), error.address());
  if (descriptor < 0) throw Finding(failure_text("zel_stream_get_fd", error, errno) + ", expected a descriptor");
  return descriptor;
}

MapPtr Stream::info() const {
  ErrorSlot error;
  MapPtr info(zel().stream_get_info(get(), error.address()));
  if (info == nullptr) throw Finding(failure_text("zel_stream_get_info", error, errno) + ", expected a map");
  return info;
}

double Stream::rate() const {
  const double rate = zel().map_get_double(info().get(), "framerate", 0.0);
  if (!(rate > 0.0)) throw Finding("the stream's info has no \"framerate\", expected frames a second as a double");
  return rate;
}

void Stream::tear_down() {
  if (stream_ == nullptr) return;
  (void)zel().stream_stop(get());
  for (zel_buffer *&buffer : buffers_) {
    if (buffer != nullptr) (void)zel().stream_buffer_unref(get(), &buffer, nullptr);
  }
  buffers_.clear();
  stream_.reset();
}

}  // namespace compliance
