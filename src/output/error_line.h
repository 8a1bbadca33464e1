// Lines beginning "error: " on standard error: failures of FFmpeg, before the error with its code reaches the driver.
#ifndef ZEL_CLIENT_OUTPUT_ERROR_LINE_H
#define ZEL_CLIENT_OUTPUT_ERROR_LINE_H

#include <fmt/format.h>

#include <cstdio>
#include <iterator>
#include <new>
#include <utility>

/// Writes "error: ", the formatted message and a newline. A line that cannot be written is lost, where fmt::print would
/// throw; so is a long one that memory is too short for.
template <typename... Arguments>
void print_error_line(fmt::format_string<Arguments...> format, Arguments &&...arguments) try {
  fmt::memory_buffer line;
  fmt::format_to(std::back_inserter(line), "error: ");
  fmt::format_to(std::back_inserter(line), format, std::forward<Arguments>(arguments)...);
  line.push_back('\n');
  (void)std::fwrite(line.data(), 1, line.size(), stderr);
} catch (const std::bad_alloc &) {
  return;
}

#endif
