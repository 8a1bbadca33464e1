// Whose FFmpeg's log callback is.
#include <dlfcn.h>
#include <gtest/gtest.h>

extern "C" {
#include <libavutil/log.h>
}

#include <cstdarg>

#include "support/camera_fixture.h"

namespace {

using Callback = void (*)(void *, int, const char *, va_list);
Callback current = av_log_default_callback;

}  // namespace

/// Takes the place of FFmpeg's, which does not tell the callback that is set.
extern "C" __attribute__((visibility("default"))) void av_log_set_callback(Callback callback) {
  static const auto real = reinterpret_cast<void (*)(Callback)>(dlsym(RTLD_NEXT, "av_log_set_callback"));
  current = callback;
  real(callback);
}

namespace {

using MessagesTest = CameraTest;

// The callback must not stay the camera's when nothing of the camera is left that needs it.
TEST_F(MessagesTest, TheCallbackIsTheCamerasWhileAStreamLives) {
  create({{"resolution", zel_pair32u{64, 64}}});
  EXPECT_NE(current, av_log_default_callback);
  StreamRef first = std::move(stream_);
  create({{"resolution", zel_pair32u{64, 64}}});
  first.reset();
  EXPECT_NE(current, av_log_default_callback);
  stream_.reset();
  EXPECT_EQ(current, av_log_default_callback);
}

TEST_F(MessagesTest, AStreamThatIsRefusedLeavesTheDefaultCallback) {
  configure("graph=nonsense");
  (void)refusal({});
  EXPECT_EQ(current, av_log_default_callback);
}

}  // namespace
