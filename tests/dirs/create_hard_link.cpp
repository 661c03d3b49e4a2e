#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/dos_types.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "CreateHardLink()";

// 1. A directory linked to its own parent.
std::int32_t DirectoryLoop(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.dos_type == kQvr04) {
    if (!ctx.NoWarnMessages()) {
      dos.Printf("\nWARN:  %s test with hard dir links was skipped for QVR\\04 partitions.\n\n",
                 kLabel);
    }
    return kPassed;
  }
  ScratchName name;
  ScratchName link_name;
  LockHandle directory;
  const AtEnd release([&] {
    dos.UnLock(directory);
    CleanUp(ctx, link_name, kLabel, 1);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  directory = dos.CreateDir(name);
  if (!directory) {
    dos.Printf("\nERROR: %s test failed; cannot CreateDir(\"%s\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  if (!UniqueDirectory(ctx, link_name)) return kFailed;

  if (!dos.MakeLink(link_name, directory, LINK_HARD)) {
    if (NotImplemented(ctx)) return kFatal;
    // As it stands: names "dirlink", whatever the link's name is.
    dos.Printf("\nERROR: %s test failed; cannot MakeLink(\"dirlink\",\"%s\",LINK_HARD) #%n %m\n\n",
               kLabel, name);
    return kFailed;
  }
  dos.Delete(link_name);

  // The link would lie in the root, to which it leads.
  if (dos.MakeLink(link_name, ctx.root_lock, LINK_HARD)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, it allowed a directory to be hardlinked to \n", kLabel);
    dos.Printf("       its own parent directory, thereby creating a directory loop.\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    dos.Printf("\nWARN:  %s test failed ok trying to create a hardlinked directory loop,\n",
               kLabel);
    dos.Printf("       but the error code was wrong; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_OBJECT_WRONG_TYPE);
    return kFailed;
  }
  return kPassed;
}

// 2. A link to a file.
std::int32_t LinkToFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.dos_type == kQvr04) {
    if (!ctx.NoWarnMessages()) {
      dos.Printf("\nWARN:  %s test with hard file links was skipped for QVR\\04 partitions.\n\n",
                 kLabel);
    }
    return kPassed;
  }
  ScratchName name;
  ScratchName link_name;
  FileHandle file;
  LockHandle file_lock;
  const AtEnd release([&] {
    if (file) dos.Close(file);
    dos.UnLock(file_lock);
    CleanUp(ctx, link_name, kLabel, 3);
    CleanUp(ctx, name, kLabel, 4);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) failed #%n %m\n\n", name);
    return kFailed;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(\"%s\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.Close(file);
  file = {};
  if (!UniqueFile(ctx, link_name)) return kFailed;

  // As it stands: a filesystem without hard links fails here; only the first sub-test asks for 209.
  if (!dos.MakeLink(link_name, file_lock, LINK_HARD)) {
    dos.Printf("\nERROR: %s test failed, cannot MakeLink(\"%s\",\"%s\",LINK_HARD) #%n %m\n\n",
               kLabel, link_name, name);
    return kFailed;
  }
  return kPassed;
}

// 3. A link to an object on another volume.
std::int32_t OtherVolumeIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.dos_type == kQvr04) {
    // As it stands: speaks of directory links, though volumes are crossed here.
    if (!ctx.NoWarnMessages()) {
      dos.Printf("\nWARN:  %s test with hard dir links was skipped for QVR\\04 partitions.\n\n",
                 kLabel);
    }
    return kPassed;
  }
  ScratchName name;
  LockHandle foreign;
  const AtEnd release([&] {
    dos.UnLock(foreign);
    CleanUp(ctx, name, kLabel, 1);
  });

  foreign = dos.Lock("ram:", SHARED_LOCK);
  if (!foreign) {
    dos.Printf("\nERROR: %s test failed; cannot Lock(\"ram:\")  #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (dos.SameLock(foreign, ctx.root_lock) != LOCK_DIFFERENT) {
    // The target is "ram:" itself.
    dos.UnLock(foreign);
    foreign = dos.Lock("env:", SHARED_LOCK);
    if (!foreign) {
      dos.Printf("\nERROR: %s test failed; cannot Lock(\"env:\")  #%n %m\n\n", kLabel);
      return kFailed;
    }
  }
  if (!UniqueDirectory(ctx, name)) return kFailed;

  if (dos.MakeLink(name, foreign, LINK_HARD)) {
    const Bold bold(ctx);
    // As it stands: shows a code after a call that succeeded.
    dos.Printf(
        "\nERROR: %s test succeeded creating a hardlink to a target on a different volume. #%n %m\n\n",
        kLabel);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_INVALID_LOCK)) {
    dos.Printf(
        "\nWARN:  %s test failed ok trying to create a hardlink to a target on a different volume,\n",
        kLabel);
    dos.Printf("       but the error code was wrong; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_INVALID_LOCK);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"DirectoryLoop", DirectoryLoop},                // 1
    {"LinkToFile", LinkToFile},                      // 2
    {"OtherVolumeIsRefused", OtherVolumeIsRefused},  // 3
    {},
};

}  // namespace

const TestGroup kCreateHardLinkGroup = {kLabel, kSubTests};

}  // namespace quorle
