// zel-record show: the calls of a recording as text, one line each.
#include <fmt/format.h>
#include <fnmatch.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "formats/recording_reader.h"
#include "formats/recording_text.h"
#include "frames/common/unusable.h"
#include "frames/model/position.h"
#include "frames/print/output.h"
#include "recorder/commands/command.h"
#include "recorder/commands/item_json.h"

namespace recorder {
namespace {

using formats::ItemKind;
using formats::RecordedValue;
using formats::RecordingItem;

struct ShowOptions {
  std::string recording;
  std::vector<std::string> calls;  ///< patterns of names; empty: all calls
  bool errors = false;
  std::optional<std::uint64_t> from_ns;
  std::optional<std::uint64_t> to_ns;
  bool json = false;
};

bool is_match(const std::string &pattern, std::string_view name) {
  return fnmatch(pattern.c_str(), std::string(name).c_str(), 0) == 0;
}

/// The patterns between the commas. One that no call's name is like is a mistake.
std::vector<std::string> patterns_in(const std::string &text) {
  std::vector<std::string> patterns;
  for (std::size_t begin = 0; begin <= text.size();) {
    const std::size_t end = std::min(text.find(',', begin), text.size());
    patterns.push_back(text.substr(begin, end - begin));
    begin = end + 1;
    const auto is_like = [&](const formats::RecordedCall &call) { return is_match(patterns.back(), call.name); };
    if (std::none_of(formats::kRecordedCalls.begin(), formats::kRecordedCalls.end(), is_like))
      frames::unusable("--calls: no call of libzel is named \"{}\"", patterns.back());
  }
  return patterns;
}

std::uint64_t time_in(const std::string &option, const std::string &text) {
  const std::optional<frames::Position> position = frames::parse_position(text);
  if (!position || !position->after_us || *position->after_us < 0)
    frames::unusable("{}: {} is no time such as 12.5s or 200ms", option, text);
  return static_cast<std::uint64_t>(*position->after_us) * 1000;
}

/// Whether a call failed, by its error or by its result. That there is no event, or no descriptor for events, is none.
bool has_failed(const RecordingItem &call) {
  if (call.fields.find(formats::kKeyError) != nullptr) return true;
  const formats::RecordedCall &row = call.row();
  if (row.name == "zel_stream_get_event" || row.name == "zel_stream_get_event_fd") return false;
  const RecordedValue *gave = call.gave();
  switch (row.result) {
    case 'm':
    case 's':
    case 'b':
      return gave->is_null();
    case 'c': {
      const RecordedValue *mark = gave->find(formats::kChunkMark);
      return mark != nullptr && mark->as_integer() == INT32_MIN;
    }
    case 'i':
      if (row.name == "zel_stream_get_fd") return *gave->as_integer() < 0;
      return (row.can_fail || row.name == "zel_stream_stop") && gave->as_integer() == 0;
    default:
      return false;
  }
}

bool is_chosen(const ShowOptions &options, const RecordingItem &item) {
  if (options.from_ns && item.at_ns < *options.from_ns) return false;
  if (options.to_ns && item.at_ns > *options.to_ns) return false;
  const bool only_calls = options.errors || !options.calls.empty();
  if (item.kind == ItemKind::kLost || !only_calls) return true;
  if (item.kind != ItemKind::kCall || (options.errors && !has_failed(item))) return false;
  const auto is_like = [&item](const std::string &pattern) { return is_match(pattern, item.row().name); };
  return options.calls.empty() || std::any_of(options.calls.begin(), options.calls.end(), is_like);
}

std::string errno_name(std::int64_t number) {
  const char *name = number > 0 && number <= INT32_MAX ? strerrorname_np(static_cast<int>(number)) : nullptr;
  return name != nullptr ? name : fmt::format("errno {}", number);
}

std::string call_line(const RecordingItem &call) {
  std::string line = formats::call_text(call.row(), call.arguments());
  if (call.gave() != nullptr) line += " = " + formats::result_text(call);
  if (const RecordedValue *error = call.fields.find(formats::kKeyError)) {
    line += fmt::format(" error {} {}", error->find(formats::kErrorCode)->as_integer().value_or(0),
                        formats::quoted(error->find(formats::kErrorText)->any_text(), 500));
  }
  if (const auto number = call.number(formats::kKeyErrno)) {
    if (*number != 0) line += " " + errno_name(*number);
  }
  return line + fmt::format(" <{:.6f}>", static_cast<double>(call.took_ns) / 1e9);
}

std::string poll_line(const RecordingItem &poll) {
  std::string set;
  const RecordedValue *entries = poll.fields.find(formats::kKeySet);
  const auto *list = entries != nullptr ? entries->as<RecordedValue::List>() : nullptr;
  for (const RecordedValue &entry : list != nullptr ? *list : RecordedValue::List{}) {
    const auto *parts = entry.as<RecordedValue::List>();
    if (parts == nullptr || parts->size() != 4) continue;
    const bool *is_event = (*parts)[1].as<bool>();
    set += fmt::format("{}stream {} {}: {}", set.empty() ? "" : ", ", (*parts)[0].as_unsigned().value_or(0),
                       is_event != nullptr && *is_event ? "events" : "frames",
                       (*parts)[3].as_unsigned().value_or(0) != 0 ? "ready" : "waiting");
  }
  const std::int64_t result = poll.number(formats::kItemPoll).value_or(0);
  std::string line = fmt::format("poll({}) = {}", set, result);
  if (const auto times = poll.number(formats::kKeyTimes)) line += fmt::format(", {} times", *times);
  if (const auto number = poll.number(formats::kKeyErrno)) line += " " + errno_name(*number);
  return line + fmt::format(" <{:.6f}>", static_cast<double>(poll.took_ns) / 1e9);
}

std::string signal_line(const RecordingItem &item) {
  const std::int64_t number = item.number(formats::kItemSignal).value_or(0);
  const char *name = number > 0 && number < NSIG ? sigabbrev_np(static_cast<int>(number)) : nullptr;
  const std::string_view during = item.text(formats::kKeyDuring);
  return fmt::format("--- SIG{}{}{} ---", name != nullptr ? name : std::to_string(number),
                     during.empty() ? "" : " during ", during);
}

/// What the objects are, by their numbers: calls tell it.
class Objects {
 public:
  void note(const RecordingItem &call) {
    const RecordedValue::List &arguments = call.arguments();
    for (std::size_t i = 0; i < arguments.size(); ++i)
      note(call.row().arguments[i], arguments[i]);
    if (call.gave() != nullptr) note(call.row().result, *call.gave());
  }

  std::string name(std::int64_t number) const {
    const auto kind = kinds_.find(static_cast<std::uint64_t>(number));
    return fmt::format("{} {}", kind != kinds_.end() ? kind->second : "object", number);
  }

 private:
  void note(char letter, const RecordedValue &value) {
    const char *kind = letter == 'm' ? "map" : letter == 's' ? "stream" : letter == 'b' ? "buffer" : nullptr;
    if (kind != nullptr && value.as_unsigned()) kinds_[*value.as_unsigned()] = kind;
  }

  std::unordered_map<std::uint64_t, const char *> kinds_;
};

std::string item_line(const RecordingItem &item, const Objects &objects) {
  switch (item.kind) {
    case ItemKind::kCall:
      return call_line(item);
    case ItemKind::kPoll:
      return poll_line(item);
    case ItemKind::kSignal:
      return signal_line(item);
    case ItemKind::kRelease:
      return "released " + objects.name(item.number(formats::kItemRelease).value_or(0));
    case ItemKind::kLost:
      return fmt::format("+++ {} items are lost here, {} bytes +++", item.number(formats::kItemLost).value_or(0),
                         item.number(formats::kKeyBytes).value_or(0));
    case ItemKind::kEnd:
      return fmt::format("+++ ended by {} with {} +++", item.text(formats::kItemEnd),
                         item.number(formats::kKeyStatus).value_or(0));
    default:
      return "+++ something that is not known here +++";
  }
}

/// A word as a shell takes it.
std::string shell_word(const std::string &word) {
  constexpr std::string_view kPlain = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_@%+=:,./-";
  if (!word.empty() && word.find_first_not_of(kPlain) == std::string::npos) return word;
  std::string quoted = "'";
  for (const char letter : word)
    quoted += letter == '\'' ? "'\\''" : std::string(1, letter);
  return quoted + "'";
}

std::string head_line(const RecordingItem &head) {
  std::string program;
  const RecordedValue *words = head.fields.find(formats::kKeyProgram);
  const auto *list = words != nullptr ? words->as<RecordedValue::List>() : nullptr;
  for (const RecordedValue &word : list != nullptr ? *list : RecordedValue::List{})
    program.append(program.empty() ? "" : " ").append(shell_word(word.any_text()));
  const RecordedValue *pictures = head.fields.find(formats::kKeyPictures);
  const bool *has_pictures = pictures != nullptr ? pictures->as<bool>() : nullptr;
  return fmt::format("+++ {} on {}, {} bits, with {}{} +++", program, head.text(formats::kKeyMachine),
                     head.number(formats::kKeyBits).value_or(0), head.text(formats::kKeyLibrary),
                     has_pictures != nullptr && !*has_pictures ? ", without pictures" : "");
}

void put_line(frames::Output &output, const std::string &line) {
  output.put(frames::one_line(line) + "\n");
}

int show(const ShowOptions &options) {
  formats::RecordingReader reader(options.recording);
  frames::Output output;
  put_line(output, options.json ? json_line(reader.head().fields) : head_line(reader.head()));
  bool has_ended = false;
  Objects objects;
  while (const std::optional<RecordingItem> item = reader.next()) {
    has_ended = has_ended || item->kind == ItemKind::kEnd;
    if (item->kind == ItemKind::kCall) objects.note(*item);
    if (!is_chosen(options, *item)) continue;
    const double seconds = static_cast<double>(item->at_ns) / 1e9;
    put_line(output, options.json ? json_line(item->fields)
                                  : fmt::format("{:11.6f} [{}] {}", seconds, item->thread, item_line(*item, objects)));
  }
  if (!has_ended && !options.json) {
    put_line(output, reader.is_cut() ? "+++ the recording is cut off here +++"
                                     : "+++ the recording ends here, without the program's end +++");
  }
  output.flush();
  return 0;
}

}  // namespace

Run add_show(frames::Options &options) {
  const auto chosen = std::make_shared<ShowOptions>();
  options.operand("RECORDING", chosen->recording, "What zel-record has written").required();
  options.value(
      "--calls", "NAMES", [chosen](const std::string &text) { chosen->calls = patterns_in(text); },
      "Only calls of these names, with commas between; * stands for any letters");
  options.flag("--errors", chosen->errors, "Only calls that failed");
  options.value(
      "--from", "T", [chosen](const std::string &text) { chosen->from_ns = time_in("--from", text); },
      "From this time on, such as 12.5s or 200ms");
  options.value(
      "--to", "T", [chosen](const std::string &text) { chosen->to_ns = time_in("--to", text); }, "Up to this time");
  frames::add_json_option(options, chosen->json);
  return [chosen] { return show(*chosen); };
}

}  // namespace recorder
