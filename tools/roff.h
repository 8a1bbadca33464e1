// Writing texts in the language of manual pages.
#ifndef ZEL_CLIENT_TOOLS_ROFF_H
#define ZEL_CLIENT_TOOLS_ROFF_H

#include <string>
#include <string_view>

/// The text as a manual page shows it: every hyphen a minus that can be copied, no escapes, no macro at the start.
std::string roff_text(std::string_view text);

#endif
