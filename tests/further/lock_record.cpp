#include <cstdint>

#include "tests/further/groups.h"
#include "tests/further/record_steps.h"
#include "tests/further/vocabulary.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "LockRecord()";
constexpr std::int64_t k4GiB = std::int64_t{1} << 32;

/// Makes the steps on files of their own. Returns the status.
template <std::size_t count>
std::int32_t RunSteps(TestContext& ctx, std::uint32_t number, const RecordStep (&steps)[count],
                      const char* when) {
  RecordFiles files(ctx, kLabel, number);
  if (!files) return kFailed;
  return files.Run(steps, when);
}

// 1. What is locked exclusively is locked for all others, in both modes; the rest of the file is not.
std::int32_t ExclusiveExcludes(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(1, 10, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 10, 10, REC_SHARED_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 50, 10, REC_EXCLUSIVE),
      LockStep(2, 55, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
  };
  RecordFiles files(ctx, kLabel, 1);
  if (!files) return kFailed;
  const std::int32_t status = files.Run(kSteps, "beside exclusive locks on 10 to 19 and 50 to 59");
  if (status != kPassed) return status;
  files.SayWhenEmulated();

  // Nobody says what a second lock of the same handle comes to.
  if (!ctx.NoInfoMessages() &&
      FurtherOf(ctx).IFurtherDos->LockRecord(files.handle(0), 10, 10, REC_EXCLUSIVE_IMMED, 0)) {
    ctx.IDOS->Printf(
        "\nINFO:  LockRecord(10,10) was granted once more to the file handle that has it.\n\n");
  }
  return kPassed;
}

// 2. What is locked as shared can be shared, and not be had exclusively.
std::int32_t SharedIsShared(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_SHARED_IMMED),
      LockStep(1, 10, 10, REC_SHARED),
      LockStep(1, 25, 10, REC_SHARED_IMMED),
      LockStep(2, 10, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(2, 15, 15, REC_SHARED_IMMED),
  };
  return RunSteps(ctx, 3, kSteps, "beside shared locks on 10 to 19");
}

// 3. One byte in common is enough.
std::int32_t OverlapByOneByte(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(1, 0, 11, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 10, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 14, 2, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 19, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 19, 50, REC_SHARED_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 0, 100, REC_SHARED_IMMED, ERROR_LOCK_COLLISION),
  };
  return RunSteps(ctx, 5, kSteps, "with bytes of an exclusive lock on 10 to 19");
}

// 4. What ends where another begins has none in common with it.
std::int32_t TouchingIsFree(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(1, 20, 10, REC_EXCLUSIVE_IMMED),
      LockStep(2, 0, 10, REC_EXCLUSIVE_IMMED),
      LockStep(0, 30, 1, REC_EXCLUSIVE_IMMED),
  };
  return RunSteps(ctx, 7, kSteps, "before or behind exclusive locks");
}

// 5. What is not there yet can be locked, and that does not make the file longer.
std::int32_t BeyondTheEnd(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 1000, 10, REC_EXCLUSIVE_IMMED),
      LockStep(0, 95, 50, REC_EXCLUSIVE_IMMED),
      LockStep(1, 1010, 10, REC_EXCLUSIVE_IMMED),
      LockStep(2, 1005, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(2, 140, 1, REC_SHARED_IMMED, ERROR_LOCK_COLLISION),
  };
  RecordFiles files(ctx, kLabel, 9);
  if (!files) return kFailed;
  const std::int32_t status = files.Run(kSteps, "beyond the end of a file of 100 bytes");
  if (status != kPassed) return status;
  const std::int64_t size = ctx.IDOS->GetFileSize(files.handle(0));
  if (size == RecordFiles::kSize) return kPassed;
  return Failure(ctx,
                 "\nERROR: LockRecord() beyond the end of a file of %ld bytes made its size %lld.\n"
                 "       It locks what a program is going to add; it adds nothing.\n\n",
                 RecordFiles::kSize, size);
}

// 6. Offsets and lengths have 64 bits, unless the filesystem says that it has fewer: 207.
std::int32_t BeyondFourGibibytes(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, k4GiB + 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(1, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(1, k4GiB + 15, 1, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(1, 50, k4GiB, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      LockStep(2, k4GiB + 20, k4GiB - 20, REC_EXCLUSIVE_IMMED),
  };
  RecordFiles files(ctx, kLabel, 11);
  if (!files) return kFailed;
  if (!FurtherOf(ctx).IFurtherDos->LockRecord(files.handle(0), 2 * k4GiB, 1, REC_SHARED_IMMED, 0) &&
      ctx.IDOS->IoErr() == ERROR_OBJECT_TOO_LARGE) {
    if (!ctx.NoInfoMessages()) {
      ctx.IDOS->Printf("\nINFO:  LockRecord() does not lock what is behind 4 GiB; #%n %m\n\n");
    }
    return kPassed;
  }
  return files.Run(kSteps, "around an exclusive lock behind 4 GiB");
}

// 7. Who would wait gets 242 when his time is over, and has nothing then.
std::int32_t TimeOut(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE),
      LockStep(1, 10, 10, REC_EXCLUSIVE, ERROR_LOCK_TIMEOUT),
      LockStep(1, 19, 10, REC_SHARED, ERROR_LOCK_TIMEOUT),
      CloseStep(0),
      LockStep(2, 10, 20, REC_EXCLUSIVE_IMMED),
  };
  return RunSteps(ctx, 13, kSteps, "beside an exclusive lock that somebody waited for");
}

// 8. A file that is closed leaves no locks behind; the others stay.
std::int32_t FreedByClose(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(0, 50, 10, REC_SHARED_IMMED),
      LockStep(1, 70, 10, REC_EXCLUSIVE_IMMED),
      CloseStep(1),
      LockStep(2, 10, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
      CloseStep(0),
      LockStep(2, 0, 100, REC_EXCLUSIVE_IMMED),
  };
  return RunSteps(ctx, 15, kSteps, "after Close() of other handles of the file");
}

// 9. The same bytes of another file are others.
std::int32_t OtherFileIsFree(TestContext& ctx, std::int32_t) {
  constexpr RecordStep kSteps[] = {
      LockStep(0, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(3, 10, 10, REC_EXCLUSIVE_IMMED),
      LockStep(1, 10, 10, REC_EXCLUSIVE_IMMED, ERROR_LOCK_COLLISION),
  };
  return RunSteps(ctx, 17, kSteps, "beside a lock on the same bytes of another file");
}

constexpr SubTestTable kSubTests = {
    {"ExclusiveExcludes", ExclusiveExcludes},      // 1
    {"SharedIsShared", SharedIsShared},            // 2
    {"OverlapByOneByte", OverlapByOneByte},        // 3
    {"TouchingIsFree", TouchingIsFree},            // 4
    {"BeyondTheEnd", BeyondTheEnd},                // 5
    {"BeyondFourGibibytes", BeyondFourGibibytes},  // 6
    {"TimeOut", TimeOut},                          // 7
    {"FreedByClose", FreedByClose},                // 8
    {"OtherFileIsFree", OtherFileIsFree},          // 9
    {},
};

}  // namespace

const TestGroup kFurtherLockRecordGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.LockRecord"};

}  // namespace quorle
