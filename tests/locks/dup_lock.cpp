#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "DupLock()";

// 1. An exclusive lock cannot be duplicated.
std::int32_t ExclusiveIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  LockHandle duplicate;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(duplicate);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: DupLock() test failed, cannot Open(\"%s\",MODE_NEWFILE) #%n %m\n\n", name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  lock = dos.Lock(name, EXCLUSIVE_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: DupLock() test failed, cannot Lock(\"%s\",EXCLUSIVE_LOCK) #%n %m\n\n",
               name);
    return kFailed;
  }

  duplicate = dos.DupLock(lock);
  if (duplicate) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: DupLock(\"%s\") succeeded on an exclusively locked file.\n\n", name);
    return kFailed;
  }
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    dos.Printf("\nWARN:  DupLock(\"%s\") failed ok, but the error code was wrong; #%n %m\n", name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return kPassed;
}

// 2. A shared lock can be duplicated.
std::int32_t SharedIsGranted(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  LockHandle duplicate;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(duplicate);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: DupLock() test failed, cannot Open(\"%s\",MODE_NEWFILE) #%n %m\n\n", name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: DupLock() test failed, cannot Lock(\"%s\",SHARED_LOCK) #%n %m\n\n", name);
    return kFailed;
  }

  duplicate = dos.DupLock(lock);
  if (!duplicate) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: DupLock(\"%s\") failed #%n %m\n\n", name);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"ExclusiveIsRefused", ExclusiveIsRefused},  // 1
    {"SharedIsGranted", SharedIsGranted},        // 2
    {},
};

}  // namespace

const TestGroup kDupLockGroup = {kLabel, kSubTests};

}  // namespace quorle
