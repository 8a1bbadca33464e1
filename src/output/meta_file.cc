// Writing the sidecar.
#include "output/meta_file.h"

#include <stdio_ext.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "common/errors.h"
#include "formats/sidecar.h"

namespace {

struct CloseFile {
  void operator()(FILE *file) const { (void)std::fclose(file); }
};

constexpr std::size_t kNameBytes = 256;  ///< of the sidecar's name, with the final zero

std::unique_ptr<FILE, CloseFile> meta_stream;  ///< null while the sidecar is closed
std::uint32_t record_count = 0;                ///< records written and flushed since the file was opened

/// The calls' order is kept.
formats::SidecarRecord record_of(zel_frame *frame) {
  formats::SidecarRecord record;
  record.size = static_cast<std::uint32_t>(zel_frame_get_size(frame));
  record.frame_type = zel_frame_get_frame_type(frame);
  record.time_us = zel_frame_get_timestamp(frame);
  record.header_size = static_cast<std::uint32_t>(zel_frame_get_header_size(frame));
  return record;
}

}  // namespace

bool meta_open(const char *output_name, GError **error) {
  if (output_name == nullptr) return set_error(error, kErrorMissing, "No filename provided");

  std::array<char, kNameBytes> name{};
  if (std::snprintf(name.data(), name.size(), "%s%s", output_name, formats::kSidecarSuffix.data()) < 0) {
    return set_error(error, kErrorCompound, "Failed to format meta filename");
  }

  (void)meta_stream.release();  // an earlier sidecar is dropped, not closed; kept as it is
  meta_stream.reset(std::fopen(name.data(), "wb"));
  if (meta_stream == nullptr) return set_error(error, kErrorFile, "Failed to open meta file '%s': %m", name.data());
  (void)__fsetlocking(meta_stream.get(), FSETLOCKING_BYCALLER);  // one thread: a record need not pay for locks
  record_count = 0;
  return true;
}

bool meta_write_entry(zel_frame *frame, GError **error) {
  if (meta_stream == nullptr) return set_error(error, kErrorMissing, "Meta file not opened");
  if (frame == nullptr) return set_error(error, kErrorMissing, "No frame provided");

  const auto record = formats::sidecar_record_bytes(record_of(frame));
  if (std::fwrite(record.data(), record.size(), 1, meta_stream.get()) != 1) {
    return set_error(error, kErrorFile, "Failed to write meta entry: %m");
  }
  if (std::fflush(meta_stream.get()) != 0) return set_error(error, kErrorFile, "Failed to flush meta file: %m");
  ++record_count;
  return true;
}

bool meta_close(GError **error) {
  if (meta_stream == nullptr) return true;

  const auto trailer = formats::sidecar_trailer_bytes(record_count);
  const bool counted = std::fwrite(trailer.data(), trailer.size(), 1, meta_stream.get()) == 1;
  // The message needs the cause that writing left, not what closing makes of it.
  if (!counted) set_error(error, kErrorFile, "Failed to write number of frames: %m");
  meta_stream.reset();
  record_count = 0;
  return counted;
}
