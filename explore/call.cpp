#include "explore/call.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstring>

namespace quorle::explore {

void FillPattern(std::uint32_t pattern, std::span<std::uint8_t> bytes) {
  for (std::size_t place = 0; place < bytes.size(); place += 8) {
    const std::uint64_t word = PatternWord(pattern, place / 8);
    std::array<std::uint8_t, 8> eight{};
    for (std::size_t i = 0; i != 8; ++i) eight[i] = static_cast<std::uint8_t>(word >> (i * 8));
    std::memcpy(&bytes[place], eight.data(), std::min<std::size_t>(8, bytes.size() - place));
  }
}

}  // namespace quorle::explore
