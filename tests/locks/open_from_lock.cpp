#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "OpenFromLock()";

// 1. A file opens from a shared lock.
std::int32_t SharedLockOpens(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: OpenFromLock() test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n",
               name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: OpenFromLock() test failed, cannot Lock(\"%s\",SHARED_LOCK); #%n %m\n\n",
               name);
    return kFailed;
  }

  file = dos.OpenFromLock(lock);
  if (!file) {
    if (NotImplemented(ctx)) return kFatal;
    const Bold bold(ctx);
    dos.Printf("\nERROR: OpenFromLock(\"%s\") failed; #%n %m\n\n", name);
    return kFailed;
  }
  lock = {};  // the handle's from here on
  return kPassed;
}

// 2. A file opens from an exclusive lock.
std::int32_t ExclusiveLockOpens(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: OpenFromLock() test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n",
               name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  lock = dos.Lock(name, EXCLUSIVE_LOCK);
  if (!lock) {
    dos.Printf(
        "\nERROR: OpenFromLock() test failed, cannot Lock(\"%s\",EXCLUSIVE_LOCK); #%n %m\n\n",
        name);
    return kFailed;
  }

  file = dos.OpenFromLock(lock);
  if (!file) {
    // Not implemented at all: sub-test 1 has ended the group by now.
    const Bold bold(ctx);
    dos.Printf("\nERROR: OpenFromLock(\"%s\") failed; #%n %m\n\n", name);
    return kFailed;
  }
  lock = {};  // the handle's from here on
  return kPassed;
}

// 3. A directory does not open as a file.
std::int32_t DirectoryIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 3);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: OpenFromLock() test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", name);
    return kFailed;
  }
  dos.UnLock(created);

  lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: OpenFromLock() test failed, cannot Lock(\"%s\",SHARED_LOCK); #%n %m\n\n",
               name);
    return kFailed;
  }

  file = dos.OpenFromLock(lock);
  if (file) {
    lock = {};  // the handle's from here on
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: OpenFromLock(\"%s\") succeeded opening a directory as a file, this must always fail,\n",
        name);
    dos.Printf(
        "       this is a serious failure that could easily corrupt the internal filesystem structure. !!\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    dos.Printf(
        "\nWARN:  OpenFromLock(\"%s\") test failed ok, but the error code was wrong; #%n %m\n",
        name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_WRONG_TYPE);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"SharedLockOpens", SharedLockOpens},        // 1
    {"ExclusiveLockOpens", ExclusiveLockOpens},  // 2
    {"DirectoryIsRefused", DirectoryIsRefused},  // 3
    {},
};

}  // namespace

const TestGroup kOpenFromLockGroup = {kLabel, kSubTests};

}  // namespace quorle
