// Shell completions of the client's command line.
#ifndef ZEL_CLIENT_TOOLS_COMPLETIONS_H
#define ZEL_CLIENT_TOOLS_COMPLETIONS_H

#include <iosfwd>

/// Fills a template: the line "@cases@" becomes, for every option with a value, a branch of a case that sets
/// `choices` or `files`; "@words@" the long options, those with a value with "=" behind; "@letters@" the one-letter
/// options with a value.
void write_bash_completion(std::istream &page, std::ostream &out);

/// A completion function for zsh.
void write_zsh_completion(std::ostream &out);

/// Completion commands for fish.
void write_fish_completion(std::ostream &out);

#endif
