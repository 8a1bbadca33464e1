// Decoding a capture to find faults.
#include "frames/media/decode_check.h"

#include <fmt/format.h>

#include <atomic>
#include <cstdarg>
#include <deque>
#include <string>

#include "formats/bitstream.h"
#include "formats/capture/decoder.h"
#include "formats/report_line.h"
#include "frames/common/progress.h"
#include "frames/common/unusable.h"

extern "C" {
#include <libavutil/log.h>
}

namespace frames {
namespace {

/// Messages of FFmpeg that report an error. Decoders go on after many faults and say so in no other way.
std::atomic<std::size_t> error_messages = 0;

void count_message(void *, int level, const char *, va_list) {
  if (level <= AV_LOG_ERROR) ++error_messages;
}

/// Counts error messages while it lives.
class MessageCounter {
 public:
  MessageCounter() { av_log_set_callback(count_message); }
  ~MessageCounter() { av_log_set_callback(av_log_default_callback); }
  MessageCounter(const MessageCounter &) = delete;
  MessageCounter &operator=(const MessageCounter &) = delete;

  /// Whether messages came since the last call.
  bool fresh() {
    const std::size_t before = seen_;
    seen_ = error_messages;
    return seen_ != before;
  }

 private:
  std::size_t seen_ = error_messages;
};

/// Whether the frame is one that a player shows: neither its bytes nor a console text say otherwise.
bool is_shown(const Capture &capture, std::size_t frame, std::span<const std::uint8_t> bytes) {
  const FrameTable &frames = capture.frames;
  if (frames.type_name.known(frame) && frames.type_names[frames.type_name[frame]] == formats::kReportNotShown) {
    return false;
  }
  return formats::frame_is_shown(*capture.codec, bytes);
}

/// Sends all frames through a decoder and counts the pictures of each.
class DecodeChecker {
 public:
  DecodeChecker(const Capture &capture, Findings &findings)
      : capture_(capture), findings_(findings), decoder_(capture), reader_(capture.open_bytes(capture)) {}

  void run() {
    Progress progress(capture_.frames.count);
    for (std::size_t i = 0; i < capture_.frames.count; ++i) {
      const std::span<const std::uint8_t> bytes = reader_->read(i);
      (void)messages_.fresh();  // reading may have had some of its own
      pending_.push_back({.frame = i, .is_shown = is_shown(capture_, i, bytes)});
      const bool taken = decoder_.send(bytes, i);
      take_pictures();
      if (!taken || messages_.fresh()) pending_.back().is_faulty = true;
      while (pending_.size() > kMostPending)
        judge_oldest();
      progress.at(i);
    }
    decoder_.end();
    take_pictures();
    while (!pending_.empty())
      judge_oldest();
  }

 private:
  /// No codec gives a picture later than so many frames.
  static constexpr std::size_t kMostPending = 64;

  struct Pending {
    std::size_t frame = 0;
    bool is_shown = true;
    bool is_faulty = false;
    std::size_t pictures = 0;
  };

  void take_pictures() {
    while (const AVFrame *picture = decoder_.take()) {
      const std::size_t number = formats::Decoder::number_of(picture);
      if (pending_.empty() || number < pending_.front().frame || number > pending_.back().frame) continue;
      Pending &frame = pending_[number - pending_.front().frame];
      ++frame.pictures;
      if (decoder_.is_faulty(picture)) frame.is_faulty = true;
    }
    if (decoder_.failed() && !pending_.empty()) pending_.back().is_faulty = true;
  }

  void judge_oldest() {
    const Pending &frame = pending_.front();
    if (frame.is_faulty) {
      add(frame.frame, "does not decode without error");
    } else if (frame.is_shown && frame.pictures != 1) {
      add(frame.frame,
          frame.pictures == 0 ? "decodes to no picture" : fmt::format("decodes to {} pictures", frame.pictures));
    }
    pending_.pop_front();
  }

  void add(std::size_t frame, std::string text) {
    findings_.add({.id = "decode", .text = std::move(text), .frame = frame});
  }

  const Capture &capture_;
  Findings &findings_;
  formats::Decoder decoder_;
  std::unique_ptr<FrameReader> reader_;
  MessageCounter messages_;
  std::deque<Pending> pending_;  ///< frames whose pictures may still come, the oldest first
};

void check_picture_sizes(const Capture &capture, Findings &findings) {
  const FrameTable &frames = capture.frames;
  const std::uint64_t size = formats::frame_bytes(*capture.codec, capture.width, capture.height);
  if (size == 0) unusable("{}: --decode: uncompressed frames need their size: --size WIDTHxHEIGHT", capture.name);
  for (std::size_t i = 0; i < frames.count; ++i) {
    if (frames.size[i] == size) continue;
    findings.add({.id = "decode",
                  .text = fmt::format("has {} bytes, a picture of {}x{} has {}", frames.size[i], capture.width,
                                      capture.height, size),
                  .frame = i});
  }
}

}  // namespace

void check_decoding(const Capture &capture, Findings &findings) {
  if (!capture.has_bytes()) unusable("{}: --decode: the frames' bytes are not there", capture.name);
  if (capture.frames.count == 0) return;
  if (capture.codec && formats::is_uncompressed(*capture.codec)) {
    check_picture_sizes(capture, findings);
  } else {
    DecodeChecker(capture, findings).run();
  }
}

}  // namespace frames
