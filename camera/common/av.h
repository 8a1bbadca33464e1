// FFmpeg's objects as owned C++ values, and its failures as exceptions.
#ifndef ZEL_CAMERA_AV_H
#define ZEL_CAMERA_AV_H

#include <cstdint>  // FFmpeg's headers need its macros

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

#include <memory>
#include <stdexcept>
#include <string>

namespace camera {

struct AvFree {
  void operator()(AVFrame *frame) const { av_frame_free(&frame); }
  void operator()(AVPacket *packet) const { av_packet_free(&packet); }
  void operator()(AVCodecContext *context) const { avcodec_free_context(&context); }
  void operator()(AVFilterGraph *graph) const { avfilter_graph_free(&graph); }
  void operator()(AVFilterInOut *pads) const { avfilter_inout_free(&pads); }
  void operator()(AVFormatContext *context) const { avformat_close_input(&context); }
};

using AvFrame = std::unique_ptr<AVFrame, AvFree>;
using AvPacket = std::unique_ptr<AVPacket, AvFree>;
using AvCodecContext = std::unique_ptr<AVCodecContext, AvFree>;
using AvGraph = std::unique_ptr<AVFilterGraph, AvFree>;
using AvPads = std::unique_ptr<AVFilterInOut, AvFree>;
using AvInput = std::unique_ptr<AVFormatContext, AvFree>;

/// A failure of FFmpeg or of the pictures' source.
struct AvFailure : std::runtime_error {
  using std::runtime_error::runtime_error;
};

/// Returns `status`, or throws when it is a failure: "WHAT: the library's text".
int av_check(int status, const std::string &what);

AvFrame new_frame();
AvPacket new_packet();

}  // namespace camera

#endif
