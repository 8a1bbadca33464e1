// The SIGINT handler.
#include "console/interrupt.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "common/errors.h"
#include "console/statistics_report.h"
#include "settings/client_options.h"

void install_interrupt_handler() {
  // The text is an argument, so that its "%m" is printed as it stands; kept so.
  // NOLINTNEXTLINE(bugprone-signal-handler): printing from the handler is accepted for the emergency exit
  if (std::signal(SIGINT, on_interrupt) == SIG_ERR) fatal_error("%s\n", "Failed to install signal handler: %m");
}

void on_interrupt(int /*signal_number*/) {
  if (frame_limit() != -1) {
    request_stop();
    return;
  }
  if (client_options.stats != FALSE) print_statistics(stdout);
  std::quick_exit(EXIT_SUCCESS);
}
