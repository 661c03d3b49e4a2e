#include "explore/engine/mutation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "explore/generator.h"
#include "selftest/unit/explore/ram_side.h"

namespace quorle::explore {
namespace {

constexpr std::size_t kMostCalls = 8;
constexpr std::uint64_t kChanges = 100000;

/// The operation that the choice `operation` stands for on a volume that can do everything.
Operation OperationOf(Choice operation, RamSide& ram) {
  const Traits traits;
  Choices choices(kChoicesPerCall);
  choices[kOperationChoice] = operation;
  Call call;
  Generator(traits).Next(choices, ram.side(), call);
  return call.operation;
}

TEST(Mutation, TheHighestSingleCallIsTheOneBeforeMakeFiles) {
  RamSide ram;
  EXPECT_EQ(OperationOf(HighestSingleCall(), ram), Operation::kRelabel);
  EXPECT_EQ(OperationOf(HighestSingleCall() + 1, ram), Operation::kMakeFiles);
  EXPECT_EQ(OperationOf(0xFFFF, ram), Operation::kMakeFiles);
}

TEST(Mutation, GivesWholeCallsWithinTheBoundsThatMakeNoManyFiles) {
  Choices choices;
  std::set<std::size_t> sizes;
  Choice highest = 0;
  for (std::uint64_t seed = 1; seed <= kChanges; ++seed) {
    Mutate(choices, kMostCalls, seed);
    sizes.insert(choices.size());
    for (std::size_t at = kOperationChoice; at < choices.size(); at += kChoicesPerCall) {
      highest = std::max(highest, choices[at]);
    }
  }
  EXPECT_EQ(highest, HighestSingleCall());
  std::set<std::size_t> all;
  for (std::size_t calls = 1; calls <= kMostCalls; ++calls) all.insert(calls * kChoicesPerCall);
  EXPECT_EQ(sizes, all);
}

TEST(Mutation, BoundsWhatCameFromElsewhere) {
  for (std::uint64_t seed = 1; seed <= 1000; ++seed) {
    Choices choices(20 * kChoicesPerCall, 0xFFFF);
    Mutate(choices, kMostCalls, seed);
    EXPECT_EQ(choices.size(), kMostCalls * kChoicesPerCall);
    EXPECT_LE(choices[kOperationChoice], HighestSingleCall());
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
