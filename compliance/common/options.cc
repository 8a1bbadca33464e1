// The command line.
#include "compliance/common/options.h"

#include <fnmatch.h>
#include <getopt.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <optional>
#include <string_view>

namespace compliance {

Options options;

namespace {

std::optional<guint32> number_in(std::string_view text) {
  guint32 number = 0;
  const bool is_hexadecimal = text.starts_with("0x");
  if (is_hexadecimal) text.remove_prefix(2);
  const char *end = text.data() + text.size();
  const auto [last, failure] = std::from_chars(text.data(), end, number, is_hexadecimal ? 16 : 10);
  if (failure != std::errc() || last != end) return std::nullopt;
  return number;
}

/// So many numbers with a separator between them; none when it is anything else.
template <std::size_t Count>
std::optional<std::array<guint32, Count>> numbers_in(std::string_view text, char separator) {
  std::array<guint32, Count> numbers = {};
  for (std::size_t i = 0; i < Count; ++i) {
    const std::size_t end = i + 1 < Count ? text.find(separator) : text.size();
    if (end == std::string_view::npos) return std::nullopt;
    const std::optional<guint32> number = number_in(text.substr(0, end));
    if (!number) return std::nullopt;
    numbers.at(i) = *number;
    text.remove_prefix(std::min(text.size(), end + 1));
  }
  return numbers;
}

using Value = decltype(Setting::value);

std::optional<Value> value_of_kind(char kind, const std::string &text) {
  switch (kind) {
    case 'b':
      if (text != "0" && text != "1") return std::nullopt;
      return text == "1";
    case 'u':
      if (const auto number = number_in(text)) return *number;
      return std::nullopt;
    case 'd': {
      char *end = nullptr;
      const double number = std::strtod(text.c_str(), &end);
      if (text.empty() || *end != '\0') return std::nullopt;
      return number;
    }
    case 's':
      return text;
    case 'p':
      if (const auto pair = numbers_in<2>(text, ',')) return zel_pair32u{(*pair)[0], (*pair)[1]};
      return std::nullopt;
    case 'q':
      if (const auto quad = numbers_in<4>(text, ',')) {
        return zel_quad32u{(*quad)[0], (*quad)[1], (*quad)[2], (*quad)[3]};
      }
      return std::nullopt;
    case 'e':
      return Nick{text};
    default:
      return std::nullopt;
  }
}

bool take_setting(const std::string &text) {
  const std::size_t equals = text.find('=');
  if (text.size() < 4 || text[1] != ':' || equals == std::string::npos || equals == 2) return false;
  std::optional<Value> value = value_of_kind(text[0], text.substr(equals + 1));
  if (!value) return false;
  options.settings.push_back({.key = text.substr(2, equals - 2), .value = *std::move(value)});
  return true;
}

bool take_size(const std::string &text) {
  const auto size = numbers_in<2>(text, 'x');
  if (!size) return false;
  options.settings.push_back({.key = "resolution", .value = zel_pair32u{(*size)[0], (*size)[1]}});
  return true;
}

bool take_seconds(const std::string &text, guint32 guint_limit, guint32 &seconds) {
  const std::optional<guint32> number = number_in(text);
  if (!number || *number == 0 || *number > guint_limit) return false;
  seconds = *number;
  return true;
}

constexpr guint32 kMostSeconds = 86400;

/// What an option does with its value; false: not such a value.
struct Taker {
  OptionRow row;
  std::function<bool(const std::string &value)> take;
};

const std::vector<Taker> takers = {
    {{"list", "", "Print the checks and what they expect"}, [](auto &) { return options.list = true; }},
    {{"filter", "PATTERN", "Run the checks with such names only: * and ?, several between colons, those after - not"},
     [](auto &value) { return !(options.filter = value).empty(); }},
    {{"all", "", "Run the dangerous checks too"}, [](auto &) { return options.all = true; }},
    {{"seconds", "N", "Seconds that the checks of times watch a stream (3)"},
     [](auto &value) { return take_seconds(value, kMostSeconds, options.seconds); }},
    {{"limit", "N", "Seconds that a check may take (20)"},
     [](auto &value) { return take_seconds(value, kMostSeconds, options.limit); }},
    {{"set", "T:KEY=VALUE",
      "A setting of every stream; T is b, u, d, s, p, q or e: boolean, unsigned, double, text, pair, "
      "quad or a word of the library's"},
     take_setting},
    {{"size", "WxH", "Width and height of every stream"}, take_size},
    {{"json", "FILE", "Write the report there too, as JSON"},
     [](auto &value) { return !(options.json = value).empty(); }},
    {{"help", "", "Show this help"}, [](auto &) { return options.help = true; }},
    {{"version", "", "Show the version"}, [](auto &) { return options.version = true; }},
};

}  // namespace

const std::vector<OptionRow> &option_rows() {
  static const std::vector<OptionRow> rows = [] {
    std::vector<OptionRow> all;
    all.reserve(std::size(takers));
    for (const Taker &taker : takers)
      all.push_back(taker.row);
    return all;
  }();
  return rows;
}

bool parse_command_line(int argc, char **argv) {
  std::vector<option> known;
  known.reserve(takers.size() + 1);
  for (const Taker &taker : takers) {
    const bool has_value = *taker.row.value != '\0';
    known.push_back({taker.row.name, has_value ? required_argument : no_argument, nullptr, 0});
  }
  known.push_back({});
  int index = 0;
  for (int found = 0; (found = getopt_long(argc, argv, "", known.data(), &index)) != -1;) {
    if (found != 0) return false;  // getopt_long has said why
    const Taker &taker = takers.at(static_cast<std::size_t>(index));
    const std::string value = optarg != nullptr ? optarg : "";
    if (taker.take(value)) continue;
    (void)std::fprintf(stderr, "zel-compliance: --%s takes %s, not \"%s\"\n", taker.row.name, taker.row.value,
                       value.c_str());
    return false;
  }
  if (optind < argc) {
    (void)std::fprintf(stderr, "zel-compliance: \"%s\" is no option\n", argv[optind]);
    return false;
  }
  return true;
}

bool is_selected(const std::string &name, const std::string &filter) {
  const auto matches_one = [&name](std::string_view patterns) {
    while (!patterns.empty()) {
      const std::size_t end = std::min(patterns.find(':'), patterns.size());
      if (fnmatch(std::string(patterns.substr(0, end)).c_str(), name.c_str(), 0) == 0) return true;
      patterns.remove_prefix(std::min(patterns.size(), end + 1));
    }
    return false;
  };
  const std::size_t dash = filter.find('-');
  const std::string wanted = filter.substr(0, dash);
  if (!wanted.empty() && !matches_one(wanted)) return false;
  return dash == std::string::npos || !matches_one(std::string_view(filter).substr(dash + 1));
}

}  // namespace compliance
