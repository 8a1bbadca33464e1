// Any text as a console text, alone and joined to a raw stream of one-byte pictures.
#include <algorithm>
#include <array>

#include "reader_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::string text = input_file("run.txt");
  static const std::string stream = input_file("a.gray");
  static constexpr std::array<std::uint8_t, 3> kPictures = {1, 2, 3};
  write_input(text, {data, size});
  write_input(stream, kPictures);
  read_capture({.capture = text});
  read_capture({.capture = stream, .log = text, .format = formats::Codec::kGray, .width = 1, .height = 1});
  return 0;
}
