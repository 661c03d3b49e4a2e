#include "results/expectations.h"

namespace quorle {

Judgement Expectations::Judge(const RunRecord& /*run*/, const CheckEvent& check) const {
  const bool is_fine = check.verdict == Verdict::kPass || check.verdict == Verdict::kSkipped ||
                       check.verdict == Verdict::kWarn;
  Judgement judgement;
  judgement.type = is_fine ? Judgement::Type::kAsExpected : Judgement::Type::kUnexpected;
  return judgement;
}

}  // namespace quorle
