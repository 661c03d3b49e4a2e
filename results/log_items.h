#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "harness/catalogue.h"
#include "results/check_texts.h"
#include "results/diagnostics_reader.h"

namespace quorle {

/// The checks of a catalogue in their order, and behind those of a row a slot for its end. A slot is
/// known by its index.
class LogSlots {
 public:
  struct Slot {
    std::int32_t row = 0;     ///< from 1
    std::int32_t number = 0;  ///< of the check in its group, from 1; 0: the end of the row
    std::string id;           ///< of the check; of the group at the end of its row
    bool silent = false;      ///< a check that can print nothing: it makes no call that could fail
  };

  /// `catalogue` must outlive this.
  explicit LogSlots(const Catalogue& catalogue);

  const std::vector<Slot>& all() const { return slots_; }
  const TestEntry& Entry(std::size_t slot) const {
    return catalogue_.entries[slots_[slot].row - 1];
  }
  /// The slot of a check, or of the end of a group; all().size() for what is none.
  std::size_t Find(std::string_view id) const;
  std::size_t EndOfRow(std::size_t slot) const;

 private:
  const Catalogue& catalogue_;
  std::vector<Slot> slots_;
};

/// Where a part of a log may come from.
struct LogCandidate {
  std::size_t slot = 0;
  TextEffect effect = TextEffect::kPasses;
};

/// A part of a log: a message, a note or a closing line.
struct LogItem {
  Diagnostic diagnostic;
  bool closing = false;    ///< "Lock() tests passed.", or the note of a row without checks
  std::size_t breaks = 1;  ///< how many line breaks it ends with
  std::vector<LogCandidate> candidates;  ///< in the order of the slots; never none
  bool unknown = false;                  ///< no check is known to print it

  // Filled by FindSources().
  LogCandidate source;     ///< the first one that fits what stands before and behind it
  bool ambiguous = false;  ///< another one fits as well
};

/// More parts than any run has; their sources are not looked for.
inline constexpr std::size_t kMostLogItems = 4000;

/// What a part of a log that is no closing line may come from: the candidates of all of its lines.
/// False for a note that says nothing about a check.
bool ReadItem(const ConsoleMessage& message, const LogSlots& slots, LogItem& item);

/// Finds out where each item comes from. Checks run in their order, one that failed prints no more, and a
/// group whose closing line is there has no check that failed: what contradicts these is no source.
/// Where nothing fits, the log is no single run; such an item is taken as it is.
void FindSources(const LogSlots& slots, std::vector<LogItem>& items);

}  // namespace quorle
