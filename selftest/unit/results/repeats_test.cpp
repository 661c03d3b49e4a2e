#include "results/repeats.h"

#include <gtest/gtest.h>

namespace quorle::selftest {
namespace {

CheckEvent Check(const std::string& id, Verdict verdict, std::int32_t code = 0,
                 const std::string& text = "") {
  CheckEvent check;
  check.id = id;
  check.verdict = verdict;
  if (!text.empty()) {
    check.diagnostics.push_back(
        {.type = DiagnosticClass::kError, .bold = true, .code = code, .text = text});
  }
  return check;
}

Repeats Of(const std::vector<std::vector<CheckEvent>>& runs) {
  Repeats repeats;
  for (const std::vector<CheckEvent>& checks : runs) {
    RunRecord run;
    run.checks = checks;
    repeats.Add(run);
  }
  return repeats;
}

TEST(RepeatsTest, RunsThatComeOutTheSameDoNotDiffer) {
  const CheckEvent failed = Check("Lock.A", Verdict::kFail, 205, "no; #205");
  EXPECT_EQ(Of({}).Differences(), "");
  EXPECT_EQ(Of({{failed}, {failed}, {failed}}).Differences(), "");
}

TEST(RepeatsTest, ACheckThatPassesAndFailsIsFlakyWithBothOutputs) {
  const CheckEvent passed = Check("Lock.A", Verdict::kPass);
  const CheckEvent failed = Check("Lock.A", Verdict::kFail, 205, "no; #205");
  const CheckEvent other = Check("Lock.B", Verdict::kPass);
  EXPECT_EQ(Of({{passed, other}, {failed, other}, {passed, other}}).Differences(),
            "flaky: Lock.A\n"
            "  2 of 3 runs: pass\n"
            "  1 of 3 runs: fail: no; #205\n");
}

TEST(RepeatsTest, AnotherCodeIsADifferenceAnotherTextIsNone) {
  const CheckEvent first = Check("Lock.A", Verdict::kFail, 205, "no; #205 at 17");
  const CheckEvent text = Check("Lock.A", Verdict::kFail, 205, "no; #205 at 18");
  const CheckEvent code = Check("Lock.A", Verdict::kFail, 202, "no; #202 at 17");
  EXPECT_EQ(Of({{first}, {text}}).Differences(), "");
  EXPECT_EQ(Of({{first}, {code}}).Differences(),
            "flaky: Lock.A\n"
            "  1 of 2 runs: fail: no; #205 at 17\n"
            "  1 of 2 runs: fail: no; #202 at 17\n");
}

}  // namespace
}  // namespace quorle::selftest
