#include "results/expectations.h"

namespace quorle {

Judgement Expectations::Judge(const RunRecord& /*run*/, const CheckEvent& check) const {
  const bool is_fine = check.verdict == Verdict::kPass || check.verdict == Verdict::kSkipped ||
                       check.verdict == Verdict::kWarn;
  return {.type = is_fine ? Judgement::Type::kAsExpected : Judgement::Type::kUnexpected,
          .reason = {},
          .entry = {}};
}

}  // namespace quorle
