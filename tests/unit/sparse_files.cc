// Stands before the C library's fopen() and write() in the test executable.
#include "sparse_files.h"

#include <dlfcn.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>

namespace {

/// Shorter writes are not worth a look.
constexpr size_t kShortestHole = 4096;

std::int64_t start_offset = 0;

template <typename Function>
Function *real(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

bool is_zero(const void *data, size_t size) {
  const auto *bytes = static_cast<const char *>(data);
  return bytes[0] == 0 && std::memcmp(bytes, bytes + 1, size - 1) == 0;
}

bool is_file(int descriptor) {
  struct stat status {};
  return fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

}  // namespace

namespace sparse_files {

void start_at(std::int64_t offset) {
  start_offset = offset;
}

}  // namespace sparse_files

extern "C" {

ssize_t write(int descriptor, const void *data, size_t size) {
  static auto *const next = real(&write, "write");
  if (size < kShortestHole || !is_zero(data, size) || !is_file(descriptor)) return next(descriptor, data, size);
  if (lseek(descriptor, static_cast<off_t>(size), SEEK_CUR) < 0) return -1;
  return static_cast<ssize_t>(size);
}

// With 64-bit file offsets this is the C library's fopen64.
FILE *fopen(const char *name, const char *mode) {
  static auto *const next = real(&fopen, "fopen64");
  FILE *file = next(name, mode);
  if (file != nullptr && start_offset != 0) (void)lseek(fileno(file), start_offset, SEEK_SET);
  return file;
}

}  // extern "C"
