#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/attrs/relative_lock.h"
#include "tests/dos_types.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "SetProtection()";

// 1. A new file denies nothing.
std::int32_t NewFileDeniesNothing(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  data = Examine(ctx, name, kLabel);
  if (data == nullptr) return kFailed;
  if (data->Protection == EXDF_DEFAULT) return kPassed;

  if (ctx.dos_type != kQvr04) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetProtection() test failed. \n");
    dos.Printf("       Default new file protection mask was not set to 0x0000 [R-W-E-D].\n");
    dos.Printf("       instead it returned a value of 0x%04lx\n\n", data->Protection);
    return kFailed;
  }
  // As it stands: any mask passes there, not only the one that the last line names.
  if (ctx.NoWarnMessages()) return kPassed;
  dos.Printf("\nWARN:  SetProtection() discrepancy found. \n");
  dos.Printf("       Default new file protection mask was not set to 0x0000 [R-W-E-D].\n");
  dos.Printf("       instead it returned a value of 0x%04lx\n", data->Protection);
  dos.Printf("       QVR/04 is known to create files with a mask of 0x0002 [R-W-e-D] instead.\n\n");
  return kPassed;
}

// 2. A new directory denies nothing.
std::int32_t NewDirectoryDeniesNothing(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.UnLock({});  // the directory was released before; the call is made all the same
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  if (!MakeDirectory(ctx, name, kLabel)) return kFailed;

  data = dos.ExamineObject(EX_StringNameInput, name);
  if (data == nullptr) {
    // As it stands: does not name the directory.
    dos.Printf("\nERROR: SetProtection() test failed, cannot ExamineObject(); #%n %m\n\n");
    return kFailed;
  }
  if (data->Protection == EXDF_DEFAULT) return kPassed;

  if (ctx.dos_type != kQvr04) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetProtection() test failed. \n");
    dos.Printf("       Default new directory protection mask was not set to 0x0000 [R-W-E-D].\n");
    dos.Printf("       instead it returned a value of 0x%04lx\n\n", data->Protection);
    return kFailed;
  }
  // As it stands: any mask passes there, not only the one that the last line names.
  if (ctx.NoWarnMessages()) return kPassed;
  dos.Printf("\nWARN:  SetProtection() discrepancy found. \n");
  dos.Printf("       Default new directory protection mask was not set to 0x0000 [R-W-E-D].\n");
  dos.Printf("       instead it returned a value of 0x%04lx\n", data->Protection);
  dos.Printf(
      "       QVR/04 is known to create directories with a mask of 0x0002 [R-W-e-D] instead.\n\n");
  return kPassed;
}

// 3. A shared lock does not keep the mask of a file or a directory from being changed.
std::int32_t SharedLockAllows(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName file_name;
  ScratchName directory_name;
  LockHandle lock;
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    dos.UnLock(lock);
    CleanUp(ctx, file_name, kLabel, 3);
    CleanUp(ctx, directory_name, kLabel, 4);
  });

  if (!UniqueFile(ctx, file_name)) return kFailed;
  if (!UniqueDirectory(ctx, directory_name)) return kFailed;
  if (!MakeFile(ctx, file_name, kLabel)) return kFailed;
  if (!MakeDirectory(ctx, directory_name, kLabel)) return kFailed;

  lock = SharedLock(ctx, file_name, kLabel);
  if (!lock) return kFailed;
  if (!dos.SetProtection(file_name, EXDF_DEFAULT)) {
    if (NotImplemented(ctx)) return kFatal;
    const bool in_use = ctx.last_error == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetProtection(\"%s\",0) failed while a shared lock is on the file; #%n %m\n",
        file_name);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }

  dos.UnLock(lock);
  lock = SharedLock(ctx, directory_name, kLabel);
  if (!lock) return kFailed;
  if (!dos.SetProtection(directory_name, EXDF_DEFAULT)) {
    // As it stands: the code is not recorded, and an unknown operation is not treated apart.
    const bool in_use = dos.IoErr() == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetProtection(\"%s\",0) failed when a shared lock is held on the dir; #%n %m\n\n",
        directory_name);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }
  return kPassed;
}

// 4. All 32 bits of a mask are stored, whether they mean something to the filesystem or not.
std::int32_t MaskIsStored(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kMask = 0xABCD1234;
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  if (!dos.SetProtection(name, kMask)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetProtection(\"%s\",0x%08lx) failed; #%n %m\n\n", name, kMask);
    return kFailed;
  }
  data = Examine(ctx, name, kLabel);
  if (data == nullptr) return kFailed;
  if (data->Protection != kMask) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetProtection() test failed, protection mask did not store 0x%08lx.\n",
               kMask);
    dos.Printf("       instead it returned a value of 0x%08lx\n\n", data->Protection);
    return kFailed;
  }
  return kPassed;
}

// 5. The root directory takes a mask. It keeps the mask 0.
std::int32_t RootDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.NoRootMessages() || ctx.NoWarnMessages()) return kPassed;

  if (!dos.SetProtection(ctx.device_name, EXDF_DEFAULT)) {
    dos.Printf("\nWARN:  SetProtection() test on the root directory failed; #%n %m\n");
    dos.Printf(
        "       Setting the protection mask on the root directory of a local filesystem should succeed.\n\n");
  }
  // As it stands: the warning does not fail the sub-test, unlike its like in the other groups.
  return kPassed;
}

// 6. An empty name, relative to a lock on a file, is that file.
std::int32_t EmptyNameRelativeToFile(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kMask = 34;
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle file_lock;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.UnLock(file_lock);
    dos.Close(file);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    CleanUp(ctx, name, kLabel, 6);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(\"%s\"); #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  const LockHandle previous = dos.SetCurrentDir(file_lock);
  const bool set = dos.SetProtection("", kMask);
  dos.SetCurrentDir(previous);
  if (!set) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetProtection(\"\", mask) failed when the relative lock is a file lock; #%n %m\n");
    ExplainRelativeLock(ctx);
    return kFailed;
  }

  data = dos.ExamineObject(EX_LockInput, file_lock);
  if (data == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (data->Protection != kMask) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetProtection(\"\",mask) succeeded when the relative lock is a file lock,\n");
    dos.Printf(
        "       however, the test protection mask was not actually set for the specified file. \n");
    ExplainRelativeLock(ctx);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NewFileDeniesNothing", NewFileDeniesNothing},            // 1
    {"NewDirectoryDeniesNothing", NewDirectoryDeniesNothing},  // 2
    {"SharedLockAllows", SharedLockAllows},                    // 3
    {"MaskIsStored", MaskIsStored},                            // 4
    {"RootDirectory", RootDirectory},                          // 5
    {"EmptyNameRelativeToFile", EmptyNameRelativeToFile},      // 6
    {},
};

}  // namespace

const TestGroup kSetProtectionGroup = {kLabel, kSubTests};

}  // namespace quorle
