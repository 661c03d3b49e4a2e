#pragma once

#include <cstdint>

namespace quorle {

struct TestContext;

// The test groups in catalogue order. Each runs its sub-tests and returns 0 or 10.
std::int32_t ChangeLockModeGroup(TestContext& ctx);
std::int32_t ChangeFileModeGroup(TestContext& ctx);
std::int32_t ChangeFilePositionGroup(TestContext& ctx);
std::int32_t ChangeFileSizeGroup(TestContext& ctx);
std::int32_t CloseGroup(TestContext& ctx);
std::int32_t CreateDirGroup(TestContext& ctx);
std::int32_t CreateHardLinkGroup(TestContext& ctx);
std::int32_t CreateSoftLinkGroup(TestContext& ctx);
std::int32_t DeleteGroup(TestContext& ctx);
std::int32_t DeviceInfoDataGroup(TestContext& ctx);
std::int32_t DupLockGroup(TestContext& ctx);
std::int32_t DupLockFromFHGroup(TestContext& ctx);
std::int32_t ExamineFileGroup(TestContext& ctx);
std::int32_t ExamineObjGroup(TestContext& ctx);
std::int32_t ExamineLockGroup(TestContext& ctx);
std::int32_t GetFileSizeGroup(TestContext& ctx);
std::int32_t LockGroup(TestContext& ctx);
std::int32_t OpenGroup(TestContext& ctx);
std::int32_t OpenFromLockGroup(TestContext& ctx);
std::int32_t ParentDirGroup(TestContext& ctx);
std::int32_t ParentOfFHGroup(TestContext& ctx);
std::int32_t ReadGroup(TestContext& ctx);
std::int32_t ReadSoftLinkGroup(TestContext& ctx);
std::int32_t RelabelGroup(TestContext& ctx);
std::int32_t RenameGroup(TestContext& ctx);
std::int32_t SetCommentGroup(TestContext& ctx);
std::int32_t SetDateGroup(TestContext& ctx);
std::int32_t SetGroupGroup(TestContext& ctx);
std::int32_t SetOwnerGroup(TestContext& ctx);
std::int32_t SetProtectionGroup(TestContext& ctx);
std::int32_t UnLockGroup(TestContext& ctx);
std::int32_t WriteGroup(TestContext& ctx);
std::int32_t WriteProtectVolumeGroup(TestContext& ctx);

}  // namespace quorle
