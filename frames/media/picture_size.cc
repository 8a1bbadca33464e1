// The size of a capture's pictures.
#include "frames/media/decoder.h"

namespace frames {

void find_picture_size(Capture &capture) {
  if (capture.width != 0 || !capture.has_bytes() || !capture.codec || formats::is_uncompressed(*capture.codec)) return;
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  std::size_t key = 0;
  while (key < capture.frames.count && !is_key_frame(capture, *reader, key))
    ++key;
  if (key == capture.frames.count) return;
  Decoder decoder(capture);
  (void)decoder.send(reader->read(key), key);
  decoder.end();
  const AVFrame *picture = decoder.take();
  if (picture == nullptr) return;
  capture.width = static_cast<std::uint32_t>(picture->width);
  capture.height = static_cast<std::uint32_t>(picture->height);
}

}  // namespace frames
