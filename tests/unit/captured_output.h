// Catches what code under test writes to a standard descriptor.
#ifndef ZEL_CLIENT_TESTS_UNIT_CAPTURED_OUTPUT_H
#define ZEL_CLIENT_TESTS_UNIT_CAPTURED_OUTPUT_H

#include <unistd.h>

#include <cstdio>
#include <string>

/// While it lives, `stream` (stdout or stderr) writes to a file of its own.
class CapturedOutput {
 public:
  explicit CapturedOutput(FILE *stream) : stream_(stream) {
    (void)std::fflush(stream_);
    saved_ = dup(fileno(stream_));
    (void)dup2(fileno(file_), fileno(stream_));
  }
  ~CapturedOutput() {
    (void)std::fflush(stream_);
    (void)dup2(saved_, fileno(stream_));
    (void)close(saved_);
    (void)std::fclose(file_);
  }
  CapturedOutput(const CapturedOutput &) = delete;
  CapturedOutput &operator=(const CapturedOutput &) = delete;

  /// Everything since the last call.
  std::string take() {
    (void)std::fflush(stream_);
    std::string text;
    char byte = 0;
    while (pread(fileno(file_), &byte, 1, offset_) == 1) {
      text += byte;
      ++offset_;
    }
    return text;
  }

 private:
  FILE *stream_;
  FILE *file_ = std::tmpfile();
  int saved_ = -1;
  off_t offset_ = 0;
};

#endif
