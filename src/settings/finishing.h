// Completes the settings map between the command line and the creation of the stream.
#ifndef ZEL_CLIENT_SETTINGS_FINISHING_H
#define ZEL_CLIENT_SETTINGS_FINISHING_H

/// Stores "framerate.auto" when no "framerate" was given (0 counts as given). Runs right after parsing.
void choose_automatic_framerate();

/// Expands "dynamic", folds the crop, derives the run settings, sets up non-blocking runs and takes the request record.
/// `configure_terminal` makes single keys readable from standard input; it is called only for interactive and
/// delayed-play runs, returns only on success, and is handed in because the keyboard belongs to the console, which
/// the settings must not include.
void finish_settings(void (*configure_terminal)());

#endif
