// Preloaded into the client: memory runs out once. ZEL_TEST_FAILING_ALLOCATION is n, counted from 1 over the
// allocations of FFmpeg's libraries and those that the client makes with new or has made; GLib's are left alone,
// because GLib ends the process by design. So are those of avio_open: FFmpeg 5.1 itself crashes when they fail. When
// the fault has struck, the file that ZEL_TEST_FILE_FAULT_LOG names exists.
#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

long allocations = 0;
bool busy = false;     // dladdr and getenv are not asked about their own allocations
bool opening = false;  // in avio_open

bool is_of_ffmpeg(const void *caller) {
  Dl_info info;
  if (dladdr(caller, &info) == 0 || info.dli_fname == nullptr) return false;
  const char *slash = std::strrchr(info.dli_fname, '/');
  const char *name = slash != nullptr ? slash + 1 : info.dli_fname;
  return std::strncmp(name, "libavformat", 11) == 0 || std::strncmp(name, "libavcodec", 10) == 0 ||
         std::strncmp(name, "libavutil", 9) == 0;
}

/// The camera is in the client's process too, and both allocate through the same libraries: the nearer one is meant.
bool is_of_the_client() {
  std::array<void *, 32> frames = {};
  const int depth = backtrace(frames.data(), static_cast<int>(frames.size()));
  for (int i = 1; i < depth; ++i) {
    const void *frame = frames.at(static_cast<std::size_t>(i));
    Dl_info info;
    link_map *map = nullptr;
    if (dladdr1(frame, &info, reinterpret_cast<void **>(&map), RTLD_DL_LINKMAP) == 0) return false;
    if (map->l_name[0] == '\0') return true;  // the program itself
    if (std::strstr(info.dli_fname, "libzel.so") != nullptr) return false;
  }
  return false;
}

bool fails(bool counts) {
  if (!counts) return false;
  const char *nth = std::getenv("ZEL_TEST_FAILING_ALLOCATION");
  if (nth == nullptr || ++allocations != std::strtol(nth, nullptr, 10)) return false;
  (void)close(open(std::getenv("ZEL_TEST_FILE_FAULT_LOG"), O_WRONLY | O_CREAT, 0666));
  return true;
}

bool fails_ffmpeg(const void *caller) {
  if (busy || opening) return false;
  busy = true;
  const bool result = fails(is_of_ffmpeg(caller));
  busy = false;
  return result;
}

template <typename Function>
Function *real(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int posix_memalign(void **memory, size_t alignment, size_t size) noexcept {
  static auto *const next = real(&posix_memalign, "posix_memalign");
  return fails_ffmpeg(__builtin_return_address(0)) ? ENOMEM : next(memory, alignment, size);
}

extern "C" void *realloc(void *memory, size_t size) noexcept {
  static auto *const next = real(&realloc, "realloc");
  if (!fails_ffmpeg(__builtin_return_address(0))) return next(memory, size);
  errno = ENOMEM;
  return nullptr;
}

struct AVIOContext;

extern "C" int avio_open(AVIOContext **context, const char *name, int flags) {
  static auto *const next = real(&avio_open, "avio_open");
  opening = true;
  const int result = next(context, name, flags);
  opening = false;
  return result;
}

void *operator new(std::size_t size) {
  using New = void *(std::size_t);
  static auto *const next = reinterpret_cast<New *>(dlsym(RTLD_NEXT, sizeof(std::size_t) == 8 ? "_Znwm" : "_Znwj"));
  if (busy) return next(size);
  busy = true;
  const bool failed = fails(is_of_the_client());
  busy = false;
  if (failed) throw std::bad_alloc();
  return next(size);
}
