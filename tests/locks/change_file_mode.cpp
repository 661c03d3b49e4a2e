#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ChangeFileMode()";

// The changes while `file` is shared. `second` is left open on the same file.
std::int32_t ChangeWhileShared(TestContext& ctx, const ScratchName& name, FileHandle file,
                               FileHandle& second) {
  DosInterface& dos = *ctx.IDOS;

  if (!dos.ChangeMode(CHANGE_FH, file, SHARED_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test returned failure when changing a SHARED_LOCK to a SHARED_LOCK;  #%n %m\n",
        kLabel);
    dos.Printf("       This is effectively a No-Op and should always return success.\n\n");
    return kFailed;
  }

  second = dos.Open(name, MODE_OLDFILE);
  if (!second) {
    // As it stands: the name where the label belongs.
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name, kLabel,
               "MODE_OLDFILE");
    return kFailed;
  }

  if (dos.ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed by returned success to changing a SHARED_LOCK to an EXCLUSIVE_LOCK,\n",
        kLabel);
    dos.Printf(
        "       even when there were already two shared locks on the same file at the time.\n\n");
    return kFailed;
  }
  return kPassed;
}

// The changes once `file` is the only handle; `second` was closed.
std::int32_t ChangeWhenAlone(TestContext& ctx, const ScratchName& name, FileHandle file,
                             FileHandle& second) {
  DosInterface& dos = *ctx.IDOS;

  if (!dos.ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test returned failure when changing a SHARED_LOCK to an EXCLUSIVE_LOCK;  #%n %m\n",
        kLabel);
    dos.Printf(
        "       This should not fail because there was only one lock on the file at the time.\n\n");
    return kFailed;
  }

  second = dos.Open(name, MODE_OLDFILE);
  if (second) {
    // As it stands: not in bold, and the name where the label belongs.
    dos.Printf(
        "\nERROR: %s test failed, Open(\"%s\",MODE_OLDFILE) succeeded on an exclusive locked file\n\n",
        name, kLabel);
    return kFailed;
  }
  dos.Close(second);

  if (!dos.ChangeMode(CHANGE_FH, file, EXCLUSIVE_LOCK)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test returned failure when changing an EXCLUSIVE_LOCK to an EXCLUSIVE_LOCK;  #%n %m\n",
        kLabel);
    dos.Printf("       This is effectively a No-Op and should always return success.\n\n");
    return kFailed;
  }
  return kPassed;
}

// 1. A handle becomes exclusive only when it is alone, and then keeps others out.
std::int32_t ExclusiveOnlyWhenAlone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  FileHandle second;
  const AtEnd release([&] {
    dos.Close(file);
    dos.Close(second);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    // As it stands: the name where the label belongs.
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name, kLabel,
               "MODE_READWRITE");
    return kFailed;
  }

  second = dos.Open(name, MODE_OLDFILE);
  if (!second) {
    // As it stands: the name where the label belongs.
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name, kLabel,
               "MODE_OLDFILE");
    return kFailed;
  }
  dos.Close(second);
  second = {};

  const std::int32_t status = ChangeWhileShared(ctx, name, file, second);
  if (status != kPassed) return status;

  dos.Close(second);
  second = {};
  return ChangeWhenAlone(ctx, name, file, second);
}

constexpr SubTestTable kSubTests = {
    {"ExclusiveOnlyWhenAlone", ExclusiveOnlyWhenAlone},  // 1
    {},
};

}  // namespace

const TestGroup kChangeFileModeGroup = {kLabel, kSubTests};

}  // namespace quorle
