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
    {"attribute-type-other", "FileSystemAttr.TypeIsThatOfTheDisk"},
    {"delete-of-data-loses-block",
     "VolumeInfoData.BlocksOfData VolumeInfoData.BlocksOfAShorterFile"},
    {"delete-of-directory-loses-block",
     "VolumeInfoData.BlocksOfData VolumeInfoData.BlocksOfAShorterFile VolumeInfoData.BlocksOfEmptyFiles VolumeInfoData.BlocksOfDirectories VolumeInfoData.BlocksOfAThousandFiles VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"delete-of-empty-file-loses-block",
     "VolumeInfoData.BlocksOfEmptyFiles VolumeInfoData.BlocksOfAThousandFiles VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"flush-refused", "Flush.Succeeds Flush.FileAcrossAFlush Flush.WrittenIsThereAgain"},
    {"flush-rewinds-files", "Flush.FileAcrossAFlush"},
    {"format-although-not-inhibited", "Format.RefusedUnlessInhibited"},
    {"format-keeps-files", "Format.VolumeIsEmpty"},
    {"format-names-otherwise", "Format.NameAndTypeAreThose"},
    {"inhibit-breaks-files", "Inhibit.OpenFileGoesOn"},
    {"inhibit-ends-at-a-refusal",
     "Inhibit.CallsAreRefused Inhibit.TreeIsAsItWas Inhibit.NestedInhibitions"},
    {"inhibit-ignored",
     "Inhibit.CallsAreRefused Inhibit.TypeIsBusy Inhibit.TreeIsAsItWas Inhibit.NestedInhibitions Inhibit.OpenFileGoesOn"},
    {"inhibit-loses-comments", "Inhibit.TreeIsAsItWas"},
    {"inhibited-type-stays", "Inhibit.TypeIsBusy"},
    {"longer-name-lost", "FileSystemAttr.LongerNameIsNotLost"},
    {"name-cut-at-30", "FileSystemAttr.NameOfThatLength"},
    {"new-name-cut-at-30", "FileSystemAttr.NameOfThatLength"},
    {"open-from-lock-counts-user", "VolumeInfoData.UsersGoBack"},
    {"open-old-refused-makes-file",
     "VolumeInfoData.RefusedCallsTakeNoBlocks VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"parent-of-root-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"promises-no-name",
     "FileSystemAttr.NameLengthIsGiven FileSystemAttr.NameOfThatLength FileSystemAttr.LongerNameIsNotLost"},
    {"read-ends-at-page", "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain"},
    {"refused-create-loses-block", "VolumeInfoData.RefusedCallsTakeNoBlocks"},
    {"refused-lock-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"refused-open-counts-user", "VolumeInfoData.RefusedCallsLeaveNoUsers"},
    {"remount-cuts-files", "Flush.WrittenIsThereAgain"},
    {"remount-dates-day-late", "Flush.WrittenIsThereAgain"},
    {"remount-loses-comments", "Flush.WrittenIsThereAgain"},
    {"remount-loses-empty-directories", "Flush.WrittenIsThereAgain"},
    {"remount-refused", "Flush.WrittenIsThereAgain"},
    {"resize-loses-block", "VolumeInfoData.BlocksOfAShorterFile"},
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
    {"serialize-empties-files", "Serialize.FilesStay"},
    {"serialize-renames", "Serialize.NameStays"},
    {"unknown-attribute-not-known", "FileSystemAttr.UnknownTagIsRefused"},
    {"used-blocks-stay", "VolumeInfoData.UsedBlocksGrowWithData"},
    {"version-number-ahead", "FileSystemAttr.VersionIsThatOfTheText"},
    {"volume-info-other-block-size", "VolumeInfoData.AgreesWithTheDevice"},
    {"write-across-edge-shifted", "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain"},
    {"write-keeps-512", "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain"},
    {"write-loses-byte-at-4096", "Flush.FileAcrossAFlush Flush.WrittenIsThereAgain"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
