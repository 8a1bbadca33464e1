// Any bytes as a sidecar, alone and beside any raw stream: a 16-bit length, so many bytes of the stream, the sidecar.
#include <algorithm>

#include "reader_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::string stream = input_file("a.h264");
  static const std::string sidecar = stream + ".meta";
  Input input(data, size);
  const std::size_t length = input.number<std::uint16_t>();
  const std::span<const std::uint8_t> rest = std::span(data, size).subspan(std::min<std::size_t>(size, 2));
  const std::size_t stream_size = std::min(length, rest.size());
  write_input(stream, rest.first(stream_size));
  write_input(sidecar, rest.subspan(stream_size));
  read_capture({.capture = sidecar});
  read_capture({.capture = stream});
  read_capture({.capture = stream, .format = formats::Codec::kGray});
  return 0;
}
