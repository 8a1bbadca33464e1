// Owning pointers to what FFmpeg allocates.
#ifndef ZEL_FORMATS_CAPTURE_AV_H
#define ZEL_FORMATS_CAPTURE_AV_H

#include <memory>
#include <string>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavcodec/bsf.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

namespace formats {

struct FreeAv {
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
  void operator()(AVFrame *frame) const { av_frame_free(&frame); }
  void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
  void operator()(AVBSFContext *context) const { av_bsf_free(&context); }
  void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
  void operator()(AVIOContext *context) const {
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};

/// Of an input: closing it leaves the I/O context that it was given.
using InputPtr = std::unique_ptr<AVFormatContext, FreeAv>;
using IoPtr = std::unique_ptr<AVIOContext, FreeAv>;
using PacketPtr = std::unique_ptr<AVPacket, FreeAv>;
using FramePtr = std::unique_ptr<AVFrame, FreeAv>;
using CodecPtr = std::unique_ptr<AVCodecContext, FreeAv>;
using BsfPtr = std::unique_ptr<AVBSFContext, FreeAv>;

inline constexpr AVRational kMicroseconds = {1, 1'000'000};

/// FFmpeg's text for an error code.
inline std::string av_error_text(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof text);
  return text;
}

}  // namespace formats

#endif
