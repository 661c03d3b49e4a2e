#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "selftest/support/test_bench.h"

namespace quorle::selftest {

/// The "row" of what is printed before the first row, and after the last; a run that is refused has
/// only the second.
inline constexpr std::uint8_t kBeforeTests = 0;
inline constexpr std::uint8_t kAfterTests = 48;

/// What one sub-test said, or a whole group beside its sub-tests.
struct WatchedPart {
  std::uint8_t test = 0;      ///< number of the row
  std::string group;          ///< its id; empty outside of the groups
  std::int32_t sub_test = 0;  ///< from 1; 0: what the group itself printed
  std::string check;          ///< its name in the group
  std::int32_t status = 0;    ///< what the sub-test returned; of a group its result
  std::string text;           ///< what was printed meanwhile

  /// Of the check, or the group.
  std::string id() const { return check.empty() ? group : group + "." + check; }

  friend bool operator==(const WatchedPart&, const WatchedPart&) = default;
};

/// One run, part by part.
struct WatchedRun {
  std::int32_t result = 0;
  std::string output;  ///< all of it
  std::vector<WatchedPart> parts;

  /// The part of that place, or null when it was not reached.
  const WatchedPart* Find(std::uint8_t test, std::int32_t sub_test) const;
};

/// Runs the catalogue on `bench` and notes who printed what.
WatchedRun RunWatched(TestBench& bench);

}  // namespace quorle::selftest
