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
    {"move-empties-file", "Rename.FileStaysTheSame"},
    {"move-keeps-source-date", "Rename.ParentsAreChanged"},
    {"move-leaves-old-name", "Rename.OpenFileIsMoved"},
    {"name-accent-case-counts", "Names.CaseOfAccentsIsIgnored"},
    {"name-case-counts", "Names.CaseIsIgnored Names.CaseOfAccentsIsIgnored Rename.CaseAlone"},
    {"name-cut-at-30", "Names.EachLength Rename.LongestName"},
    {"name-high-bit-lost", "Names.EachCharacter Names.CaseIsKept Names.CaseOfAccentsIsIgnored"},
    {"name-loses-blank", "Names.BlanksDotsAndPatterns"},
    {"new-directory-day-early", "Dates.ChangedDirectoryIsDated"},
    {"new-name-cut-at-30", "Names.EachLength"},
    {"new-name-loses-colon", "Names.ColonEndsADevice"},
    {"new-name-lower-case", "Names.EachCharacter Names.CaseIsKept"},
    {"parent-of-all-is-root",
     "Names.SlashSeparates Rename.LockedDirectoryIsMoved SoftLinks.RelativeToItsDirectory SoftLinks.LongTarget"},
    {"parent-of-moved-is-root", "Rename.LockedDirectoryIsMoved"},
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
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
    {"set-comment-dates", "Dates.AttributesLeaveTheDate"},
    {"set-date-beyond-2046-wraps", "Dates.DistantDays"},
    {"set-date-drifts", "Dates.DateComesBack Dates.LeapYears Dates.DistantDays"},
    {"set-date-evening-wraps", "Dates.DateComesBack"},
    {"set-date-leap-day-lost", "Dates.LeapYears"},
    {"set-date-leap-day-of-2100", "Dates.DistantDays"},
    {"set-protection-dates", "Dates.AttributesLeaveTheDate"},
    {"soft-link-cut-at-60", "SoftLinks.LongTarget"},
    {"soft-link-dangling-stays", "SoftLinks.DanglingLink"},
    {"soft-link-followed-by-itself", "SoftLinks.ChainOfSixteen SoftLinks.Loops"},
    {"soft-link-loses-device", "SoftLinks.AbsoluteTarget SoftLinks.ToAnotherVolume"},
    {"soft-link-loses-parent", "SoftLinks.RelativeToItsDirectory"},
    {"soft-link-takes-attributes", "SoftLinks.CallsGoToTheTarget"},
    {"soft-link-to-directory-missing", "SoftLinks.ThroughADirectory"},
    {"soft-link-to-link-unreadable",
     "SoftLinks.ChainOfFifteen SoftLinks.ChainOfSixteen SoftLinks.Loops"},
    {"write-after-rename-lost", "Rename.OpenFileIsMoved"},
    {"written-file-of-1978", "Dates.ChangedFileIsDated"},
    {"written-file-ten-years-ahead", "Dates.ChangedFileIsDated"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
