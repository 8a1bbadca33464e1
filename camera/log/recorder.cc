// Opening the record.
#include "log/recorder.h"

namespace camera {

bool Recorder::open(const std::string &path) {
  if (!file_.open(path)) return false;
  end_ = file_.initial_size();
  return true;
}

}  // namespace camera
