// A loop of frames that were coded once: handing one out costs no more than counting.
#include <algorithm>
#include <utility>
#include <vector>

#include "producer/coded_producers.h"

namespace camera {
namespace {

class Cached : public Producer {
 public:
  Cached(const Plan &plan, std::unique_ptr<Producer> origin) : plan_(plan), origin_(std::move(origin)) {}

  void begin(std::uint32_t) override {
    if (loop_.empty()) fill();
    next_ = 0;
  }

  /// A key frame that is asked for begins the loop anew.
  Product make(const Order &order) override {
    if (order.key || next_ == loop_.size()) next_ = 0;
    return loop_[next_++];
  }

  void skip() override {}

 private:
  /// The loop is one GOP, or as many as make up a few seconds, so that it can follow itself.
  std::uint32_t length() const {
    constexpr double kSeconds = 3;
    constexpr std::uint32_t kMost = 300;
    const auto wish = static_cast<std::uint32_t>(std::clamp(plan_.framerate * kSeconds, 1.0, double{kMost}));
    if (plan_.gop_length == 0) return wish;
    return plan_.gop_length >= wish ? std::min(plan_.gop_length, kMost) : wish / plan_.gop_length * plan_.gop_length;
  }

  void fill() {
    constexpr std::size_t kMostBytes = std::size_t{256} << 20U;  // uncompressed frames are large
    origin_->begin(0);
    std::vector<Product> loop;  // a part of one is not kept when the source fails
    std::size_t bytes = 0;
    for (std::uint32_t i = 0; i < length() && bytes < kMostBytes; ++i) {
      Product product = origin_->make({i,
                                       std::uint64_t{i} * static_cast<std::uint64_t>(plan_.rate_denominator) *
                                           1'000'000 / static_cast<std::uint64_t>(plan_.rate_numerator),
                                       0, false});
      if (product.outcome == Outcome::kEnded) break;
      product.new_framerate.reset();
      if (product.outcome != Outcome::kMade) continue;
      bytes += product.payload->size;
      loop.push_back(std::move(product));
    }
    if (loop.empty()) throw std::runtime_error("The source has no picture");
    loop_ = std::move(loop);
    origin_.reset();
  }

  Plan plan_;
  std::unique_ptr<Producer> origin_;
  std::vector<Product> loop_;
  std::size_t next_ = 0;
};

}  // namespace

std::unique_ptr<Producer> make_cached_producer(const Plan &plan, std::unique_ptr<Producer> origin) {
  return std::make_unique<Cached>(plan, std::move(origin));
}

}  // namespace camera
