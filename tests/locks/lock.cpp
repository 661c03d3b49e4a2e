#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "harness/vector_port.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Lock()";

// 1. A shared lock on a name that does not exist.
std::int32_t MissingObject(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  LockHandle lock;
  const AtEnd release([&] {
    dos.UnLock(lock);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  lock = dos.Lock(name, SHARED_LOCK);
  if (lock) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Lock(\"%s\",SHARED_LOCK) succeeded even though \n", name);
    dos.Printf("       there was no object by that name.\n\n");
    return kFailed;
  }
  if (NotImplemented(ctx)) return kFatal;
  // As it stands: an error although it says "failed correctly", and not in bold.
  if (WrongError(ctx, ERROR_OBJECT_NOT_FOUND)) {
    dos.Printf(
        "\nERROR: Lock(\"%s\",SHARED_LOCK) failed correctly, but the error code was wrong;\n       #%n %m\n",
        name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_NOT_FOUND);
    return kFailed;
  }
  return kPassed;
}

// 2. An exclusive lock on a file that already holds a shared lock.
std::int32_t ExclusiveOverShared(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle shared;
  LockHandle exclusive;
  const AtEnd release([&] {
    dos.UnLock(shared);
    dos.UnLock(exclusive);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: Lock() test failed, cannot Open(\"%s\") temp file. #%n %m\n\n", name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  shared = dos.Lock(name, SHARED_LOCK);
  if (!shared) {
    dos.Printf("\nERROR: Lock(\"%s\",SHARED_LOCK) failed #%n %m\n\n", name);
    return kFailed;
  }

  exclusive = dos.Lock(name, EXCLUSIVE_LOCK);
  if (exclusive) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Lock(\"%s\",EXCLUSIVE_LOCK) succeeded even though there was already a shared lock\n",
        name);
    dos.Printf("       being held on the same file, exclusive file locks must be exclusive.\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Lock(\"%s\",EXCLUSIVE_LOCK) failed ok, but the error code was wrong;\n       #%n %m\n",
        name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return kPassed;
}

// 3. An exclusive lock request on a directory.
std::int32_t SharedOnlyOnDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const bool is_vector_port = TargetIsVectorPort(ctx);
  ScratchName name;
  LockHandle shared;
  LockHandle exclusive;
  const AtEnd release([&] {
    dos.UnLock(shared);
    dos.UnLock(exclusive);
    CleanUp(ctx, name, kLabel, 3);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: Lock() test failed, CreateDir(\"%s\") failed; #%n %m\n", name);
    return kFailed;
  }
  dos.UnLock(created);

  shared = dos.Lock(name, SHARED_LOCK);
  exclusive = dos.Lock(name, EXCLUSIVE_LOCK);
  if (!shared) {
    // As it stands: the code is the one after both calls.
    dos.Printf("\nERROR: Lock(\"%s\",SHARED_LOCK) failed #%n %m\n\n", name);
    return kFailed;
  }
  if (exclusive) return kPassed;

  if (is_vector_port) {
    dos.Printf(
        "\nERROR: Lock(\"%s\",EXCLUSIVE_LOCK) returned an exclusive directory lock, all directory locks\n",
        name);
    dos.Printf(
        "       for Vector-port based filesystems must be shared locks regardless of the requested mode.\n\n");
    return kFailed;
  }
  // As it stands: the warning is the only way for a packet filesystem to pass.
  if (ctx.NoWarnMessages()) return kFailed;
  dos.Printf("\nWARN:  Lock(\"%s\",EXCLUSIVE_LOCK) returned an exclusive directory lock. \n", name);
  dos.Printf("       Older dospacket based filesystems may continue to do this without major\n");
  dos.Printf("       issues, providing they do not expect long DOS paths (>255 chars) to work\n");
  dos.Printf("       when any part of that long DOS path has an exclusively locked directory,\n");
  dos.Printf("       also Examination by name reference as well as IDOS->NameFromLock() and \n");
  dos.Printf("       other such functions that require additional locks to an exclusively\n");
  dos.Printf("       locked directory, will also fail to function.\n\n");
  return kPassed;
}

// 4. A lock with an empty name, relative to a lock on a file.
std::int32_t EmptyNameRelativeToFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle file_lock;
  LockHandle relative;
  const AtEnd release([&] {
    dos.UnLock(file_lock);
    dos.UnLock(relative);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 4);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_READWRITE) temp file. #%n %m\n\n",
               kLabel, name);
    return kFailed;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(\"%s\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  const LockHandle previous = dos.SetCurrentDir(file_lock);
  relative = dos.Lock("", SHARED_LOCK);
  dos.SetCurrentDir(previous);
  if (!relative) {
    const Bold bold(ctx);
    // As it stands: names an assignment, though the name was empty.
    dos.Printf(
        "\nERROR: Lock(\"File_Assignment:\",SHARED_LOCK) failed when using a relative file lock; #%n %m\n");
    dos.Printf(
        "       There appears to be an issue with the relative lock and name string handling.\n");
    dos.Printf(
        "       Please refer to; ACTION_LOCATE_OBJECT / FSLock() and ACTION_FINDxxx / FSOpen() autodocs\n");
    dos.Printf(
        "       for example code and mode information, specifically when using the relative lock\n");
    dos.Printf("       to identify the object when the name string is a nul-string. \n\n");
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"MissingObject", MissingObject},                      // 1
    {"ExclusiveOverShared", ExclusiveOverShared},          // 2
    {"SharedOnlyOnDirectory", SharedOnlyOnDirectory},      // 3
    {"EmptyNameRelativeToFile", EmptyNameRelativeToFile},  // 4
    {},
};

}  // namespace

const TestGroup kLockGroup = {kLabel, kSubTests};

}  // namespace quorle
