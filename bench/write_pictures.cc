// The peer of a raw capture: write_pictures FILE COUNT writes so many frames of the stub libzel, each with one write(2)
// and nothing around it.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>

#include "pictures.h"

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  Pictures *pictures = load_pictures();
  const int file = open(argv[1], O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (file < 0) return 1;
  const long count = std::strtol(argv[2], nullptr, 10);
  for (long i = 0; i < count; ++i) {
    const Picture &picture = pictures->pictures[static_cast<gsize>(i) % pictures->count];
    if (write(file, picture.data, picture.size) != static_cast<ssize_t>(picture.size)) return 1;
  }
  free_pictures(pictures);
  return close(file) == 0 ? 0 : 1;
}
