#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "explore/operation.h"

namespace quorle::explore {

class SearchClock;
class Side;

/// What a filesystem can do at all. It is found out before the search, said once, and what it cannot do is
/// not asked for afterwards: that is no difference. As it is made it describes the reference volume.
struct Traits {
  /// Whether the operation is there: not answered with 209 or 236.
  std::array<bool, kOperations> knows = AllKnown();
  bool links_to_directories = true;  ///< hard links
  bool root_attributes = true;       ///< protection, comment, date and owner of the root can be set
  std::int32_t name_limit = 255;     ///< bytes of a name; of the reference 255
  std::int32_t comment_limit = 255;  ///< bytes of a comment
  std::int32_t target_limit = 4000;  ///< bytes of the path in a soft link
  std::uint32_t protection = 0xFFFFFFFF;  ///< the bits that are kept
  std::uint32_t owner = 0xFFFFFFFF;       ///< the same, of a user
  std::uint32_t group = 0xFFFFFFFF;       ///< the same
  std::int32_t date_ticks = 1;            ///< dates are kept to so many ticks
  bool own_clock = false;       ///< changes are dated by the host's clock, not by that of dos
  bool numbers_objects = true;  ///< ObjectID is not 0
  bool marks_links = true;      ///< a hard link has no further links itself: its RefCount is 1
  bool shows_targets = true;    ///< scans have the Link of what is a link
  bool counts_links = true;     ///< RefCount is not 0
  bool examines_held = true;    ///< an object is examined by its name though it is held exclusively
  bool notifies = true;         ///< by itself; else dos does, as far as it sees changes
  bool counts_users = true;     ///< id_InUse says whether something is open
  bool frees_blocks = true;     ///< id_NumBlocksUsed can be compared before and after
  bool zeroes_grown = true;     ///< a file that is made longer is filled with zeros
  std::int64_t size_limit = std::int64_t{1} << 40;  ///< bytes that a file can have, data or none

  bool Knows(Operation operation) const { return knows[static_cast<std::size_t>(operation)]; }

 private:
  static constexpr std::array<bool, kOperations> AllKnown() {
    std::array<bool, kOperations> all{};
    all.fill(true);
    return all;
  }
};

/// Asked now and then while traits are found: whether the handler has ended since. Then it and the side have
/// begun again.
using BeginAgain = std::function<bool()>;

/// Finds the traits of the filesystem of `side`, whose directory is empty before and afterwards. `clock` is that
/// of its dos; `whole_volume` says whether the directory is the root. What a handler ended on it can do.
Traits ProbeTraits(Side& side, SearchClock& clock, bool whole_volume,
                   const BeginAgain& begin_again = nullptr);

/// What is unlike the reference, a line each: "names of at most 30 bytes". None: it can do all.
std::vector<std::string> TraitLines(const Traits& traits);

/// All of them as a file has them, a line each: "name-limit 255".
std::string TraitsText(const Traits& traits);

/// What in `traits` is not as `text` (of TraitsText()) has it, a line each. A text that is none gives
/// false, with one line in `problem`.
bool HoldTraits(const Traits& traits, const std::string& text, std::vector<std::string>& unlike,
                std::string& problem);

}  // namespace quorle::explore
