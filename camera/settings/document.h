// The table of settings as documentation.
#ifndef ZEL_CAMERA_DOCUMENT_H
#define ZEL_CAMERA_DOCUMENT_H

#include <string>

namespace camera {

/// A Markdown table with a row for every setting: setting, accepted values, default, effect.
std::string settings_document();

}  // namespace camera

#endif
