#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "results/run_record.h"

namespace quorle {

/// What became of one check from an old run to a new one.
struct CheckChange {
  enum class Type : std::uint8_t {
    kNewFailure,  ///< its verdict got worse, fail being worst
    kNewPass,     ///< it passes now
    kBetter,      ///< its verdict got better, and is not pass
    kNewCode,     ///< the same verdict, with other codes
    kSkipped,     ///< it had a verdict, and is skipped now
    kTried,       ///< it was skipped, and has a verdict now that is no failure
    kAdded,       ///< only the new run knows it
    kRemoved,     ///< only the old run knows it
  };
  Type type = Type::kNewFailure;
  std::string id;
  std::string text;  ///< one line: "pass -> fail 212"
  bool is_worse = false;
};

/// How a new run differs from an old one.
struct RunComparison {
  std::vector<CheckChange> changes;  ///< in the order of the checks in the runs
  std::vector<std::string> remarks;  ///< about the runs themselves: one was cut off
  bool is_worse = false;
};

/// Compares the checks by their ids; texts, numbers and times do not matter. Of several runs in one file
/// (`--repeat`) the worst verdict of each check counts.
RunComparison CompareRuns(const std::vector<RunRecord>& old_runs,
                          const std::vector<RunRecord>& new_runs);

/// The comparison as people read it: a heading for each type of change, an indented line for each check.
std::string ToText(const RunComparison& comparison);

}  // namespace quorle
