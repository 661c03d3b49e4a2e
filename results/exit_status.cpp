#include "results/exit_status.h"

#include <algorithm>

namespace quorle {
namespace {

constexpr std::int32_t kFine = 0;
constexpr std::int32_t kNotFine = 10;

/// Whether a handler ended in no check whose verdict says so.
bool DiedOutsideOfChecks(const RunRecord& run) {
  return std::any_of(
      run.handler_ends.begin(), run.handler_ends.end(), [&](const HandlerEndedEvent& end) {
        return std::none_of(run.checks.begin(), run.checks.end(), [&](const CheckEvent& check) {
          return check.id == end.id && check.verdict == Verdict::kFail;
        });
      });
}

/// Whether something happened that no entry of a file can expect.
bool LostSomething(const RunRecord& run) {
  const bool cut_short = std::any_of(run.checks.begin(), run.checks.end(),
                                     [](const CheckEvent& check) { return check.was_missed(); });
  const bool remount_failed = std::any_of(run.remounts.begin(), run.remounts.end(),
                                          [](const RemountEvent& event) { return !event.ok; });
  return !run.end || cut_short || remount_failed || !run.complaints.empty() ||
         !run.left_behind.empty() || DiedOutsideOfChecks(run);
}

}  // namespace

std::int32_t ExitStatus(const RunRecord& run, const Expectations* expectations) {
  if (run.was_refused()) return kRefusedResult;
  // A search has judged by itself what it found.
  if (run.search && run.end) return run.end->result == 0 ? kFine : kNotFine;
  if (LostSomething(run)) return kNotFine;
  if (expectations == nullptr) {
    // Without expectations a handler that did not last did not pass, whatever the tests made of it.
    return run.end->result == 0 && run.handler_ends.empty() ? kFine : kNotFine;
  }
  const bool all_fine = std::all_of(
      run.checks.begin(), run.checks.end(),
      [&](const CheckEvent& check) { return expectations->Judge(run, check).is_fine(); });
  return all_fine ? kFine : kNotFine;
}

}  // namespace quorle
