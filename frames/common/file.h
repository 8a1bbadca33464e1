// Files that are read.
#ifndef ZEL_FRAMES_COMMON_FILE_H
#define ZEL_FRAMES_COMMON_FILE_H

#include "formats/capture/file.h"

namespace frames {

using formats::File;
using formats::file_exists;
using formats::is_same_file;
using formats::is_stream;

}  // namespace frames

#endif
