#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "hosted/calls/run_watch.h"
#include "program/call_watch.h"

namespace quorle {

/// Says on standard error what the console does not say of a run: which call was not implemented when
/// it is not the one that the group is named for, and how much of an interrupted run is missing.
class RunReporter {
 public:
  /// Where the run is, the calls it makes, and who takes a line. All of them stay the caller's.
  RunReporter(const RunWatch& watch, CallWatch& calls,
              std::function<void(const std::string& line)> report);

  /// `rows` rows of the catalogue were selected, 1 or more.
  void BeginRun(std::int32_t rows);
  void BeginCheck();
  /// Call it before the watch leaves the check. `ends_group` when it was fatal.
  void EndCheck(std::string_view label, bool ends_group);
  /// Call it when the group has printed its verdict.
  void EndTest();
  /// Reports an interrupted run. False when a part of it is missing: it did not pass.
  bool EndRun();

 private:
  const RunWatch& watch_;
  CallWatch& calls_;
  std::function<void(const std::string& line)> report_;
  std::int32_t selected_ = 0;
  std::int32_t ended_ = 0;
  std::string unknown_;  ///< what is to be said of the group that runs
};

}  // namespace quorle
