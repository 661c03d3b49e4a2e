#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "harness/vector_port.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "CreateDir()";

/// Up to this dos.library (53.112), `CreateDir()` is used on a vector port whose word at byte 78 is
/// set; from the next one on, every filesystem gets the packet.
constexpr std::uint32_t kLastDosVersionWithoutPacket = 53 * 65536 + 112;

/// Whether the word at byte 78 of the port of `target` is set; never for a packet port.
bool HasVectorPortWord78(TestContext& ctx, LockHandle target) {
  if (!target) return false;
  const PortHandle port =
      VectorPort(ctx, ctx.IDOS->FileLockOf(target).fl_Port, FS_VECTORPORT_VERSION);
  return port && ctx.IDOS->PortRecordOf(port).word78;
}

/// Makes the directory `name`, relative to `target`, and returns the lock that the filesystem
/// itself granted, or none with `IoErr()` set by the filesystem. `CreateDir()` forces that lock to
/// be shared (dos.library 53.78 and later), which would hide what is checked here.
LockHandle TestCreateDir(TestContext& ctx, LockHandle target, const char* name) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.dos_version <= kLastDosVersionWithoutPacket && HasVectorPortWord78(ctx, target)) {
    return dos.CreateDir(name);
  }

  constexpr std::uint32_t kNameSize = 256;
  alignas(4) std::uint8_t packet_name[kNameSize] = {};
  dos.CopyStringSTRToBSTR(name, packet_name, kNameSize);
  if (!target) return {};
  // The fifth argument is the name once more, on purpose.
  return dos.DoPkt(dos.FileLockOf(target).fl_Port, ACTION_CREATE_DIR, target, packet_name, 0, 0,
                   packet_name);
}

// 1. Make a directory.
std::int32_t NewDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  LockHandle directory;
  const AtEnd release([&] {
    dos.UnLock(directory);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  directory = TestCreateDir(ctx, ctx.root_lock, name);
  if (!directory) {
    if (NotImplemented(ctx)) return kFatal;
    // As it stands: the operation under test failed, and the error is not in bold.
    dos.Printf("\nERROR: CreateDir() test failed, CreateDir(\"%s\") failed; #%n %m\n", name);
    return kFailed;
  }
  return kPassed;
}

// 2. The lock on the new directory is shared: it can be duplicated.
std::int32_t LockIsShared(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const bool is_vector_port = TargetIsVectorPort(ctx);
  ScratchName name;
  LockHandle directory;
  LockHandle duplicate;
  const AtEnd release([&] {
    dos.UnLock(directory);
    dos.UnLock(duplicate);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  directory = TestCreateDir(ctx, ctx.root_lock, name);
  if (!directory) {
    dos.Printf("\nERROR: CreateDir(\"%s\") test failed; #%n %m\n", name);
    return kFailed;
  }

  duplicate = dos.DupLock(directory);
  if (duplicate) return kPassed;

  // As it stands: the same line follows "ERROR: " and "INFO:  ", and neither is in bold.
  if (is_vector_port) {
    dos.PutStr("\nERROR: ");
    dos.Printf("CreateDir() test failed while trying to duplicate result; #%n %m\n");
    dos.Printf("       The result directory lock mode returned was an EXCLUSIVE_LOCK. \n");
    dos.Printf("       All directory locks for Vector-port based filesystems must always be \n");
    dos.Printf("       shared directory locks.\n");
    return kFailed;
  }
  if (ctx.NoInfoMessages()) return kPassed;
  dos.PutStr("\nINFO:  ");
  dos.Printf("CreateDir() test failed while trying to duplicate result; #%n %m\n");
  dos.Printf("       The result directory lock mode returned was an EXCLUSIVE_LOCK. \n");
  dos.Printf("       Older DosPacket based filesystems may continue to do this without any\n");
  dos.Printf("       ramifications because dos.library 53.78+ will force CreateDir() to return\n");
  dos.Printf("       only shared directory locks, however, this should still be addressed.\n\n");
  return kPassed;
}

// 3. A name that a directory or a file has already.
std::int32_t TakenName(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName directory_name;
  ScratchName file_name;
  LockHandle first;
  LockHandle second;
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    dos.UnLock(first);
    dos.UnLock(second);
    CleanUp(ctx, directory_name, kLabel, 3);
    CleanUp(ctx, file_name, kLabel, 4);
  });

  if (!UniqueDirectory(ctx, directory_name)) return kFailed;
  if (!UniqueFile(ctx, file_name)) return kFailed;

  first = TestCreateDir(ctx, ctx.root_lock, directory_name);
  if (!first) {
    dos.Printf("\nERROR: CreateDir(\"%s\") test failed; #%n %m\n", directory_name);
    return kFailed;
  }

  second = TestCreateDir(ctx, ctx.root_lock, directory_name);
  if (second) {
    const Bold bold(ctx);
    dos.SetIoErr(ERROR_OBJECT_EXISTS);
    dos.Printf("\nERROR: CreateDir(\"%s\") test succeeded, when it should have failed; #%n %m\n",
               directory_name);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_EXISTS)) {
    dos.Printf("\nWARN:  CreateDir(\"%s\") failed ok, but the error code was wrong; #%n %m\n",
               directory_name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_EXISTS);
    return kFailed;
  }

  const FileHandle file = dos.Open(file_name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: CreateDir() test failed, can't create temp file \"%s\"; #%n %m\n",
               file_name);
    return kFailed;
  }
  dos.Close(file);

  second = TestCreateDir(ctx, ctx.root_lock, file_name);
  if (second) {
    const Bold bold(ctx);
    dos.SetIoErr(ERROR_OBJECT_EXISTS);
    dos.Printf("\nERROR: CreateDir(\"%s\") test succeeded, when it MUST fail; #%n %m\n", file_name);
    dos.Printf("       a file with the same name already existed !\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_EXISTS)) {
    // As it stands: names the directory, though the file's name was tried.
    dos.Printf("\nWARN:  CreateDir(\"%s\") failed ok, but the error code was wrong; #%n %m\n",
               directory_name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_EXISTS);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NewDirectory", NewDirectory},  // 1
    {"LockIsShared", LockIsShared},  // 2
    {"TakenName", TakenName},        // 3
    {},
};

}  // namespace

const TestGroup kCreateDirGroup = {kLabel, kSubTests};

}  // namespace quorle
