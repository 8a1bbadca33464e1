// A program's command line in one list, for the manual page and the completions.
#ifndef ZEL_CLIENT_TOOLS_PROGRAM_H
#define ZEL_CLIENT_TOOLS_PROGRAM_H

#include <string>
#include <vector>

/// What an option's value is. The manual page tells it; kOther is told by the option's help alone.
enum class ValueKind { kNone, kInteger, kUnsigned, kDouble, kBoolean, kText, kFileName, kChoice, kTriple, kOther };

struct Option {
  std::string name;     ///< without its dashes; an operand's as it stands in a synopsis
  char short_name = 0;  ///< 0 for none; never a letter that another option answers to
  ValueKind kind = ValueKind::kNone;
  std::string value;    ///< what stands for the value in a synopsis: "N", "FILE"; empty for a flag
  std::string help;     ///< may be empty for a choice: its list says it
  std::string initial;  ///< the value when the option is not given; empty: none
  std::vector<std::string> choices;
};

struct Command {
  std::string name;       ///< empty: the program itself
  std::string purpose;    ///< one line
  std::string arguments;  ///< what follows the name in the synopsis
  std::vector<Option> options;
  std::vector<Option> operands;
};

/// A list of options that the manual page shows in one place.
struct OptionList {
  std::string name;
  std::vector<Option> options;
};

/// Something that the manual page tells in a list of its own kind.
struct Item {
  std::string name;
  std::vector<std::string> sentences;  ///< without their full stops
};

struct ItemList {
  std::string name;
  std::vector<Item> items;
};

struct Program {
  std::string name;
  std::string version;
  std::vector<Command> commands;  ///< the program itself first, with all options that it takes without a command
  std::vector<OptionList> lists;
  std::vector<ItemList> items = {};
};

/// Writes one of the documents of the program, as the arguments of this tool say: KIND OUTPUT [TEMPLATE]. Returns the
/// exit status.
int write_document(int argc, char **argv, const Program &program);

#endif
