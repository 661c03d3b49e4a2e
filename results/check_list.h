#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "harness/catalogue.h"

namespace quorle {

/// What a catalogue says of a check.
struct CheckInfo {
  std::string id;           ///< "Lock.MissingObject"
  std::string group;        ///< "Lock"
  std::string catalogue;    ///< "standard"
  std::int32_t row = 0;     ///< from 1
  std::int32_t number = 0;  ///< in its group, from 1
  std::string title;        ///< of the row, as the test list has it
};

/// The id of `group`: "Lock" of the group with the label "Lock()".
std::string_view IdOf(const TestGroup& group);

/// Every check of `catalogue`, in its order.
std::vector<CheckInfo> ListChecks(const Catalogue& catalogue);
/// Every check of `catalogues`, one behind the other.
std::vector<CheckInfo> ListChecks(std::span<const Catalogue* const> catalogues);

/// The groups of `catalogue` that have no checks, in its order.
std::vector<std::string> ListNotes(const Catalogue& catalogue);

/// Whether `pattern`, a glob as the shell has them (*, ?, [abc]), fits `id`.
bool FitsPattern(const std::string& pattern, const std::string& id);

/// The id or group name of `checks` that is nearest to `text`, for "did you mean": fewest letters
/// changed, added, left out or swapped, case ignored. Empty when none is near.
std::string NearestId(std::string_view text, const std::vector<CheckInfo>& checks);

}  // namespace quorle
