// A V4L2 device without a kernel driver: an ordinary file whose controls this program answers itself.
#ifndef ZEL_TEST_FAKE_WEBCAM_H
#define ZEL_TEST_FAKE_WEBCAM_H

#include <cstdint>
#include <string>

namespace fake_webcam {

constexpr std::uint32_t kWidth = 96;
constexpr std::uint32_t kHeight = 64;
constexpr std::uint32_t kFramesPerSecond = 20;

/// Makes `path` a device that captures gray pictures: the brightness of all samples is brightness(n) in the nth
/// picture, from 0. It captures one whenever none was there to be fetched, to be had by the next look.
void make(const std::string &path);

/// The device captures that many pictures now. Returns the number of the last one.
std::uint32_t capture(std::uint32_t count);

/// The device captures nothing more by itself.
void fall_silent();

/// Waits until a silent device has been asked for a picture. Callable beside the thread that asks.
void wait_for_look();

constexpr std::uint8_t brightness(std::uint32_t number) {
  return static_cast<std::uint8_t>(20 + number % 20 * 10);
}

}  // namespace fake_webcam

#endif
