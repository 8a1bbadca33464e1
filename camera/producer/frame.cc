// Making payloads.
#include "producer/frame.h"

#include <algorithm>
#include <mutex>

#include "common/random.h"

namespace camera {
namespace {

/// Made-up frames are views of one block at one of so many places.
constexpr std::size_t kVariants = 4096;

/// The block behind made-up frames, grown when a larger frame is asked for.
std::shared_ptr<const std::vector<std::uint8_t>> made_up_block(std::size_t size) {
  static std::mutex mutex;
  static std::shared_ptr<const std::vector<std::uint8_t>> block;
  const std::lock_guard lock(mutex);
  if (block == nullptr || block->size() < size) {
    auto larger = std::make_shared<std::vector<std::uint8_t>>(size);
    for (std::size_t i = 0; i < size; ++i)
      (*larger)[i] = static_cast<std::uint8_t>(mix(i) >> 56U);
    block = std::move(larger);
  }
  return block;
}

}  // namespace

std::shared_ptr<const Payload> make_payload(std::vector<std::uint8_t> bytes) {
  auto payload = std::make_shared<Payload>();
  payload->size = bytes.size();
  if (!bytes.empty()) {
    auto owner = std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes));
    payload->pieces.push_back({owner, *owner});
  }
  return payload;
}

std::shared_ptr<const Payload> delivered_payload(std::vector<std::uint8_t> bytes, std::size_t header_size,
                                                 bool in_chunks) {
  std::shared_ptr<const Payload> whole = make_payload(std::move(bytes));
  if (!in_chunks || header_size == 0 || header_size >= whole->size) return whole;
  const std::uint64_t sizes[] = {header_size};
  return cut_payload(*whole, sizes);
}

std::shared_ptr<const Payload> cut_payload(const Payload &payload, std::span<const std::uint64_t> sizes) {
  std::vector<std::uint8_t> all;
  all.reserve(payload.size);
  for (const Payload::Piece &piece : payload.pieces)
    all.insert(all.end(), piece.bytes.begin(), piece.bytes.end());
  auto cut = std::make_shared<Payload>();
  cut->size = payload.size;
  std::size_t begin = 0;
  const auto add = [&](std::size_t size) {
    auto owner = std::make_shared<const std::vector<std::uint8_t>>(
        all.begin() + static_cast<std::ptrdiff_t>(begin), all.begin() + static_cast<std::ptrdiff_t>(begin + size));
    cut->pieces.push_back({owner, *owner});
    begin += size;
  };
  for (const std::uint64_t size : sizes)
    add(static_cast<std::size_t>(std::min<std::uint64_t>(size, all.size() - begin)));
  if (begin < all.size()) add(all.size() - begin);
  return cut;
}

std::shared_ptr<const Payload> made_up_payload(std::size_t size, std::uint64_t variant) {
  constexpr std::size_t kRoom = std::size_t{1} << 20U;
  const std::size_t place = static_cast<std::size_t>(mix(variant) % kVariants);
  const auto block = made_up_block(std::max(size + kVariants, kRoom));
  auto payload = std::make_shared<Payload>();
  payload->size = size;
  if (size != 0) payload->pieces.push_back({block, std::span(*block).subspan(place, size)});
  return payload;
}

}  // namespace camera
