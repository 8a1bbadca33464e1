// The library under test: found by its soname, as the loader finds it for zel-client.
#ifndef ZEL_COMPLIANCE_LIBRARY_H
#define ZEL_COMPLIANCE_LIBRARY_H

#include <stdexcept>
#include <string>
#include <vector>

#include "compliance/library/entry.h"
#include "compliance/library/functions.h"
#include "zel/zel.h"

namespace compliance {

inline constexpr const char *kSoname = "libzel.so.1";

/// Says that there is no library to check; the loader's words.
class NoLibrary : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Library {
  std::string path;                  ///< of the file
  std::string soname;                ///< as the file says; empty: it says none
  std::vector<std::string> missing;  ///< functions of zel.h that it lacks

// That the keys of zel_map_contains_va() end with a NULL is no part of its type.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wignored-attributes"
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define ZEL_ENTRY(function) Entry<decltype(&zel_##function)> function{"zel_" #function};
  ZEL_FUNCTIONS(ZEL_ENTRY)
#undef ZEL_ENTRY
#pragma GCC diagnostic pop
};

/// The library, opened by the first call in this process and kept until its end. Throws NoLibrary when it cannot be.
const Library &zel();

/// Memory in which note_call() of this process and of those that it starts writes, or null: then nothing is noted.
/// Call before the first note_call().
void share_last_call();

/// The function that was called last in the process that ended, or ""; then forgets it.
std::string take_last_call();

}  // namespace compliance

#endif
