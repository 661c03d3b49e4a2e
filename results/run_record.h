#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "results/event.h"

namespace quorle {

/// The result of a run that was refused.
inline constexpr std::int32_t kRefusedResult = 20;

/// What an event stream has of one run.
struct RunRecord {
  std::string source;  ///< the file, and behind a blank the number of the run when it holds several
  RunEvent start;
  std::optional<TargetEvent> target;
  std::vector<CheckEvent> checks;  ///< in the order of the stream, which is that of the catalogue
  std::vector<GroupEvent> groups;
  std::vector<HandlerEndedEvent> handler_ends;
  std::vector<LeftBehindEvent> left_behind;
  std::vector<ComplaintEvent> complaints;
  std::vector<RemountEvent> remounts;
  std::vector<DifferenceEvent> differences;  ///< of a search
  std::optional<ExploreEvent> search;        ///< the run is a search that has ended
  std::optional<CellEvent> cell;             ///< the run is a cell of a matrix that has ended
  std::optional<EndEvent> end;               ///< none: the run was cut off

  /// Whether it ended before its tests, since its target or its words were wrong.
  bool was_refused() const { return end && end->result >= kRefusedResult; }
};

/// Adds an event of the run to `run`.
void Append(Event event, RunRecord& run);

/// Reads the runs of the event file `path` and appends them to `runs`. Unknown events and fields are
/// ignored, and so is a last line without its end: a killed run leaves one. False, with `problem` one
/// line that names file and line, for a file that cannot be read, holds no run, is no event stream or
/// one of a newer version; `runs` is then as it was.
bool ReadEvents(const std::string& path, std::vector<RunRecord>& runs, std::string& problem);

}  // namespace quorle
