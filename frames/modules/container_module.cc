// The module of files that FFmpeg reads and writes.
#include "frames/modules/modules.h"

extern "C" {
#include <libavutil/log.h>

extern const frames::ContainerModule zel_frames_container;
const frames::ContainerModule zel_frames_container = {
    .prepare = [] { av_log_set_level(AV_LOG_QUIET); },
    .open_container = formats::open_container,
    .split_raw = formats::split_raw,
    .write_movie = frames::write_movie,
};
}
