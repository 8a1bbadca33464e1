// What the settings mean for the client itself: written once when the settings are finished, read by the whole run.
#ifndef ZEL_CLIENT_SETTINGS_RUN_SETTINGS_H
#define ZEL_CLIENT_SETTINGS_RUN_SETTINGS_H

#include "common/owned.h"
#include "zel/zel.h"

/// The setting "timestamp.type": 0 when absent, 1 wall clock, above 1 custom timestamps.
extern guint32 timestamp_type;

/// The setting "interactive": the keyboard starts the stream, not the driver.
extern gboolean interactive;

/// True once standard input is set up for single keys; only then is it polled and read. Never reset.
extern bool terminal_configured;

/// A copy of the settings map as it stood when it was finished, for the dump under "request". The driver releases it.
extern ObjectPtr<zel_map> request_record;

#endif
