// Tells which kind of source a capture is.
#include "formats/capture/source.h"

#include <array>
#include <cstring>

#include "formats/capture/file.h"
#include "formats/capture/unusable.h"
#include "formats/sidecar.h"

namespace formats {
namespace {

/// The first bytes of every EBML file, Matroska among them.
constexpr std::array<std::uint8_t, 4> kEbml = {0x1A, 0x45, 0xDF, 0xA3};

bool is_ebml(const std::string &path) {
  std::array<std::uint8_t, kEbml.size()> start{};
  File file(path);
  return file.read(start) == start.size() && start == kEbml;
}

Capture open_by_kind(const CaptureOptions &options) {
  const std::string &name = options.capture;
  if (name == "-") return open_console(name);
  if (!file_exists(name) && is_pattern(name)) return open_raw(options);
  if (name.ends_with(kSidecarSuffix)) return open_sidecar(options);
  if (is_stream(name)) return open_console(name);  // it can be read once, so only as a text
  if (File(name).size() == 0 && options.meta.empty() && !file_exists(name + std::string(kSidecarSuffix))) {
    unusable("{}: is empty", name);
  }
  if (is_ebml(name)) return open_container(options);
  if (!options.format && is_console_text(name)) return open_console(name);
  return open_raw(options);
}

/// Refuses options that could not do anything: who gives one counts on it.
void forbid_unused(const CaptureOptions &options, const Capture &capture) {
  const bool is_timed_by_rate = capture.kind == SourceKind::kRaw && !capture.has_sidecar;
  if (options.fps && !is_timed_by_rate) unusable("{}: has times of its own, --fps is not needed", options.capture);
  if (!options.meta.empty() && capture.kind == SourceKind::kConsole) {
    unusable("{}: a console text takes no sidecar (--meta)", options.capture);
  }
  if (!options.meta.empty() && capture.kind == SourceKind::kSidecar) {
    unusable("{}: is a sidecar itself, --meta names that of a stream", options.capture);
  }
  if (!options.log.empty() && capture.kind == SourceKind::kConsole) {
    unusable("{}: is a console text itself, --log joins one to another kind of capture", options.capture);
  }
}

}  // namespace

Capture open_capture(const CaptureOptions &options) {
  Capture capture = open_by_kind(options);
  capture.show_progress = options.show_progress;
  forbid_unused(options, capture);
  if (!options.log.empty()) join_console(capture, options.log);
  return capture;
}

}  // namespace formats
