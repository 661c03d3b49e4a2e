#include "explore/shrinker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

namespace quorle::explore {
namespace {

Choice Of(const Choices& choices, std::size_t call, ChoiceUse use) {
  return choices[call * kChoicesPerCall + use];
}

std::size_t CallsOf(const Choices& choices) {
  return choices.size() / kChoicesPerCall;
}

/// A sequence of one call for each of `operations`, whose other choices are all `rest`.
Choices SequenceOf(const std::vector<Choice>& operations, Choice rest) {
  Choices choices;
  for (const Choice operation : operations) {
    choices.push_back(operation);
    choices.insert(choices.end(), kChoicesPerCall - 1, rest);
  }
  return choices;
}

/// Whether a call of kind `first` comes before one of kind `second`: kinds are the operations' choices
/// in thousands.
bool HasInOrder(const Choices& choices, int first, int second) {
  bool seen = false;
  for (std::size_t call = 0; call != CallsOf(choices); ++call) {
    const int kind = Of(choices, call, kOperationChoice) / 1000;
    if (seen && kind == second) return true;
    seen = seen || kind == first;
  }
  return false;
}

TEST(Shrinker, LeavesTheTwoCallsThatAreNeededAsPlainAsTheyCanBe) {
  for (std::uint64_t seed = 1; seed != 30; ++seed) {
    const Choices drawn = DrawChoices(seed, 200);
    const auto differs = [](const Choices& choices) { return HasInOrder(choices, 41, 13); };
    if (!differs(drawn)) continue;
    EXPECT_EQ(Shrink(drawn, differs), SequenceOf({41000, 13000}, 0)) << seed;
  }
}

TEST(Shrinker, FindsCallsThatStandFarApart) {
  Choices choices = DrawChoices(7, 200);
  for (Choice& choice : choices) choice = static_cast<Choice>(choice % 50000);
  for (const std::size_t call : {3, 40, 41, 120, 199}) {
    choices[call * kChoicesPerCall] = static_cast<Choice>(60000 + call);
  }
  const auto differs = [](const Choices& left) {
    std::size_t count = 0;
    for (std::size_t call = 0; call != CallsOf(left); ++call) {
      count += Of(left, call, kOperationChoice) >= 60000 ? 1U : 0U;
    }
    return count == 5;
  };
  int attempts = 0;
  const Choices shrunk = Shrink(choices, [&](const Choices& left) {
    ++attempts;
    return differs(left);
  });
  EXPECT_EQ(shrunk, SequenceOf({60000, 60000, 60000, 60000, 60000}, 0));
  EXPECT_LT(attempts, 600);
}

TEST(Shrinker, FindsTheLowestValueThatStillDiffers) {
  const auto differs = [](const Choices& choices) {
    return !choices.empty() && Of(choices, CallsOf(choices) - 1, kNumberChoice) >= 513;
  };
  const Choices shrunk = Shrink(SequenceOf(std::vector<Choice>(200, 999), 60001), differs);
  Choices least(kChoicesPerCall, 0);
  least[kNumberChoice] = 513;
  EXPECT_EQ(shrunk, least);
}

TEST(Shrinker, MakesNamesPlainTogetherThatMustBeTheSame) {
  // Both are plain, or they are the same but for the plain one: neither can be lowered by itself.
  const auto differs = [](const Choices& choices) {
    return CallsOf(choices) == 2 && Of(choices, 0, kNameChoice) == Of(choices, 1, kNameChoice) &&
           Of(choices, 0, kNameChoice) >= 700;
  };
  Choices least(2 * kChoicesPerCall, 0);
  least[kNameChoice] = least[kChoicesPerCall + kNameChoice] = 700;
  EXPECT_EQ(Shrink(SequenceOf({5, 9}, 40000), differs), least);
}

TEST(Shrinker, MakesTwoNamesOneThatNeedNotDiffer) {
  // Two names that differ, or one: of a pair only both can become plain.
  const auto differs = [](const Choices& choices) {
    if (CallsOf(choices) != 2) return false;
    const Choice one = Of(choices, 0, kNameChoice);
    const Choice other = Of(choices, 1, kSecondChoice);
    return (one == 30000 && other == 20000) || (one == 20000 && other == 20000);
  };
  Choices choices(2 * kChoicesPerCall, 0);
  choices[kNameChoice] = 30000;
  choices[kChoicesPerCall + kSecondChoice] = 20000;
  choices[kSecondNumberChoice] = 77;
  Choices least = choices;
  least[kNameChoice] = 20000;
  least[kSecondNumberChoice] = 0;
  EXPECT_EQ(Shrink(choices, differs), least);
}

TEST(Shrinker, PutsThePlainerCallFirst) {
  const auto differs = [](const Choices& choices) {
    std::vector<Choice> operations;
    for (std::size_t call = 0; call != CallsOf(choices); ++call) {
      operations.push_back(Of(choices, call, kOperationChoice));
    }
    std::sort(operations.begin(), operations.end());
    return operations == std::vector<Choice>{10, 20, 30};
  };
  EXPECT_EQ(Shrink(SequenceOf({30, 10, 20}, 5), differs), SequenceOf({10, 20, 30}, 0));
}

TEST(Shrinker, EndsAtItsBoundWithTheLastThatDiffered) {
  const auto differs = [](const Choices& choices) { return HasInOrder(choices, 41, 13); };
  Choices drawn = SequenceOf({41999, 13999}, 65535);
  const Choices before = DrawChoices(3, 198);
  drawn.insert(drawn.begin(), before.begin(), before.end());
  for (const std::size_t bound : {0, 1, 5, 30}) {
    std::size_t attempts = 0;
    const Choices shrunk = Shrink(drawn,
                                  [&](const Choices& left) {
                                    ++attempts;
                                    return differs(left);
                                  },
                                  {.attempts = bound});
    EXPECT_EQ(attempts, bound);
    EXPECT_TRUE(differs(shrunk));
    EXPECT_LE(shrunk.size(), drawn.size());
  }
}

TEST(Shrinker, EndsAtItsTimeWithTheLastThatDiffered) {
  const Choices drawn = SequenceOf({41999, 13999}, 65535);
  std::size_t attempts = 0;
  const auto differs = [&](const Choices&) {
    ++attempts;
    return true;
  };
  EXPECT_EQ(Shrink(drawn, differs, {.until = std::chrono::steady_clock::now()}), drawn);
  EXPECT_EQ(attempts, 0U);
}

TEST(Shrinker, NeverNeedsADefectToComeEachTime) {
  for (unsigned period = 2; period != 6; ++period) {
    unsigned count = 0;
    Choices last = SequenceOf(std::vector<Choice>(60, 41500), 300);
    const Choices shrunk = Shrink(last, [&](const Choices& left) {
      const bool differs = !left.empty() && ++count % period == 0;
      if (differs) last = left;
      return differs;
    });
    // It came back as it differed, and much is gone of it all the same.
    EXPECT_EQ(shrunk, last);
    EXPECT_LT(CallsOf(shrunk), 20U) << period;
  }
}

TEST(Shrinker, GivesBackWhatNeverDiffersAgain) {
  const Choices choices = DrawChoices(1, 20);
  EXPECT_EQ(Shrink(choices, [](const Choices&) { return false; }), choices);
  EXPECT_TRUE(Shrink({}, [](const Choices&) { return true; }).empty());
  EXPECT_TRUE(Shrink(Choices(7, 1), [](const Choices&) { return false; }).empty());
}

}  // namespace
}  // namespace quorle::explore
