// The command line, read once.
#ifndef ZEL_COMPLIANCE_OPTIONS_H
#define ZEL_COMPLIANCE_OPTIONS_H

#include <string>
#include <variant>
#include <vector>

#include "zel/zel.h"

namespace compliance {

/// The word of an enumeration's value, such as h265; the number is the library's.
struct Nick {
  std::string word;
};

/// One setting of a stream's request.
struct Setting {
  std::string key;
  std::variant<bool, guint32, double, std::string, zel_pair32u, zel_quad32u, Nick> value;
};

struct Options {
  bool help = false;
  bool version = false;
  bool list = false;
  std::string filter = "*";
  bool all = false;               ///< the dangerous checks too
  guint32 seconds = 3;            ///< that the checks of times watch a stream
  guint32 limit = 20;             ///< seconds that a check may take beyond those
  std::vector<Setting> settings;  ///< of every stream
  std::string json;               ///< file of the report; empty: none
};

/// Written by main before the first check, then only read.
extern Options options;

/// Reads the command line into `options`. False, with a line on standard error, when it cannot be used.
bool parse_command_line(int argc, char **argv);

/// What an option is, for the help, the manual page and the completions.
struct OptionRow {
  const char *name;
  const char *value;  ///< what stands for its value; empty: it has none
  const char *help;
};
const std::vector<OptionRow> &option_rows();

/// Whether a check of that name is selected by a filter as GoogleTest reads it: patterns with * and ?, separated by
/// colons; those after a dash leave checks out.
bool is_selected(const std::string &name, const std::string &filter);

}  // namespace compliance

#endif
