#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "results/judged_run.h"
#include "results/report.h"

namespace quorle {

/// How a check came out in one run or, alike, in several.
struct Outcome {
  const CheckEvent* check = nullptr;  ///< of the first of these runs
  Judgement judgement;
  std::vector<std::string> lines;   ///< DetailLines()
  std::vector<std::uint32_t> runs;  ///< which runs, from 0
};

/// A check in all runs.
struct CheckRow {
  static constexpr std::uint32_t kNone = std::numeric_limits<std::uint32_t>::max();

  const CheckEvent* first = nullptr;  ///< of the first run that has it
  std::string group;
  std::vector<Outcome> outcomes;      ///< in the order of their first runs
  std::vector<std::uint32_t> of_run;  ///< for each run its outcome; kNone: it has no verdict there

  /// Whether it is as expected in each run that has it.
  bool is_fine() const;
};

/// Runs beside each other: what reports of many runs are made from, in which no text is there twice.
struct OutcomeTable {
  std::vector<JudgedRun> runs;  ///< without their checks
  std::vector<CheckRow>
      checks;  ///< in the order of the catalogues, of which "standard" is the first
};

OutcomeTable MakeOutcomeTable(const ReportInput& input);

}  // namespace quorle
