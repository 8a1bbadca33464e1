// Reading the two elements at the start of a Matroska file.
#include "formats/capture/segment.h"

#include <array>
#include <bit>
#include <span>

#include "formats/capture/file.h"

namespace formats {
namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t kHead = 0x1A45DFA3;
constexpr std::uint32_t kSegment = 0x18538067;

/// An element's content: its size, or none where it is left open.
struct Element {
  std::optional<std::uint64_t> size;
  std::uint64_t start = 0;
};

/// The element with that four-byte identifier at a place of the file.
std::optional<Element> element_at(const File &file, std::uint64_t place, std::uint32_t identifier) {
  constexpr std::size_t kIdentifier = 4;
  constexpr std::size_t kLongestSize = 8;
  std::array<std::uint8_t, kIdentifier + kLongestSize> bytes{};
  if (file.read_at(place, bytes) != bytes.size()) return std::nullopt;
  std::uint32_t found = 0;
  for (const std::uint8_t byte : Bytes(bytes).first(kIdentifier))
    found = found << 8U | byte;
  const auto length = static_cast<std::size_t>(std::countl_zero(bytes[kIdentifier])) + 1;
  if (found != identifier || length > kLongestSize) return std::nullopt;
  std::uint64_t size = 0;
  for (const std::uint8_t byte : Bytes(bytes).subspan(kIdentifier, length))
    size = size << 8U | byte;
  const std::uint64_t largest = (std::uint64_t{1} << (7 * length)) - 1;
  size &= largest;
  return Element{.size = size == largest ? std::nullopt : std::optional(size), .start = place + kIdentifier + length};
}

}  // namespace

std::optional<Segment> read_segment(const std::string &path) {
  const File file(path);
  const auto head = element_at(file, 0, kHead);
  if (!head || !head->size) return std::nullopt;
  const auto segment = element_at(file, head->start + *head->size, kSegment);
  if (!segment) return std::nullopt;
  return Segment{.end = segment->size ? std::optional(segment->start + *segment->size) : std::nullopt};
}

}  // namespace formats
