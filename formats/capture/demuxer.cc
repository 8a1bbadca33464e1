// libavformat on files of ours.
#include "formats/capture/demuxer.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <utility>

#include "formats/capture/unusable.h"

extern "C" {
#include <libavutil/mem.h>
}

namespace formats {
namespace {

constexpr int kIoBytes = 256 * 1024;

/// A playlist or a reference inside a file names other files: none of them is opened.
int refuse_to_open(AVFormatContext *, AVIOContext **, const char *, int, AVDictionary **) {
  return AVERROR(EACCES);
}

}  // namespace

Demuxer::Demuxer(std::string name, std::vector<Part> parts, const char *format)
    : name_(std::move(name)), parts_(std::move(parts)) {
  auto *buffer = static_cast<std::uint8_t *>(av_malloc(kIoBytes));
  if (buffer == nullptr) throw std::bad_alloc();
  io_.reset(avio_alloc_context(buffer, kIoBytes, 0, this, read_bytes, nullptr, seek_bytes));
  if (io_ == nullptr) {
    av_free(buffer);
    throw std::bad_alloc();
  }
  AVFormatContext *context = avformat_alloc_context();
  if (context == nullptr) throw std::bad_alloc();
  context->pb = io_.get();
  context->io_open = refuse_to_open;
  const AVInputFormat *input_format = format == nullptr ? nullptr : av_find_input_format(format);
  // Without a name, so that the bytes alone decide what it is. A format that opens files by itself may open none.
  AVDictionary *options = nullptr;
  av_dict_set(&options, "protocol_whitelist", "none", 0);
  const int opened = avformat_open_input(&context, "", input_format, &options);  // frees the context on failure
  av_dict_free(&options);
  if (opened < 0) unusable("{}: is nothing that can be read: {}", name_, av_error_text(opened));
  input_.reset(context);
  choose_tracks();
}

void Demuxer::choose_tracks() {
  const bool has_no_header = (input_->ctx_flags & AVFMTCTX_NOHEADER) != 0;
  if (has_no_header && avformat_find_stream_info(input_.get(), nullptr) < 0) {
    unusable("{}: is nothing that can be read", name_);
  }
  unsigned videos = 0;
  bool has_times = false;
  for (unsigned i = 0; i < input_->nb_streams; ++i) {
    AVStream *stream = input_->streams[i];
    const AVMediaType type = stream->codecpar->codec_type;
    const bool is_picture = (stream->disposition & AV_DISPOSITION_ATTACHED_PIC) != 0;
    stream->discard = AVDISCARD_ALL;
    if (type == AVMEDIA_TYPE_VIDEO && !is_picture) {
      video_ = stream;
      stream->discard = AVDISCARD_NONE;
      ++videos;
    } else if (type == AVMEDIA_TYPE_SUBTITLE && !std::exchange(has_times, true)) {
      stream->discard = AVDISCARD_NONE;
    }
  }
  if (videos == 0) unusable("{}: has no video track", name_);
  if (videos > 1) unusable("{}: has {} video tracks, not one", name_, videos);
}

bool Demuxer::next(AVPacket *packet) {
  do {
    av_packet_unref(packet);
    if (av_read_frame(input_.get(), packet) < 0) return false;
  } while ((packet->flags & AV_PKT_FLAG_CORRUPT) != 0);  // cut off by the end of the file
  return true;
}

int Demuxer::read_bytes(void *self, std::uint8_t *bytes, int count) try {
  auto &demuxer = *static_cast<Demuxer *>(self);
  const std::size_t index = part_at(demuxer.parts_, demuxer.place_);
  const Part &part = demuxer.parts_[index];
  const std::uint64_t within = demuxer.place_ - part.start;
  if (within >= part.bytes) return AVERROR_EOF;
  if (!demuxer.file_ || demuxer.open_ != index) {
    demuxer.file_.emplace(part.path);
    demuxer.open_ = index;
  }
  const std::uint64_t left = std::min<std::uint64_t>(static_cast<std::uint64_t>(count), part.bytes - within);
  const std::size_t done = demuxer.file_->read_at(within, {bytes, static_cast<std::size_t>(left)});
  demuxer.place_ += done;
  return done == 0 ? AVERROR_EOF : static_cast<int>(done);
} catch (const Unusable &) {
  return AVERROR(EIO);
}

std::int64_t Demuxer::seek_bytes(void *self, std::int64_t offset, int whence) {
  auto &demuxer = *static_cast<Demuxer *>(self);
  const Part &last = demuxer.parts_.back();
  const auto size = static_cast<std::int64_t>(last.start + last.bytes);
  switch (whence & ~AVSEEK_FORCE) {
    case AVSEEK_SIZE:
      return size;
    case SEEK_CUR:
      offset += static_cast<std::int64_t>(demuxer.place_);
      break;
    case SEEK_END:
      offset += size;
      break;
    default:
      break;
  }
  if (offset < 0) return AVERROR(EINVAL);
  demuxer.place_ = static_cast<std::uint64_t>(offset);
  return offset;
}

}  // namespace formats
