// How a check ends early, and what it says besides.
#ifndef ZEL_COMPLIANCE_FINDING_H
#define ZEL_COMPLIANCE_FINDING_H

#include <stdexcept>
#include <string>

namespace compliance {

/// Ends a check: what was seen and what was expected.
class Finding : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Ends a check that this library cannot take: why.
class Skip : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Adds a line to the report of the check that runs in this process: a figure, or what was seen.
void note(const std::string &text);

}  // namespace compliance

#endif
