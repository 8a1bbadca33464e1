// Before the program begins: what the environment says, the file, the first item.
//
// The library is in every process that the environment reaches. It does something in the first one that has a libzel,
// and there it takes itself out of the environment: what that program starts is not touched.
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>

#include "recorder/environment.h"
#include "recorder/shim/crossing.h"
#include "recorder/shim/ending.h"
#include "recorder/shim/writer.h"

namespace recorder {

void end_without(const char *name) {
  char line[256];
  const int length = std::snprintf(line, sizeof line, "zel-record: symbol lookup error: undefined symbol: %s\n", name);
  if (length > 0) (void)!write(STDERR_FILENO, line, static_cast<std::size_t>(length));
  constexpr int kLoaderStatus = 127;
  const auto end = reinterpret_cast<void (*)(int)>(dlsym(RTLD_NEXT, "_exit"));
  end(kLoaderStatus);
  __builtin_unreachable();
}

namespace {

const char *program_file = nullptr;  ///< the recording's; stays in the environment's memory

/// Says in one line why nothing is recorded.
void complain(const char *what) {
  const int number = errno;
  char words[128];
  char line[4096 + 256];
  const char *reason = strerror_r(number, words, sizeof words);
  const int length = std::snprintf(line, sizeof line, "zel-record: %s: %s; nothing is recorded\n", what, reason);
  if (length > 0) (void)!write(STDERR_FILENO, line, static_cast<std::size_t>(length));
}

/// Removes a variable without touching the memory of what it was.
void remove_variable(const char *name) {
  const std::size_t length = std::strlen(name);
  char **kept = environ;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    if (std::strncmp(*entry, name, length) != 0 || (*entry)[length] != '=') *kept++ = *entry;
  }
  *kept = nullptr;
}

/// Takes this library, which is the last one there, out of LD_PRELOAD.
void leave_the_preloads() {
  char *list = std::getenv("LD_PRELOAD");
  Dl_info info;
  if (list == nullptr || dladdr(reinterpret_cast<void *>(remove_variable), &info) == 0) return;
  char *separator = std::strrchr(list, ':');
  const char *last = separator != nullptr ? separator + 1 : list;
  struct stat ours {};
  struct stat named {};
  if (stat(info.dli_fname, &ours) != 0 || stat(last, &named) != 0 || ours.st_ino != named.st_ino) return;
  if (separator != nullptr) {
    *separator = '\0';
  } else {
    remove_variable("LD_PRELOAD");
  }
}

void clean_environment() {
  leave_the_preloads();
  for (const char *name : {kFileVariable, kPicturesVariable, kMaxSizeVariable})
    remove_variable(name);
}

/// Opens the file that zel-record has made, unless another process records into it already. The descriptor is far from
/// those that the program is given. -1: nothing is recorded.
int claim(const char *path) {
  const int low = open(path, O_RDWR | O_APPEND | O_CLOEXEC);
  if (low < 0) {
    complain(path);
    return -1;
  }
  struct stat status {};
  const bool is_file = fstat(low, &status) == 0 && S_ISREG(status.st_mode);
  const bool is_free =
      !is_file || (flock(low, LOCK_EX | LOCK_NB) == 0 && fstat(low, &status) == 0 && status.st_size == 0);
  int descriptor = -1;
  for (int least = 1000; is_free && descriptor < 0 && least > 0; least /= 2)
    descriptor = fcntl(low, F_DUPFD_CLOEXEC, least);
  (void)close(low);
  return descriptor;
}

const char *library_file() {
  Dl_info info;
  void *symbol = dlsym(RTLD_NEXT, "zel_map_new");
  return symbol != nullptr && dladdr(symbol, &info) != 0 ? info.dli_fname : nullptr;
}

void write_head(int argument_count, char **arguments, const char *library) {
  utsname machine{};
  (void)uname(&machine);
  timespec now{};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  const std::uint64_t utc =
      static_cast<std::uint64_t>(now.tv_sec) * 1'000'000 + static_cast<unsigned>(now.tv_nsec) / 1000;
  (void)write_item([&](auto &sink) {
    formats::put_cbor_byte(sink, formats::kCborOpenMap);
    put_field(sink, formats::kItemHead, formats::kRecordingVersion);
    formats::put_cbor_text(sink, formats::kKeyLibrary);
    encode(sink, Text{library});
    formats::put_cbor_text(sink, formats::kKeyMachine);
    encode(sink, Text{machine.machine});
    put_field(sink, formats::kKeyBits, 8 * sizeof(void *));
    formats::put_cbor_text(sink, formats::kKeyProgram);
    formats::put_cbor_byte(sink, formats::kCborOpenArray);
    for (int i = 0; i < argument_count; ++i)
      encode(sink, Text{arguments[i]});
    formats::put_cbor_byte(sink, formats::kCborBreak);
    formats::put_cbor_text(sink, formats::kKeyPictures);
    formats::put_cbor_byte(sink, keep_pictures ? formats::kCborTrue : formats::kCborFalse);
    put_field(sink, formats::kKeyClock, recording_begin_ns);
    put_field(sink, formats::kKeyUtc, utc);
    formats::put_cbor_byte(sink, formats::kCborBreak);
  });
}

bool begin(int argument_count, char **arguments, const char *library) {
  const char *size = std::getenv(kMaxSizeVariable);
  const int descriptor = claim(program_file);
  if (descriptor < 0) return false;
  keep_pictures = std::getenv(kPicturesVariable) == nullptr;
  recording_begin_ns = monotonic_ns();
  (void)thread_number();
  if (!ring.create()) {
    complain("no memory");
    return false;
  }
  write_head(argument_count, arguments, library);
  const std::uint64_t limit = size != nullptr ? std::strtoull(size, nullptr, 10) : 0;
  if (!watch_for_the_end() || !start_writer({descriptor, program_file, limit})) {
    complain("no thread");
    return false;
  }
  recording_is_on = true;
  return true;
}

/// The loader calls it with main's arguments, before anything of the program.
__attribute__((constructor)) void start(int argument_count, char **arguments, char **) {
  const ErrnoKept kept;
  program_file = std::getenv(kFileVariable);
  const char *library = program_file != nullptr ? library_file() : nullptr;
  if (library == nullptr) return;
  (void)begin(argument_count, arguments, library);
  clean_environment();
}

}  // namespace
}  // namespace recorder
