// The raw output writer.
#include "capture/raw_output.h"

#include <unistd.h>

#include <array>
#include <cstdio>

#include "capture/output_name.h"
#include "common/errors.h"
#include "settings/client_options.h"

namespace {

FILE *output_file = nullptr;  // owned; null until the first frame, and after an open that failed
SplitState split_state;

/// Asks the library for a frame's data as it is stored.
constexpr guint32 kStoredData = 0x80000000;

/// A null `output_file` afterwards means failure, with the reason in errno.
void open_output_file(gint32 number) {
  close_raw_output();
  std::array<char, kOutputNameRoom> name;
  if (!format_output_name(client_options.output, number, name)) return;
  output_file = std::fopen(name.data(), "wb");
  if (output_file == nullptr) return;
  // Frames are large and arrive whole: without a stdio buffer each one is a single write, uncopied, and a full disk
  // fails at the frame that does not fit.
  (void)std::setvbuf(output_file, nullptr, _IONBF, 0);
}

bool truncate_output_file(GError **error) {
  (void)std::fseek(output_file, 0, SEEK_SET);
  if (ftruncate(fileno(output_file), 0) == 0) return true;
  return set_client_error(error, "Failed to truncate output file: %m");
}

bool write_chunks(zel_frame *frame, bool may_read, GError **error) {
  while (true) {
    const zel_chunk chunk = zel_frame_take_chunk_ex(frame, kStoredData);
    if (chunk.size == 0) return true;
    if (!may_read || chunk.data == nullptr) continue;
    // The message names the program, and is printed behind the program's name once more; kept so.
    if (std::fwrite(chunk.data, chunk.size, 1, output_file) == 0) {
      return set_client_error(error, "zel-client: Failed to write frame: %m");
    }
  }
}

}  // namespace

std::optional<gint32> number_of_new_file(SplitState *state, bool is_key, gint32 frame_count, gint32 split_ngop,
                                         gint32 split_nframes) {
  if (split_ngop > 0 && is_key) {
    // Counts on from 2147483647 at -2147483648, as the frame count does.
    state->gop_count = static_cast<gint32>(static_cast<guint32>(state->gop_count) + 1);
    if (state->gop_count % split_ngop == 0) return state->gop_count;
    return std::nullopt;
  }
  if (split_nframes > 0 && frame_count % split_nframes == 0) return frame_count;
  if (state->open_pending) return 0;
  return std::nullopt;
}

bool write_raw_frame(zel_frame *frame, gint32 frame_count, guint32 buffer_access, GError **error) {
  const bool is_key = client_options.split_ngop > 0 && zel_frame_is_key(frame);
  const std::optional<gint32> number =
      number_of_new_file(&split_state, is_key, frame_count, client_options.split_ngop, client_options.split_nframes);
  if (number) {
    split_state.open_pending = false;
    open_output_file(*number);
  }
  if (output_file == nullptr) return set_client_error(error, "Failed to open output file: %m");
  if (client_options.last && !truncate_output_file(error)) return false;
  if (client_options.mkv != nullptr) return true;
  return write_chunks(frame, (buffer_access & 1) != 0, error);
}

void close_raw_output() {
  if (output_file == nullptr) return;
  (void)std::fclose(output_file);
  output_file = nullptr;
}
