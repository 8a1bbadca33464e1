// A stream as zel-client drives one.
#ifndef ZEL_COMPLIANCE_STREAM_H
#define ZEL_COMPLIANCE_STREAM_H

#include <cstdint>
#include <string>
#include <vector>

#include "common/owned.h"
#include "compliance/support/request.h"

namespace compliance {

using BufferPtr = ObjectPtr<zel_buffer>;
using MapPtr = ObjectPtr<zel_map>;

/// An error slot, emptied with the object.
class ErrorSlot {
 public:
  ErrorSlot() = default;
  ErrorSlot(const ErrorSlot &) = delete;
  ErrorSlot &operator=(const ErrorSlot &) = delete;
  ~ErrorSlot() { g_clear_error(&error_); }

  GError **address() { return &error_; }
  const GError *get() const { return error_; }
  bool is_code(gint code) const { return g_error_matches(error_, zel().error_quark(), code) != FALSE; }
  /// "error 13 of zel-error: the message", or "no error".
  std::string text() const;

 private:
  GError *error_ = nullptr;
};

/// Milliseconds that something which must come is waited for: half of what a check may take.
int patience_ms();
/// A fifth of that, for what need not come.
int short_patience_ms();

/// Whether the descriptor is readable, at the latest after so many milliseconds.
bool is_readable(int descriptor, int milliseconds);

/// A stream with the buffers that were provided for it. What fails is a Finding. At its end it is stopped and released
/// in the client's order.
class Stream {
 public:
  /// A stream of the request.
  explicit Stream(const Request &request);
  /// The same; a refusal is a Skip that begins with `what`: a library need not have everything.
  Stream(const Request &request, const std::string &what);
  Stream(const Stream &) = delete;
  Stream &operator=(const Stream &) = delete;
  ~Stream();

  zel_stream *get() const { return stream_.get(); }
  const std::vector<zel_buffer *> &buffers() const { return buffers_; }

  /// Allocates and enqueues so many buffers, one after the other.
  void provide(unsigned count);
  void start();
  void stop();
  /// provide() and start().
  void run(unsigned count) {
    provide(count);
    start();
  }
  /// The next frame's buffer; waits as long as the library does.
  BufferPtr fetch();
  /// The same of a stream that does not block, after waiting for the descriptor. A Finding when nothing comes.
  BufferPtr fetch_when_readable();
  void hand_back(const BufferPtr &buffer);
  int descriptor() const;
  /// Frames a second, as the stream's info has it; a Finding when there is no such number.
  double rate() const;
  MapPtr info() const;
  /// Stops, releases the buffers and then the stream.
  void tear_down();

 private:
  ObjectPtr<zel_stream> stream_;
  std::vector<zel_buffer *> buffers_;  ///< each one reference
};

/// What a call said when it failed: the error's text and that of errno.
std::string failure_text(const char *call, const ErrorSlot &error, int number);

}  // namespace compliance

#endif
