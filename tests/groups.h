#pragma once

#include "harness/catalogue.h"

namespace quorle {

// The test groups in catalogue order.
extern const TestGroup kChangeLockModeGroup;
extern const TestGroup kChangeFileModeGroup;
extern const TestGroup kChangeFilePositionGroup;
extern const TestGroup kChangeFileSizeGroup;
extern const TestGroup kCloseGroup;
extern const TestGroup kCreateDirGroup;
extern const TestGroup kCreateHardLinkGroup;
extern const TestGroup kCreateSoftLinkGroup;
extern const TestGroup kDeleteGroup;
extern const TestGroup kDeviceInfoDataGroup;
extern const TestGroup kDupLockGroup;
extern const TestGroup kDupLockFromFHGroup;
extern const TestGroup kExamineFileGroup;
extern const TestGroup kExamineObjGroup;
extern const TestGroup kExamineLockGroup;
extern const TestGroup kGetFileSizeGroup;
extern const TestGroup kLockGroup;
extern const TestGroup kOpenGroup;
extern const TestGroup kOpenFromLockGroup;
extern const TestGroup kParentDirGroup;
extern const TestGroup kParentOfFHGroup;
extern const TestGroup kReadGroup;
extern const TestGroup kReadSoftLinkGroup;
extern const TestGroup kRelabelGroup;
extern const TestGroup kRenameGroup;
extern const TestGroup kSetCommentGroup;
extern const TestGroup kSetDateGroup;
extern const TestGroup kSetGroupGroup;
extern const TestGroup kSetOwnerGroup;
extern const TestGroup kSetProtectionGroup;
extern const TestGroup kUnLockGroup;
extern const TestGroup kWriteGroup;
extern const TestGroup kWriteProtectVolumeGroup;

}  // namespace quorle
