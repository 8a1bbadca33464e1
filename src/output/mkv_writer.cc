// The Matroska writer: the one writer of the process, from creating it to finalising it.
#include "output/mkv_writer.h"

#include <optional>

#include "common/errors.h"
#include "output/frame_data.h"
#include "output/mkv_container.h"
#include "output/mkv_packets.h"

namespace {

/// The writer of the process. Left over at exit, after an error, it closes its file without a trailer.
constinit std::optional<MkvWriter> slot;

}  // namespace

bool mkv_create(const char *file_name, std::uint32_t format, std::uint32_t width, std::uint32_t height, GError **error,
                double framerate) {
  if (file_name == nullptr) return set_error(error, kErrorMissing, "No filename provided");
  slot = MkvWriter::open(file_name, format, width, height, framerate);
  return slot || set_error(error, kErrorCompound, "Failed to create MKV writer");
}

bool mkv_write_frame(zel_frame *frame, GError **error) {
  if (!slot) return set_error(error, kErrorMissing, "MKV writer not initialized");

  std::uint8_t *data = frame_data(frame, error);
  if (data == nullptr) {
    // Exhausted memory and a failed call have set the error; a frame without a data pointer has set none.
    const bool explained = error != nullptr && *error != nullptr;
    return explained ? false : set_error(error, kErrorCompound, "Failed writing MKV frame");
  }
  if (!mkv_write_header(*slot, frame, data)) return set_error(error, kErrorCompound, "Failed writing MKV header");
  if (!mkv_write_video(*slot, frame, data)) return set_error(error, kErrorCompound, "Failed writing MKV frame");
  if (!mkv_write_subtitle(*slot, frame)) return set_error(error, kErrorCompound, "Failed writing MKV subtitle");
  return true;
}

bool mkv_finalize(GError **error) {
  if (!slot) return true;
  // The slot keeps a writer that could not be finalised, so that finalising again fails again.
  if (!mkv_write_trailer(*slot)) return set_error(error, kErrorCompound, "Failed finalizing container");
  slot.reset();
  return true;
}
