#include "tests/catalogue.h"

#include "tests/further/groups.h"

namespace quorle {
namespace {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
constexpr TestEntry kFurtherEntries[] = {
    {&kFurtherExamineDirGroup, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {&kFurtherSameLockGroup, "FSSameLock() / ACTION_SAME_LOCK - Same Lock"},
    {&kFurtherSameFileGroup, "FSSameFile() / ACTION_SAME_FH - Same File"},
    {&kFurtherAddNotifyGroup, "FSAddNotify() / ACTION_ADD_NOTIFY - Add Notification"},
    {&kFurtherRemoveNotifyGroup, "FSRemoveNotify() / ACTION_REMOVE_NOTIFY - Remove Notify"},
    {&kFurtherRefusalsGroup, "Refusals - What Is Refused Changes Nothing"},
    {&kFurtherArgumentsGroup, "Arguments - Null and Foreign Arguments"},
    {nullptr, ""},
};

}  // namespace

const Catalogue kFurtherCatalogue = {
    .name = "further", .entries = kFurtherEntries, .is_further = true};

}  // namespace quorle
