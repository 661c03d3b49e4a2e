#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ParentDir()";

// 1. The root has no parent.
std::int32_t RootHasNone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const char root[] = ":";
  LockHandle lock;
  LockHandle parent;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(parent);
  });

  lock = dos.Lock(root, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: %s test failed, cannot Lock(\"%s\",SHARED_LOCK); #%n %m\n\n", kLabel,
               root);
    return kFailed;
  }

  // The code is not cleared first: the filesystem has to answer with 0 itself.
  parent = dos.ParentDir(lock);
  if (parent) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, %s returned a valid parent lock of the root dir; #%n %m\n\n",
        kLabel, kLabel);
    return kFailed;
  }
  if (WrongError(ctx, 0)) {
    dos.Printf("\nWARN:  %s of the root dir failed ok, but the error code was wrong; #%n %m\n",
               kLabel);
    dos.Printf("       instead, the error code should have been zero.\n\n");
    return kFailed;
  }
  return kPassed;
}

// 2. A new sub-directory has a parent.
std::int32_t DirectoryHasOne(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  LockHandle lock;
  LockHandle parent;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(parent);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  lock = dos.CreateDir(name);
  if (!lock) {
    dos.Printf("\nERROR: %s test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", kLabel, name);
    return kFailed;
  }

  parent = dos.ParentDir(lock);
  if (!parent) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, cannot %s from a new sub-directory; #%n %m\n\n", kLabel,
               kLabel);
    return kFailed;
  }
  return kPassed;
}

// 3. A file has a parent.
std::int32_t FileHasOne(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  LockHandle parent;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(parent);
    if (file) dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    // As it stands: names MODE_NEWFILE, opens MODE_READWRITE.
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  lock = dos.DupLockFromFH(file);
  if (!lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  parent = dos.ParentDir(lock);
  if (!parent) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, %s of a shared file object returned ZERO; #%n %m\n\n",
               kLabel, kLabel);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"RootHasNone", RootHasNone},          // 1
    {"DirectoryHasOne", DirectoryHasOne},  // 2
    {"FileHasOne", FileHasOne},            // 3
    {},
};

}  // namespace

const TestGroup kParentDirGroup = {kLabel, kSubTests};

}  // namespace quorle
