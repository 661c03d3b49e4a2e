#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// What a handler cannot do behind classic packets, and which checks of the tester it cannot pass for
/// that reason. Every suite that runs on such a port looks here.
namespace quorle::selftest {

/// What a FileInfoBlock, SEEK and SET_OWNER have room for.
inline constexpr std::size_t kClassicNameLength = 107;
inline constexpr std::size_t kClassicCommentLength = 79;
inline constexpr std::int64_t kClassicMost = 0x7FFFFFFF;
inline constexpr std::uint32_t kClassicMostId = 0xFFFF;
/// A FileInfoBlock does not say how many links there are: "not supported".
inline constexpr std::uint32_t kClassicRefCount = 0;

/// A check that no handler passes behind classic packets.
struct ClassicFailure {
  std::uint8_t test;      ///< number of the row
  std::int32_t sub_test;  ///< from 1
  std::string_view check;
  std::string_view because;
};

inline constexpr std::string_view kNoRefCount =
    "a FileInfoBlock has no reference count, and the check fails at RefCount 0";
inline constexpr std::string_view kShortIds =
    "SET_OWNER has 16 bits for an id, and the check sets one of 32";

inline constexpr std::array kClassicFailures = {
    ClassicFailure{15, 1, "ExamineFile.OpenFile", kNoRefCount},
    ClassicFailure{16, 1, "ExamineObj.FileByName", kNoRefCount},
    ClassicFailure{16, 2, "ExamineObj.SoftLinkIsNotFollowed", kNoRefCount},
    ClassicFailure{17, 1, "ExamineLock.RootDirectory", kNoRefCount},
    ClassicFailure{17, 2, "ExamineLock.FileLockFromHandle", kNoRefCount},
    ClassicFailure{40, 3, "SetGroup.GroupIsStored", kShortIds},
    ClassicFailure{41, 3, "SetOwner.OwnerIsStored", kShortIds},
};

/// A further check that comes to something else behind classic packets, or a whole group of them.
struct FurtherClassic {
  std::string_view id;
  std::string_view because;
};

inline constexpr std::string_view kShortSizes =
    "SET_FILE_SIZE and SEEK have 31 bits: that a larger file cannot be made is an INFO";

inline constexpr std::string_view kShortRecords = "LOCK_RECORD has 32 bits for a place";
inline constexpr std::string_view kNoLinkText =
    "no classic packet shows in a scan what a link holds";
inline constexpr std::string_view kNoSameFile = "no classic packet compares two handles";

inline constexpr std::array kFurtherClassic = {
    FurtherClassic{"Further.ExamineDir.LinkIsShownAsLink", kNoLinkText},
    FurtherClassic{"Further.SameFile", kNoSameFile},
    FurtherClassic{"Further.LockRecord.BeyondFourGibibytes", kShortRecords},
    FurtherClassic{"Further.Contents.BeyondTwoGibibytes", kShortSizes},
    FurtherClassic{"Further.Contents.BeyondFourGibibytes", kShortSizes},
};

/// Whether the check `id` comes to something else than on a packet port, or of the group `id` one of its
/// checks.
constexpr bool IsOtherOnClassic(std::string_view id) {
  const auto is_in = [](std::string_view inner, std::string_view outer) {
    return inner.starts_with(outer) && (inner.size() == outer.size() || inner[outer.size()] == '.');
  };
  for (const ClassicFailure& failure : kClassicFailures) {
    if (is_in(failure.check, id)) return true;
  }
  for (const FurtherClassic& other : kFurtherClassic) {
    if (is_in(other.id, id) || is_in(id, other.id)) return true;
  }
  return false;
}

/// A deviation that is not noticed on a classic port as it is on a packet port.
struct ClassicDifference {
  std::string_view deviation;
  std::string_view because;
};

inline constexpr std::string_view kSeekAsksPosition = "SEEK gives the old position, and moves too";
inline constexpr std::string_view kSizeIsExamined = "the size of a file is that of EXAMINE_FH";
inline constexpr std::string_view kNoNegativeSize = "a size below zero is no answer of a packet";
inline constexpr std::string_view kOneSetOwner =
    "SET_OWNER sets the owner and the group, one of them as EXAMINE_OBJECT has it";
inline constexpr std::string_view kIdsAreCut = "a FileInfoBlock has 16 bits for an id";

inline constexpr std::array kClassicDifferences = {
    ClassicDifference{"position-unknown", kSeekAsksPosition},
    ClassicDifference{"examine-file-unknown", kSizeIsExamined},
    ClassicDifference{"examine-file-type", kSizeIsExamined},
    ClassicDifference{"examine-file-size", kNoNegativeSize},
    ClassicDifference{"examine-lock-unknown", kOneSetOwner},
    ClassicDifference{"examine-root-type", kNoNegativeSize},
    ClassicDifference{"examine-lock-size", kNoNegativeSize},
    ClassicDifference{"size-unknown", kSizeIsExamined},
    ClassicDifference{"size-one-more", kSizeIsExamined},
    ClassicDifference{"lock-file-unknown", kOneSetOwner},
    ClassicDifference{"set-group-unknown", kOneSetOwner},
    ClassicDifference{"set-group-locks", kOneSetOwner},
    ClassicDifference{"group-upper-half-ones", kIdsAreCut},
    ClassicDifference{"set-group-root-refused", kOneSetOwner},
    ClassicDifference{"set-owner-unknown", kOneSetOwner},
    ClassicDifference{"set-owner-locks", kOneSetOwner},
    ClassicDifference{"owner-upper-half-ones", kIdsAreCut},
    ClassicDifference{"set-owner-root-refused", kOneSetOwner},
};

/// Why `deviation` is noticed otherwise on a classic port; empty when it is not.
constexpr std::string_view WhyOtherwiseOnClassic(std::string_view deviation) {
  for (const ClassicDifference& difference : kClassicDifferences) {
    if (difference.deviation == deviation) return difference.because;
  }
  return {};
}

}  // namespace quorle::selftest
