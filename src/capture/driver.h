// The body of a run, from the check of the output name to the exit status.
#ifndef ZEL_CLIENT_CAPTURE_DRIVER_H
#define ZEL_CLIENT_CAPTURE_DRIVER_H

/// Captures as the finished settings and the client options say, and releases everything again. Returns the exit
/// status: 1 when an error ended the run, else 0. The error has been printed.
int run_capture();

#endif
