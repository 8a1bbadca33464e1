// The manual page of a program: prose from a template, commands and options from its tables.
#ifndef ZEL_CLIENT_TOOLS_MANUAL_H
#define ZEL_CLIENT_TOOLS_MANUAL_H

#include <iosfwd>

#include "program.h"

/// Fills a template. The name of one of the program's lists, of options or of items, between "@" on a line of its own
/// becomes the list,
/// "@commands@" the commands with the options that are in no list, and "@version@" anywhere the version. A block
///
///     @about NAME
///     prose
///     @end
///
/// anywhere before goes below what has that name: an option of a list, a command, or a command's option, whose name is
/// both with a blank between. False, with a line on standard error, when a block names nothing.
bool write_manual(const Program &program, std::istream &page, std::ostream &out);

#endif
