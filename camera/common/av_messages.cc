// FFmpeg's log callback.
#include "common/av_messages.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <mutex>

namespace camera {
namespace {

thread_local int silenced = 0;

void print_unless_silenced(void *context, int level, const char *format, va_list arguments) {
  if (silenced == 0) av_log_default_callback(context, level, format, arguments);
}

}  // namespace

MessagesSilenced::MessagesSilenced() {
  static std::once_flag installed;
  std::call_once(installed, [] { av_log_set_callback(print_unless_silenced); });
  ++silenced;
}

MessagesSilenced::~MessagesSilenced() {
  --silenced;
}

}  // namespace camera
