// A Matroska file written straight with libavformat: what the client's writer is measured against. It gives libavformat
// the same packets for the same frames, and nothing else.
#ifndef ZEL_BENCH_PACKET_FILE_H
#define ZEL_BENCH_PACKET_FILE_H

#include <cstdint>
#include <memory>

#include "pictures.h"

extern "C" {
#include <libavcodec/packet.h>
#include <libavformat/avformat.h>
}

/// Ends the process with a message when anything fails.
class PacketFile {
 public:
  /// Makes the file; its header has the codec header of `first`. Streams of 1920x1080 and 30 frames a second.
  PacketFile(const char *file_name, guint32 format, const Picture &first);

  /// Writes the picture and its cue. `time` is in us.
  void write(const Picture &picture, std::int64_t time);

  /// Writes the trailer. Nothing can be written afterwards.
  void finish();

 private:
  void put(int stream, std::int64_t time);

  struct Free {
    void operator()(AVFormatContext *context) const;
    void operator()(AVPacket *packet) const;
  };

  std::unique_ptr<AVFormatContext, Free> context_;
  std::unique_ptr<AVPacket, Free> packet_;
};

#endif
