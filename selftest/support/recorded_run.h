#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "results/run_record.h"
#include "selftest/support/test_bench.h"

namespace quorle::selftest {

/// What a run is recorded with.
struct RecordedRunSettings {
  std::string rules = {};   ///< fault rules
  std::string select = {};  ///< patterns, as --select takes them; empty: everything
  /// Null: what the words say.
  const Catalogue* catalogue = nullptr;
};

/// A run and its events.
struct RecordedRun {
  RunRecord record;
  std::int32_t result = 0;
  std::string output;
  std::vector<std::string> trace;  ///< the lines of its call trace

  /// The event of a check. Throws std::runtime_error when there is none, or a second one.
  const CheckEvent& Find(const std::string& id) const;
};

/// Runs the tester with `words`, host options first, in this process, and records it as the program does.
/// Throws std::runtime_error when the settings are wrong.
RecordedRun Record(const std::vector<std::string>& words, const RecordedRunSettings& settings = {});

/// "pass", or what else there is to say of a check in a word or two: "blocked by Lock.MissingObject".
std::string Brief(const CheckEvent& check);

}  // namespace quorle::selftest
