// Sorting a recording's items by objects and threads.
#include "replay/recorded_run.h"

#include <glib.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "formats/recording_text.h"

namespace camera {
namespace {

using formats::CallClass;
using formats::ItemKind;
using formats::RecordedValue;
using formats::RecordingItem;

/// Whether handlers get the signal: a replay that sent another would end the program.
bool can_be_handled(std::int64_t number) {
  return number > 0 && number < NSIG && number != SIGKILL && number != SIGSTOP;
}

/// Whether GLib takes the name for a type.
bool is_type_name(const std::string &name) {
  constexpr std::size_t kShortest = 3;
  const auto is_first = [](char letter) { return g_ascii_isalpha(letter) || letter == '_'; };
  const auto is_later = [&](char letter) {
    return is_first(letter) || g_ascii_isdigit(letter) || letter == '-' || letter == '+';
  };
  return name.size() >= kShortest && is_first(name[0]) && std::all_of(name.begin(), name.end(), is_later);
}

/// No frame is larger.
constexpr std::uint64_t kLargestChunk = std::uint64_t{1} << 30U;

bool is_step(const RecordingItem &call) {
  switch (call.row().kind) {
    case CallClass::kGetter:
      return false;
    case CallClass::kFetch: {
      constexpr std::int64_t kNothingToFetch = 13;
      const RecordedValue *error = call.fields.find(formats::kKeyError);
      const RecordedValue *code = error != nullptr ? error->find(formats::kErrorCode) : nullptr;
      if (code != nullptr) return code->as_integer() != kNothingToFetch;
      if (!call.gave()->is_null()) return true;
      if (call.row().name == "zel_stream_get_event") return false;
      // To a program that takes no error only errno tells.
      constexpr std::int64_t kAgain = 11;
      return call.text(formats::kKeySlot) != formats::kSlotNone || call.number(formats::kKeyErrno) != kAgain;
    }
    case CallClass::kStep:
      break;
  }
  return true;
}

}  // namespace

std::uint32_t object_of(const formats::RecordedCall &row, const RecordedValue::List &arguments) {
  const bool is_object = !row.arguments.empty() && std::string_view("msb").find(row.arguments[0]) != std::string::npos;
  return is_object && !arguments.empty() ? static_cast<std::uint32_t>(arguments[0].as_unsigned().value_or(0)) : 0;
}

RecordedRun::RecordedRun(const std::string &path) : path_(path) {
  formats::RecordingReader reader(path);
  while (std::optional<RecordingItem> item = reader.next())
    add(*std::move(item));
  end_threads();
  check_types();
  made_up_.reset(static_cast<std::uint8_t *>(std::calloc(largest_made_up_ + 1, 1)));
  if (made_up_ == nullptr)
    throw std::runtime_error(path_ + ": no memory for a chunk of " + std::to_string(largest_made_up_) + " bytes");
}

void RecordedRun::add(RecordingItem item) {
  if (item.kind == ItemKind::kLost) throw std::runtime_error(path_ + ": items are lost in it: it cannot be replayed");
  if (item.kind == ItemKind::kSignal) {
    const std::int64_t number = item.number(formats::kItemSignal).value_or(0);
    if (!can_be_handled(number))
      throw std::runtime_error(path_ + ": a handler that gets signal " + std::to_string(number));
    threads_[item.thread].signals.push_back(
        {static_cast<int>(number), item.at_ns, std::string(item.text(formats::kKeyDuring))});
  } else if (item.kind == ItemKind::kPoll) {
    threads_[item.thread].has_waited = true;
  } else if (item.kind == ItemKind::kCall) {
    add_call(std::move(item));
  }
}

void RecordedRun::add_call(RecordingItem item) {
  const RecordingItem &call = calls_.emplace_back(std::move(item));
  ThreadSoFar &thread = threads_[call.thread];
  for (const Waiting &signal : thread.signals) {
    if (signal.during == call.row().name) {
      during_[&call].push_back(signal.number);
    } else {
      const bool is_in_wait = signal.during == formats::kDuringPoll || thread.has_waited;
      between_.push_back({signal.number, signal.at_ns, thread.last, &call, is_in_wait});
    }
  }
  thread = {&call, {}, false};

  objects_[object_of(call.row(), call.arguments())].push_back({&call, is_step(call)});
  const RecordedValue *gave = call.gave();
  if (call.row().name == "zel_stream_get_buffer" && !gave->is_null()) {
    const auto buffer = static_cast<std::uint32_t>(*gave->as_unsigned());
    objects_[buffer].push_back({});
    chunks_[buffer].clear();
  }
  if (call.row().result == 'c') note_chunk(call);
  if (call.row().result == 't' && gave->find(formats::kTypeValues) != nullptr) {
    const std::string &name = *gave->find(formats::kTypeName)->as<std::string>();
    if (!is_type_name(name)) throw std::runtime_error(path_ + ": " + formats::quoted(name, 50) + " is no type's name");
    types_.emplace(name, gave->find(formats::kTypeValues)->as<RecordedValue::List>());
  }
}

void RecordedRun::note_chunk(const RecordingItem &call) {
  const RecordedValue &gave = *call.gave();
  std::vector<const RecordingItem *> &earlier = chunks_[object_of(call.row(), call.arguments())];
  const RecordedValue *again = gave.find(formats::kChunkAgain);
  const std::uint64_t number = again != nullptr ? again->as_unsigned().value_or(UINT64_MAX) : UINT64_MAX;
  if (number < earlier.size()) again_.emplace(&call, holder_of(*earlier[static_cast<std::size_t>(number)]));
  earlier.push_back(&call);
  const RecordedValue *data = gave.find(formats::kChunkData);
  if (data != nullptr && !data->is_null()) return;
  const std::uint64_t size = gave.find(formats::kChunkSize)->as_unsigned().value_or(0);
  if (size > kLargestChunk) throw std::runtime_error(path_ + ": a chunk of " + std::to_string(size) + " bytes");
  largest_made_up_ = std::max(largest_made_up_, static_cast<std::size_t>(size));
}

const RecordingItem *RecordedRun::holder_of(const RecordingItem &chunk) const {
  const auto again = again_.find(&chunk);
  return again != again_.end() ? again->second : &chunk;
}

/// A program that asks for a type wants its values.
void RecordedRun::check_types() const {
  for (const RecordingItem &call : calls_) {
    const auto *name = call.row().result == 't' ? call.gave()->as<std::string>() : nullptr;
    if (name != nullptr && !types_.contains(*name))
      throw std::runtime_error(path_ + ": the values of the type " + formats::quoted(*name, 50) + " are not in it");
  }
}

/// What no call came behind: signals in calls that never returned, and those that came at the end.
void RecordedRun::end_threads() {
  for (const auto &[number, thread] : threads_) {
    for (const Waiting &signal : thread.signals) {
      if (formats::call_number(signal.during) != formats::kRecordedCalls.size()) {
        unreturned_.push_back(signal);
      } else {
        between_.push_back({signal.number, signal.at_ns, thread.last, nullptr, true});
      }
    }
  }
}

const std::vector<RecordedEvent> &RecordedRun::events_of(std::uint32_t object) const {
  static const std::vector<RecordedEvent> none;
  const auto found = objects_.find(object);
  return found != objects_.end() ? found->second : none;
}

const std::vector<int> &RecordedRun::signals_in(const RecordingItem &call) const {
  static const std::vector<int> none;
  const auto found = during_.find(&call);
  return found != during_.end() ? found->second : none;
}

std::vector<int> RecordedRun::signals_in_unreturned(std::string_view name) const {
  std::vector<int> numbers;
  for (const Waiting &signal : unreturned_) {
    if (signal.during == name) numbers.push_back(signal.number);
  }
  return numbers;
}

RecordedBytes RecordedRun::bytes_of(const RecordingItem &call) const {
  const RecordedValue &gave = *holder_of(call)->gave();
  const auto size = static_cast<std::size_t>(gave.find(formats::kChunkSize)->as_unsigned().value_or(0));
  const RecordedValue *data = gave.find(formats::kChunkData);
  const auto *bytes = data != nullptr ? data->as<RecordedValue::Bytes>() : nullptr;
  if (bytes != nullptr && !bytes->empty()) return {bytes->data(), size};
  return {data != nullptr && data->is_null() ? nullptr : made_up_.get(), size};
}

}  // namespace camera
