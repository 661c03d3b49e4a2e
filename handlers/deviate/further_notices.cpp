#include "handlers/deviate/further_notices.h"

#include <algorithm>
#include <iterator>

namespace quorle::deviate {
namespace {

struct FurtherNotice {
  std::string_view deviation;
  std::string_view checks;  ///< in the order of the catalogue
};

// In the order of the deviations' names.
constexpr FurtherNotice kNotices[] = {
    {"append-lost-on-close",
     "Contents.AppendKeepsTheRest Contents.OldFileIsWritten Contents.FileFromLockIsWritten "
     "Contents.GrownAreaStaysTheSame"},
    {"data-beyond-64k-lost",
     "Contents.SizesAroundBlocks Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.AppendKeepsTheRest Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame"},
    {"data-of-second-handle-old", "Contents.TwoHandles"},
    {"directories-end-at-128", "Many.LevelsOfDirectories"},
    {"from-lock-at-end", "GetFilePosition.AfterOpening Contents.FileFromLockIsWritten"},
    {"grown-area-changes", "Contents.GrownAreaStaysTheSame"},
    {"locks-above-255-stay", "Many.LocksOnOneFile"},
    {"locks-end-at-255", "Many.LocksOnOneFile"},
    {"names-beyond-4096-lost", "Many.FilesInOneDirectory"},
    {"one-position-per-file", "GetFilePosition.OfAnotherHandle Contents.TwoHandles"},
    {"overwrite-truncates",
     "Contents.OverwriteKeepsTheRest Contents.TwoHandles Contents.OldFileIsWritten "
     "Contents.FileFromLockIsWritten Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"parents-end-at-128", "Many.LevelsOfDirectories"},
    {"position-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"read-at-end-moves", "GetFilePosition.AfterReading"},
    {"read-beyond-64k-wraps",
     "Contents.LongFileInChunks Contents.OverwriteKeepsTheRest Contents.ShrinkingKeepsTheRest "
     "Contents.GrownAreaStaysTheSame Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"read-ends-at-page",
     "Contents.SizesAroundBlocks Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.AppendKeepsTheRest Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame "
     "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"read-refused-moves", "GetFilePosition.AfterRefusedCalls"},
    {"record-beyond-end-grows", "LockRecord.BeyondTheEnd"},
    {"record-beyond-end-refused",
     "LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes LockRecord.OtherFileIsFree"},
    {"record-byte-behind-locked",
     "LockRecord.TouchingIsFree LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes"},
    {"record-collision-wrong-code",
     "LockRecord.ExclusiveExcludes LockRecord.SharedIsShared LockRecord.OverlapByOneByte "
     "LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes LockRecord.FreedByClose "
     "LockRecord.OtherFileIsFree UnLockRecord.FreesTheRange UnLockRecord.NotExactlyTheRange "
     "UnLockRecord.LockOfAnotherHandle UnLockRecord.OneOfSeveral"},
    {"record-exclusive-is-shared",
     "LockRecord.ExclusiveExcludes LockRecord.SharedIsShared LockRecord.OverlapByOneByte "
     "LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes LockRecord.TimeOut "
     "LockRecord.FreedByClose LockRecord.OtherFileIsFree UnLockRecord.FreesTheRange "
     "UnLockRecord.NotExactlyTheRange UnLockRecord.LockOfAnotherHandle "
     "UnLockRecord.OneOfSeveral"},
    {"record-last-byte-free",
     "LockRecord.OverlapByOneByte LockRecord.TimeOut UnLockRecord.NotExactlyTheRange"},
    {"record-lock-in-name-only",
     "LockRecord.ExclusiveExcludes LockRecord.SharedIsShared LockRecord.OverlapByOneByte "
     "LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes LockRecord.TimeOut "
     "LockRecord.FreedByClose LockRecord.OtherFileIsFree UnLockRecord.NeverLocked "
     "UnLockRecord.FreesTheRange UnLockRecord.NotExactlyTheRange "
     "UnLockRecord.LockOfAnotherHandle UnLockRecord.OneOfSeveral"},
    {"record-of-32-bits", "LockRecord.BeyondFourGibibytes"},
    {"record-of-other-file-collides", "LockRecord.OtherFileIsFree"},
    {"record-shared-excludes", "LockRecord.SharedIsShared UnLockRecord.OneOfSeveral"},
    {"record-stays-after-close", "LockRecord.TimeOut LockRecord.FreedByClose"},
    {"record-timed-out-stays", "LockRecord.TimeOut"},
    {"record-timeout-wrong-code", "LockRecord.TimeOut"},
    {"records-unknown", "LockRecord.ExclusiveExcludes UnLockRecord.NeverLocked"},
    {"resize-beyond-2g-refused", "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"resize-grow-clears-last-block", "Contents.GrownAreaStaysTheSame"},
    {"resize-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"resize-shrink-clears-last-block", "Contents.ShrinkingKeepsTheRest"},
    {"resize-to-position-rewinds", "GetFilePosition.AfterResizing"},
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
    {"seek-beyond-2g-refused", "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"seek-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"seek-refused-moves", "GetFilePosition.AfterRefusedCalls"},
    {"seek-to-end-one-short", "GetFilePosition.AfterMoving Contents.AppendKeepsTheRest"},
    {"size-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"size-of-second-handle-old", "Contents.TwoHandles"},
    {"unlock-record-always-granted",
     "UnLockRecord.NeverLocked UnLockRecord.FreesTheRange UnLockRecord.NotExactlyTheRange "
     "UnLockRecord.LockOfAnotherHandle"},
    {"unlock-record-in-name-only",
     "UnLockRecord.FreesTheRange UnLockRecord.NotExactlyTheRange UnLockRecord.OneOfSeveral"},
    {"unlock-record-of-a-part", "UnLockRecord.NotExactlyTheRange"},
    {"unlock-record-takes-others", "UnLockRecord.OneOfSeveral"},
    {"unlock-record-wrong-code",
     "UnLockRecord.NeverLocked UnLockRecord.FreesTheRange UnLockRecord.NotExactlyTheRange "
     "UnLockRecord.LockOfAnotherHandle"},
    {"write-across-edge-shifted",
     "Contents.SizesAroundBlocks Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.AppendKeepsTheRest Contents.TwoHandles Contents.OldFileIsWritten "
     "Contents.FileFromLockIsWritten Contents.ShrinkingKeepsTheRest "
     "Contents.GrownAreaStaysTheSame Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"write-across-end-moves-short", "GetFilePosition.AfterWriting"},
    {"write-beside-another-lost",
     "GetFilePosition.OfAnotherHandle Contents.TwoHandles Contents.OldFileIsWritten"},
    {"write-beside-another-refused",
     "GetFilePosition.OfAnotherHandle Contents.TwoHandles Contents.OldFileIsWritten"},
    {"write-from-lock-lost", "Contents.FileFromLockIsWritten"},
    {"write-from-lock-refused", "Contents.FileFromLockIsWritten"},
    {"write-keeps-512",
     "Contents.SizesAroundBlocks Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.AppendKeepsTheRest Contents.TwoHandles Contents.OldFileIsWritten "
     "Contents.FileFromLockIsWritten Contents.ShrinkingKeepsTheRest "
     "Contents.GrownAreaStaysTheSame"},
    {"write-loses-byte-at-4096",
     "Contents.SizesAroundBlocks Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.AppendKeepsTheRest Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame"},
    {"write-of-64k-loses-last-byte", "Contents.SizesAroundBlocks"},
    {"write-of-nothing-truncates", "Contents.OverwriteKeepsTheRest"},
    {"write-refused-moves", "GetFilePosition.AfterRefusedCalls"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
