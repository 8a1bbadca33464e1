// FFmpeg's log callback.
#include "common/av_messages.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>
#include <mutex>

namespace camera {
namespace {

thread_local int silencers = 0;

std::mutex callback_mutex;
int callback_users = 0;

void print_unless_silenced(void *context, int level, const char *format, va_list arguments) {
  if (silencers == 0) av_log_default_callback(context, level, format, arguments);
}

}  // namespace

AvLogCallback::AvLogCallback() {
  const std::lock_guard lock(callback_mutex);
  if (++callback_users == 1) av_log_set_callback(print_unless_silenced);
}

AvLogCallback::~AvLogCallback() {
  const std::lock_guard lock(callback_mutex);
  if (--callback_users == 0) av_log_set_callback(av_log_default_callback);
}

MessagesSilenced::MessagesSilenced() {
  ++silencers;
}

MessagesSilenced::~MessagesSilenced() {
  --silencers;
}

}  // namespace camera
