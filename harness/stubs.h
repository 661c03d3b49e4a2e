#pragma once

#include <cstdint>

#include "harness/context.h"

/// The catalogue's rows without tests. Each prints its note in italics, unless NoInfoMessages, and
/// passes.
namespace quorle {

std::int32_t AddNotifyStub(TestContext& ctx);
std::int32_t ExamineDirStub(TestContext& ctx);
std::int32_t FileSystemAttrStub(TestContext& ctx);
std::int32_t FlushStub(TestContext& ctx);
std::int32_t FormatStub(TestContext& ctx);
std::int32_t GetFilePositionStub(TestContext& ctx);
std::int32_t InhibitStub(TestContext& ctx);
std::int32_t LockRecordStub(TestContext& ctx);
std::int32_t RemoveNotifyStub(TestContext& ctx);
std::int32_t SameFileStub(TestContext& ctx);
std::int32_t SameLockStub(TestContext& ctx);
std::int32_t SerializeStub(TestContext& ctx);
std::int32_t UnLockRecordStub(TestContext& ctx);
std::int32_t VolumeInfoDataStub(TestContext& ctx);

}  // namespace quorle
