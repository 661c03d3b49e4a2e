#pragma once

#include "harness/catalogue.h"

/// The catalogue's rows without tests. Each prints its note in italics, unless NoInfoMessages, and
/// passes.
namespace quorle {

extern const TestGroup kAddNotifyStub;
extern const TestGroup kExamineDirStub;
extern const TestGroup kFileSystemAttrStub;
extern const TestGroup kFlushStub;
extern const TestGroup kFormatStub;
extern const TestGroup kGetFilePositionStub;
extern const TestGroup kInhibitStub;
extern const TestGroup kLockRecordStub;
extern const TestGroup kRemoveNotifyStub;
extern const TestGroup kSameFileStub;
extern const TestGroup kSameLockStub;
extern const TestGroup kSerializeStub;
extern const TestGroup kUnLockRecordStub;
extern const TestGroup kVolumeInfoDataStub;

}  // namespace quorle
