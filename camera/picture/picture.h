// The pictures of a stream: source, transformation, marker.
#ifndef ZEL_CAMERA_PICTURE_H
#define ZEL_CAMERA_PICTURE_H

#include <cstdint>
#include <memory>

#include "common/av.h"
#include "picture/source.h"
#include "settings/grant.h"

namespace camera {

/// What a picture is told about its capture.
struct Capture {
  std::uint32_t sequence = 0;
  std::uint64_t captured_us = 0;
  std::uint64_t utc_us = 0;
};

/// What the camera writes into its pictures.
struct Writing {
  bool scene_text = false;  ///< number and time for people, part of the scene
  bool marker = false;      ///< the same for programs
};

/// Makes the picture that is coded out of the source's: the asked view, size, orientation and overlays.
class Picture {
 public:
  /// `pixels` is the pixel format of the result. Takes the first picture and makes all ready for it.
  Picture(const Plan &plan, std::unique_ptr<Source> source, AVPixelFormat pixels, const Writing &writing);

  /// Takes the next picture from the source. Returns false at its end.
  bool advance();

  /// Whether advance() found the very picture that it had found before.
  bool is_still() const { return still_; }

  /// The picture of this capture.
  AvFrame render(const Capture &capture);

 private:
  void build_graph(const AVFrame &picture);
  std::string chain() const;

  Plan plan_;
  std::unique_ptr<Source> source_;
  AVPixelFormat pixels_;
  Writing writing_;
  bool watches_ = false;  ///< whether still scenes matter to the plan
  bool still_ = false;
  bool started_ = false;  ///< the first picture, which the constructor took, has been used or is out of date
  AvFrame current_;
  AvGraph graph_;
  AVFilterContext *entry_ = nullptr;  ///< the graph's
  AVFilterContext *exit_ = nullptr;   ///< the graph's
  int graph_width_ = 0;
  int graph_height_ = 0;
  int graph_format_ = -1;
  std::int64_t pts_ = 0;
};

}  // namespace camera

#endif
