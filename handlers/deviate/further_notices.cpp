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
    {"delete-of-data-loses-block",
     "VolumeInfoData.BlocksOfData VolumeInfoData.BlocksOfAShorterFile"},
    {"delete-of-directory-loses-block",
     "VolumeInfoData.BlocksOfData VolumeInfoData.BlocksOfAShorterFile "
     "VolumeInfoData.BlocksOfEmptyFiles VolumeInfoData.BlocksOfDirectories "
     "VolumeInfoData.BlocksOfAThousandFiles VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"delete-of-empty-file-loses-block",
     "VolumeInfoData.BlocksOfEmptyFiles VolumeInfoData.BlocksOfAThousandFiles "
     "VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"move-empties-file", "Rename.FileStaysTheSame"},
    {"move-keeps-source-date", "Rename.ParentsAreChanged"},
    {"move-leaves-old-name", "Rename.OpenFileIsMoved"},
    {"name-cut-at-30", "Rename.LongestName"},
    {"open-from-lock-counts-user", "VolumeInfoData.UsersGoBack"},
    {"open-old-refused-makes-file",
     "VolumeInfoData.RefusedCallsTakeNoBlocks VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"parent-of-moved-is-root", "Rename.LockedDirectoryIsMoved"},
    {"parent-of-root-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"refused-create-loses-block", "VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"refused-lock-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"refused-open-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"rename-case-deletes", "Rename.CaseAlone"},
    {"rename-case-ignored", "Rename.CaseAlone"},
    {"rename-case-refused", "Rename.CaseAlone"},
    {"rename-dates-object", "Rename.FileStaysTheSame"},
    {"rename-in-use-refused", "Rename.OpenFileIsMoved"},
    {"rename-keeps-target-bit", "Rename.ParentsAreChanged"},
    {"rename-lifts-protection", "Rename.FileStaysTheSame"},
    {"rename-loses-comment", "Rename.FileStaysTheSame"},
    {"rename-of-link-undoes-it", "Rename.OntoItsHardLink"},
    {"rename-refused-empties-other", "Rename.OntoItsHardLink"},
    {"rename-refused-loses-source", "Rename.OntoItsHardLink"},
    {"rename-to-itself-deletes", "Rename.ToItself"},
    {"rename-to-itself-refused", "Rename.ToItself"},
    {"resize-loses-block", "VolumeInfoData.BlocksOfAShorterFile"},
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
     "ExamineDir.TwoScansAtOnce"},
    {"scan-of-empty-wrong-code", "ExamineDir.EmptyDirectory"},
    {"scan-of-file-granted", "ExamineDir.FileIsRefused"},
    {"scan-repeats-first",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries "
     "ExamineDir.DeletedDuringTheScan ExamineDir.AddedDuringTheScan "
     "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-restarts-when-disturbed", "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-shows-no-comment", "ExamineDir.RecordIsThatOfTheObject"},
    {"scan-skips-when-disturbed",
     "ExamineDir.DeletedDuringTheScan ExamineDir.WalkThroughATree "
     "ExamineDir.TwoScansAtOnce"},
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
    {"used-blocks-stay", "VolumeInfoData.UsedBlocksGrowWithData"},
    {"volume-info-other-block-size", "VolumeInfoData.AgreesWithTheDevice"},
    {"write-after-rename-lost", "Rename.OpenFileIsMoved"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
