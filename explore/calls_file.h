#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "explore/call_reader.h"
#include "explore/difference.h"
#include "hosted/dos/volume_listing.h"

/// Files of calls, NAME.calls: what a search writes, what people edit and mail, and what `quorle replay`
/// makes again. docs/explore.md describes them.
namespace quorle::explore {

/// How such a file begins.
inline constexpr std::string_view kCallsHeader = "quorle-calls 1";
/// The most bytes that one has.
inline constexpr std::size_t kLargestCallsFile = 16 << 20;

/// An object that should be there.
struct DueObject {
  std::string path;   ///< below the root: "d/a"
  DueOutcome record;  ///< fields of its examine record
  DueOutcome content;
};

/// All objects that should be there.
struct DueTree {
  std::vector<DueObject> objects;
};

/// One line of a file.
struct CallsStep {
  enum class Type : std::uint8_t {
    kCall,
    kTree,     ///< what should be there at that moment
    kRemount,  ///< everything is given back, and the device is unmounted and mounted again
    kEmpty,    ///< everything is given back, and what was made is deleted: the volume is as it was
  };
  Type type = Type::kCall;
  std::size_t line = 0;  ///< from 1
  CallLine call;
  std::unique_ptr<DueTree> tree;  ///< null unless it is kTree
};

/// Reads `text`, the content of the file that is called `name`. False, with `problem` one line that names
/// file and line, when it is wrong.
bool ParseCalls(const std::string& name, std::string_view text, std::vector<CallsStep>& steps,
                std::string& problem);

/// How far a volume is listed that is compared with a tree.
inline constexpr ListingBounds kTreeBounds = {
    .objects = 20000, .file_bytes = 8 << 20, .all_bytes = 64 << 20};

/// What of `listing` is not as it should be, a line each.
std::vector<std::string> CompareTree(const DueTree& due, const VolumeListing& listing);

/// Reads a line of Difference::then that begins with an examination, ExamineObject("a"): date ..., as the call
/// that it was. `field` is the one of the record that differed; empty: none. False for any other line.
bool ReadLook(std::string_view line, Call& call, std::string& field);

/// What is known of a difference besides itself.
struct DifferenceNotes {
  std::vector<std::string> comments;  ///< lines for the head of the file
  /// What came of the calls on a reference volume that was empty, each of them made.
  std::vector<DueOutcome> reference;
  /// What was called after the last one to see what it did, with what the reference says.
  std::vector<CallLine> looks;
  const VolumeListing* tree = nullptr;  ///< of the reference after that; null: not known
};

/// The file that shows `difference`: its calls, with what they come to on the reference as far as the two
/// were alike or, of the last call, unlike. Where the calls themselves came to the same it is shown by what
/// was looked at afterwards, else by the tree of the reference, or by a remount and that, or by a volume that
/// is empty again.
std::string CallsText(const Difference& difference, const DifferenceNotes& notes);

}  // namespace quorle::explore
