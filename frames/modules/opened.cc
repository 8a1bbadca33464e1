// Opens the modules at first use, and passes calls on to them.
#include <dlfcn.h>
#include <unistd.h>

#include <array>
#include <climits>
#include <string>

#include "frames/common/file.h"
#include "frames/common/unusable.h"
#include "frames/modules/modules.h"

namespace frames {
namespace {

/// The folder of this program, with a slash at its end.
std::string program_folder() {
  std::array<char, PATH_MAX> path{};
  const ssize_t length = readlink("/proc/self/exe", path.data(), path.size());
  const std::string program(path.data(), length < 0 ? 0 : static_cast<std::size_t>(length));
  return program.substr(0, program.rfind('/') + 1);
}

/// Beside the program, where it was built or unpacked, or else where it is installed.
std::string find_module(const char *file) {
  const std::string folder = program_folder();
  std::string beside = folder + file;
  return file_exists(beside) ? beside : folder + ZEL_MODULES_FROM_PROGRAM "/" + file;
}

template <typename Module>
const Module &open_module() {
  void *library = dlopen(find_module(Module::kFile).c_str(), RTLD_LAZY | RTLD_LOCAL);
  const void *table = library == nullptr ? nullptr : dlsym(library, Module::kSymbol);
  if (table == nullptr) unusable("a part of the program is missing: {}", dlerror());
  const auto &module = *static_cast<const Module *>(table);
  module.prepare();
  return module;
}

/// Opened by the first call and never closed: what a module has made must not outlive it.
template <typename Module>
const Module &opened() {
  static const Module &module = open_module<Module>();
  return module;
}

}  // namespace

void check_decoding(const Capture &capture, Findings &findings) {
  opened<CodecModule>().check_decoding(capture, findings);
}

std::vector<Thumbnail> make_thumbnails(const Capture &capture, std::size_t most) {
  return opened<CodecModule>().make_thumbnails(capture, most);
}

std::vector<std::uint8_t> png_of_frame(const Capture &capture, std::size_t frame) {
  return opened<CodecModule>().png_of_frame(capture, frame);
}

std::uint64_t write_movie(Capture &capture, const FrameRange &range, Container container, OutputFile &file) {
  return opened<ContainerModule>().write_movie(capture, range, container, file);
}

}  // namespace frames

// What reading a capture calls when it needs FFmpeg.
namespace formats {

void find_picture_size(Capture &capture) {
  if (needs_picture_size(capture)) frames::opened<frames::CodecModule>().find_picture_size(capture);
}

Capture open_container(const CaptureOptions &options) {
  return frames::opened<frames::ContainerModule>().open_container(options);
}

bool split_raw(Capture &capture, const CaptureOptions &options) {
  return frames::opened<frames::ContainerModule>().split_raw(capture, options);
}

}  // namespace formats
