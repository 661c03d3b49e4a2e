#include "results/expectations.h"

#include <gtest/gtest.h>

namespace quorle::selftest {
namespace {

TEST(ExpectationsTest, WithoutAFileACheckIsExpectedToPassOrToBeSkipped) {
  const Expectations none;
  const RunRecord run;
  const auto judge = [&](Verdict verdict) {
    CheckEvent check;
    check.id = "Lock.MissingObject";
    check.verdict = verdict;
    return none.Judge(run, check).type;
  };
  EXPECT_EQ(judge(Verdict::kPass), Judgement::Type::kAsExpected);
  EXPECT_EQ(judge(Verdict::kSkipped), Judgement::Type::kAsExpected);
  EXPECT_EQ(judge(Verdict::kWarn), Judgement::Type::kAsExpected);
  EXPECT_EQ(judge(Verdict::kUnsupported), Judgement::Type::kUnexpected);
  EXPECT_EQ(judge(Verdict::kBlocked), Judgement::Type::kUnexpected);
  EXPECT_EQ(judge(Verdict::kFail), Judgement::Type::kUnexpected);
}

}  // namespace
}  // namespace quorle::selftest
