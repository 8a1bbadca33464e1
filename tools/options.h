// Every option of the client in one list, for the manual page and the completions.
#ifndef ZEL_CLIENT_TOOLS_OPTIONS_H
#define ZEL_CLIENT_TOOLS_OPTIONS_H

#include <string>
#include <vector>

/// What an option's value is.
enum class ValueKind { kNone, kInteger, kUnsigned, kDouble, kBoolean, kText, kFileName, kChoice, kTriple };

struct Option {
  std::string name;
  char short_name = 0;  ///< 0 for none; never a letter that another option answers to
  ValueKind kind = ValueKind::kNone;
  std::string help;     ///< empty for a choice: its list says it
  std::string initial;  ///< the value of a client option that is not given; empty: none
  std::vector<std::string> choices;
};

/// The client's own options in the order of the help.
std::vector<Option> client_option_list();

/// One option for every stream setting in the order of the help; the choices are those of the libzel that is linked.
std::vector<Option> stream_option_list();

/// What stands for the value in a synopsis: "N", "FILE"; empty for a flag.
std::string placeholder(const Option &option);

#endif
