// The values of every enumeration of the interface, with the words that users type for them.
#ifndef ZEL_CAMERA_CHOICES_H
#define ZEL_CAMERA_CHOICES_H

#include <array>
#include <cstdint>
#include <span>

#include "formats/stream_format.h"

namespace camera {

/// One value of an enumeration.
struct Choice {
  std::uint32_t value;
  const char *nick;  ///< what a user types; unique within its enumeration
};

/// Values of zel_format_get_type().
enum Format : std::uint32_t {
  kFormatH264 = formats::kFormatH264,
  kFormatH265 = formats::kFormatH265,
  kFormatJpeg = formats::kFormatJpeg,
  kFormatNv12 = 3,
  kFormatI420 = 4,
  kFormatGray = 5,
  kFormatRgb = 6,
  kFormatAv1 = formats::kFormatAv1,
  kFormatUnknown = formats::kFormatUnknown,
};

/// Values of zel_rate_control_mode_get_type().
enum RateControl : std::uint32_t {
  kRateConstantQp = 0,
  kRateConstant = 1,
  kRateVariable = 2,
  kRateMaximum = 3,
  kRateAverage = 4,
};

/// Values of zel_timestamp_get_type(): what the custom timestamp of a frame is.
enum TimestampType : std::uint32_t {
  kTimestampMonotonic = 0,
  kTimestampUtc = 1,
  kTimestampElapsed = 2,
  kTimestampSequence = 3,
};

/// Values of zel_buffer_strategy_get_type(). Only the last one changes who brings the buffers.
enum BufferStrategy : std::uint32_t {
  kStrategyAutomatic = 0,
  kStrategyCopy = 1,
  kStrategyShared = 2,
  kStrategyImport = 3,
  kStrategyService = 4,
};

/// Bit 0 of zel_buffer_access_get_type(): the client may read the data.
inline constexpr std::uint32_t kAccessRead = 1;

/// Values of zel_frame_type_get_type().
enum FrameType : std::uint32_t {
  kFrameIdr = 1,
  kFrameI = 2,
  kFrameP = 3,
  kFrameB = 4,
  kFrameJpeg = 16,
  kFrameKey = 32,
  kFrameInter = 33,
  kFrameIntraOnly = 34,
  kFrameSwitch = 35,
  kFrameRaw = 48,
};

inline constexpr std::array kFormats = {
    Choice{kFormatH264, "h264"}, Choice{kFormatH265, "h265"}, Choice{kFormatJpeg, "jpeg"},
    Choice{kFormatNv12, "nv12"}, Choice{kFormatI420, "i420"}, Choice{kFormatGray, "gray"},
    Choice{kFormatRgb, "rgb"},   Choice{kFormatAv1, "av1"},   Choice{kFormatUnknown, "unknown"},
};
inline constexpr std::array kH264Profiles = {Choice{0, "baseline"}, Choice{1, "main"}, Choice{2, "high"}};
inline constexpr std::array kH265Profiles = {Choice{0, "main"}, Choice{1, "main10"}};
inline constexpr std::array kRateControls = {
    Choice{kRateConstantQp, "cqp"}, Choice{kRateConstant, "cbr"}, Choice{kRateVariable, "vbr"},
    Choice{kRateMaximum, "mbr"},    Choice{kRateAverage, "abr"},
};
inline constexpr std::array kRatePriorities = {Choice{0, "none"}, Choice{1, "framerate"}, Choice{2, "quality"}};
inline constexpr std::array kTimestampTypes = {
    Choice{kTimestampMonotonic, "monotonic"},
    Choice{kTimestampUtc, "utc"},
    Choice{kTimestampElapsed, "elapsed"},
    Choice{kTimestampSequence, "sequence"},
};
inline constexpr std::array kBufferAccesses = {Choice{0, "none"}, Choice{1, "read"}, Choice{2, "write"},
                                               Choice{3, "read-write"}};
inline constexpr std::array kBufferStrategies = {
    Choice{kStrategyAutomatic, "automatic"}, Choice{kStrategyCopy, "copy"},       Choice{kStrategyShared, "shared"},
    Choice{kStrategyImport, "import"},       Choice{kStrategyService, "service"},
};
inline constexpr std::array kLumostreamProfiles = {Choice{0, "classic"}, Choice{1, "storage"}, Choice{2, "live"}};
inline constexpr std::array kLumostreamGdrs = {Choice{0, "off"}, Choice{1, "vertical"}, Choice{2, "horizontal"}};
/// The report of a client keeps 8 columns for the types of H.264 and H.265, 9 for AV1.
inline constexpr std::array kFrameTypes = {
    Choice{kFrameIdr, "idr"},       Choice{kFrameI, "i"},
    Choice{kFrameP, "p"},           Choice{kFrameB, "b"},
    Choice{kFrameJpeg, "jpeg"},     Choice{kFrameKey, "key"},
    Choice{kFrameInter, "inter"},   Choice{kFrameIntraOnly, "intraonly"},
    Choice{kFrameSwitch, "switch"}, Choice{kFrameRaw, "raw"},
};

/// The type of a frame of the format of which no more is known than whether it is a key frame.
constexpr std::uint32_t usual_type(std::uint32_t format, bool key) {
  switch (format) {
    case kFormatH264:
    case kFormatH265:
      return key ? kFrameIdr : kFrameP;
    case kFormatAv1:
      return key ? kFrameKey : kFrameInter;
    case kFormatJpeg:
      return kFrameJpeg;
    default:
      return kFrameRaw;
  }
}

/// The nick of `value`, or null when the enumeration has no such value.
constexpr const char *nick_of(std::span<const Choice> choices, std::uint32_t value) {
  for (const Choice &choice : choices) {
    if (choice.value == value) return choice.nick;
  }
  return nullptr;
}

}  // namespace camera

#endif
