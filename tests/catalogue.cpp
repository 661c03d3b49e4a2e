#include "tests/catalogue.h"

#include "harness/stubs.h"
#include "tests/groups.h"

namespace quorle {

// The order is fixed: its numbers are what users pass as TN, FTN and LTN.
const TestEntry kCatalogue[] = {
    {AddNotifyStub, "FSAddNotify() / ACTION_ADD_NOTIFY - Add Notification"},
    {ChangeLockModeGroup, "FSChangeLockMode() / ACTION_CHANGE_MODE - Change Lock Mode"},
    {ChangeFileModeGroup, "FSChangeFileMode() / ACTION_CHANGE_MODE - Change File Mode"},
    {ChangeFilePositionGroup,
     "FSChangeFilePosition() / ACTION_CHANGE_FILE_POSITION64 - Change File Position"},
    {ChangeFileSizeGroup, "FSChangeFileSize() / ACTION_CHANGE_FILE_SIZE64 - Change File Size"},
    {CloseGroup, "FSClose() / ACTION_END - Close File"},
    {CreateDirGroup, "FSCreateDir() / ACTION_CREATE_DIR - Create Directory"},
    {CreateHardLinkGroup, "FSCreateHardLink() / ACTION_MAKE_LINK - Create Hard Link"},
    {CreateSoftLinkGroup, "FSCreateSoftLink() / ACTION_MAKE_LINK - Create Soft Link"},
    {DeleteGroup, "FSDelate() / ACTION_DELETE_OBJECT - Delete Object"},
    {DeviceInfoDataGroup, "FSDeviceInfoData() / ACTION_DISK_INFO - Device Info Data"},
    {DupLockGroup, "FSDupLock() / ACTION_COPY_LOCK - Duplicate Lock"},
    {DupLockFromFHGroup, "FSDupLockFromFH() / ACTION_COPY_LOCK_FH - DupLock From File Handle"},
    {ExamineDirStub, "FSExamineDir() / ACTION_EXAMINEDATA_DIR - Examine Directory"},
    {ExamineFileGroup, "FSExamineFile() / ACTION_EXAMINEDATA_FH - Examine File"},
    {ExamineObjGroup, "FSExamineObj() / ACTION_EXAMINEDATA_OBJ - Examine Object"},
    {ExamineLockGroup, "FSExamineLock() / ACTION_EXAMINEDATA - Examine Lock"},
    {FileSystemAttrStub, "FSFileSystemAttr() / ACTION_FILESYSTEM_ATTR - File System Attributes"},
    {FlushStub, "FSFlush() / ACTION_FLUSH - Flush"},
    {FormatStub, "FSFormat() / ACTION_FORMAT - Format"},
    {GetFilePositionStub, "FSGetFilePosition() / ACTION_GET_FILE_POSITION64 - Get File Position"},
    {GetFileSizeGroup, "FSGetFileSize() / ACTION_GET_FILE_SIZE64 - Get File Size"},
    {InhibitStub, "FSInhibit() / ACTION_INHIBIT - Inhibit"},
    {LockGroup, "FSLock() / ACTION_LOCATE_OBJECT - Lock"},
    {LockRecordStub, "FSLockRecord() / ACTION_LOCK_RECORD64 - Lock Record"},
    {OpenGroup, "FSOpen() / ACTION_FINDxxx - Open File"},
    {OpenFromLockGroup, "FSOpenFromLock() / ACTION_FH_FROM_LOCK - Open From Lock"},
    {ParentDirGroup, "FSParentDir() / ACTION_PARENT - Parent Directory"},
    {ParentOfFHGroup, "FSParentOfFH() / ACTION_PARENT_FH - Parent of File Handle"},
    {ReadGroup, "FSRead() / ACTION_READ - Read File"},
    {ReadSoftLinkGroup, "FSReadSoftLink() / ACTION_READ_SOFT_LINK - Read Soft Link"},
    {RelabelGroup, "FSRelabel() / ACTION_RENAME_DISK - Relabel Volume"},
    {RemoveNotifyStub, "FSRemoveNotify() / ACTION_REMOVE_NOTIFY - Remove Notify"},
    {RenameGroup, "FSRename() / ACTION_RENAME_OBJECT - Rename Object"},
    {SameFileStub, "FSSameFile() / ACTION_SAME_FH - Same File"},
    {SameLockStub, "FSSameLock() / ACTION_SAME_LOCK - Same Lock"},
    {SerializeStub, "FSSerialize() / ACTION_SERIALIZE_DISK - Serialize Volume"},
    {SetCommentGroup, "FSSetComment() / ACTION_SET_COMMENT - Set Comment"},
    {SetDateGroup, "FSSetDate() / ACTION_SET_DATE - Set Date"},
    {SetGroupGroup, "FSSetGroup() / ACTION_SET_OWNER_INFO - Set Group"},
    {SetOwnerGroup, "FSSetOwner() / ACTION_SET_OWNER_INFO - Set Owner"},
    {SetProtectionGroup, "FSSetProtection() / ACTION_SET_PROTECT - Set Protection"},
    {UnLockGroup, "FSUnLock() / ACTION_FREE_LOCK - Unlock"},
    {UnLockRecordStub, "FSUnLockRecord() / ACTION_FREE_RECORD64 - Unlock Record"},
    {VolumeInfoDataStub, "FSVolumeInfoData() / ACTION_INFO - Volume Info Data"},
    {WriteGroup, "FSWrite() / ACTION_WRITE - Write To File"},
    {WriteProtectVolumeGroup, "FSWriteProtect() / ACTION_WRITE_PROTECT - Write Protect"},
    {nullptr, ""},
};
static_assert(sizeof kCatalogue / sizeof kCatalogue[0] == kCatalogueRows + 1);

}  // namespace quorle
