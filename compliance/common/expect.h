// What a check finds: each finding is one line that says what was seen and what was expected.
#ifndef ZEL_COMPLIANCE_EXPECT_H
#define ZEL_COMPLIANCE_EXPECT_H

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "compliance/common/finding.h"

namespace compliance {

using Bytes = std::vector<std::uint8_t>;

/// A value as findings show it.
template <typename Value>
std::string shown(const Value &value) {
  return testing::PrintToString(value);
}
/// The first bytes, hexadecimal: "3 bytes (01 02 03)", "no bytes".
std::string shown(const Bytes &bytes);

/// A finding unless it is so. The text says what was seen and what was expected.
inline void expect(bool is_so, const std::string &text) {
  if (!is_so) ADD_FAILURE() << text;
}

/// The same where the check cannot go on after it.
inline void require(bool is_so, const std::string &text) {
  if (!is_so) throw Finding(text);
}

/// Whether the check that runs here has found something.
inline bool has_findings() {
  return testing::Test::HasFailure();
}

/// A finding "WHAT is SEEN, expected EXPECTED" unless the two are equal.
template <typename Seen, typename Expected>
void expect_equal(const std::string &what, const Seen &seen, const Expected &expected) {
  expect(seen == expected, what + " is " + shown(seen) + ", expected " + shown(expected));
}

/// The same of a truth.
inline void expect_truth(const std::string &what, int seen, bool expected) {
  expect_equal(what, seen != 0, expected);
}

}  // namespace compliance

#endif
