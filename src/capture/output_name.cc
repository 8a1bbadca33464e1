// Checking and formatting the names of raw output files.
#include "capture/output_name.h"

#include <regex.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "common/errors.h"

namespace {

constexpr const char *kSplitNamePattern = "^.*%(0?[1-9]+)?d.*$";

struct CompiledPattern {
  regex_t regex = {};
  int result;

  explicit CompiledPattern(const char *pattern) : result(regcomp(&regex, pattern, REG_EXTENDED)) {}
  ~CompiledPattern() {
    if (result == 0) regfree(&regex);
  }
  CompiledPattern(const CompiledPattern &) = delete;
  CompiledPattern &operator=(const CompiledPattern &) = delete;
};

constexpr std::string_view kDigits = "0123456789";

void skip(std::string_view *text, std::string_view characters) {
  text->remove_prefix(std::min(text->find_first_not_of(characters), text->size()));
}

/// The flags that C defines for an integer conversion; others are undefined with it.
std::string_view flags_of(char conversion) {
  switch (conversion) {
    case 'd':
    case 'i':
    case 'u':
      return "-+ 0'";
    case 'o':
    case 'x':
    case 'X':
      return "-+ 0#";
    case 'c':
      return "-";
    default:
      return "";
  }
}

/// Consumes one conversion, from behind its "%" to its letter. False when it takes anything but one int.
bool skip_integer_conversion(std::string_view *text) {
  const std::string_view flags = text->substr(0, text->find_first_not_of("-+ #0'"));
  text->remove_prefix(flags.size());
  skip(text, kDigits);  // width
  const bool has_precision = text->starts_with('.');
  if (has_precision) {
    text->remove_prefix(1);
    skip(text, kDigits);
  }
  const bool has_length = text->starts_with('h');  // "h" and "hh" still take an int
  if (has_length) text->remove_prefix(text->starts_with("hh") ? 2 : 1);
  if (text->empty()) return false;
  const char conversion = text->front();
  text->remove_prefix(1);
  if (std::string_view("diouxXc").find(conversion) == std::string_view::npos) return false;
  if (conversion == 'c' && (has_precision || has_length)) return false;
  return flags.find_first_not_of(flags_of(conversion)) == std::string_view::npos;
}

}  // namespace

bool check_split_output_name(const char *output, GError **error) {
  const CompiledPattern pattern(kSplitNamePattern);
  if (pattern.result != 0) return set_client_error(error, "Could not compile regex\n");
  switch (regexec(&pattern.regex, output, 0, nullptr, 0)) {
    case 0:
      return true;
    case REG_NOMATCH:
      // The "%m" shows whatever errno holds; it says nothing about the check and is kept.
      return set_client_error(error, "Output filename requires '%%d' in '%s' for split_ngop & split_nframes: %m",
                              output);
    default:
      return set_client_error(error, "Regex match failed");
  }
}

bool takes_at_most_one_integer(const char *format) {
  std::string_view rest = format;
  int conversions = 0;
  while (true) {
    const size_t percent = rest.find('%');
    if (percent == std::string_view::npos) return conversions <= 1;
    rest.remove_prefix(percent + 1);
    if (rest.starts_with('%')) {
      rest.remove_prefix(1);
    } else {
      if (!skip_integer_conversion(&rest)) return false;
      ++conversions;
    }
  }
}

bool format_output_name(const char *output, gint32 number, std::span<char> name) {
  name.front() = '\0';
  const size_t limit = std::min(std::strlen(output) + 16, name.size());
  if (takes_at_most_one_integer(output)) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the user's own format, checked above
    if (std::snprintf(name.data(), limit, output, number) >= 0) return true;
#pragma GCC diagnostic pop
    name.front() = '\0';
  }
  errno = EINVAL;
  return false;
}
