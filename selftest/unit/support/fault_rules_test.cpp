#include "selftest/support/fault_rules.h"

#include <gtest/gtest.h>

#include "platform/constants.h"

namespace quorle::selftest {
namespace {

using Phase = RunPlace::Phase;

constexpr RunPlace kSecondSubTest = {.phase = Phase::kSubTest, .row = 24, .sub_test = 2};
constexpr RunPlace kThirdSubTest = {.phase = Phase::kSubTest, .row = 24, .sub_test = 3};
constexpr RunPlace kGroup = {.phase = Phase::kGroup, .row = 24, .sub_test = 0};
constexpr RunPlace kEnd = {.phase = Phase::kEnd, .row = 24, .sub_test = 0};

class FaultRulesTest : public testing::Test {
 protected:
  void Parse(std::string_view text) {
    std::string problem;
    auto rules = FaultRules::Parse(text, problem);
    ASSERT_TRUE(rules) << problem;
    rules_ = *std::move(rules);
    rules_.Begin();
  }

  /// Makes the call `count` times in `place`; "x" for each that misbehaves, "." for each other.
  std::string Calls(const RunPlace& place, int count, FaultRules& rules) {
    rules.Enter(place);
    std::string fired;
    for (int i = 0; i < count; ++i) fired += MatchLock("FILE01", rules) ? 'x' : '.';
    return fired;
  }
  static const FaultRule* MatchLock(const char* name, FaultRules& rules) {
    const CallValue args[] = {name, std::int32_t{SHARED_LOCK}};
    return rules.Match({CallKind::kHandler, "Lock", args, {}, {}});
  }
  std::string Calls(const RunPlace& place, int count) { return Calls(place, count, rules_); }

  FaultRules rules_;
};

TEST_F(FaultRulesTest, WithoutAPlaceCallsCountFromTheBeginningOfTheRun) {
  Parse("Lock(FILE01,SHARED)#3 fail 202");
  EXPECT_EQ(Calls({}, 2), "..");
  EXPECT_EQ(Calls(kSecondSubTest, 2), "x.");
}

TEST_F(FaultRulesTest, InAPlaceCallsCountFromItsBeginning) {
  Parse("2/Lock(FILE01,SHARED)#2 fail 202");
  EXPECT_EQ(Calls({}, 3), "...");
  EXPECT_EQ(Calls(kGroup, 3), "...");
  EXPECT_EQ(Calls(kSecondSubTest, 3), ".x.");
  EXPECT_EQ(Calls(kThirdSubTest, 3), "...");
  EXPECT_EQ(Calls(kEnd, 3), "...");
}

TEST_F(FaultRulesTest, ARowNarrowsThePlace) {
  Parse("24.2/Lock#1 fail 202");
  EXPECT_EQ(Calls({.phase = Phase::kSubTest, .row = 23, .sub_test = 2}, 2), "..");
  EXPECT_EQ(Calls(kSecondSubTest, 2), "x.");
}

TEST_F(FaultRulesTest, StartGroupAndEndArePlaces) {
  Parse("start/Lock#1 fail 202\ngroup/Lock#2 fail 202\nend/Lock fail 202");
  EXPECT_EQ(Calls({}, 2), "x.");
  EXPECT_EQ(Calls(kGroup, 2), ".x");
  EXPECT_EQ(Calls(kSecondSubTest, 2), "..");
  EXPECT_EQ(Calls(kEnd, 2), "xx");
}

TEST_F(FaultRulesTest, AllLaterCallsAreThoseOfTheRun) {
  Parse("2/Lock#2+ fail 202");
  EXPECT_EQ(Calls(kSecondSubTest, 1), ".");
  EXPECT_EQ(Calls(kThirdSubTest, 2), "..") << "the second call of the place was not made";
  EXPECT_EQ(Calls(kSecondSubTest, 3), ".xx");
  EXPECT_EQ(Calls(kThirdSubTest, 2), "xx");
}

TEST_F(FaultRulesTest, ANewRunCountsFromItsBeginning) {
  Parse("2/Lock#1+ fail 202");
  EXPECT_EQ(Calls(kSecondSubTest, 1), "x");
  EXPECT_EQ(rules_.Unused(), nullptr);
  rules_.Begin();
  EXPECT_NE(rules_.Unused(), nullptr);
  EXPECT_EQ(Calls(kThirdSubTest, 1), ".");
}

TEST_F(FaultRulesTest, RulesBoundToCallsNeedNoPlace) {
  Parse("2/Lock#2 fail 202");
  Calls({}, 3);
  Calls(kSecondSubTest, 3);
  FaultRules bound = rules_.BoundToCalls();
  EXPECT_EQ(Calls({}, 6, bound), "....x.");
}

TEST_F(FaultRulesTest, RulesWithoutAPlaceAreNotBoundToCalls) {
  Parse("Lock fail 202");
  Calls({}, 2);
  FaultRules bound = rules_.BoundToCalls();
  EXPECT_EQ(Calls({}, 4, bound), "xxxx");
}

TEST_F(FaultRulesTest, APathIsNoPlace) {
  Parse("Lock(FILE01/FILE02)#1 fail 202");
  rules_.Enter(kSecondSubTest);
  EXPECT_NE(MatchLock("FILE01/FILE02", rules_), nullptr);
}

TEST_F(FaultRulesTest, PlacesThatAreNone) {
  for (const char* const text :
       {"0/Lock fail 1", "x/Lock fail 1", "/Lock fail 1", "24./Lock fail 1", "0.1/Lock fail 1",
        "24.start/Lock fail 1", "-1/Lock fail 1"}) {
    std::string problem;
    EXPECT_FALSE(FaultRules::Parse(text, problem)) << text;
    EXPECT_EQ(problem, std::string("not a fault rule: ") + text);
  }
}

}  // namespace
}  // namespace quorle::selftest
