// Ends a capture on SIGINT: the first asks the run to finish, the second ends the process.
#ifndef ZEL_CLIENT_CONSOLE_INTERRUPT_H
#define ZEL_CLIENT_CONSOLE_INTERRUPT_H

/// Installs on_interrupt(); ends the process when that fails.
void install_interrupt_handler();

/// The handler. The first interrupt sets the frame limit to -1, at which the capture loop ends normally. When
/// the limit is -1 already it prints the statistics, if asked for, and leaves with status 0 at once: nothing is
/// finalised or flushed. A run that was given the limit -1 so takes its first interrupt for the second.
void on_interrupt(int signal_number);

#endif
