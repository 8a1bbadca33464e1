// Files of many gigabytes that take no disk: in the test executable, write() leaves holes where all bytes are zero.
// A hole at a file's end is not there: what a test writes last must not be zero.
#ifndef ZEL_CLIENT_TESTS_UNIT_SPARSE_FILES_H
#define ZEL_CLIENT_TESTS_UNIT_SPARSE_FILES_H

#include <cstdint>

namespace sparse_files {

/// Files that fopen() opens from now on are written from this offset on; what lies before it is a hole.
void start_at(std::int64_t offset);

}  // namespace sparse_files

#endif
