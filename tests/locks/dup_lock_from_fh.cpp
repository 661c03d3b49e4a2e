#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "DupLockFromFH()";

// 1. An exclusive handle gives no lock.
std::int32_t ExclusiveIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle duplicate;
  const AtEnd release([&] {
    dos.UnLock(duplicate);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: DupLockFromFH() test failed, cannot Open(\"%s\",MODE_NEWFILE) #%n %m\n\n",
               name);
    return kFailed;
  }

  duplicate = dos.DupLockFromFH(file);
  if (duplicate) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: DupLockFromFH(\"%s\") succeeded on an exclusively locked file.\n\n", name);
    return kFailed;
  }
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    dos.Printf("\nWARN:  DupLockFromFH(\"%s\") failed ok, but the error code was wrong; #%n %m\n",
               name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return kPassed;
}

// 2. A shared handle gives a lock.
std::int32_t SharedIsGranted(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle duplicate;
  const AtEnd release([&] {
    dos.UnLock(duplicate);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: DupLockFromFH() test failed, cannot Open(\"%s\",MODE_NEWFILE) #%n %m\n\n",
               name);
    return kFailed;
  }
  dos.Close(file);

  file = dos.Open(name, MODE_OLDFILE);
  if (!file) {
    dos.Printf("\nERROR: DupLockFromFH() test failed, cannot Open(\"%s\",MODE_OLDFILE) #%n %m\n\n",
               name);
    return kFailed;
  }

  duplicate = dos.DupLockFromFH(file);
  if (!duplicate) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: DupLockFromFH(\"%s\") failed to duplicate a lock on a shared mode file; #%n %m\n\n",
        name);
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

const TestGroup kDupLockFromFHGroup = {kLabel, kSubTests};

}  // namespace quorle
