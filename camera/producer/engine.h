// The producer's thread: captures frames at their time and hands them to the queue.
#ifndef ZEL_CAMERA_ENGINE_H
#define ZEL_CAMERA_ENGINE_H

#include <atomic>
#include <deque>
#include <memory>
#include <string>
#include <string_view>
#include <thread>

#include "log/log.h"
#include "pacing/pacer.h"
#include "producer/frame_queue.h"
#include "producer/frame_script.h"
#include "producer/producer.h"
#include "producer/segmenter.h"
#include "settings/grant.h"

namespace camera {

/// Runs one stream. start(), stop() and play() are the client's, one at a time; what the thread uses belongs to it from
/// start() to stop().
class Engine {
 public:
  Engine(const CameraConfig &config, const Plan &plan, std::uint32_t stream, std::size_t capacity, Log &log,
         FrameQueue &queue, std::unique_ptr<Producer> producer);
  ~Engine();
  Engine(const Engine &) = delete;
  Engine &operator=(const Engine &) = delete;

  /// Starts the thread, anew after the end of the stream. Does nothing while it runs.
  void start();
  /// Ends the thread and discards what was not fetched. Does nothing when it does not run.
  void stop();
  bool is_running() const { return thread_.joinable(); }
  /// Delivers the frames that "buffer_us" keeps back; stays so until the next stop().
  void play();
  void force_key() { key_forced_.store(true); }

 private:
  /// A frame that waits for its latency to pass.
  struct Delayed {
    Delayed(std::uint64_t due, Filled &&frame) : due_us(due), filled(std::move(frame)) {}
    std::uint64_t due_us;
    Filled filled;
  };

  void run();
  bool run_one();
  void wait_for_capture(std::int64_t due_us);
  std::optional<BufferHandle> find_buffer();
  void make_and_hand_over(const FrameFaults &faults, Filled &filled);
  Frame frame_of(Product product, std::uint64_t captured_us);
  void hand_over(Filled &filled, std::uint64_t latency_us);
  void deliver(Filled &filled);
  void finish(std::string reason);
  void finish_after(const std::exception &problem);
  void release_delayed();
  void drop(std::string_view reason);
  void log_drop(std::uint32_t sequence, std::string_view reason);
  void post(std::string_view event);

  const Plan plan_;
  const std::uint32_t stream_;
  const std::size_t capacity_;
  Log &log_;
  FrameQueue &queue_;
  std::atomic<bool> key_forced_ = false;
  std::thread thread_;
  bool plays_ = false;  ///< the client's

  // The thread's.
  Pacer pacer_;
  FrameScript script_;
  Segmenter segmenter_;
  std::unique_ptr<Producer> producer_;
  std::deque<Delayed> delayed_;
  std::uint32_t sequence_ = 0;  ///< of the frame that comes next
  std::uint64_t first_captured_us_ = 0;
  bool has_first_ = false;
  bool overruns_ = false;  ///< the last frame was dropped for lack of a buffer
  bool ended_ = false;
};

}  // namespace camera

#endif
