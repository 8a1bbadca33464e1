// How values are shown.
#include "compliance/common/expect.h"

#include <algorithm>
#include <string_view>

namespace compliance {

std::string shown(const Bytes &bytes) {
  constexpr std::size_t kMost = 16;
  constexpr std::string_view kDigits = "0123456789abcdef";
  if (bytes.empty()) return "no bytes";
  std::string text = std::to_string(bytes.size()) + (bytes.size() == 1 ? " byte (" : " bytes (");
  for (std::size_t i = 0; i < std::min(bytes.size(), kMost); ++i) {
    if (i > 0) text += ' ';
    text += {kDigits[bytes[i] >> 4U], kDigits[bytes[i] & 15U]};
  }
  return text + (bytes.size() > kMost ? " ...)" : ")");
}

}  // namespace compliance
