// The client's writers and their peers in one process, on the stub libzel.
//
//     writers raw FOLDER        the raw writer against write(2) of the same bytes
//     writers matroska FOLDER   the Matroska writer against write(2) of the same bytes
//     writers packets FOLDER    the Matroska writer against libavformat given the same packets
//     writers sidecar FOLDER    the sidecar against write(2) of its records
//     writers report FOLDER     timing a frame and printing its line to a file; no peer, which counts as 0
//
// prints ours and the peer in nanoseconds of processor time a frame, then the median of the rounds' ratios and that of
// their differences. What fetching a frame takes is part of both sides in `raw`, and of neither in the others.
//
//     writers arrival FOLDER
//
// prints how many frames at most wait until they are in the Matroska file, and how many a cluster has on average.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

#include "capture/raw_output.h"
#include "capture/stream.h"
#include "common/owned.h"
#include "console/frame_stats.h"
#include "console/report_line.h"
#include "formats/sidecar.h"
#include "output/meta_file.h"
#include "output/mkv_writer.h"
#include "packet_file.h"
#include "pictures.h"
#include "rounds.h"
#include "settings/client_options.h"
#include "zel/zel.h"

namespace {

constexpr int kBuffers = 5;
constexpr int kRounds = 25;
constexpr int kMatroskaFrames = 4000;
constexpr int kSmallWrites = 20'000;   ///< frames of a round where each is a few bytes
constexpr gsize kRawBytes = 64 << 20;  ///< of a round

Pictures *pictures = nullptr;  ///< what the stub delivers
std::string ours_name;         ///< the files that are written
std::string peer_name;

void require(bool worked, const char *what) {
  if (worked) return;
  std::perror(what);
  std::exit(1);
}

/// The stream begins anew, with its first picture.
void open_stream() {
  stream.reset(zel_stream_new(nullptr, nullptr, nullptr));
  for (int i = 0; i < kBuffers; ++i) {
    const ObjectPtr<zel_buffer> buffer(zel_stream_buffer_alloc(stream.get(), nullptr, nullptr));
    zel_stream_buffer_enqueue(stream.get(), buffer.get(), nullptr);
  }
}

/// Fetches `count` frames, calls `use` with each and its number, and hands them back. Returns the processor time a
/// frame.
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

/// The same without what fetching and handing back take.
template <typename Use>
double each_fetched_frame(int count, Use use) {
  const double time = each_frame(count, use);
  return time - each_frame(count, [](zel_frame *, int) {});
}

/// Calls `write_one` with the numbers below `count`. Returns the processor time a call.
template <typename WriteOne>
double each_number(int count, WriteOne write_one) {
  const std::int64_t start = processor_time();
  for (int i = 0; i < count; ++i)
    write_one(i);
  return static_cast<double>(processor_time() - start) / count;
}

const Picture &picture_of(int number) {
  return pictures->pictures[static_cast<gsize>(number) % pictures->count];
}

/// An empty file, closed and removed with the object.
class PlainFile {
 public:
  PlainFile() : descriptor_(open(peer_name.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
    require(descriptor_ >= 0, "open");
  }
  ~PlainFile() {
    (void)close(descriptor_);
    (void)unlink(peer_name.c_str());
  }
  PlainFile(const PlainFile &) = delete;
  PlainFile &operator=(const PlainFile &) = delete;

  void write(const void *data, std::size_t size) const {
    require(::write(descriptor_, data, size) == static_cast<ssize_t>(size), "write");
  }

 private:
  int descriptor_;
};

SideBySide compare_raw() {
  client_options.output = ours_name.c_str();
  client_options.split_nframes = G_MAXINT32;  // every round begins with frame 0, which opens the file anew
  const int count = std::max(8, static_cast<int>(kRawBytes / pictures->pictures[0].size));
  const auto ours = [&] {
    const double time = each_frame(
        count, [](zel_frame *frame, int number) { require(write_raw_frame(frame, number, 1, nullptr), "raw output"); });
    close_raw_output();
    (void)unlink(ours_name.c_str());
    return time;
  };
  const auto peer = [&] {
    const PlainFile file;
    return each_frame(count, [&](zel_frame *frame, int) {
      const zel_chunk chunk = zel_frame_take_chunk(frame, nullptr);
      file.write(chunk.data, chunk.size);
    });
  };
  return measure(kRounds, ours, peer);
}

void write_matroska_frame(zel_frame *frame, int) {
  require(mkv_write_frame(frame, nullptr), "mkv_write_frame");
}

/// Opens the file and writes a first frame: with it goes the header, which is no part of what a frame costs.
void begin_matroska() {
  open_stream();
  require(mkv_create(ours_name.c_str(), pictures->format, 1920, 1080, nullptr, 30), "mkv_create");
  each_frame(1, write_matroska_frame);
}

void end_matroska() {
  require(mkv_finalize(nullptr), "mkv_finalize");
  (void)unlink(ours_name.c_str());
}

double matroska_writes() {
  begin_matroska();
  const double time = each_fetched_frame(kMatroskaFrames, write_matroska_frame);
  end_matroska();
  return time;
}

SideBySide compare_matroska() {
  return measure(kRounds, matroska_writes, [] {
    const PlainFile file;
    return each_number(kMatroskaFrames, [&](int number) {
      const Picture &picture = picture_of(number + 1);
      file.write(picture.data, picture.size);
    });
  });
}

SideBySide compare_packets() {
  return measure(kRounds, matroska_writes, [] {
    PacketFile file(peer_name.c_str(), pictures->format, picture_of(0));
    file.write(picture_of(0), picture_time(0));
    const double time = each_number(kMatroskaFrames, [&](int number) {
      file.write(picture_of(number + 1), picture_time(static_cast<guint64>(number) + 1));
    });
    file.finish();
    (void)unlink(peer_name.c_str());
    return time;
  });
}

SideBySide compare_sidecar() {
  const auto ours = [] {
    require(meta_open(ours_name.c_str(), nullptr), "meta_open");
    const double time = each_fetched_frame(
        kSmallWrites, [](zel_frame *frame, int) { require(meta_write_entry(frame, nullptr), "meta_write_entry"); });
    require(meta_close(nullptr), "meta_close");
    (void)unlink((ours_name + ".meta").c_str());
    return time;
  };
  const auto peer = [] {
    const PlainFile file;
    return each_fetched_frame(kSmallWrites, [&](zel_frame *frame, int) {
      const auto record = formats::sidecar_record_bytes({
          .frame_type = zel_frame_get_frame_type(frame),
          .time_us = zel_frame_get_timestamp(frame),
          .size = static_cast<std::uint32_t>(zel_frame_get_size(frame)),
          .header_size = static_cast<std::uint32_t>(zel_frame_get_header_size(frame)),
      });
      file.write(record.data(), record.size());
    });
  };
  return measure(kRounds, ours, peer);
}

SideBySide measure_report() {
  require(std::freopen(ours_name.c_str(), "w", stdout) != nullptr, "freopen");
  const auto ours = [] {
    std::rewind(stdout);
    return each_fetched_frame(kSmallWrites, [](zel_frame *frame, int) {
      const FrameTiming timing = time_frame(frame);
      report_frame(frame, timing, pictures->format);
      finish_frame_timing(frame, timing);
    });
  };
  const SideBySide result = measure(kRounds, ours, [] { return 0.0; });
  (void)unlink(ours_name.c_str());
  return result;
}

off_t size_of(const std::string &file_name) {
  struct stat status {};
  require(stat(file_name.c_str(), &status) == 0, "stat");
  return status.st_size;
}

/// The file grows when a cluster is complete: with the frame that begins the next one.
void watch_arrival() {
  begin_matroska();
  off_t size = size_of(ours_name);
  int waiting = 0;
  int most = 0;
  int clusters = 0;
  each_frame(kMatroskaFrames, [&](zel_frame *frame, int number) {
    write_matroska_frame(frame, number);
    ++waiting;
    if (size_of(ours_name) == size) return;
    size = size_of(ours_name);
    most = std::max(most, waiting);
    waiting = 0;
    ++clusters;
  });
  end_matroska();
  std::printf("%d %.2f\n", most, clusters > 0 ? double{kMatroskaFrames} / clusters : 0.0);
}

}  // namespace

int main(int argc, char **argv) {
  const std::map<std::string, SideBySide (*)()> comparisons = {{"raw", compare_raw},
                                                               {"matroska", compare_matroska},
                                                               {"packets", compare_packets},
                                                               {"sidecar", compare_sidecar},
                                                               {"report", measure_report}};
  if (argc != 3) return 2;
  ours_name = std::string(argv[2]) + "/ours";
  peer_name = std::string(argv[2]) + "/peer";
  pictures = load_pictures();
  open_stream();
  if (const auto found = comparisons.find(argv[1]); found != comparisons.end()) {
    FILE *results = fdopen(dup(STDOUT_FILENO), "w");  // one comparison writes to standard output
    const SideBySide result = found->second();
    (void)std::fprintf(results, "%.1f %.1f %.4f %.1f\n", result.ours, result.peer, result.ratio, result.difference);
    (void)std::fclose(results);
  } else if (argv[1] == std::string("arrival")) {
    watch_arrival();
  } else {
    return 2;
  }
  stream.reset();
  free_pictures(pictures);
  return 0;
}
