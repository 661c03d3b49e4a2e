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
    {"attribute-type-other", "FileSystemAttr.TypeIsThatOfTheDisk"},
    {"change-mode-refused-dates", "Refusals.RefusedLock"},
    {"comment-of-link-apart", "Contents.LinkSharesTheFile"},
    {"comment-refused-clears", "Refusals.RefusedAttributes"},
    {"create-dir-of-no-name-granted", "Arguments.NothingIsRefused"},
    {"create-dir-refused-dates", "Refusals.RefusedCreate"},
    {"data-beyond-64k-lost",
     "Contents.SizesAroundBlocks Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.AppendKeepsTheRest Contents.ShrinkingKeepsTheRest "
     "Contents.GrownAreaStaysTheSame"},
    {"data-of-second-handle-old", "Contents.TwoHandles"},
    {"delete-of-data-loses-block",
     "VolumeInfoData.BlocksOfData VolumeInfoData.BlocksOfAShorterFile"},
    {"delete-of-directory-loses-block",
     "VolumeInfoData.BlocksOfData VolumeInfoData.BlocksOfAShorterFile "
     "VolumeInfoData.BlocksOfEmptyFiles VolumeInfoData.BlocksOfDirectories "
     "VolumeInfoData.BlocksOfAThousandFiles VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"delete-of-empty-file-loses-block",
     "VolumeInfoData.BlocksOfEmptyFiles VolumeInfoData.BlocksOfAThousandFiles "
     "VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"delete-of-link-empties-file", "Contents.DeletedLinkLeavesTheFile"},
    {"delete-of-link-keeps-date", "Dates.ChangedDirectoryIsDated"},
    {"delete-of-link-takes-others", "Contents.DeletedLinkLeavesTheFile"},
    {"delete-refused-clears-comment", "Refusals.RefusedDelete"},
    {"delete-refused-removes-entry", "Refusals.RefusedDelete"},
    {"directories-end-at-128", "Many.LevelsOfDirectories"},
    {"flush-refused", "Flush.Succeeds Flush.FileAcrossAFlush Flush.WrittenIsThereAgain"},
    {"flush-rewinds-files", "Flush.FileAcrossAFlush"},
    {"format-although-not-inhibited", "Format.RefusedUnlessInhibited"},
    {"format-keeps-files", "Format.VolumeIsEmpty"},
    {"format-names-otherwise", "Format.NameAndTypeAreThose"},
    {"from-lock-at-end", "GetFilePosition.AfterOpening Contents.FileFromLockIsWritten"},
    {"grown-area-changes", "Contents.GrownAreaStaysTheSame"},
    {"hard-link-across-volumes", "Arguments.LockOfAnotherVolume"},
    {"inhibit-breaks-files", "Inhibit.OpenFileGoesOn"},
    {"inhibit-ends-at-a-refusal",
     "Inhibit.CallsAreRefused Inhibit.TreeIsAsItWas Inhibit.NestedInhibitions"},
    {"inhibit-ignored",
     "Inhibit.CallsAreRefused Inhibit.TypeIsBusy Inhibit.TreeIsAsItWas "
     "Inhibit.NestedInhibitions Inhibit.OpenFileGoesOn Serialize.FilesStay "
     "Serialize.NameStays Format.VolumeIsEmpty Format.NameAndTypeAreThose"},
    {"inhibit-loses-comments", "Inhibit.TreeIsAsItWas"},
    {"inhibited-type-stays", "Inhibit.TypeIsBusy"},
    {"link-count-stays", "Contents.DeletedLinkLeavesTheFile"},
    {"locks-above-255-stay", "Many.LocksOnOneFile"},
    {"locks-end-at-255", "Many.LocksOnOneFile"},
    {"longer-name-lost", "FileSystemAttr.LongerNameIsNotLost"},
    {"make-link-refused-leaves-name", "Refusals.RefusedCreate"},
    {"make-soft-link-refused-leaves-name", "Refusals.RefusedCreate"},
    {"move-empties-file", "AddNotify.DirectoryIsWatched Rename.FileStaysTheSame"},
    {"move-keeps-source-date", "AddNotify.DirectoryIsWatched Rename.ParentsAreChanged"},
    {"move-leaves-old-name", "Rename.OpenFileIsMoved Arguments.NoLockIsTheRoot"},
    {"name-accent-case-counts", "Names.CaseOfAccentsIsIgnored"},
    {"name-case-counts",
     "SameLock.OtherCase SameFile.OtherCase Names.CaseIsIgnored "
     "Names.CaseOfAccentsIsIgnored Rename.CaseAlone"},
    {"name-cut-at-30", "FileSystemAttr.NameOfThatLength Names.EachLength Rename.LongestName"},
    {"name-high-bit-lost", "Names.EachCharacter Names.CaseIsKept Names.CaseOfAccentsIsIgnored"},
    {"name-loses-blank", "Names.BlanksDotsAndPatterns"},
    {"names-beyond-4096-lost", "Many.FilesInOneDirectory"},
    {"new-directory-day-early", "Dates.ChangedDirectoryIsDated"},
    {"new-name-cut-at-30", "FileSystemAttr.NameOfThatLength Names.EachLength"},
    {"new-name-loses-colon", "Names.ColonEndsADevice"},
    {"new-name-lower-case", "Names.EachCharacter Names.CaseIsKept"},
    {"notify-initial-missing", "AddNotify.InitialMessage"},
    {"notify-keeps-object", "RemoveNotify.ObjectIsFree"},
    {"notify-never-sent",
     "AddNotify.FileIsWatched AddNotify.DirectoryIsWatched "
     "AddNotify.MissingObjectIsWatched AddNotify.EachRequestIsNotified "
     "AddNotify.NextWaitsForReply AddNotify.InitialMessage AddNotify.SignalIsSet "
     "RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
    {"notify-of-directory-lost", "AddNotify.DirectoryIsWatched"},
    {"notify-of-ended-goes-on",
     "AddNotify.EachRequestIsNotified AddNotify.InitialMessage "
     "RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay"},
    {"notify-of-missing-lost", "AddNotify.MissingObjectIsWatched"},
    {"notify-of-second-lost", "AddNotify.EachRequestIsNotified RemoveNotify.OtherRequestsStay"},
    {"notify-twice",
     "AddNotify.FileIsWatched AddNotify.DirectoryIsWatched AddNotify.EachRequestIsNotified "
     "AddNotify.InitialMessage RemoveNotify.NothingAfterTheEnd "
     "RemoveNotify.OtherRequestsStay"},
    {"notify-unknown", "AddNotify.FileIsWatched"},
    {"null-lock-of-comment-refused", "Arguments.NoLockIsTheRoot"},
    {"null-lock-of-rename-refused", "Arguments.NoLockIsTheRoot"},
    {"one-position-per-file", "GetFilePosition.OfAnotherHandle Contents.TwoHandles"},
    {"open-from-lock-counts-user", "VolumeInfoData.UsersGoBack"},
    {"open-in-use-refused-dates", "Refusals.RefusedOpen"},
    {"open-new-refused-empties", "Refusals.RefusedOpen"},
    {"open-old-refused-makes-file",
     "VolumeInfoData.RefusedCallsTakeNoBlocks VolumeInfoData.RefusedCallsLeaveNoUsers "
     "Refusals.RefusedOpen"},
    {"overwrite-truncates",
     "Contents.OverwriteKeepsTheRest Contents.TwoHandles Contents.OldFileIsWritten "
     "Contents.FileFromLockIsWritten Contents.BeyondTwoGibibytes "
     "Contents.BeyondFourGibibytes"},
    {"parent-of-all-is-root",
     "Names.SlashSeparates Rename.LockedDirectoryIsMoved Many.LevelsOfDirectories "
     "SoftLinks.RelativeToItsDirectory SoftLinks.LongTarget"},
    {"parent-of-moved-is-root", "Rename.LockedDirectoryIsMoved"},
    {"parent-of-root-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"parents-end-at-128", "Many.LevelsOfDirectories"},
    {"position-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"promises-no-name",
     "FileSystemAttr.NameLengthIsGiven FileSystemAttr.NameOfThatLength "
     "FileSystemAttr.LongerNameIsNotLost"},
    {"protection-of-link-apart", "Contents.LinkSharesTheFile"},
    {"read-at-end-moves", "GetFilePosition.AfterReading"},
    {"read-beyond-64k-wraps",
     "Contents.LongFileInChunks Contents.OverwriteKeepsTheRest "
     "Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame "
     "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"read-ends-at-page",
     "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain Contents.SizesAroundBlocks "
     "Contents.LongFileInChunks Contents.OverwriteKeepsTheRest Contents.AppendKeepsTheRest "
     "Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame "
     "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"read-refused-moves", "GetFilePosition.AfterRefusedCalls Refusals.RefusedData"},
    {"record-beyond-end-grows", "LockRecord.BeyondTheEnd"},
    {"record-beyond-end-refused",
     "LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes LockRecord.OtherFileIsFree"},
    {"record-byte-behind-locked",
     "LockRecord.TouchingIsFree LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes"},
    {"record-collision-wrong-code",
     "LockRecord.ExclusiveExcludes LockRecord.SharedIsShared LockRecord.OverlapByOneByte "
     "LockRecord.BeyondTheEnd LockRecord.BeyondFourGibibytes LockRecord.FreedByClose "
     "LockRecord.OtherFileIsFree UnLockRecord.FreesTheRange "
     "UnLockRecord.NotExactlyTheRange UnLockRecord.LockOfAnotherHandle "
     "UnLockRecord.OneOfSeveral"},
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
    {"refused-create-loses-block", "VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"refused-lock-counts-user",
     "VolumeInfoData.RefusedCallsLeaveNoUsers Refusals.RefusedRename Refusals.RefusedOpen "
     "Refusals.RefusedCreate Refusals.RefusedLock"},
    {"refused-open-counts-user",
     "VolumeInfoData.RefusedCallsLeaveNoUsers Refusals.RefusedOpen "
     "Refusals.ProtectedVolume"},
    {"remount-cuts-files", "Flush.WrittenIsThereAgain"},
    {"remount-dates-day-late", "Flush.WrittenIsThereAgain"},
    {"remount-loses-comments", "Flush.WrittenIsThereAgain"},
    {"remount-loses-empty-directories", "Flush.WrittenIsThereAgain"},
    {"remount-refused", "Flush.WrittenIsThereAgain"},
    {"remove-notify-takes-others", "RemoveNotify.OtherRequestsStay"},
    {"rename-case-deletes", "Rename.CaseAlone"},
    {"rename-case-ignored", "Rename.CaseAlone"},
    {"rename-case-refused", "Rename.CaseAlone"},
    {"rename-dates-object", "AddNotify.FileIsWatched Rename.FileStaysTheSame"},
    {"rename-in-use-refused", "SameLock.AfterRename SameFile.AfterRename Rename.OpenFileIsMoved"},
    {"rename-keeps-target-bit", "AddNotify.DirectoryIsWatched Rename.ParentsAreChanged"},
    {"rename-lifts-protection", "AddNotify.FileIsWatched Rename.FileStaysTheSame"},
    {"rename-loses-comment", "AddNotify.FileIsWatched Rename.FileStaysTheSame"},
    {"rename-of-link-undoes-it", "Rename.OntoItsHardLink"},
    {"rename-refused-empties-other", "Refusals.RefusedRename Rename.OntoItsHardLink"},
    {"rename-refused-loses-source", "Refusals.RefusedRename Rename.OntoItsHardLink"},
    {"rename-to-itself-deletes", "Rename.ToItself"},
    {"rename-to-itself-refused", "Rename.ToItself"},
    {"resize-beyond-2g-refused", "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"resize-grow-clears-last-block", "Contents.GrownAreaStaysTheSame"},
    {"resize-loses-block", "VolumeInfoData.BlocksOfAShorterFile"},
    {"resize-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"resize-refused-truncates", "Refusals.RefusedData"},
    {"resize-shrink-clears-last-block", "Contents.ShrinkingKeepsTheRest"},
    {"resize-to-position-rewinds", "GetFilePosition.AfterResizing"},
    {"same-file-after-rename-differs", "SameFile.AfterRename"},
    {"same-file-by-size", "SameFile.DifferentFiles SameFile.AfterRename"},
    {"same-file-of-other-case-differs", "SameFile.OtherCase"},
    {"same-file-of-two-handles-differs",
     "SameFile.OneFile SameFile.OtherCase SameFile.HardLink SameFile.AfterRename"},
    {"same-file-through-link-differs", "SameFile.HardLink"},
    {"same-lock-after-rename-differs", "SameLock.AfterRename"},
    {"same-lock-by-name", "SameLock.DifferentObjects"},
    {"same-lock-of-exclusive-differs", "SameLock.OneObject"},
    {"same-lock-of-other-case-differs", "SameLock.OtherCase"},
    {"same-lock-through-link-differs", "SameLock.HardLink"},
    {"scan-ends-when-disturbed",
     "ExamineDir.DeletedDuringTheScan ExamineDir.WalkThroughATree "
     "ExamineDir.TwoScansAtOnce"},
    {"scan-hides-empty-files",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries "
     "ExamineDir.DeletedDuringTheScan ExamineDir.AddedDuringTheScan "
     "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-loses-last",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries "
     "ExamineDir.DeletedDuringTheScan ExamineDir.WalkThroughATree "
     "ExamineDir.TwoScansAtOnce ExamineDir.LinkIsShownAsLink Refusals.RefusedRename Refusals.RefusedDelete "
     "Refusals.RefusedOpen Refusals.RefusedCreate Refusals.RefusedAttributes "
     "Refusals.RefusedData Refusals.RefusedLock Refusals.ProtectedVolume"},
    {"scan-of-empty-wrong-code", "ExamineDir.EmptyDirectory"},
    {"scan-of-file-granted", "ExamineDir.FileIsRefused"},
    {"scan-repeats-first",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries "
     "ExamineDir.DeletedDuringTheScan ExamineDir.AddedDuringTheScan "
     "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce Refusals.RefusedRename "
     "Refusals.RefusedDelete Refusals.RefusedOpen Refusals.RefusedCreate "
     "Refusals.RefusedAttributes Refusals.RefusedData Refusals.RefusedLock "
     "Refusals.ProtectedVolume"},
    {"scan-restarts-when-disturbed", "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-shows-links-as-objects", "ExamineDir.LinkIsShownAsLink"},
    {"scan-shows-no-comment", "ExamineDir.RecordIsThatOfTheObject"},
    {"scan-skips-when-disturbed",
     "ExamineDir.DeletedDuringTheScan ExamineDir.WalkThroughATree "
     "ExamineDir.TwoScansAtOnce"},
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
    {"seek-beyond-2g-refused", "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"seek-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"seek-refused-moves", "GetFilePosition.AfterRefusedCalls Refusals.RefusedData"},
    {"seek-to-end-one-short", "GetFilePosition.AfterMoving Contents.AppendKeepsTheRest"},
    {"serialize-empties-files", "Serialize.FilesStay"},
    {"serialize-renames", "Serialize.NameStays"},
    {"set-comment-dates", "Dates.AttributesLeaveTheDate"},
    {"set-date-beyond-2046-wraps", "Dates.DistantDays"},
    {"set-date-drifts", "Dates.DateComesBack Dates.LeapYears Dates.DistantDays"},
    {"set-date-evening-wraps", "Dates.DateComesBack"},
    {"set-date-leap-day-lost", "Dates.LeapYears"},
    {"set-date-leap-day-of-2100", "Dates.DistantDays"},
    {"set-protection-dates", "Dates.AttributesLeaveTheDate"},
    {"size-of-32-bits", "Contents.BeyondFourGibibytes"},
    {"size-of-second-handle-old", "Contents.TwoHandles"},
    {"size-through-link-old", "Contents.LinkSharesTheFile"},
    {"soft-link-cut-at-60", "SoftLinks.LongTarget"},
    {"soft-link-dangling-stays", "SoftLinks.Loops SoftLinks.DanglingLink"},
    {"soft-link-followed-by-itself", "SoftLinks.ChainOfSixteen SoftLinks.Loops"},
    {"soft-link-loses-device", "SoftLinks.AbsoluteTarget SoftLinks.ToAnotherVolume"},
    {"soft-link-loses-parent", "SoftLinks.RelativeToItsDirectory"},
    {"soft-link-takes-attributes", "SoftLinks.CallsGoToTheTarget"},
    {"soft-link-to-directory-missing", "SoftLinks.ThroughADirectory"},
    {"soft-link-to-link-unreadable",
     "SoftLinks.ChainOfFifteen SoftLinks.ChainOfSixteen SoftLinks.Loops"},
    {"unknown-attribute-not-known",
     "FileSystemAttr.UnknownTagIsRefused FileSystemAttr.OptionalTags"},
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
    {"used-blocks-stay", "VolumeInfoData.UsedBlocksGrowWithData"},
    {"version-number-ahead", "FileSystemAttr.VersionIsThatOfTheText"},
    {"volume-info-other-block-size",
     "VolumeInfoData.AgreesWithTheDevice Contents.BeyondTwoGibibytes "
     "Contents.BeyondFourGibibytes"},
    {"write-across-edge-shifted",
     "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain Contents.SizesAroundBlocks "
     "Contents.LongFileInChunks Contents.OverwriteKeepsTheRest Contents.AppendKeepsTheRest "
     "Contents.TwoHandles Contents.OldFileIsWritten Contents.FileFromLockIsWritten "
     "Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame "
     "Contents.BeyondTwoGibibytes Contents.BeyondFourGibibytes"},
    {"write-across-end-moves-short", "GetFilePosition.AfterWriting"},
    {"write-after-rename-lost", "Rename.OpenFileIsMoved"},
    {"write-beside-another-lost",
     "GetFilePosition.OfAnotherHandle Contents.TwoHandles Contents.OldFileIsWritten"},
    {"write-beside-another-refused",
     "GetFilePosition.OfAnotherHandle Contents.TwoHandles Contents.OldFileIsWritten"},
    {"write-from-lock-lost", "Contents.FileFromLockIsWritten"},
    {"write-from-lock-refused", "Contents.FileFromLockIsWritten"},
    {"write-keeps-512",
     "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain Contents.SizesAroundBlocks "
     "Contents.LongFileInChunks Contents.OverwriteKeepsTheRest Contents.AppendKeepsTheRest "
     "Contents.TwoHandles Contents.OldFileIsWritten Contents.FileFromLockIsWritten "
     "Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame"},
    {"write-loses-byte-at-4096",
     "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain Contents.SizesAroundBlocks "
     "Contents.LongFileInChunks Contents.OverwriteKeepsTheRest Contents.AppendKeepsTheRest "
     "Contents.ShrinkingKeepsTheRest Contents.GrownAreaStaysTheSame"},
    {"write-of-64k-loses-last-byte", "Contents.SizesAroundBlocks"},
    {"write-of-nothing-truncates", "Contents.OverwriteKeepsTheRest"},
    {"write-refused-moves",
     "GetFilePosition.AfterRefusedCalls Refusals.RefusedData Refusals.ProtectedVolume"},
    {"write-refused-unprotects", "Refusals.RefusedData"},
    {"written-file-of-1978",
     "AddNotify.FileIsWatched AddNotify.EachRequestIsNotified AddNotify.InitialMessage "
     "RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay "
     "Dates.ChangedFileIsDated"},
    {"written-file-ten-years-ahead",
     "AddNotify.FileIsWatched AddNotify.EachRequestIsNotified AddNotify.InitialMessage "
     "RemoveNotify.NothingAfterTheEnd RemoveNotify.OtherRequestsStay "
     "Dates.ChangedFileIsDated"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
