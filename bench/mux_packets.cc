// The peer of a Matroska recording: mux_packets FILE COUNT gives libavformat the packets of so many frames of the stub
// libzel, and does nothing else.
#include <cstdlib>

#include "packet_file.h"

int main(int argc, char **argv) {
  if (argc != 3) return 2;
  Pictures *pictures = load_pictures();
  PacketFile file(argv[1], pictures->format, pictures->pictures[0]);
  const long count = std::strtol(argv[2], nullptr, 10);
  for (long i = 0; i < count; ++i)
    file.write(pictures->pictures[static_cast<gsize>(i) % pictures->count], picture_time(static_cast<guint64>(i)));
  file.finish();
  free_pictures(pictures);
  return 0;
}
