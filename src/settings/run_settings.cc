// Owner of the derived run settings.
#include "settings/run_settings.h"

guint32 timestamp_type = 0;
gboolean interactive = FALSE;
bool terminal_configured = false;
ObjectPtr<zel_map> request_record;
