#include "harness/stubs.h"

#include "harness/context.h"
#include "harness/diagnostics.h"

namespace quorle {
namespace {

/// Prints the group's note. As it stands: without one, the style is still switched on and off.
std::int32_t PrintNote(TestContext& ctx, const TestGroup& group, RunListener&) {
  if (!ctx.NoInfoMessages()) {
    const Italic italic(ctx);
    if (group.note != nullptr) ctx.IDOS->PutStr(group.note);
  }
  return RETURN_OK;
}

constexpr TestGroup Stub(const char* label, const char* note = nullptr) {
  return {.label = label, .note = note, .run = PrintNote};
}

}  // namespace

const TestGroup kAddNotifyStub = Stub("AddNotify()");
const TestGroup kExamineDirStub = Stub("ExamineDir()", "-- ExamineDir() test not yet available.\n");
const TestGroup kFileSystemAttrStub =
    Stub("FileSystemAttr()", "-- FileSystemAttr() test not yet available.\n");
const TestGroup kFlushStub = Stub("Flush()", "Flush() test skipped because it is not testable.\n");
const TestGroup kFormatStub = Stub("Format()", "Format() test skipped due to risk of data loss.\n");
const TestGroup kGetFilePositionStub =
    Stub("GetFilePosition()", "-- GetFilePosition() test not yet available.\n");
const TestGroup kInhibitStub = Stub("Inhibit()");
const TestGroup kLockRecordStub = Stub("LockRecord()");
const TestGroup kRemoveNotifyStub = Stub("RemoveNotify()");
const TestGroup kSameFileStub = Stub("SameFile()", "-- SameFile() test not yet available.\n");
const TestGroup kSameLockStub = Stub("SameLock()", "-- SameLock() test not yet available.\n");
const TestGroup kSerializeStub = Stub("Serialize()", "-- Serialize() test not yet available.\n");
const TestGroup kUnLockRecordStub = Stub("UnLockRecord()");
const TestGroup kVolumeInfoDataStub =
    Stub("VolumeInfoData()", "-- VolumeInfoData() test not yet available.\n");

}  // namespace quorle
