#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "explore/side.h"

namespace quorle::explore {

/// One object of a volume, as a scan of its directory showed it.
struct TreeObject {
  std::string path;      ///< below the directory of the side: "d/a"; empty: the directory itself
  ExamineData record{};  ///< without texts: those below
  std::string name;
  std::string comment;
  std::string link;
  std::int32_t error = 0;     ///< with which opening, reading or scanning it failed
  std::int64_t bytes = 0;     ///< how many of a file were read
  std::uint64_t content = 0;  ///< a hash of these
};

/// All that is below the directory of a side, each directory before what is in it, in the order of the
/// names' bytes.
struct Tree {
  std::vector<TreeObject> objects;
  std::int32_t error = 0;  ///< with which listing the top failed
  bool is_cut =
      false;  ///< there are more than the bounds allow: some that are there may be missing
};

/// How much is looked at.
struct WalkBounds {
  std::size_t objects = SIZE_MAX;  ///< at most so many, so that an endless scan ends
  std::int64_t file_bytes =
      1 << 20;  ///< of a longer file the beginning, the end and parts between; 0: nothing
  bool unprotect = false;  ///< what may not be read is made readable first
};

/// Walks by calls of `side`, from its base, whatever its current directory is. What is held stays held.
void Walk(Side& side, const WalkBounds& bounds, Tree& tree);

/// How many objects are deleted in a round where nothing says how many there are.
inline constexpr std::size_t kObjectsOfRound = 1000;

/// Deletes what is below the base of `side`, on which nothing is held, in rounds of up to `most` objects, their
/// protection lifted where it must be; a round that leaves as many as before is the last. `tree` is what is known
/// to be there, or an empty one, and is used up. Returns whether nothing is left.
bool Empty(Side& side, Tree& tree, std::size_t most);
/// The same of a side of which nothing is known.
bool Empty(Side& side);

/// What the base of `side` says of itself; none when it cannot be examined.
std::optional<TreeObject> KeepBase(Side& side);
/// Gives the base of `side` the attributes of `kept` again.
void RestoreBase(Side& side, const TreeObject& kept);

}  // namespace quorle::explore
