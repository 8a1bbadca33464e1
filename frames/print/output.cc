// Writing to standard output.
#include "frames/print/output.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "frames/common/unusable.h"

namespace frames {

std::string one_line(std::string text) {
  for (char &character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < ' ' || byte == 0x7F) character = '?';
  }
  return text;
}

void Output::flush() {
  std::string_view rest = buffer_;
  while (!rest.empty()) {
    const ssize_t count = write(STDOUT_FILENO, rest.data(), rest.size());
    if (count < 0 && errno == EINTR) continue;
    if (count < 0 && errno == EPIPE) throw ClosedPipe();
    if (count < 0) unusable("standard output: {}", std::strerror(errno));
    rest.remove_prefix(static_cast<std::size_t>(count));
  }
  buffer_.clear();
}

}  // namespace frames
