// Whole command lines, one argument a line, from the option parser to the finished settings.
#include <array>
#include <cstdarg>
#include <string>
#include <vector>

#include "common/owned.h"
#include "fake_zel.h"
#include "input.h"
#include "settings/client_options.h"
#include "settings/command_line.h"
#include "settings/finishing.h"
#include "settings/option_builders.h"
#include "settings/run_settings.h"
#include "settings/settings_map.h"

namespace {

/// Stands for the end of the process.
struct Ended {};

void no_terminal() {}

/// The output name of a run without the option; not allocated.
const char *const default_output = client_options.output;

/// What GOption allocated for file names.
void free_file_names() {
  if (client_options.output != default_output) g_free(const_cast<char *>(client_options.output));
  g_free(const_cast<char *>(client_options.mkv));
}

/// Takes the process back to where a run begins.
void start_over() {
  free_file_names();
  client_options = ClientOptions();
  client_options.output = default_output;
  request_record.reset();
  zel_map_remove_prefix(settings_map(), "");
  terminal_configured = false;
  if (option_context != nullptr) g_option_context_free(option_context);
  option_context = nullptr;
  fake::reset();
}

std::vector<std::string> read_arguments(Input *input) {
  std::vector<std::string> arguments = {"zel-client"};
  while (!input->empty() && arguments.size() < 64)
    arguments.push_back(input->line());
  return arguments;
}

}  // namespace

extern "C" {

// NOLINTBEGIN(bugprone-reserved-identifier): the linker wants these names
// The linker puts these two in the places of the real ones (--wrap). A bad command line ends the execution instead of
// the process, and help, which GOption would end the process with, is not on offer.
[[noreturn]] void __wrap__Z11fatal_errorPKcz(const char *format, ...) G_GNUC_PRINTF(1, 2);
void __wrap__Z11fatal_errorPKcz(const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const TextPtr message(g_strdup_vprintf(format, arguments));
  va_end(arguments);
  require(message != nullptr && message.get()[0] != '\0', "a refusal has a message");
  throw Ended();
}

GOptionContext *__real_g_option_context_new(const gchar *parameters);
GOptionContext *__wrap_g_option_context_new(const gchar *parameters) {
  GOptionContext *context = __real_g_option_context_new(parameters);
  g_option_context_set_help_enabled(context, FALSE);
  return context;
}
// NOLINTEND(bugprone-reserved-identifier)

}  // extern "C"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  Input input(data, size);
  std::vector<std::string> arguments = read_arguments(&input);
  std::vector<char *> argv;
  argv.reserve(arguments.size() + 1);
  for (std::string &argument : arguments)
    argv.push_back(argument.data());
  argv.push_back(nullptr);

  start_over();
  try {
    read_command_line(static_cast<int>(arguments.size()), argv.data());
    finish_settings(no_terminal);
    require(request_record != nullptr, "the request is recorded");
    require(zel_map_contains_va(settings_map(), "framerate", nullptr) ||
                zel_map_contains_va(settings_map(), "framerate.auto", nullptr),
            "a frame rate or an automatic one is asked for");
    require(!(zel_map_contains_va(settings_map(), "crop.width", "crop.height", nullptr)), "a whole crop is folded");
    const bool waits = zel_map_get_boolean(settings_map(), "socket.blocking", TRUE) != FALSE;
    require(!(terminal_configured && waits), "a run with a keyboard does not block in the fetch");
  } catch (const Ended &) {
  }
  start_over();
  return 0;
}
