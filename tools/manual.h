// The manual page of the client: prose from a template, options from the tables.
#ifndef ZEL_CLIENT_TOOLS_MANUAL_H
#define ZEL_CLIENT_TOOLS_MANUAL_H

#include <iosfwd>
#include <string>

/// Fills a template. "@client-options@" and "@stream-options@" on a line of their own become the lists of options, and
/// "@version@" anywhere the version. A block
///
///     @about NAME
///     prose
///     @end
///
/// anywhere before the lists goes below the option of that name. False, with a line on standard error, when a block
/// names no option.
bool write_manual(std::istream &page, std::ostream &out, const std::string &version);

#endif
