#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "explore/operation.h"
#include "explore/trial.h"

namespace quorle::explore {

/// One combination that can be reached: an operation, the class of one of its arguments, and what came of
/// the call on the device.
struct Cell {
  Operation operation;
  std::uint8_t place;        ///< of the argument; 0 of an operation that has none
  std::uint8_t class_index;  ///< into ClassesOf() that argument
  std::uint8_t outcome;      ///< into OutcomeNames()
};

/// What can come of a call: "ok", "0" (none, and no failure), the codes, "other" for any other code.
std::vector<std::string> OutcomeNames();
std::uint8_t OutcomeIndexOf(const Outcome& outcome);

/// How the class of a cell is written: "name:path", "name2:path" for the second name, "-" where the
/// operation has no arguments.
std::string ClassText(const Cell& cell);
/// The cell as a line: "rename name2:path 203".
std::string CellText(const Cell& cell);

/// A cell that is expected, and why RAM: does not come to it; empty: it does.
struct DeclaredCell {
  Cell cell;
  std::string_view reason;
};
/// All that are expected: of each class of each argument, success and the codes that the operation has.
std::vector<DeclaredCell> DeclaredCells();

/// How often each cell was reached. Counting one call costs an addition for each of its arguments.
class CoverageTable final : public CallObserver {
 public:
  CoverageTable();

  void OnCall(const Call& call, const Outcome& reference, const Outcome& device) override;

  std::uint64_t CountOf(const Cell& cell) const { return counts_[IndexOf(cell)]; }
  /// The cells that were reached, a line each, sorted: `operation class outcome count`.
  std::string Text() const;
  /// Adds the counts in `text`, which Text() wrote; empty lines and lines that begin with '#' are left
  /// out. Returns an empty text, or what is wrong with which line, and then nothing was added.
  std::string Add(std::string_view text);

 private:
  std::size_t IndexOf(const Cell& cell) const;
  /// Where the counters of each argument of each operation begin.
  std::array<std::array<std::size_t, OperationRow::kMostArguments>, kOperations> begin_{};
  std::vector<std::uint64_t> counts_;
};

}  // namespace quorle::explore
