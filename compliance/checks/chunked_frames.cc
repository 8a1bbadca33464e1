// Frames in one piece and frames in chunks: the same bytes.
#include <algorithm>
#include <string>
#include <vector>

#include "compliance/checks/check.h"
#include "compliance/common/expect.h"
#include "compliance/support/codec.h"
#include "compliance/support/frame.h"
#include "compliance/support/stream.h"

namespace compliance {
namespace {

/// The first frames of a stream.
struct Beginning {
  std::vector<Bytes> frames;
  Bytes header;             ///< of the first frame: its codec header
  bool has_chunks = false;  ///< at least one frame is not in one piece
};

Beginning beginning_of(const CodecRow &row, bool chunks) {
  constexpr int kFrames = 5;  // a GOP and the next key frame
  Request request = request_for(row);
  request.set("frame.chunks", chunks);
  Stream stream(request, std::string("the format ") + row.name + (chunks ? " in chunks" : " in one piece"));
  stream.run(4);
  Beginning beginning;
  for (int i = 0; i < kFrames; ++i) {
    const BufferPtr buffer = stream.fetch();
    zel_frame *frame = frame_of(buffer);
    beginning.has_chunks = beginning.has_chunks || zel().buffer_is_contiguous(frame) == FALSE;
    Bytes bytes = take_bytes(frame);
    if (i == 0) {
      const auto header = static_cast<std::size_t>(std::max<gssize>(zel().frame_get_header_size(frame), 0));
      beginning.header.assign(bytes.begin(), bytes.begin() + static_cast<gssize>(std::min(header, bytes.size())));
    }
    beginning.frames.push_back(std::move(bytes));
    stream.hand_back(buffer);
  }
  return beginning;
}

/// A finding that says where the two begin to differ.
void expect_same(const std::string &what, const Bytes &seen, const Bytes &expected) {
  const auto [at, other] = std::mismatch(seen.begin(), seen.end(), expected.begin(), expected.end());
  if (at == seen.end() && other == expected.end()) return;
  const auto tail = [](const Bytes &bytes, Bytes::const_iterator begin) { return shown(Bytes(begin, bytes.end())); };
  expect(false, what + " in chunks has " + tail(seen, at) + " from byte " + shown(at - seen.begin()) +
                    " on, expected " + tail(expected, other) + " as in one piece");
}

void check_chunked_bytes(const CodecRow &row) {
  const Beginning chunked = beginning_of(row, true);
  if (!chunked.has_chunks) throw Skip("every frame comes in one piece");
  const Beginning whole = beginning_of(row, false);
  const Beginning again = beginning_of(row, false);
  if (whole.frames == again.frames) {  // a picture that repeats
    for (std::size_t i = 0; i < whole.frames.size(); ++i)
      expect_same(which_frame(row, static_cast<int>(i)), chunked.frames[i], whole.frames[i]);
    return;
  }
  if (whole.header.empty() || whole.header != again.header) throw Skip("no two streams have the same bytes");
  note("the pictures differ, so that the codec headers were compared");
  expect_same(std::string("the codec header of ") + row.name, chunked.header, whole.header);
}

}  // namespace

std::vector<Check> chunked_frame_checks() {
  std::vector<Check> checks;
  for (const CodecRow &row : kCodecs) {
    if (row.codec == formats::Codec::kJpeg) continue;  // has no codec header, and seldom the same bytes twice
    checks.push_back({.name = std::string("Frames.ChunkedBytes/") + row.name,
                      .expects = "A frame that comes in chunks has the bytes that it has in one piece",
                      .relies = "The files do not depend on how the service's memory lies",
                      .run = [&row] { check_chunked_bytes(row); }});
  }
  return checks;
}

}  // namespace compliance
