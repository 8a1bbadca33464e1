// Any bytes as a raw stream without a sidecar. The first byte says what it is, or that the others decide.
#include <algorithm>
#include <array>

#include "reader_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  using formats::Codec;
  static constexpr std::array kCodecs = {Codec::kH264, Codec::kH265, Codec::kJpeg, Codec::kAv1, Codec::kNv12};
  static const std::string stream = input_file("raw");
  if (size == 0) return 0;
  frames::CaptureOptions options = {.capture = stream, .width = 3, .height = 2, .fps = frames::Rate{30'000, 1001}};
  const std::size_t chosen = data[0] % (kCodecs.size() + 1);
  if (chosen < kCodecs.size()) options.format = kCodecs[chosen];
  write_input(stream, {data + 1, size - 1});
  read_capture(options);
  return 0;
}
