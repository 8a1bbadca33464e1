// Frames that are captured and coded one by one, as they are asked for.
#include <utility>

#include "encoder/encoder.h"
#include "picture/picture.h"
#include "producer/coded_producers.h"
#include "producer/gop.h"

namespace camera {
namespace {

class Generated : public Producer {
 public:
  Generated(const Plan &plan, std::unique_ptr<Encoder> encoder, std::unique_ptr<Picture> picture)
      : plan_(plan), gop_(plan_), encoder_(std::move(encoder)), picture_(std::move(picture)) {}

  void begin(std::uint32_t) override {
    gop_.begin();
    last_ = nullptr;
    missed_change_ = false;
  }

  /// An end of the source shows when the next picture is made.
  void skip() override {
    if (picture_->advance() && !picture_->is_still()) missed_change_ = true;
  }

  Product make(const Order &order) override {
    Product product;
    if (!picture_->advance()) {
      product.outcome = Outcome::kEnded;
      return product;
    }
    const bool still = picture_->is_still() && !missed_change_;
    missed_change_ = false;
    const bool is_wanted = order.key || last_ == nullptr || gop_.is_complete(still) || is_due(order.captured_us);
    const bool leaves_out = plan_.skips_still && still && !is_wanted;
    if (plan_.skips_still && still != was_still_) {
      was_still_ = still;
      product.new_framerate = still ? std::min(plan_.still_framerate, plan_.framerate) : plan_.framerate;
    }
    if (leaves_out && !plan_.skipped_are_empty) {
      product.outcome = Outcome::kLeftOut;
      return product;
    }
    if (!leaves_out) {
      last_us_ = order.captured_us;
      last_ = picture_->render({order.sequence, order.captured_us, order.utc_us});
    }
    const bool key = gop_.next(order.key, still);
    Coded coded = encoder_->encode(*last_, key);
    product.payload = delivered_payload(std::move(coded.bytes), coded.header_size, plan_.chunks);
    product.header_size = coded.header_size;
    product.type = coded.type;
    product.key = coded.key;
    product.empty = leaves_out && !coded.key;
    return product;
  }

 private:
  /// Whether a still scene is due for a picture under its lowest frame rate.
  bool is_due(std::uint64_t now_us) const {
    constexpr double kSecond = 1e6;
    return plan_.still_framerate > 0 && static_cast<double>(now_us - last_us_) >= kSecond / plan_.still_framerate;
  }

  Plan plan_;
  GopCounter gop_;
  std::unique_ptr<Encoder> encoder_;
  std::unique_ptr<Picture> picture_;
  AvFrame last_;  ///< the picture that an empty frame repeats
  std::uint64_t last_us_ = 0;
  bool was_still_ = false;
  bool missed_change_ = false;  ///< the scene changed in a frame that was left out, and no frame shows it yet
};

}  // namespace

std::unique_ptr<Producer> make_generated_producer(const Plan &plan, std::unique_ptr<Encoder> encoder,
                                                  std::unique_ptr<Picture> picture) {
  return std::make_unique<Generated>(plan, std::move(encoder), std::move(picture));
}

}  // namespace camera
