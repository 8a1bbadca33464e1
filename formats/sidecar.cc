// The sidecar's record and trailer as bytes.
#include "formats/sidecar.h"

namespace formats {

std::array<std::uint8_t, kSidecarRecordSize> sidecar_record_bytes(const SidecarRecord &record) {
  std::array<std::uint8_t, kSidecarRecordSize> bytes;
  store_little_endian(bytes.data(), record.frame_type);
  store_little_endian(bytes.data() + 4, record.reserved);
  store_little_endian(bytes.data() + 8, record.time_us);
  store_little_endian(bytes.data() + 16, record.size);
  store_little_endian(bytes.data() + 20, record.header_size);
  return bytes;
}

std::array<std::uint8_t, kSidecarTrailerSize> sidecar_trailer_bytes(std::uint32_t count) {
  std::array<std::uint8_t, kSidecarTrailerSize> bytes;
  store_little_endian(bytes.data(), count);
  return bytes;
}

}  // namespace formats
