// Owner of the null sink and of the choice between it and standard output.
#include "common/report_stream.h"

namespace {

/// Opened before main and closed at exit.
class NullSink {
 public:
  NullSink() : file_(std::fopen("/dev/null", "w")) {}
  ~NullSink() {
    if (file_ != nullptr) (void)std::fclose(file_);
  }
  NullSink(const NullSink &) = delete;
  NullSink &operator=(const NullSink &) = delete;
  FILE *file() const { return file_; }

 private:
  FILE *file_;
};

const NullSink null_sink;
bool silenced = false;

}  // namespace

FILE *report_stream() {
  return silenced && null_sink.file() != nullptr ? null_sink.file() : stdout;
}

void silence_report_stream() {
  silenced = true;
}
