#include <cstdint>

#include "tests/further/groups.h"
#include "tests/further/record_steps.h"
#include "tests/further/vocabulary.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "UnLockRecord()";

// 1. What nobody has locked is not released: 240.
std::int32_t NeverLocked(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {UnLockStep(0, 10, 10, ERROR_RECORD_NOT_LOCKED)};
  RecordFiles files(ctx, kLabel, 1);
  if (!files) return kFailed;
  const std::int32_t status = files.Run(kSteps, "without a lock");
  if (status == kPassed) files.SayWhenEmulated();
  return status;
}

/// Makes the steps on files of their own. Returns the status.
template <std::size_t count>
std::int32_t RunSteps(TestContext& ctx, std::uint32_t number, const RecordStep (&steps)[count],
                      const char* when) {
  RecordFiles files(ctx, kLabel, number);
  if (!files) return kFailed;
  return files.Run(steps, when);
}

// 2. What is released can be locked by others, and is not released again.
std::int32_t FreesTheRange(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      UnLockStep(0, 10, 10),
      LockStep(1, 10, 10, REC_EXCLUSIVE_IMMED),
      UnLockStep(0, 10, 10, ERROR_RECORD_NOT_LOCKED),
      LockStep(2, 10, 10, REC_SHARED_IMMED, ERROR_LOCK_COLLISION),
      UnLockStep(1, 10, 10),
      LockStep(2, 10, 10, REC_SHARED_IMMED),
  };
  return RunSteps(ctx, 3, kSteps, "when one handle after the other locked and released 10 to 19");
}

// 3. A part of what was locked, or more than that, is not released, and all of it stays locked.
std::int32_t NotExactlyTheRange(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      UnLockStep(0, 10, 9, ERROR_RECORD_NOT_LOCKED),
      UnLockStep(0, 11, 9, ERROR_RECORD_NOT_LOCKED),
      UnLockStep(0, 10, 11, ERROR_RECORD_NOT_LOCKED),
      UnLockStep(0, 0, 100, ERROR_RECORD_NOT_LOCKED),
      LockStep(1, 10, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 19, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      UnLockStep(0, 10, 10),
  };
  return RunSteps(ctx, 5, kSteps, "while 10 to 19 is locked");
}

// 4. What another handle has locked is not released.
std::int32_t LockOfAnotherHandle(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      UnLockStep(1, 10, 10, ERROR_RECORD_NOT_LOCKED),
      UnLockStep(3, 10, 10, ERROR_RECORD_NOT_LOCKED),
      LockStep(2, 10, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      UnLockStep(0, 10, 10),
  };
  return RunSteps(ctx, 7, kSteps, "while another handle has 10 to 19 locked");
}

// 5. One of several locks is released, and the others stay.
std::int32_t OneOfSeveral(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(0, 50, 10, REC_EXCLUSIVE_IMMED),
      LockStep(0, 70, 10, REC_SHARED_IMMED),
      LockStep(1, 70, 10, REC_SHARED_IMMED),
      UnLockStep(0, 10, 10),
      UnLockStep(0, 70, 10),
      LockStep(2, 50, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(2, 70, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(2, 10, 10, REC_EXCLUSIVE_IMMED),
      UnLockStep(1, 70, 10),
      LockStep(2, 70, 10, REC_EXCLUSIVE_IMMED),
      UnLockStep(0, 50, 10),
  };
  return RunSteps(ctx, 9, kSteps, "among locks on 10 to 19, 50 to 59 and, twice, 70 to 79");
}

constexpr SubTestTable kSubTests = {
    {"NeverLocked", NeverLocked},                  // 1
    {"FreesTheRange", FreesTheRange},              // 2
    {"NotExactlyTheRange", NotExactlyTheRange},    // 3
    {"LockOfAnotherHandle", LockOfAnotherHandle},  // 4
    {"OneOfSeveral", OneOfSeveral},                // 5
    {},
};

}  // namespace

const TestGroup kFurtherUnLockRecordGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.UnLockRecord"};

}  // namespace quorle
