// What must not cross the C boundary: exceptions, errors over errors, signals.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "support/camera_fixture.h"
#include "support/failing_memory.h"

namespace {

using BoundaryTest = CameraTest;
using failing_memory::FailsAt;

constexpr const char *kFast = "pacing=virtual\nproducer=scripted\n";

/// Every call that allocates, once. What fails in it must leave the others working.
void use_everything() {
  const MapRef map(zel_map_new());
  const MapRef other(zel_map_new());
  zel_map *settings = map.get();
  if (settings != nullptr && other != nullptr) {
    zel_map_set_string(settings, "a text that is too long to be stored in place", "another text that is too long");
    zel_map_set_boolean(settings, "boolean", TRUE);
    zel_map_set_uint32(settings, "number", 1);
    zel_map_set_double(settings, "double", 1);
    zel_map_set_pair32u(settings, "pair", {1, 2});
    zel_map_set_quad32u(settings, "quad", {1, 2, 3, 4});
    zel_map_copy_value(settings, "number", "a key that is too long to be stored in place");
    (void)zel_map_contains_va(settings, "number", "double", nullptr);
    (void)zel_map_get_uint32(settings, "number", 0);
    zel_map_merge(other.get(), settings);
    zel_map_remove_prefix(settings, "");
  }
  ErrorSlot error;
  const StreamRef stream(settings == nullptr ? nullptr : zel_stream_new(settings, nullptr, error.address()));
  if (stream == nullptr) return;
  const MapRef info(zel_stream_get_info(stream.get(), nullptr));
  const MapRef granted(zel_stream_get_settings(stream.get(), nullptr));
  const BufferRef buffer(zel_stream_buffer_alloc(stream.get(), nullptr, nullptr));
  (void)zel_stream_buffer_enqueue(stream.get(), buffer.get(), nullptr);
  (void)zel_stream_start(stream.get(), nullptr);
  const MapRef event(zel_stream_get_event(stream.get(), nullptr));
  const BufferRef filled(zel_stream_get_buffer(stream.get(), nullptr));
  if (filled != nullptr) {
    (void)zel_frame_get_extra_info(filled.get());
    (void)zel_frame_take_chunk(filled.get(), nullptr);
  }
  (void)zel_stream_stop(stream.get());
}

// Exhausted memory ends in a failed call wherever it comes, never in an exception that a client of C cannot catch, and
// neither keeps a later call from its work nor a fetch waiting.
TEST_F(BoundaryTest, NoAllocationThatFailsLeavesACall) {
  for (const char *log : {"", "log=\nrecord=\n"}) {
    configure(std::string(kFast) + log);
    bool failed = true;
    std::size_t runs = 0;
    ::testing::internal::CaptureStderr();  // the log says that it lost a line
    for (; failed; ++runs) {
      const FailsAt point(runs);
      ASSERT_NO_THROW(use_everything()) << runs;
      failed = point.has_failed();
    }
    (void)::testing::internal::GetCapturedStderr();
    EXPECT_GT(runs, 50U);
  }
}

// The key file is read inside the first call; exhausted memory there must not throw either.
TEST_F(BoundaryTest, NoAllocationThatFailsLeavesTheFirstCall) {
  bool failed = true;
  std::size_t runs = 0;
  for (; failed; ++runs) {
    configure(std::string(kFast) + "log=\nrecord=\n[fault luck]\ncall=zel_stream_play\n[frame lost]\ndrop=true");
    const FailsAt point(runs);
    ASSERT_NO_THROW(MapRef{zel_map_new()}) << runs;
    failed = point.has_failed();
  }
  EXPECT_GT(runs, 5U);
  EXPECT_NE(MapRef{zel_map_new()}, nullptr);
}

TEST_F(BoundaryTest, ExhaustedMemoryHasItsError) {
  configure(kFast);
  const MapRef map = request({});
  ErrorSlot error;
  const FailsAt point(100);  // beyond the call's log line, in its work
  const StreamRef stream(zel_stream_new(map.get(), nullptr, error.address()));
  ASSERT_EQ(stream, nullptr);
  const Failure failure = take_failure(error);
  EXPECT_EQ(failure.code, 11);
  EXPECT_EQ(failure.message, "Out of memory");
  EXPECT_EQ(failure.error_number, ENOMEM);
}

// A setter without memory for its value leaves the map as it was.
TEST_F(BoundaryTest, ASetterWithoutMemoryChangesNothing) {
  configure(std::string(kFast) + "log=\n");
  const MapRef map = request({{"key", "before"}});
  const std::string text(1000, 'x');
  {
    const FailsAt point(0);
    zel_map_set_string(map.get(), "key", text.c_str());
    EXPECT_TRUE(point.has_failed());
  }
  GVariant *variant = zel_map_get_variant(map.get(), "key", nullptr);
  EXPECT_STREQ(g_variant_get_string(variant, nullptr), "before");
  g_variant_unref(variant);
}

/// Counts what GLib complains about.
class Complaints {
 public:
  Complaints()
      : handler_(g_log_set_handler(
            "GLib", static_cast<GLogLevelFlags>(G_LOG_LEVEL_MASK | G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
            [](const gchar *, GLogLevelFlags, const gchar *, gpointer count) { ++*static_cast<int *>(count); },
            &count_)) {}
  Complaints(const Complaints &) = delete;
  Complaints &operator=(const Complaints &) = delete;
  ~Complaints() { g_log_remove_handler("GLib", handler_); }
  int count() const { return count_; }

 private:
  int count_ = 0;
  guint handler_;
};

// With and without a log the first error stays, and nobody complains that there are two.
TEST_F(BoundaryTest, AnErrorThatIsThereAlreadyStays) {
  for (const char *log : {"", "log=\nrecord=\n"}) {
    configure(std::string(kFast) + log);
    create({{"socket.blocking", false}});
    const Complaints complaints;
    GError *error = g_error_new(g_quark_from_static_string("test"), 99, "the first");
    EXPECT_EQ(zel_stream_get_buffer(stream_.get(), &error), nullptr);
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(zel_stream_new(nullptr, nullptr, &error), nullptr);
    EXPECT_STREQ(error->message, "the first");
    EXPECT_EQ(complaints.count(), 0);
    g_error_free(error);
  }
}

// A log or record that cannot be written is lost, which is said once, and the stream goes on.
TEST_F(BoundaryTest, AFullDiskIsComplainedAboutOnce) {
  ::testing::internal::CaptureStderr();
  configure(std::string(kFast) + "log=/dev/full\nrecord=/dev/full\n");
  create({});
  start();
  EXPECT_EQ(fetch(3).size(), 3U);
  stream_.reset();
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Camera log /dev/full: No space left on device; part of it is lost\n"
            "Camera record /dev/full: No space left on device; part of it is lost\n");
}

// The reader of a pipe that leaves must not take the client with it.
TEST_F(BoundaryTest, APipeWithoutAReaderRaisesNoSignal) {
  const std::string pipe = path("pipe");
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  ::testing::internal::CaptureStderr();
  configure(std::string(kFast) + "log=" + pipe + "\n");
  create({});
  start();
  ASSERT_EQ(close(reader), 0);
  EXPECT_EQ(fetch(3).size(), 3U);
  stop();
  sigset_t pending;
  ASSERT_EQ(sigpending(&pending), 0);
  EXPECT_EQ(sigismember(&pending, SIGPIPE), 0);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "Camera log " + pipe + ": Broken pipe; part of it is lost\n");
}

/// Files may not grow beyond so many bytes meanwhile.
class SizeLimit {
 public:
  explicit SizeLimit(rlim_t bytes) {
    (void)std::signal(SIGXFSZ, SIG_IGN);
    (void)getrlimit(RLIMIT_FSIZE, &before_);
    const rlimit limit{bytes, before_.rlim_max};
    (void)setrlimit(RLIMIT_FSIZE, &limit);
  }
  SizeLimit(const SizeLimit &) = delete;
  SizeLimit &operator=(const SizeLimit &) = delete;
  ~SizeLimit() {
    (void)setrlimit(RLIMIT_FSIZE, &before_);
    (void)std::signal(SIGXFSZ, SIG_DFL);
  }

 private:
  rlimit before_{};
};

// After a line that was cut short the log is readable again, from the next line on.
TEST_F(BoundaryTest, ALineThatWasCutShortCostsNoOther) {
  configure(kFast);
  const MapRef map = request({{"some", guint32{1}}, {"more", guint32{2}}, {"lines", guint32{3}}});
  const auto size = read_text(path("log")).size();
  ::testing::internal::CaptureStderr();
  {
    const SizeLimit limit(size + 10);
    zel_map_set_uint32(map.get(), "first", 1);
  }
  EXPECT_EQ(::testing::internal::GetCapturedStderr(),
            "Camera log " + path("log") + ": File too large; part of it is lost\n");
  zel_map_set_uint32(map.get(), "second", 2);
  EXPECT_EQ(read_text(path("log")).substr(size),
            "{\"kind\":\"c\n"
            "{\"kind\":\"call\",\"n\":6,\"name\":\"zel_map_set_uint32\","
            "\"args\":{\"map\":1,\"key\":\"second\",\"value\":2},\"result\":null}\n");
}

}  // namespace
