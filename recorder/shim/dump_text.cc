// Standing before the functions of stdio with which a library may print. They do what they always do; while a thread
// collects, what goes to standard output is noted too.
#undef _FORTIFY_SOURCE  // the checked functions are defined here themselves

#include "recorder/shim/dump_text.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "recorder/shim/crossing.h"

namespace recorder {
namespace {

/// The memory that stays, lent to one text at a time.
std::atomic_flag lent = ATOMIC_FLAG_INIT;
char *shared_memory = nullptr;
std::size_t shared_capacity = 0;

}  // namespace

DumpText::DumpText() : is_shared_(!lent.test_and_set(std::memory_order_acquire)) {
  if (!is_shared_) return;
  memory_ = shared_memory;
  capacity_ = shared_capacity;
}

DumpText::~DumpText() {
  if (!is_shared_) {
    std::free(memory_);
    return;
  }
  shared_memory = memory_;
  shared_capacity = capacity_;
  lent.clear(std::memory_order_release);
}

char *DumpText::room_for(std::size_t count) {
  constexpr std::size_t kFirst = 4096;
  const std::size_t needed = size_ + count + 1;
  if (needed > capacity_) {
    const std::size_t capacity = needed < kFirst ? kFirst : needed * 2;
    auto *memory = static_cast<char *>(std::realloc(memory_, capacity));
    if (memory == nullptr) return nullptr;
    memory_ = memory;
    capacity_ = capacity;
  }
  return memory_ + size_;
}

void DumpText::added(std::size_t count) {
  size_ += count;
  memory_[size_] = '\0';
}

void DumpText::append(const char *bytes, std::size_t count) {
  char *room = room_for(count);
  if (room == nullptr) return;
  std::memcpy(room, bytes, count);
  added(count);
}

namespace {

/// The text that this thread collects and that goes to `file`; null: none.
DumpText *collected(const FILE *file) {
  DumpText *dump = thread_state.dump;
  return dump != nullptr && file == stdout ? dump : nullptr;
}

void note(const FILE *file, const char *bytes, std::size_t count) {
  if (DumpText *dump = collected(file)) dump->append(bytes, count);
}

void note_letter(const FILE *file, int letter) {
  const char byte = static_cast<char>(letter);
  note(file, &byte, 1);
}

__attribute__((format(printf, 2, 0))) void note_format(const FILE *file, const char *format, va_list arguments) {
  DumpText *dump = collected(file);
  if (dump == nullptr) return;
  const ErrnoKept kept;
  va_list copy;
  va_copy(copy, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, copy);
  va_end(copy);
  char *room = length > 0 ? dump->room_for(static_cast<std::size_t>(length)) : nullptr;
  if (room == nullptr) return;
  va_copy(copy, arguments);
  (void)std::vsnprintf(room, static_cast<std::size_t>(length) + 1, format, copy);
  va_end(copy);
  dump->added(static_cast<std::size_t>(length));
}

template <Name kName>
G_GNUC_PRINTF(2, 0)
int next_vfprintf(FILE *file, const char *format, va_list arguments) {
  note_format(file, format, arguments);
  return next_function<kName, int(FILE *, const char *, va_list)>()(file, format, arguments);
}

template <Name kName>
G_GNUC_PRINTF(3, 0)
int next_checked(FILE *file, int flag, const char *format, va_list arguments) {
  note_format(file, format, arguments);
  return next_function<kName, int(FILE *, int, const char *, va_list)>()(file, flag, format, arguments);
}

template <Name kName>
int next_letter(int letter, FILE *file) {
  note_letter(file, letter);
  return next_function<kName, int(int, FILE *)>()(letter, file);
}

template <Name kName>
int next_text(const char *text, FILE *file) {
  if (thread_state.dump != nullptr) note(file, text, std::strlen(text));
  return next_function<kName, int(const char *, FILE *)>()(text, file);
}

template <Name kName>
std::size_t next_items(const void *items, std::size_t size, std::size_t count, FILE *file) {
  note(file, static_cast<const char *>(items), size * count);
  return next_function<kName, std::size_t(const void *, std::size_t, std::size_t, FILE *)>()(items, size, count, file);
}

}  // namespace
}  // namespace recorder

using namespace recorder;

#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // formats are the library's

// The names are given by asm, so that the C library's own declarations, which some of them are macros for, do not
// matter.
#define ZEL_STDIO(type, name, symbol, ...)                    \
  extern "C" type record_##name(__VA_ARGS__) __asm__(symbol); \
  ZEL_SHIM type record_##name(__VA_ARGS__)

ZEL_STDIO(int, fputs, "fputs", const char *text, FILE *file) {
  return next_text<"fputs">(text, file);
}
ZEL_STDIO(int, fputs_unlocked, "fputs_unlocked", const char *text, FILE *file) {
  return next_text<"fputs_unlocked">(text, file);
}
ZEL_STDIO(int, puts, "puts", const char *text) {
  if (thread_state.dump != nullptr) {
    note(stdout, text, std::strlen(text));
    note_letter(stdout, '\n');
  }
  return next_function<"puts", int(const char *)>()(text);
}
ZEL_STDIO(int, fputc, "fputc", int letter, FILE *file) {
  return next_letter<"fputc">(letter, file);
}
ZEL_STDIO(int, putc, "putc", int letter, FILE *file) {
  return next_letter<"putc">(letter, file);
}
ZEL_STDIO(int, io_putc, "_IO_putc", int letter, FILE *file) {
  return next_letter<"_IO_putc">(letter, file);
}
ZEL_STDIO(int, putc_unlocked, "putc_unlocked", int letter, FILE *file) {
  return next_letter<"putc_unlocked">(letter, file);
}
ZEL_STDIO(int, fputc_unlocked, "fputc_unlocked", int letter, FILE *file) {
  return next_letter<"fputc_unlocked">(letter, file);
}
ZEL_STDIO(int, putchar, "putchar", int letter) {
  note_letter(stdout, letter);
  return next_function<"putchar", int(int)>()(letter);
}
ZEL_STDIO(int, putchar_unlocked, "putchar_unlocked", int letter) {
  note_letter(stdout, letter);
  return next_function<"putchar_unlocked", int(int)>()(letter);
}
ZEL_STDIO(std::size_t, fwrite, "fwrite", const void *items, std::size_t size, std::size_t count, FILE *file) {
  return next_items<"fwrite">(items, size, count, file);
}
ZEL_STDIO(std::size_t, fwrite_unlocked, "fwrite_unlocked", const void *items, std::size_t size, std::size_t count,
          FILE *file) {
  return next_items<"fwrite_unlocked">(items, size, count, file);
}
ZEL_STDIO(int, vfprintf, "vfprintf", FILE *file, const char *format, va_list arguments) {
  return next_vfprintf<"vfprintf">(file, format, arguments);
}
ZEL_STDIO(int, vprintf, "vprintf", const char *format, va_list arguments) {
  return next_vfprintf<"vfprintf">(stdout, format, arguments);
}
ZEL_STDIO(int, fprintf, "fprintf", FILE *file, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = next_vfprintf<"vfprintf">(file, format, arguments);
  va_end(arguments);
  return result;
}
ZEL_STDIO(int, printf, "printf", const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = next_vfprintf<"vfprintf">(stdout, format, arguments);
  va_end(arguments);
  return result;
}
ZEL_STDIO(int, vfprintf_chk, "__vfprintf_chk", FILE *file, int flag, const char *format, va_list arguments) {
  return next_checked<"__vfprintf_chk">(file, flag, format, arguments);
}
ZEL_STDIO(int, vprintf_chk, "__vprintf_chk", int flag, const char *format, va_list arguments) {
  return next_checked<"__vfprintf_chk">(stdout, flag, format, arguments);
}
ZEL_STDIO(int, fprintf_chk, "__fprintf_chk", FILE *file, int flag, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = next_checked<"__vfprintf_chk">(file, flag, format, arguments);
  va_end(arguments);
  return result;
}
ZEL_STDIO(int, printf_chk, "__printf_chk", int flag, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = next_checked<"__vfprintf_chk">(stdout, flag, format, arguments);
  va_end(arguments);
  return result;
}
