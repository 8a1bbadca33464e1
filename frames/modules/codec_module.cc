// The module of pictures.
#include "frames/modules/modules.h"

extern "C" {
#include <libavutil/log.h>

extern const frames::CodecModule zel_frames_codec;
const frames::CodecModule zel_frames_codec = {
    .prepare = [] { av_log_set_level(AV_LOG_QUIET); },
    .check_decoding = frames::check_decoding,
    .find_picture_size = formats::find_picture_size,
    .make_thumbnails = frames::make_thumbnails,
    .png_of_frame = frames::png_of_frame,
};
}
