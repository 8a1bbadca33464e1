// A camera of its own for each test: a key file in a folder of its own, streams, and the truth log.
#ifndef ZEL_TEST_CAMERA_FIXTURE_H
#define ZEL_TEST_CAMERA_FIXTURE_H

#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "tests/support/error_slot.h"
#include "tests/support/files.h"
#include "zel/zel.h"

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using MapRef = std::unique_ptr<zel_map, Unref>;
using StreamRef = std::unique_ptr<zel_stream, Unref>;
using BufferRef = std::unique_ptr<zel_buffer, Unref>;

/// A setting of a request.
struct Asked {
  const char *key;
  std::variant<bool, guint32, double, const char *, zel_pair32u, zel_quad32u> value;
};

/// An error that a call left.
struct Failure {
  gint code = 0;  ///< 0: none
  std::string message;
  bool expected = false;
  int error_number = 0;
};

/// What is in the slot, with errno; empties the slot.
Failure take_failure(ErrorSlot &error);

/// A frame as the client sees it.
struct Seen {
  guint32 sequence = 0;
  guint64 timestamp = 0;
  guint64 utc = 0;
  guint64 custom = 0;
  guint32 type = 0;
  gssize header_size = 0;
  gsize size = 0;
  gsize capacity = 0;
  bool key = false;
  bool shown = false;
  bool segment_start = false;
  bool empty = false;
  bool contiguous = false;
  guint32 buffer = 0;
  std::vector<std::vector<std::uint8_t>> chunks;

  std::vector<std::uint8_t> bytes() const;
};

class CameraTest : public ::testing::Test {
 protected:
  CameraTest();
  ~CameraTest() override;

  /// Writes a key file with these lines after "[camera]" and the log's and record's names, and makes it the camera's.
  void configure(std::string_view lines);
  std::string path(std::string_view name) const { return folder_ / std::string(name); }

  static MapRef request(std::initializer_list<Asked> asked);

  /// Creates a stream with `buffers` buffers in it; the test fails when it cannot.
  void create(std::initializer_list<Asked> asked, int buffers = 4);
  /// The error that keeps a stream from being created.
  static Failure refusal(std::initializer_list<Asked> asked);
  void start() { ASSERT_TRUE(zel_stream_start(stream_.get(), nullptr)); }
  void stop() { ASSERT_TRUE(zel_stream_stop(stream_.get())); }

  /// The next frame, whose buffer is handed back. The test fails without one.
  Seen fetch();
  std::vector<Seen> fetch(int count);
  /// How fetching fails.
  Failure fetch_failure();

  /// The log's lines of that kind; all when it is empty.
  std::vector<nlohmann::json> log(std::string_view kind = {}) const;
  std::vector<std::uint8_t> record() const;

  StreamRef stream_;
  std::vector<BufferRef> buffers_;

 private:
  TempFolder folder_;
  int configurations_ = 0;
};

/// Whether the descriptor polls readable now.
bool is_readable(int descriptor);

std::string read_text(const std::string &path);

/// What the frame says and holds.
Seen look_at(zel_frame *frame);

#endif
