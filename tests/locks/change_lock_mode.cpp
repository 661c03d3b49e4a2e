#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ChangeLockMode()";

// The changes while `lock` is shared. `second` is left holding a shared lock as well.
std::int32_t ChangeWhileShared(TestContext& ctx, const ScratchName& name, LockHandle lock,
                               LockHandle& second) {
  DosInterface& dos = *ctx.IDOS;

  if (!dos.ChangeMode(CHANGE_LOCK, lock, SHARED_LOCK)) {
    if (NotImplemented(ctx)) return kFatal;
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeLockMode() test returned failure when changing a SHARED_LOCK to a SHARED_LOCK;  #%n %m\n");
    dos.Printf("       This is effectively a No-Op and should always return success.\n\n");
    return kFailed;
  }

  second = dos.Lock(name, SHARED_LOCK);
  if (!second) {
    dos.Printf("\nERROR: ChangeLockMode() test failed, cannot Lock(\"%s\",%s); #%n %m\n\n", name,
               "SHARED_LOCK");
    return kFailed;
  }

  if (dos.ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeLockMode() test failed by returned success to changing a SHARED_LOCK to an EXCLUSIVE_LOCK,\n");
    dos.Printf(
        "       even when there were already two shared locks on the same file at the time.\n\n");
    return kFailed;
  }
  return kPassed;
}

// The changes once `lock` is the only one; `second` was released.
std::int32_t ChangeWhenAlone(TestContext& ctx, const ScratchName& name, LockHandle lock,
                             LockHandle& second) {
  DosInterface& dos = *ctx.IDOS;

  if (!dos.ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeLockMode() test returned failure when changing a SHARED_LOCK to an EXCLUSIVE_LOCK;  #%n %m\n");
    dos.Printf(
        "       This should not fail because there was only one lock on the file at the time.\n\n");
    return kFailed;
  }

  second = dos.Lock(name, SHARED_LOCK);
  if (second) {
    // As it stands: not in bold.
    dos.Printf(
        "\nERROR: ChangeLockMode() test failed, Lock(\"%s\",SHARED_LOCK) succeeded on an exclusive locked file.\n\n",
        name);
    return kFailed;
  }
  dos.UnLock(second);

  if (!dos.ChangeMode(CHANGE_LOCK, lock, EXCLUSIVE_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeLockMode() test returned failure when changing an EXCLUSIVE_LOCK to an EXCLUSIVE_LOCK;  #%n %m\n");
    dos.Printf("       This is effectively a No-Op and should always return success.\n\n");
    return kFailed;
  }
  return kPassed;
}

// 1. A lock becomes exclusive only when it is alone, and then keeps others out.
std::int32_t ExclusiveOnlyWhenAlone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  LockHandle second;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(second);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: ChangeLockMode() test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name,
               "MODE_READWRITE");
    return kFailed;
  }
  dos.Close(file);
  file = {};

  lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: ChangeLockMode() test failed, cannot Lock(\"%s\",%s); #%n %m\n\n", name,
               "SHARED_LOCK");
    return kFailed;
  }

  const std::int32_t status = ChangeWhileShared(ctx, name, lock, second);
  if (status != kPassed) return status;

  dos.UnLock(second);
  second = {};
  return ChangeWhenAlone(ctx, name, lock, second);
}

constexpr SubTestTable kSubTests = {
    {"ExclusiveOnlyWhenAlone", ExclusiveOnlyWhenAlone},  // 1
    {},
};

}  // namespace

const TestGroup kChangeLockModeGroup = {kLabel, kSubTests};

}  // namespace quorle
