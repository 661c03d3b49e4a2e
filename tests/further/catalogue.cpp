#include "tests/catalogue.h"

#include "tests/further/groups.h"

namespace quorle {
namespace {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
constexpr TestEntry kFurtherEntries[] = {
    {&kFurtherExamineDirGroup, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {&kFurtherGetFilePositionGroup,
     "FSGetFilePosition() / ACTION_GET_FILE_POSITION64 - Get File Position"},
    {&kFurtherLockRecordGroup, "FSLockRecord() / ACTION_LOCK_RECORD64 - Lock Record"},
    {&kFurtherUnLockRecordGroup, "FSUnLockRecord() / ACTION_FREE_RECORD64 - Unlock Record"},
    {&kFurtherContentsGroup, "Contents - What Was Written Is Read"},
    {&kFurtherManyGroup, "Many and Deep - What Does Not Fit Small Tables"},
    {nullptr, ""},
};

}  // namespace

const Catalogue kFurtherCatalogue = {
    .name = "further", .entries = kFurtherEntries, .is_further = true};

}  // namespace quorle
