// From the program's arguments to client options and settings.
#ifndef ZEL_CLIENT_SETTINGS_COMMAND_LINE_H
#define ZEL_CLIENT_SETTINGS_COMMAND_LINE_H

/// Declares all options, parses the arguments into `client_options` and the settings map, chooses the report stream and
/// takes the positional words as the resolution. Ends the process on a bad command line (status 1) and after help
/// (status 0).
void read_command_line(int argc, char **argv);

#endif
