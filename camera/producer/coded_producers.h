// The producers that code pictures.
#ifndef ZEL_CAMERA_CODED_PRODUCERS_H
#define ZEL_CAMERA_CODED_PRODUCERS_H

#include <memory>

#include "encoder/encoder.h"
#include "picture/picture.h"
#include "producer/producer.h"

namespace camera {

/// Codes every picture when it is asked for.
std::unique_ptr<Producer> make_generated_producer(const Plan &plan, std::unique_ptr<Encoder> encoder,
                                                  std::unique_ptr<Picture> picture);

/// Takes a few seconds from `origin` once, at the first begin(), and hands them out again and again.
std::unique_ptr<Producer> make_cached_producer(const Plan &plan, std::unique_ptr<Producer> origin);

}  // namespace camera

#endif
