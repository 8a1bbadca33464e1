// C library and FFmpeg calls that stand in the test executable before the real ones.
#include "interposed.h"

#include <dlfcn.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <map>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/dict.h>
#include <libavutil/mem.h>
}

namespace {

struct State {
  std::map<std::string, unsigned, std::less<>> failures;  ///< calls left until the one that fails
  std::vector<interposed::Packet> packets;
  std::string header_options;
  bool unbuffered = false;
};

/// Made at first use: libraries call in here before main.
State &state() {
  static State instance;
  return instance;
}

/// Set while a test plans anything, so that calls before and after it touch nothing.
constinit bool active = false;

bool fails(std::string_view call) {
  if (!active) return false;
  const auto planned = state().failures.find(call);
  if (planned == state().failures.end() || --planned->second != 0) return false;
  state().failures.erase(planned);
  return true;
}

/// The real function behind an interposed one.
template <typename Function>
Function *real(Function *, const char *name) {
  return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, name));
}

std::string text_of(const std::uint8_t *data, std::size_t size) {
  return data != nullptr ? std::string(reinterpret_cast<const char *>(data), size) : std::string();
}

}  // namespace

namespace interposed {

void reset() {
  state() = State{};
  active = true;
}

void fail(std::string_view call, unsigned nth) {
  state().failures.insert_or_assign(std::string(call), nth);
}

void open_unbuffered() {
  state().unbuffered = true;
}

const std::vector<Packet> &packets() {
  return state().packets;
}

const std::string &header_options() {
  return state().header_options;
}

}  // namespace interposed

// The declarations of these stand in the libraries' headers, whose parameter names they need not repeat.
extern "C" {

AVPacket *av_packet_alloc(void) {
  static auto *const next = real(&av_packet_alloc, "av_packet_alloc");
  return fails("av_packet_alloc") ? nullptr : next();
}

int avformat_alloc_output_context2(AVFormatContext **context, const AVOutputFormat *format, const char *format_name,
                                   const char *file_name) {
  static auto *const next = real(&avformat_alloc_output_context2, "avformat_alloc_output_context2");
  if (!fails("avformat_alloc_output_context2")) return next(context, format, format_name, file_name);
  *context = nullptr;
  return AVERROR(ENOMEM);
}

AVStream *avformat_new_stream(AVFormatContext *context, const AVCodec *codec) {
  static auto *const next = real(&avformat_new_stream, "avformat_new_stream");
  return fails("avformat_new_stream") ? nullptr : next(context, codec);
}

void *av_mallocz(size_t size) {
  static auto *const next = real(&av_mallocz, "av_mallocz");
  return fails("av_mallocz") ? nullptr : next(size);
}

AVBufferRef *av_buffer_create(uint8_t *data, size_t size, void (*release)(void *, uint8_t *), void *opaque, int flags) {
  static auto *const next = real(&av_buffer_create, "av_buffer_create");
  return fails("av_buffer_create") ? nullptr : next(data, size, release, opaque, flags);
}

int av_new_packet(AVPacket *packet, int size) {
  static auto *const next = real(&av_new_packet, "av_new_packet");
  return fails("av_new_packet") ? AVERROR(ENOMEM) : next(packet, size);
}

uint8_t *av_packet_new_side_data(AVPacket *packet, AVPacketSideDataType type, size_t size) {
  static auto *const next = real(&av_packet_new_side_data, "av_packet_new_side_data");
  return fails("av_packet_new_side_data") ? nullptr : next(packet, type, size);
}

int avformat_write_header(AVFormatContext *context, AVDictionary **options) {
  static auto *const next = real(&avformat_write_header, "avformat_write_header");
  const AVDictionaryEntry *entry = nullptr;
  std::string text;
  while ((entry = av_dict_get(*options, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    text += (text.empty() ? "" : " ") + std::string(entry->key) + "=" + entry->value;
  }
  state().header_options = text;
  return next(context, options);
}

int av_write_frame(AVFormatContext *context, AVPacket *packet) {
  static auto *const next = real(&av_write_frame, "av_write_frame");
  if (fails("av_write_frame")) return AVERROR(EIO);
  std::size_t settings_size = 0;
  const std::uint8_t *settings = av_packet_get_side_data(packet, AV_PKT_DATA_WEBVTT_SETTINGS, &settings_size);
  state().packets.push_back({packet->stream_index, packet->pts, packet->dts, packet->duration, packet->flags,
                             packet->data, packet->size, text_of(packet->data, static_cast<std::size_t>(packet->size)),
                             text_of(settings, settings_size)});
  return next(context, packet);
}

int snprintf(char *text, size_t size, const char *format, ...) noexcept {
  if (fails("snprintf")) {
    errno = EOVERFLOW;
    return -1;
  }
  va_list arguments;
  va_start(arguments, format);
  const int length = vsnprintf(text, size, format, arguments);
  va_end(arguments);
  return length;
}

// With 64-bit file offsets this is the C library's fopen64.
FILE *fopen(const char *name, const char *mode) {
  static auto *const next = real(&fopen, "fopen64");
  FILE *file = next(name, mode);
  if (file != nullptr && active && state().unbuffered) (void)setvbuf(file, nullptr, _IONBF, 0);
  return file;
}

}  // extern "C"
