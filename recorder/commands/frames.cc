// zel-record frames: what the program took of every frame, as a raw stream with its sidecar.
#include <fmt/format.h>

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "formats/recording_reader.h"
#include "formats/sidecar.h"
#include "frames/common/output_file.h"
#include "frames/common/unusable.h"
#include "frames/print/output.h"
#include "recorder/commands/command.h"

namespace recorder {
namespace {

using formats::ItemKind;
using formats::RecordedValue;
using formats::RecordingItem;

struct FramesOptions {
  std::string recording;
  frames::OutputOptions output;
  std::optional<std::uint64_t> stream;
};

/// A frame that the program has fetched, and what is known of it so far.
struct FetchedFrame {
  std::uint64_t buffer = 0;
  bool is_over = false;  ///< the buffer has been handed back or dropped, or was fetched anew
  bool is_torn = false;  ///< items are lost that may have been about it
  bool has_end = false;  ///< the program was told that there are no more chunks
  std::optional<std::uint64_t> size;
  formats::SidecarRecord record;
  RecordedValue::Bytes bytes;
};

class FrameWriter {
 public:
  explicit FrameWriter(const FramesOptions &options)
      : options_(options),
        inputs_{options.recording},
        stream_(options.output.path, options.output.force, inputs_),
        sidecar_(options.output.path + std::string(formats::kSidecarSuffix), options.output.force, inputs_) {}

  void take(const RecordingItem &call) {
    const std::string_view name = call.row().name;
    const RecordedValue::List &arguments = call.arguments();
    if (name == "zel_stream_get_buffer") {
      fetch(call);
    } else if (name == "zel_stream_buffer_enqueue") {
      hand_back(arguments[1].as_unsigned().value_or(0));
    } else if (!arguments.empty() && call.row().arguments.front() == 'b') {
      if (FetchedFrame *frame = find(arguments[0].as_unsigned().value_or(0))) note(call, *frame);
    }
  }

  /// The program has dropped its last reference.
  void release(const RecordingItem &item) {
    hand_back(item.fields.find(formats::kItemRelease)->as_unsigned().value_or(0));
  }

  /// Items are missing here.
  void lose() {
    for (FetchedFrame &frame : fetched_) {
      frame.is_torn = frame.is_torn || !frame.is_over;
      frame.is_over = true;
    }
    write_complete();
  }

  void finish() {
    for (FetchedFrame &frame : fetched_)
      frame.is_over = true;
    write_complete();
    if (options_.stream && !first_stream_)
      frames::unusable("{}: has no frames of a stream {}", options_.recording, *options_.stream);
    const auto trailer = formats::sidecar_trailer_bytes(count_);
    sidecar_.write(trailer);
    frames::publish({&stream_, &sidecar_});
  }

  std::uint32_t count() const { return count_; }
  std::uint64_t bytes() const { return bytes_; }
  std::uint64_t left_out() const { return left_out_; }

 private:
  /// The frame in the program's hands that is in this buffer; null: none.
  FetchedFrame *find(std::uint64_t buffer) {
    for (FetchedFrame &frame : fetched_) {
      if (frame.buffer == buffer && !frame.is_over) return &frame;
    }
    return nullptr;
  }

  void fetch(const RecordingItem &call) {
    const std::optional<std::uint64_t> buffer = call.gave()->as_unsigned();
    const std::uint64_t from = call.arguments()[0].as_unsigned().value_or(0);
    if (!buffer || (options_.stream && *options_.stream != from)) return;
    if (!options_.stream && from != first_stream_.value_or(from))
      frames::unusable("{}: has frames of several streams: --stream {} takes those of one", options_.recording, from);
    first_stream_ = from;
    hand_back(*buffer);
    fetched_.emplace_back().buffer = *buffer;
  }

  void hand_back(std::uint64_t buffer) {
    if (FetchedFrame *frame = find(buffer)) frame->is_over = true;
    write_complete();
  }

  void note(const RecordingItem &call, FetchedFrame &frame) {
    const std::string_view name = call.row().name;
    const RecordedValue &gave = *call.gave();
    const std::uint64_t number = gave.as_unsigned().value_or(0);
    if (name == "zel_frame_get_size") frame.size = number;
    if (name == "zel_frame_get_header_size") frame.record.header_size = static_cast<std::uint32_t>(number);
    if (name == "zel_frame_get_frame_type") frame.record.frame_type = static_cast<std::uint32_t>(number);
    if (name == "zel_frame_get_timestamp") frame.record.time_us = number;
    if (call.row().result != 'c') return;
    if (gave.find(formats::kChunkHash) != nullptr)
      frames::unusable("{}: was recorded without pictures", options_.recording);
    const bool is_end =
        gave.find(formats::kChunkSize)->as_unsigned() == 0U && gave.find(formats::kChunkMark) == nullptr;
    frame.has_end = frame.has_end || is_end;
    const RecordedValue *data = gave.find(formats::kChunkData);
    const auto *bytes = data != nullptr ? data->as<RecordedValue::Bytes>() : nullptr;
    if (bytes != nullptr) frame.bytes.insert(frame.bytes.end(), bytes->begin(), bytes->end());
  }

  /// Writes the frames up to the first that the program may still take bytes of.
  void write_complete() {
    for (; !fetched_.empty() && fetched_.front().is_over; fetched_.pop_front()) {
      FetchedFrame &frame = fetched_.front();
      const bool has_all = frame.size ? *frame.size == frame.bytes.size() : frame.has_end;
      if (frame.is_torn || !has_all) {
        ++left_out_;
        continue;
      }
      frame.record.size = static_cast<std::uint32_t>(frame.bytes.size());
      stream_.write(frame.bytes);
      sidecar_.write(formats::sidecar_record_bytes(frame.record));
      bytes_ += frame.bytes.size();
      ++count_;
    }
  }

  const FramesOptions &options_;
  std::vector<std::string> inputs_;
  frames::OutputFile stream_;
  frames::OutputFile sidecar_;
  std::deque<FetchedFrame> fetched_;
  std::optional<std::uint64_t> first_stream_;
  std::uint32_t count_ = 0;
  std::uint64_t bytes_ = 0;
  std::uint64_t left_out_ = 0;
};

int take_frames(const FramesOptions &options) {
  formats::RecordingReader reader(options.recording);
  FrameWriter writer(options);
  while (const std::optional<RecordingItem> item = reader.next()) {
    if (item->kind == ItemKind::kCall) writer.take(*item);
    if (item->kind == ItemKind::kRelease) writer.release(*item);
    if (item->kind == ItemKind::kLost) writer.lose();
  }
  writer.finish();
  frames::Output output;
  output.put(
      fmt::format("{}: {} frames, {} bytes\n", frames::one_line(options.output.path), writer.count(), writer.bytes()));
  if (writer.left_out() != 0) {
    output.put(fmt::format("{} left out: the program did not take all of their bytes, or the recording lacks some\n",
                           writer.left_out()));
  }
  output.flush();
  return 0;
}

}  // namespace

Run add_frames(frames::Options &options) {
  const auto chosen = std::make_shared<FramesOptions>();
  options.operand("RECORDING", chosen->recording, "What zel-record has written").required();
  frames::add_output_options(options, chosen->output, "The raw stream; its sidecar has the suffix .meta behind that");
  frames::add_count_option(options, "--stream", chosen->stream, "Of several streams the one with this number");
  return [chosen] { return take_frames(*chosen); };
}

}  // namespace recorder
