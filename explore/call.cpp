#include "explore/call.h"

#include <algorithm>
#include <cstddef>

namespace quorle::explore {

void FillPattern(std::uint32_t pattern, std::span<std::uint8_t> bytes) {
  for (std::size_t place = 0; place < bytes.size(); place += 8) {
    const std::uint64_t word = PatternWord(pattern, place / 8);
    const std::size_t count = std::min<std::size_t>(8, bytes.size() - place);
    for (std::size_t i = 0; i != count; ++i) {
      bytes[place + i] = static_cast<std::uint8_t>(word >> (i * 8));
    }
  }
}

}  // namespace quorle::explore
