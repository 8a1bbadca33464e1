// Drawing the marker into the planes of a picture.
#include "picture/marker.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <bitset>

namespace camera {
namespace {

using Bits = std::bitset<kMarkerBits>;

std::uint16_t checksum(std::uint32_t sequence, std::uint64_t time) {
  constexpr unsigned kPolynomial = 0x1021;
  unsigned crc = 0xFFFF;
  const auto add = [&](std::uint64_t value, int bits) {
    for (int bit = bits - 1; bit >= 0; --bit) {
      const bool carry = ((crc >> 15U) & 1U) != ((value >> static_cast<unsigned>(bit)) & 1U);
      crc = (crc << 1U) & 0xFFFFU;
      if (carry) crc ^= kPolynomial;
    }
  };
  add(sequence, 32);
  add(time, 64);
  return static_cast<std::uint16_t>(crc);
}

Bits marker_bits(std::uint32_t sequence, std::uint64_t time) {
  constexpr std::uint64_t kPattern = 0b10110010;
  Bits bits;
  std::size_t place = 0;
  const auto add = [&](std::uint64_t value, int count) {
    for (int bit = count - 1; bit >= 0; --bit)
      bits[place++] = ((value >> static_cast<unsigned>(bit)) & 1U) != 0;
  };
  add(kPattern, 8);
  add(sequence, 32);
  add(time, 64);
  add(checksum(sequence, time), 16);
  return bits;
}

/// A rectangle of one value in one component.
struct Fill {
  int left;
  int top;
  int width;
  int height;
  unsigned value;  ///< of 8 bits
};

void fill(AVFrame &picture, const AVComponentDescriptor &component, const Fill &area) {
  const unsigned value = area.value << static_cast<unsigned>(component.depth - 8);
  for (int y = area.top; y < area.top + area.height; ++y) {
    std::uint8_t *row =
        picture.data[component.plane] + static_cast<std::ptrdiff_t>(y) * picture.linesize[component.plane];
    for (int x = area.left; x < area.left + area.width; ++x) {
      std::uint8_t *sample = row + static_cast<std::ptrdiff_t>(x) * component.step + component.offset;
      *sample = static_cast<std::uint8_t>(value);
      if (component.depth > 8) sample[1] = static_cast<std::uint8_t>(value >> 8U);
    }
  }
}

void draw_cell(AVFrame &picture, const AVPixFmtDescriptor &format, int left, int top, int size, bool bright) {
  constexpr unsigned kBright = 235;
  constexpr unsigned kDark = 16;
  constexpr unsigned kNeutral = 128;
  const bool rgb = (format.flags & AV_PIX_FMT_FLAG_RGB) != 0;
  for (int i = 0; i < format.nb_components; ++i) {
    const bool chroma = !rgb && i > 0;
    const int shift_x = chroma ? format.log2_chroma_w : 0;
    const int shift_y = chroma ? format.log2_chroma_h : 0;
    fill(picture, format.comp[i],
         {left >> shift_x, top >> shift_y, size >> shift_x, size >> shift_y,
          chroma ? kNeutral : (bright ? kBright : kDark)});
  }
}

}  // namespace

MarkerLayout marker_layout(int width, int height) {
  for (const int cell : {8, 4}) {
    const int columns = std::min(width / cell, kMarkerBits);
    if (columns == 0) continue;
    const int rows = (kMarkerBits + columns - 1) / columns;
    if (rows * cell * 2 <= height) return {cell, columns, (height / cell - rows) * cell};
  }
  return {};
}

void draw_marker(AVFrame &picture, std::uint32_t sequence, std::uint64_t captured_us) {
  const MarkerLayout layout = marker_layout(picture.width, picture.height);
  if (layout.cell == 0) return;
  const AVPixFmtDescriptor *format = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(picture.format));
  const Bits bits = marker_bits(sequence, captured_us);
  for (int bit = 0; bit < kMarkerBits; ++bit) {
    draw_cell(picture, *format, bit % layout.columns * layout.cell, layout.top + bit / layout.columns * layout.cell,
              layout.cell, bits[static_cast<std::size_t>(bit)]);
  }
}

}  // namespace camera
