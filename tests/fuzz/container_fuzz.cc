// Any bytes as a file of some container.
#include "reader_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size) {
  static const std::string file = input_file("movie");
  write_input(file, {data, size});
  read_capture({.capture = file});
  return 0;
}
