// The client's writers against write(2), in one process on the stub libzel. Prints a line for each comparison: name, ours
// and the peer in nanoseconds of processor time a frame, the median of the rounds' ratios and of their differences.
//
//     writers raw FOLDER NAME        one frame size, of ZEL_STUB_SIZE
//     writers mkv FOLDER NAME        the stream of ZEL_STUB_STREAM
//     writers report FOLDER NAME     the same, with report line and sidecar against Matroska alone
//     writers arrival FOLDER NAME    prints how many frames at most wait for the file, and a cluster's mean length
//
// A number behind the name is that of the rounds.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>

#include "capture/raw_output.h"
#include "capture/stream.h"
#include "common/owned.h"
#include "console/frame_stats.h"
#include "console/report_line.h"
#include "output/meta_file.h"
#include "output/mkv_writer.h"
#include "rounds.h"
#include "settings/client_options.h"
#include "zel/zel.h"

namespace {

constexpr int kBuffers = 5;

int rounds = 25;
std::string folder;

[[noreturn]] void fail(const char *what) {
  std::perror(what);
  std::exit(1);
}

void require(bool worked, const char *what) {
  if (!worked) fail(what);
}

void open_stream() {
  stream.reset(zel_stream_new(nullptr, nullptr, nullptr));
  for (int i = 0; i < kBuffers; ++i) {
    const ObjectPtr<zel_buffer> buffer(zel_stream_buffer_alloc(stream.get(), nullptr, nullptr));
    zel_stream_buffer_enqueue(stream.get(), buffer.get(), nullptr);
  }
}

/// Fetches `count` frames, calls `use` with each and its number, and hands them back. Returns the processor time a frame.
template <typename Use>
double each_frame(int count, Use use) {
  const std::int64_t start = processor_time();
  for (int i = 0; i < count; ++i) {
    const ObjectPtr<zel_buffer> buffer(zel_stream_get_buffer(stream.get(), nullptr));
    use(zel_buffer_get_frame(buffer.get()), i);
    zel_stream_buffer_enqueue(stream.get(), buffer.get(), nullptr);
  }
  return static_cast<double>(processor_time() - start) / count;
}

double fetch_time(int count) {
  return each_frame(count, [](zel_frame *, int) {});
}

void print(const char *name, const SideBySide &result) {
  std::printf("%s %.1f %.1f %.4f %.1f\n", name, result.ours, result.peer, result.ratio, result.difference);
}

std::string in_folder(const char *name) {
  return folder + "/" + name;
}

/// Writes the frames with nothing around them.
double plain_writes(const std::string &file_name, int count) {
  (void)unlink(file_name.c_str());
  int file = -1;
  const double time = each_frame(count, [&](zel_frame *frame, int number) {
    if (number == 0) file = open(file_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    const zel_chunk chunk = zel_frame_take_chunk(frame, nullptr);
    require(write(file, chunk.data, chunk.size) == static_cast<ssize_t>(chunk.size), "write");
  });
  (void)close(file);
  (void)unlink(file_name.c_str());
  return time;
}

double raw_writes(const std::string &file_name, int count) {
  (void)unlink(file_name.c_str());
  const double time = each_frame(
      count, [](zel_frame *frame, int number) { require(write_raw_frame(frame, number, 1, nullptr), "raw output"); });
  close_raw_output();
  (void)unlink(file_name.c_str());
  return time;
}

void compare_raw(const char *name) {
  const std::string file_name = in_folder("raw");
  client_options.output = file_name.c_str();
  client_options.split_nframes = G_MAXINT32;  // every round begins with frame 0, which opens the file anew
  const char *size = std::getenv("ZEL_STUB_SIZE");
  const int count = std::max(8, static_cast<int>((64 << 20) / std::strtoul(size != nullptr ? size : "1", nullptr, 10)));
  print(name,
        measure(
            rounds, [&] { return raw_writes(file_name, count); }, [&] { return plain_writes(file_name, count); }));
}

constexpr int kMatroskaFrames = 4000;

/// The stream begins anew, with a key frame.
void begin_matroska(const std::string &file_name) {
  open_stream();
  require(mkv_create(file_name.c_str(), 0, 1920, 1080, nullptr, 30), "mkv_create");
  // The header is the first frame's: it is no part of what a frame costs.
  each_frame(1, [](zel_frame *frame, int) { require(mkv_write_frame(frame, nullptr), "mkv_write_frame"); });
}

double matroska_writes(const std::string &file_name) {
  begin_matroska(file_name);
  const double time = each_frame(
      kMatroskaFrames, [](zel_frame *frame, int) { require(mkv_write_frame(frame, nullptr), "mkv_write_frame"); });
  require(mkv_finalize(nullptr), "mkv_finalize");
  (void)unlink(file_name.c_str());
  return time;
}

/// What a run writes besides the frames.
struct Extras {
  bool lines = false;
  bool sidecar = false;
  int plain = -1;  ///< a descriptor: a record's bytes are written to it, with nothing around it
};

constexpr ssize_t kRecordBytes = 24;

double matroska_with(Extras extras, const std::string &file_name, const std::string &output_name) {
  begin_matroska(file_name);
  const std::array<char, kRecordBytes> record{};
  if (extras.sidecar) require(meta_open(output_name.c_str(), nullptr), "meta_open");
  const double time = each_frame(kMatroskaFrames, [&](zel_frame *frame, int) {
    if (extras.lines) {
      const FrameTiming timing = time_frame(frame);
      report_frame(frame, timing, 0);
      finish_frame_timing(frame, timing);
    }
    require(mkv_write_frame(frame, nullptr), "mkv_write_frame");
    if (extras.sidecar) require(meta_write_entry(frame, nullptr), "meta_write_entry");
    if (extras.plain >= 0) require(write(extras.plain, record.data(), record.size()) == kRecordBytes, "write");
  });
  if (extras.sidecar) require(meta_close(nullptr), "meta_close");
  require(mkv_finalize(nullptr), "mkv_finalize");
  (void)unlink(file_name.c_str());
  (void)unlink((output_name + ".meta").c_str());
  return time;
}

void compare_matroska(const char *name) {
  const std::string file_name = in_folder("ours.mkv");
  const std::string plain_name = in_folder("plain");
  print(name, measure(
                  rounds, [&] { return matroska_writes(file_name) - fetch_time(kMatroskaFrames); },
                  [&] { return plain_writes(plain_name, kMatroskaFrames) - fetch_time(kMatroskaFrames); }));
}

/// The report lines go to a file, as they do in a script.
void compare_report(const char *name) {
  const std::string file_name = in_folder("ours.mkv");
  const std::string output_name = in_folder("ours");
  const std::string lines_name = in_folder("lines");
  FILE *results = fdopen(dup(STDOUT_FILENO), "w");
  require(results != nullptr && std::freopen(lines_name.c_str(), "w", stdout) != nullptr, "freopen");
  const auto compare = [&](const char *what, Extras extras) {
    const SideBySide result = measure(
        rounds, [&] { return matroska_with(extras, file_name, output_name); },
        [&] { return matroska_with({}, file_name, output_name); });
    (void)std::fprintf(results, "%s-%s %.1f %.1f %.4f %.1f\n", name, what, result.ours, result.peer, result.ratio,
                       result.difference);
  };
  compare("lines", {.lines = true});
  compare("sidecar", {.sidecar = true});
  const std::string plain_name = in_folder("plain");
  const int plain = open(plain_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  compare("system-call", {.plain = plain});
  (void)close(plain);
  (void)unlink(plain_name.c_str());
  compare("both", {.lines = true, .sidecar = true});
  (void)std::fclose(results);
  (void)unlink(lines_name.c_str());
}

off_t size_of(const std::string &file_name) {
  struct stat status {};
  require(stat(file_name.c_str(), &status) == 0, "stat");
  return status.st_size;
}

/// The file grows when a cluster is complete: with the frame that begins the next one.
void watch_arrival(const char *name) {
  const std::string file_name = in_folder("ours.mkv");
  begin_matroska(file_name);
  off_t size = size_of(file_name);
  int waiting = 0;
  int most = 0;
  int clusters = 0;
  each_frame(kMatroskaFrames, [&](zel_frame *frame, int) {
    require(mkv_write_frame(frame, nullptr), "mkv_write_frame");
    ++waiting;
    if (size_of(file_name) == size) return;
    size = size_of(file_name);
    most = std::max(most, waiting);
    waiting = 0;
    ++clusters;
  });
  require(mkv_finalize(nullptr), "mkv_finalize");
  (void)unlink(file_name.c_str());
  std::printf("%s %d %.2f\n", name, most, clusters > 0 ? double{kMatroskaFrames} / clusters : 0.0);
}

}  // namespace

int main(int argc, char **argv) {
  if (argc != 4 && argc != 5) return 2;
  if (argc == 5) rounds = static_cast<int>(std::strtol(argv[4], nullptr, 10));
  const std::string_view what = argv[1];
  folder = argv[2];
  open_stream();
  if (what == "raw") {
    compare_raw(argv[3]);
  } else if (what == "mkv") {
    compare_matroska(argv[3]);
  } else if (what == "report") {
    compare_report(argv[3]);
  } else if (what == "arrival") {
    watch_arrival(argv[3]);
  } else {
    return 2;
  }
  stream.reset();
  return 0;
}
