// Shell completions of a program's command line.
#ifndef ZEL_CLIENT_TOOLS_COMPLETIONS_H
#define ZEL_CLIENT_TOOLS_COMPLETIONS_H

#include <iosfwd>

#include "program.h"

/// Fills a template. "@program@" becomes the program's name, "@function@" the same as part of a name, and "@names@" the
/// names of its commands. The lines "@commands@" and "@cases@" become branches of two cases: for every command, the
/// words and letters of its options and whether its operands are files; for every option with a value, its choices or
/// that it names a file.
void write_bash_completion(const Program &program, std::istream &page, std::ostream &out);

/// A completion function for zsh.
void write_zsh_completion(const Program &program, std::ostream &out);

/// Completion commands for fish.
void write_fish_completion(const Program &program, std::ostream &out);

#endif
