#include "tests/catalogue.h"

#include "harness/stubs.h"
#include "tests/groups.h"

namespace quorle {
namespace {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
constexpr TestEntry kEntries[] = {
    {&kAddNotifyStub, "FSAddNotify() / ACTION_ADD_NOTIFY - Add Notification"},
    {&kChangeLockModeGroup, "FSChangeLockMode() / ACTION_CHANGE_MODE - Change Lock Mode"},
    {&kChangeFileModeGroup, "FSChangeFileMode() / ACTION_CHANGE_MODE - Change File Mode"},
    {&kChangeFilePositionGroup,
     "FSChangeFilePosition() / ACTION_CHANGE_FILE_POSITION64 - Change File Position"},
    {&kChangeFileSizeGroup, "FSChangeFileSize() / ACTION_CHANGE_FILE_SIZE64 - Change File Size"},
    {&kCloseGroup, "FSClose() / ACTION_END - Close File"},
    {&kCreateDirGroup, "FSCreateDir() / ACTION_CREATE_DIR - Create Directory"},
    {&kCreateHardLinkGroup, "FSCreateHardLink() / ACTION_MAKE_LINK - Create Hard Link"},
    {&kCreateSoftLinkGroup, "FSCreateSoftLink() / ACTION_MAKE_LINK - Create Soft Link"},
    {&kDeleteGroup, "FSDelate() / ACTION_DELETE_OBJECT - Delete Object"},
    {&kDeviceInfoDataGroup, "FSDeviceInfoData() / ACTION_DISK_INFO - Device Info Data"},
    {&kDupLockGroup, "FSDupLock() / ACTION_COPY_LOCK - Duplicate Lock"},
    {&kDupLockFromFHGroup, "FSDupLockFromFH() / ACTION_COPY_LOCK_FH - DupLock From File Handle"},
    {&kExamineDirStub, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {&kExamineFileGroup, "FSExamineFile() / ACTION_EXAMINEDATA_FH - Examine File"},
    {&kExamineObjGroup, "FSExamineObj() / ACTION_EXAMINEDATA_OBJ - Examine Object"},
    {&kExamineLockGroup, "FSExamineLock() / ACTION_EXAMINEDATA - Examine Lock"},
    {&kFileSystemAttrStub, "FSFileSystemAttr() / ACTION_FILESYSTEM_ATTR - File System Attributes"},
    {&kFlushStub, "FSFlush() / ACTION_FLUSH - Flush"},
    {&kFormatStub, "FSFormat() / ACTION_FORMAT - Format"},
    {&kGetFilePositionStub, "FSGetFilePosition() / ACTION_GET_FILE_POSITION64 - Get File Position"},
    {&kGetFileSizeGroup, "FSGetFileSize() / ACTION_GET_FILE_SIZE64 - Get File Size"},
    {&kInhibitStub, "FSInhibit() / ACTION_INHIBIT - Inhibit"},
    {&kLockGroup, "FSLock() / ACTION_LOCATE_OBJECT - Lock"},
    {&kLockRecordStub, "FSLockRecord() / ACTION_LOCK_RECORD64 - Lock Record"},
    {&kOpenGroup, "FSOpen() / ACTION_FINDxxx - Open File"},
    {&kOpenFromLockGroup, "FSOpenFromLock() / ACTION_FH_FROM_LOCK - Open From Lock"},
    {&kParentDirGroup, "FSParentDir() / ACTION_PARENT - Parent Directory"},
    {&kParentOfFHGroup, "FSParentOfFH() / ACTION_PARENT_FH - Parent of File Handle"},
    {&kReadGroup, "FSRead() / ACTION_READ - Read File"},
    {&kReadSoftLinkGroup, "FSReadSoftLink() / ACTION_READ_SOFT_LINK - Read Soft Link"},
    {&kRelabelGroup, "FSRelabel() / ACTION_RENAME_DISK - Relabel Volume"},
    {&kRemoveNotifyStub, "FSRemoveNotify() / ACTION_REMOVE_NOTIFY - Remove Notify"},
    {&kRenameGroup, "FSRename() / ACTION_RENAME_OBJECT - Rename Object"},
    {&kSameFileStub, "FSSameFile() / ACTION_SAME_FH - Same File"},
    {&kSameLockStub, "FSSameLock() / ACTION_SAME_LOCK - Same Lock"},
    {&kSerializeStub, "FSSerialize() / ACTION_SERIALIZE_DISK - Serialize Volume"},
    {&kSetCommentGroup, "FSSetComment() / ACTION_SET_COMMENT - Set Comment"},
    {&kSetDateGroup, "FSSetDate() / ACTION_SET_DATE - Set Date"},
    {&kSetGroupGroup, "FSSetGroup() / ACTION_SET_OWNER_INFO - Set Group"},
    {&kSetOwnerGroup, "FSSetOwner() / ACTION_SET_OWNER_INFO - Set Owner"},
    {&kSetProtectionGroup, "FSSetProtection() / ACTION_SET_PROTECT - Set Protection"},
    {&kUnLockGroup, "FSUnLock() / ACTION_FREE_LOCK - Unlock"},
    {&kUnLockRecordStub, "FSUnLockRecord() / ACTION_FREE_RECORD64 - Unlock Record"},
    {&kVolumeInfoDataStub, "FSVolumeInfoData() / ACTION_INFO - Volume Info Data"},
    {&kWriteGroup, "FSWrite() / ACTION_WRITE - Write To File"},
    {&kWriteProtectVolumeGroup, "FSWriteProtect() / ACTION_WRITE_PROTECT - Write Protect"},
    {nullptr, ""},
};
static_assert(sizeof kEntries / sizeof kEntries[0] == kCatalogueRows + 1);

}  // namespace

const Catalogue kStandardCatalogue = {.name = "standard", .entries = kEntries};

}  // namespace quorle
