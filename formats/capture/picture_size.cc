// The size of a capture's pictures.
#include <new>

#include "formats/capture/decoder.h"

namespace formats {
namespace {

struct FreeParser {
  void operator()(AVCodecParserContext *parser) const { av_parser_close(parser); }
};

struct Size {
  int width = 0;  ///< pixels
  int height = 0;
};

/// What the parameter sets say; nothing for codecs whose parser does not tell.
Size size_by_parser(Codec codec, std::span<const std::uint8_t> frame) {
  const std::unique_ptr<AVCodecParserContext, FreeParser> parser(av_parser_init(codec_id(codec)));
  const CodecPtr context(avcodec_alloc_context3(nullptr));
  if (context == nullptr) throw std::bad_alloc();
  if (parser == nullptr) return {};
  parser->flags |= PARSER_FLAG_COMPLETE_FRAMES;
  std::vector<std::uint8_t> padded(frame.begin(), frame.end());
  padded.resize(frame.size() + AV_INPUT_BUFFER_PADDING_SIZE);
  std::uint8_t *parsed = nullptr;
  int parsed_size = 0;
  (void)av_parser_parse2(parser.get(), context.get(), &parsed, &parsed_size, padded.data(),
                         static_cast<int>(frame.size()), AV_NOPTS_VALUE, AV_NOPTS_VALUE, 0);
  return {.width = parser->width, .height = parser->height};
}

Size size_by_decoder(const Capture &capture, std::span<const std::uint8_t> frame) {
  Decoder decoder(capture);
  (void)decoder.send(frame, 0);
  decoder.end();
  const AVFrame *picture = decoder.take();
  return picture == nullptr ? Size() : Size{.width = picture->width, .height = picture->height};
}

}  // namespace

void find_picture_size(Capture &capture) {
  if (!needs_picture_size(capture)) return;
  const std::unique_ptr<FrameReader> reader = capture.open_bytes(capture);
  std::size_t key = 0;
  while (key < capture.frames.count && !is_key_frame(capture, *reader, key))
    ++key;
  if (key == capture.frames.count) return;
  const std::span<const std::uint8_t> frame = reader->read(key);
  Size size = size_by_parser(*capture.codec, frame);
  if (size.width <= 0 || size.height <= 0) size = size_by_decoder(capture, frame);
  capture.width = static_cast<std::uint32_t>(size.width);
  capture.height = static_cast<std::uint32_t>(size.height);
}

}  // namespace formats
