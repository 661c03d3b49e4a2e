#include "explore/engine/mutation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace quorle::explore {
namespace {

constexpr std::size_t kMostCalls = 8;
constexpr std::uint64_t kChanges = 100000;

TEST(Mutation, GivesWholeCallsWithinTheBounds) {
  Choices choices;
  std::set<std::size_t> sizes;
  for (std::uint64_t seed = 1; seed <= kChanges; ++seed) {
    Mutate(choices, kMostCalls, seed);
    sizes.insert(choices.size());
  }
  std::set<std::size_t> all;
  for (std::size_t calls = 1; calls <= kMostCalls; ++calls) all.insert(calls * kChoicesPerCall);
  EXPECT_EQ(sizes, all);
}

TEST(Mutation, BoundsWhatCameFromElsewhere) {
  for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
    Choices choices(20 * kChoicesPerCall, 0xFFFF);
    Mutate(choices, kMostCalls, seed);
    EXPECT_LE(choices.size(), kMostCalls * kChoicesPerCall);
    EXPECT_FALSE(choices.empty());
  }
}

TEST(Mutation, CrossesTheFirstCallsOfOneWithTheLastOfTheOther) {
  const Choices first(5 * kChoicesPerCall, 1);
  const Choices second(6 * kChoicesPerCall, 2);
  std::set<std::size_t> ones;
  std::set<std::size_t> twos;
  for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
    const Choices crossed = Cross(first, second, kMostCalls, seed);
    ASSERT_EQ(crossed.size() % kChoicesPerCall, 0U);
    ASSERT_LE(crossed.size(), kMostCalls * kChoicesPerCall);
    ASSERT_FALSE(crossed.empty());
    const auto of_second = std::find(crossed.begin(), crossed.end(), Choice{2});
    ones.insert(static_cast<std::size_t>(of_second - crossed.begin()) / kChoicesPerCall);
    twos.insert(static_cast<std::size_t>(crossed.end() - of_second) / kChoicesPerCall);
  }
  EXPECT_TRUE(ones.contains(0) && ones.contains(5)) << "none of the first, and all";
  EXPECT_TRUE(twos.contains(0) && twos.contains(6)) << "none of the second, and all";
}

}  // namespace
}  // namespace quorle::explore
