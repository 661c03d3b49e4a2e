#pragma once

#include <optional>
#include <string>
#include <vector>

#include "explore/search.h"
#include "hosted/dos/console.h"

/// What people get to see of differences: the same from a search and from an engine.
namespace quorle::explore {

/// What stands beside a finding where it is shown.
struct FindingRemarks {
  bool first = true;                    ///< false: a shorter sequence than was shown before
  std::optional<std::string> expected;  ///< why it is known, if it is
  std::string again;                    ///< the command that shows it again
};

/// The lines of a sequence, what came of each call beside it.
std::vector<std::string> CallLines(const Difference& difference);

/// The paragraph about `finding`, an empty line behind it.
std::string FindingText(const Finding& finding, const FindingRemarks& remarks);
/// The same of what is no failure.
std::string NoteText(const Difference& note);

/// The file that shows `finding`, with the command `again` in its head. What its calls should come to is
/// found out on a reference volume named `volume`; `console` gets what that has to say, which is nothing.
std::string FindingCalls(const Finding& finding, const std::string& again,
                         const std::string& volume, Console& console);

}  // namespace quorle::explore
