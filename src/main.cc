// The program's entry: the run as its steps.
#include "capture/driver.h"
#include "console/interactive.h"
#include "console/interrupt.h"
#include "settings/command_line.h"
#include "settings/finishing.h"

int main(int argc, char **argv) {
  read_command_line(argc, argv);
  install_interrupt_handler();
  finish_settings(configure_interactive_mode);
  return run_capture();
}
