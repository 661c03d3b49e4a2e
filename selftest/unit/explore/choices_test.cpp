#include "explore/choices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace quorle::explore {
namespace {

TEST(Choices, AreTheSameOnesOfASeedAtAllTimes) {
  // SplitMix64, worked out by hand from its definition: the first number of the seed 0 is the state.
  const Choices choices = DrawChoices(0, 2);
  ASSERT_EQ(choices.size(), 16U);
  std::uint64_t state = 0xE220A8397B1DCDAF;
  for (std::size_t i = 0; i != 16; i += 4) {
    state += 0x9E3779B97F4A7C15;
    std::uint64_t mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
    mixed ^= mixed >> 31;
    for (std::size_t k = 0; k != 4; ++k) EXPECT_EQ(choices[i + k], mixed >> (16 * k) & 0xFFFF);
  }
}

TEST(Choices, OfFewerCallsAreTheFirstOnesOfMore) {
  const Choices few = DrawChoices(4711, 20);
  const Choices many = DrawChoices(4711, 200);
  ASSERT_EQ(many.size(), 200 * kChoicesPerCall);
  EXPECT_TRUE(std::equal(few.begin(), few.end(), many.begin()));
}

TEST(Choices, OfTwoSeedsHaveNothingInCommon) {
  const Choices one = DrawChoices(1, 50);
  for (const std::uint64_t seed : {std::uint64_t{0}, std::uint64_t{2}, ~std::uint64_t{0}}) {
    const Choices other = DrawChoices(seed, 50);
    EXPECT_EQ(std::search(one.begin(), one.end(), other.begin() + 200, other.begin() + 204),
              one.end());
  }
}

TEST(Choices, AreReadTwoBytesEachTheLowerFirst) {
  std::array<std::uint8_t, 35> bytes{};
  bytes[0] = 0x34;
  bytes[1] = 0x12;
  bytes[30] = 0xFE;
  bytes[31] = 0xFF;
  bytes[34] = 1;
  const Choices choices = ReadChoices(bytes);
  // Two whole calls, and three bytes of a third.
  ASSERT_EQ(choices.size(), 16U);
  EXPECT_EQ(choices[0], 0x1234);
  EXPECT_EQ(choices[15], 0xFFFE);
  EXPECT_TRUE(ReadChoices({bytes.data(), 15}).empty());
  EXPECT_TRUE(ReadChoices({}).empty());
}

}  // namespace
}  // namespace quorle::explore
