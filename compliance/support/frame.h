// What a frame says and holds.
#ifndef ZEL_COMPLIANCE_FRAME_H
#define ZEL_COMPLIANCE_FRAME_H

#include "compliance/common/expect.h"
#include "compliance/support/stream.h"

namespace compliance {

/// The calls that take a chunk.
enum class Take { kPlain, kWithFlags };

/// Flag 31: the data as it is stored.
inline constexpr guint32 kAsStored = 0x80000000;

zel_chunk take_chunk(zel_frame *frame, Take take);

/// The bytes of all chunks, up to the one of size 0. A Finding when one cannot be taken or has no data, and when there
/// are more bytes than the frame has.
Bytes take_bytes(zel_frame *frame, Take take = Take::kPlain);

/// The frame in the buffer; a Finding without one.
zel_frame *frame_of(const BufferPtr &buffer);

}  // namespace compliance

#endif
