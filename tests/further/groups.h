#pragma once

#include "harness/catalogue.h"

namespace quorle {

// The further test groups in catalogue order.
extern const TestGroup kFurtherExamineDirGroup;
extern const TestGroup kFurtherFileSystemAttrGroup;
extern const TestGroup kFurtherGetFilePositionGroup;
extern const TestGroup kFurtherSameLockGroup;
extern const TestGroup kFurtherSameFileGroup;
extern const TestGroup kFurtherVolumeInfoDataGroup;
extern const TestGroup kFurtherFlushGroup;
extern const TestGroup kFurtherLockRecordGroup;
extern const TestGroup kFurtherUnLockRecordGroup;
extern const TestGroup kFurtherAddNotifyGroup;
extern const TestGroup kFurtherRemoveNotifyGroup;
extern const TestGroup kFurtherInhibitGroup;
extern const TestGroup kFurtherSerializeGroup;
extern const TestGroup kFurtherFormatGroup;
extern const TestGroup kFurtherRefusalsGroup;
extern const TestGroup kFurtherContentsGroup;
extern const TestGroup kFurtherNamesGroup;
extern const TestGroup kFurtherRenameGroup;
extern const TestGroup kFurtherDatesGroup;
extern const TestGroup kFurtherArgumentsGroup;
extern const TestGroup kFurtherManyGroup;
extern const TestGroup kFurtherSoftLinksGroup;

}  // namespace quorle
