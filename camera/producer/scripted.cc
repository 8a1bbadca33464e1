// Frames of synthetic bytes, without pictures or an encoder; the key file sets their properties.
#include "producer/gop.h"
#include "producer/producer.h"

namespace camera {
namespace {

constexpr std::size_t kKeySize = 24'000;
constexpr std::size_t kOtherSize = 4'000;
constexpr std::size_t kHeaderSize = 32;

class Scripted : public Producer {
 public:
  explicit Scripted(const Plan &plan) : plan_(plan), gop_(plan_) {}

  void begin(std::uint32_t) override { gop_.begin(); }

  void skip() override {}

  Product make(const Order &order) override {
    Product product;
    product.key = all_key() || gop_.next(order.key, false);
    product.payload = made_up_payload(product.key ? kKeySize : kOtherSize, order.sequence);
    product.header_size = product.key && !all_key() ? kHeaderSize : 0;
    product.type = usual_type(plan_.format, product.key);
    return product;
  }

 private:
  bool all_key() const {
    return plan_.format != kFormatH264 && plan_.format != kFormatH265 && plan_.format != kFormatAv1;
  }

  Plan plan_;
  GopCounter gop_;
};

}  // namespace

std::unique_ptr<Producer> make_scripted_producer(const Plan &plan) {
  return std::make_unique<Scripted>(plan);
}

}  // namespace camera
