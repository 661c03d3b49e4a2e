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
    {"scan-ends-when-disturbed",
     "ExamineDir.DeletedDuringTheScan ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-hides-empty-files",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries ExamineDir.DeletedDuringTheScan "
     "ExamineDir.AddedDuringTheScan ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-loses-last",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries ExamineDir.DeletedDuringTheScan "
     "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-of-empty-wrong-code", "ExamineDir.EmptyDirectory"},
    {"scan-of-file-granted", "ExamineDir.FileIsRefused"},
    {"scan-repeats-first",
     "ExamineDir.HundredEntries ExamineDir.ThousandsOfEntries ExamineDir.DeletedDuringTheScan "
     "ExamineDir.AddedDuringTheScan ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-restarts-when-disturbed", "ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-shows-no-comment", "ExamineDir.RecordIsThatOfTheObject"},
    {"scan-skips-when-disturbed",
     "ExamineDir.DeletedDuringTheScan ExamineDir.WalkThroughATree ExamineDir.TwoScansAtOnce"},
    {"scan-stops-after-104", "ExamineDir.ThousandsOfEntries"},
};

}  // namespace

std::string_view FurtherNotices(std::string_view name) {
  const auto* const found =
      std::find_if(std::begin(kNotices), std::end(kNotices),
                   [name](const FurtherNotice& notice) { return notice.deviation == name; });
  return found == std::end(kNotices) ? std::string_view() : found->checks;
}

}  // namespace quorle::deviate
