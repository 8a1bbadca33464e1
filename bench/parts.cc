// Microbenchmarks of the pieces of a frame's time, on the stub libzel; they explain the figures of scripts/bench.
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>

#include "common/owned.h"
#include "console/frame_stats.h"
#include "console/report_line.h"
#include "formats/cue_text.h"
#include "output/meta_file.h"
#include "zel/zel.h"

namespace {

constexpr std::int64_t kTime = 3'723'000'001;

/// A filled buffer of the stub.
ObjectPtr<zel_buffer> filled_buffer() {
  static const ObjectPtr<zel_stream> stream(zel_stream_new(nullptr, nullptr, nullptr));
  const ObjectPtr<zel_buffer> buffer(zel_stream_buffer_alloc(stream.get(), nullptr, nullptr));
  zel_stream_buffer_enqueue(stream.get(), buffer.get(), nullptr);
  return ObjectPtr<zel_buffer>(zel_stream_get_buffer(stream.get(), nullptr));
}

/// Standard output is the benchmark's: lines are measured into /dev/null.
class NullOutput {
 public:
  NullOutput() : saved_(dup(STDOUT_FILENO)) {
    (void)std::fflush(stdout);
    const int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
    (void)dup2(null, STDOUT_FILENO);
    (void)close(null);
  }
  ~NullOutput() {
    (void)std::fflush(stdout);
    (void)dup2(saved_, STDOUT_FILENO);
    (void)close(saved_);
  }
  NullOutput(const NullOutput &) = delete;
  NullOutput &operator=(const NullOutput &) = delete;

 private:
  int saved_;
};

void report_line(benchmark::State &state) {
  const ObjectPtr<zel_buffer> buffer = filled_buffer();
  const FrameTiming timing{.delta_cts = 33'333, .delta_pts = 33'333, .latency = 12'345};
  const NullOutput output;
  while (state.KeepRunning())
    report_frame(buffer.get(), timing, 0);
}
BENCHMARK(report_line);

void type_text(benchmark::State &state) {
  const ObjectPtr<zel_buffer> buffer = filled_buffer();
  while (state.KeepRunning())
    benchmark::DoNotOptimize(frame_type_text(buffer.get()));
}
BENCHMARK(type_text);

void timing_and_statistics(benchmark::State &state) {
  const ObjectPtr<zel_buffer> buffer = filled_buffer();
  while (state.KeepRunning())
    finish_frame_timing(buffer.get(), time_frame(buffer.get()));
}
BENCHMARK(timing_and_statistics);

void cue(benchmark::State &state) {
  while (state.KeepRunning())
    benchmark::DoNotOptimize(formats::cue_text(kTime));
}
BENCHMARK(cue);

void sidecar_record(benchmark::State &state) {
  const ObjectPtr<zel_buffer> buffer = filled_buffer();
  meta_open("/dev/shm/zel-bench-parts", nullptr);
  while (state.KeepRunning())
    meta_write_entry(buffer.get(), nullptr);
  meta_close(nullptr);
  (void)unlink("/dev/shm/zel-bench-parts.meta");
}
BENCHMARK(sidecar_record);

/// The least that a flushed record can cost.
void bare_write_of_a_record(benchmark::State &state) {
  const int file = open("/dev/shm/zel-bench-parts", O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  const std::array<char, 24> record{};
  while (state.KeepRunning())
    benchmark::DoNotOptimize(write(file, record.data(), record.size()));
  (void)close(file);
  (void)unlink("/dev/shm/zel-bench-parts");
}
BENCHMARK(bare_write_of_a_record);

/// The client's sleep of 0 after every frame.
void sleep_of_zero(benchmark::State &state) {
  while (state.KeepRunning())
    (void)usleep(0);
}
BENCHMARK(sleep_of_zero)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
