#include "harness/memory.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>

namespace quorle {
namespace {

TEST(MemoryTest, TextLengthCountsToTheZero) {
  EXPECT_EQ(TextLength(""), 0U);
  EXPECT_EQ(TextLength("FILE01"), 6U);
  EXPECT_EQ(TextLength("ab\0cd"), 2U);
}

// Every size around the runs, every alignment of the two places against each other.
TEST(MemoryTest, CopyBytesCopiesExactlyTheBytes) {
  alignas(64) std::array<unsigned char, 256> source;
  for (std::size_t i = 0; i < source.size(); ++i) source[i] = static_cast<unsigned char>(i * 7 + 1);
  for (std::size_t from = 0; from < 8; ++from) {
    for (std::size_t to = 0; to < 8; ++to) {
      for (std::size_t bytes = 0; bytes <= 100; ++bytes) {
        alignas(64) std::array<unsigned char, 256> target{};
        CopyBytes(target.data() + 8 + to, source.data() + from, bytes);
        ASSERT_EQ(std::memcmp(target.data() + 8 + to, source.data() + from, bytes), 0);
        for (std::size_t i = 0; i < target.size(); ++i) {
          const bool inside = i >= 8 + to && i < 8 + to + bytes;
          if (!inside) {
            ASSERT_EQ(target[i], 0) << from << ' ' << to << ' ' << bytes;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace quorle
