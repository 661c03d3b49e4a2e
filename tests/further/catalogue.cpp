#include "tests/catalogue.h"

#include "tests/further/groups.h"

namespace quorle {
namespace {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
constexpr TestEntry kFurtherEntries[] = {
    {&kFurtherExamineDirGroup, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {&kFurtherFileSystemAttrGroup,
     "FSFileSystemAttr() / ACTION_FILESYSTEM_ATTR - File System Attributes"},
    {&kFurtherGetFilePositionGroup,
     "FSGetFilePosition() / ACTION_GET_FILE_POSITION64 - Get File Position"},
    {&kFurtherSameLockGroup, "FSSameLock() / ACTION_SAME_LOCK - Same Lock"},
    {&kFurtherSameFileGroup, "FSSameFile() / ACTION_SAME_FH - Same File"},
    {&kFurtherVolumeInfoDataGroup, "FSVolumeInfoData() / ACTION_INFO - Volume Info Data"},
    {&kFurtherFlushGroup, "FSFlush() / ACTION_FLUSH - Flush"},
    {&kFurtherLockRecordGroup, "FSLockRecord() / ACTION_LOCK_RECORD64 - Lock Record"},
    {&kFurtherUnLockRecordGroup, "FSUnLockRecord() / ACTION_FREE_RECORD64 - Unlock Record"},
    {&kFurtherAddNotifyGroup, "FSAddNotify() / ACTION_ADD_NOTIFY - Add Notification"},
    {&kFurtherRemoveNotifyGroup, "FSRemoveNotify() / ACTION_REMOVE_NOTIFY - Remove Notify"},
    {&kFurtherInhibitGroup, "FSInhibit() / ACTION_INHIBIT - Inhibit"},
    {&kFurtherSerializeGroup, "FSSerialize() / ACTION_SERIALIZE_DISK - Serialize Volume"},
    {&kFurtherFormatGroup, "FSFormat() / ACTION_FORMAT - Format"},
    {&kFurtherRefusalsGroup, "Refusals - What Is Refused Changes Nothing"},
    {&kFurtherContentsGroup, "Contents - What Was Written Is Read"},
    {&kFurtherNamesGroup, "Names - What an Object May Be Called"},
    {&kFurtherRenameGroup, "FSRename() / ACTION_RENAME_OBJECT - Rename Object, Further"},
    {&kFurtherDatesGroup, "Dates - When an Object Was Changed"},
    {&kFurtherArgumentsGroup, "Arguments - Null and Foreign Arguments"},
    {&kFurtherManyGroup, "Many and Deep - What Does Not Fit Small Tables"},
    {&kFurtherSoftLinksGroup, "Soft links - Where They Lead"},
    {nullptr, ""},
};

}  // namespace

const Catalogue kFurtherCatalogue = {
    .name = "further", .entries = kFurtherEntries, .is_further = true};

}  // namespace quorle
