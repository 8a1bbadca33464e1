// The peer of a raw capture: write_loop FILE SIZE COUNT writes COUNT times SIZE bytes with nothing around it.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <vector>

int main(int argc, char **argv) {
  if (argc != 4) return 2;
  const std::vector<char> bytes(std::strtoul(argv[2], nullptr, 10), 0x5a);
  const int file = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) return 1;
  for (long i = std::strtol(argv[3], nullptr, 10); i > 0; --i) {
    if (write(file, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) return 1;
  }
  return close(file) == 0 ? 0 : 1;
}
