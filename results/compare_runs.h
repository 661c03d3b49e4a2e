#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "results/run_record.h"

namespace quorle {

/// What became of one check from an old run to a new one.
struct CheckChange {
  /// In the order in which people read them.
  enum class Type : std::uint8_t {
    kNewFailure,  ///< fail, blocked or unsupported; it passed, was skipped or was not there
    kWorse,       ///< another verdict that is worse: unsupported -> fail, pass -> warn
    kLost,        ///< it had a verdict; the new run or its group ended before it, or was refused
    kNewPass,     ///< passes, with a warning perhaps; it was fail, blocked or unsupported
    kBetter,      ///< another verdict that is better: fail -> unsupported, warn -> pass
    kNewCode,     ///< the same verdict with other error codes
    kSkipped,     ///< skipped, since it was not selected or had nothing to do; it had a verdict
    kTried,       ///< passes, with a warning perhaps; it was skipped
    kAdded,       ///< the old run does not know it, and it is no failure
    kRemoved,     ///< the new run, which came to its end, does not know it
  };
  Type type = Type::kNewFailure;
  std::string id;
  std::string text;  ///< "pass -> fail 212", codes behind the verdict

  bool is_worse() const { return type <= Type::kLost; }
};

/// How a new run differs from an old one.
struct RunComparison {
  std::vector<CheckChange> changes;  ///< in the order of the checks in the runs
  /// What happened in the new run outside of its checks and not in the old one: it was cut off or
  /// refused, a handler lost something, an object was left behind, a remount failed. One line each.
  std::vector<std::string> troubles;
  /// About the runs, without weight: the old one was cut off or refused.
  std::vector<std::string> remarks;

  /// Whether something got worse.
  bool is_worse() const;
};

/// Compares the checks by their ids; texts, numbers and times do not matter. Of several runs in one file
/// (`--repeat`) the worst verdict of each check counts, with the codes of all runs that came to it.
RunComparison CompareRuns(const std::vector<RunRecord>& old_runs,
                          const std::vector<RunRecord>& new_runs);

/// The comparison as people read it: a heading for each type of change, an indented line for each check,
/// a last line that sums up.
std::string ToText(const RunComparison& comparison);

}  // namespace quorle
