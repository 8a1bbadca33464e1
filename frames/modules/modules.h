// What zel-frames does with FFmpeg, as two modules: shared objects that are opened when a command first needs them.
// Loading FFmpeg with all its libraries takes longer than most of what is asked of a sidecar or a console text.
//
// A module has the functions that their headers declare. Who calls them sees no difference between a program that opens
// the modules (opened.cc) and one that has the functions linked in.
#ifndef ZEL_FRAMES_MODULES_MODULES_H
#define ZEL_FRAMES_MODULES_MODULES_H

#include "frames/media/decode_check.h"
#include "frames/media/movie.h"
#include "frames/media/picture_file.h"
#include "frames/model/capture.h"
#include "frames/report/thumbnails.h"

namespace frames {

/// Pictures: libavcodec and libswscale.
struct CodecModule {
  static constexpr char kFile[] = "zel-frames-codec.so";
  static constexpr char kSymbol[] = "zel_frames_codec";

  void (*prepare)();  ///< called once, before anything else
  decltype(frames::check_decoding) *check_decoding;
  decltype(formats::find_picture_size) *find_picture_size;
  decltype(frames::make_thumbnails) *make_thumbnails;
  decltype(frames::png_of_frame) *png_of_frame;
};

/// Files: libavformat too.
struct ContainerModule {
  static constexpr char kFile[] = "zel-frames-container.so";
  static constexpr char kSymbol[] = "zel_frames_container";

  void (*prepare)();  ///< called once, before anything else
  decltype(formats::open_container) *open_container;
  decltype(formats::split_raw) *split_raw;
  decltype(frames::write_movie) *write_movie;
};

}  // namespace frames

#endif
