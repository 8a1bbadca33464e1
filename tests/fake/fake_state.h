// What the files of the fake libzel share: the record, the scripted failures and the objects' insides.
#ifndef ZEL_CLIENT_TESTS_FAKE_STATE_H
#define ZEL_CLIENT_TESTS_FAKE_STATE_H

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "fake_zel.h"

namespace fake {

struct VariantUnref {
  void operator()(GVariant *variant) const { g_variant_unref(variant); }
};
using VariantPtr = std::unique_ptr<GVariant, VariantUnref>;

/// A failure that waits for its use of a call.
struct PlannedFailure {
  std::string call;
  unsigned uses_left;  ///< 0: every use fails
  Failure failure;
};

/// A fetch that returns NULL without an error.
struct NullFetch {};

/// One answer of zel_stream_get_buffer, or an action before it.
using Fetch = std::variant<Frame, Failure, NullFetch, std::function<void()>>;

/// Everything that reset() forgets.
struct State {
  Script script;
  std::deque<Fetch> fetches;
  std::deque<FillMap> events;
  std::vector<PlannedFailure> failures;
  std::vector<std::string> calls;
  MapPtr requested;
  std::size_t enqueued = 0;
  bool last_error_expected = false;
};

State &state();
LiveObjects &live();

void record(std::string call);

/// The failure planned for this use of `call`, if any. Counts the use.
std::optional<Failure> planned_failure(std::string_view call);

/// Leaves the failure in the error slot and in errno.
void apply(const Failure &failure, GError **error);

/// Records `call` (its first word is the name), and carries out a planned failure. True when the call shall fail.
bool record_and_maybe_fail(const std::string &call, GError **error);

/// A new buffer with a number of its own.
zel_buffer *new_buffer(guint32 number, gsize capacity);

/// "buffer=N".
std::string name_of(const zel_buffer *buffer);

}  // namespace fake

#endif
