// Any text as the output name, with any number; and any sequence of frames through the split rules.
#include <array>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <vector>

#include "capture/output_name.h"
#include "capture/raw_output.h"
#include "common/owned.h"
#include "input.h"

namespace {

/// Whether the name holds "%", an optional "0", digits other than zero if a width follows, and "d", by hand.
bool has_split_conversion(const std::string &name) {
  for (std::size_t percent = name.find('%'); percent != std::string::npos; percent = name.find('%', percent + 1)) {
    std::size_t next = percent + 1;
    if (next < name.size() && name[next] == 'd') return true;
    if (next < name.size() && name[next] == '0') ++next;
    const std::size_t digits = next;
    while (next < name.size() && name[next] >= '1' && name[next] <= '9')
      ++next;
    if (next > digits && next < name.size() && name[next] == 'd') return true;
  }
  return false;
}

void check_name(const std::string &name) {
  GError *error = nullptr;
  const bool good = check_split_output_name(name.c_str(), &error);
  const ErrorPtr held(error);
  require(good == (held == nullptr), "refused exactly when there is an error");
  require(good == has_split_conversion(name), "the pattern holds");
}

/// Whether a width or a precision may be so large that printf is busy for seconds with padding.
bool is_slow(const std::string &name) {
  std::size_t digits = 0;
  for (const char character : name) {
    digits = character >= '0' && character <= '9' ? digits + 1 : 0;
    if (digits > 5) return true;
  }
  return false;
}

void format_name(const std::string &name, std::int32_t number, std::size_t room) {
  std::vector<char> formatted(room, 'x');
  if (!format_output_name(name.c_str(), number, formatted)) {
    require(formatted.front() == '\0', "no name for what is no format for one integer");
    require(errno == EINVAL, "the reason is in errno");
    return;
  }
  const std::size_t length = std::char_traits<char>::length(formatted.data());
  require(length < room && length <= name.size() + 15, "the name is cut");
  if (name.find('%') == std::string::npos && length + 1 < room) {
    require(name == formatted.data(), "a name without conversions is copied");
  }
}

void split(Input *input) {
  const auto ngop = input->number<std::int8_t>();
  const auto nframes = input->number<std::int8_t>();
  gint32 frame = input->number<std::int16_t>();
  SplitState state;
  bool open = false;
  while (!input->empty()) {
    const bool is_key = (input->number<std::uint8_t>() & 1) != 0;
    const auto number = number_of_new_file(&state, is_key, frame, ngop, nframes);
    if (number) state.open_pending = false;
    open = open || number || (is_key && ngop > 0);
    require(open, "the first frame gets a file, or the stream's key frames are counted");
    require(state.gop_count >= -1, "groups of pictures are counted up");
    ++frame;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  const auto number = input.number<std::int32_t>();
  const auto room = input.number<std::uint8_t>();
  const std::string name = input.line();
  check_name(name);
  if (!is_slow(name)) format_name(name, number, (room & 1) != 0 ? kOutputNameRoom : std::size_t{1} + room);
  split(&input);
  return 0;
}
