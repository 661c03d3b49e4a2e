#include "harness/stubs.h"

#include "harness/diagnostics.h"

namespace quorle {
namespace {

/// Prints `note`. As it stands: without one, the style is still switched on and off.
std::int32_t Note(TestContext& ctx, const char* note) {
  if (!ctx.NoInfoMessages()) {
    const Italic italic(ctx);
    if (note != nullptr) ctx.IDOS->PutStr(note);
  }
  return RETURN_OK;
}

}  // namespace

std::int32_t AddNotifyStub(TestContext& ctx) {
  return Note(ctx, nullptr);
}

std::int32_t ExamineDirStub(TestContext& ctx) {
  return Note(ctx, "-- ExamineDir() test not yet available.\n");
}

std::int32_t FileSystemAttrStub(TestContext& ctx) {
  return Note(ctx, "-- FileSystemAttr() test not yet available.\n");
}

std::int32_t FlushStub(TestContext& ctx) {
  return Note(ctx, "Flush() test skipped because it is not testable.\n");
}

std::int32_t FormatStub(TestContext& ctx) {
  return Note(ctx, "Format() test skipped due to risk of data loss.\n");
}

std::int32_t GetFilePositionStub(TestContext& ctx) {
  return Note(ctx, "-- GetFilePosition() test not yet available.\n");
}

std::int32_t InhibitStub(TestContext& ctx) {
  return Note(ctx, nullptr);
}

std::int32_t LockRecordStub(TestContext& ctx) {
  return Note(ctx, nullptr);
}

std::int32_t RemoveNotifyStub(TestContext& ctx) {
  return Note(ctx, nullptr);
}

std::int32_t SameFileStub(TestContext& ctx) {
  return Note(ctx, "-- SameFile() test not yet available.\n");
}

std::int32_t SameLockStub(TestContext& ctx) {
  return Note(ctx, "-- SameLock() test not yet available.\n");
}

std::int32_t SerializeStub(TestContext& ctx) {
  return Note(ctx, "-- Serialize() test not yet available.\n");
}

std::int32_t UnLockRecordStub(TestContext& ctx) {
  return Note(ctx, nullptr);
}

std::int32_t VolumeInfoDataStub(TestContext& ctx) {
  return Note(ctx, "-- VolumeInfoData() test not yet available.\n");
}

}  // namespace quorle
