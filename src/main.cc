// The program's entry.
#include "settings/command_line.h"

int main(int argc, char **argv) {
  read_command_line(argc, argv);
  return 0;
}
