#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "SetGroup()";

/// The values that are stored. The low half of the second is the first, so that a filesystem that
/// keeps 16 bits shows.
constexpr std::uint32_t kShortId = 0xABCD;
constexpr std::uint32_t kLongId = 0x1234ABCD;

/// Sets the group of `name`.
bool SetGroup(TestContext& ctx, const char* name, std::uint32_t id) {
  return ctx.IDOS->SetOwnerInfo(name, OI_OwnerGID, id);
}

/// Makes the empty file `name`.
bool MakeFile(TestContext& ctx, const ScratchName& name) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: SetGroup() test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n",
               name);
    return false;
  }
  dos.Close(file);
  return true;
}

/// Makes the directory `name`.
bool MakeDirectory(TestContext& ctx, const ScratchName& name) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: SetGroup() test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", name);
    return false;
  }
  dos.UnLock(created);
  return true;
}

/// A shared lock on `name`.
LockHandle SharedLock(TestContext& ctx, const ScratchName& name) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: SetGroup() test failed, cannot Lock(\"%s\",SHARED_LOCK); #%n %m\n\n",
               name);
  }
  return lock;
}

/// Examines the file `name`.
const ExamineData* ExamineFile(TestContext& ctx, const ScratchName& name) {
  DosInterface& dos = *ctx.IDOS;
  const ExamineData* const data = dos.ExamineObject(EX_StringNameInput, name);
  if (data == nullptr) {
    dos.Printf("\nERROR: SetGroup() test failed, cannot ExamineObject(\"%s\"); #%n %m\n\n", name);
  }
  return data;
}

// 1. A new file and a new directory have no group.
std::int32_t NewObjectsHaveNone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName file_name;
  ScratchName directory_name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});   // the file was closed before, and the directory released;
    dos.UnLock({});  // the calls are made all the same
    CleanUp(ctx, file_name, kLabel, 1);
    CleanUp(ctx, directory_name, kLabel, 2);
  });

  if (!UniqueFile(ctx, file_name)) return kFailed;
  if (!UniqueDirectory(ctx, directory_name)) return kFailed;
  if (!MakeFile(ctx, file_name)) return kFailed;
  if (!MakeDirectory(ctx, directory_name)) return kFailed;

  // As it stands: the errors of this sub-test are not in bold.
  data = ExamineFile(ctx, file_name);
  if (data == nullptr) return kFailed;
  if (data->OwnerGID != DOS_OWNER_NONE) {
    dos.Printf("\nERROR: SetGroup() discrepancy found. \n");
    dos.Printf("       Default new file group value was not set to 0x0000 [DOS_OWNER_NONE].\n");
    dos.Printf("       instead it returned a value of 0x%04lx\n\n", data->OwnerGID);
    return kFailed;
  }

  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  data = dos.ExamineObject(EX_StringNameInput, directory_name);
  if (data == nullptr) {
    // As it stands: does not name the directory.
    dos.Printf("\nERROR: SetGroup() test failed, cannot ExamineObject(); #%n %m\n\n");
    return kFailed;
  }
  if (data->OwnerGID != DOS_OWNER_NONE) {
    dos.Printf("\nERROR: SetGroup() discrepancy found. \n");
    dos.Printf(
        "       Default new directory group value was not set to 0x0000 [DOS_OWNER_NONE].\n");
    dos.Printf("       instead it returned a value of 0x%04lx\n\n", data->OwnerGID);
    return kFailed;
  }
  return kPassed;
}

// 2. A shared lock does not keep the group of a file or a directory from being set.
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
  if (!MakeFile(ctx, file_name)) return kFailed;
  if (!MakeDirectory(ctx, directory_name)) return kFailed;

  lock = SharedLock(ctx, file_name);
  if (!lock) return kFailed;
  if (!SetGroup(ctx, file_name, DOS_OWNER_NONE)) {
    if (NotImplemented(ctx)) return kFatal;
    const bool in_use = ctx.last_error == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup(\"%s\",0) failed while a shared lock is on the file; #%n %m\n",
               file_name);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }

  dos.UnLock(lock);
  lock = SharedLock(ctx, directory_name);
  if (!lock) return kFailed;
  if (!SetGroup(ctx, directory_name, DOS_OWNER_NONE)) {
    // As it stands: the code is not recorded, and an unknown operation is not told apart.
    const bool in_use = dos.IoErr() == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetGroup(\"%s\",0) failed when a shared lock is held on the dir; #%n %m\n\n",
        directory_name);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }
  return kPassed;
}

/// Judges the group that came back after kLongId was set, when kShortId had been stored before.
std::int32_t CheckLongId(TestContext& ctx, std::uint32_t id) {
  DosInterface& dos = *ctx.IDOS;
  if (id == kLongId) return kPassed;

  if (id == kShortId) {
    if (ctx.NoInfoMessages()) return kPassed;
    dos.PutStr("\nINFO:  ");
    dos.Printf("SetGroup() test did not store the new 32 bit wide value;  0x%08lx.\n", kLongId);
    dos.Printf("       however, it successfully stored an old 16 bit wide value; 0x%08lx.\n", id);
    dos.Printf("       this is still fully compatible with existing usage.\n\n");
    StyleOff(ctx);  // As it stands: no style was on.
    return kPassed;
  }

  const Bold bold(ctx);
  dos.PutStr("\nERROR: ");
  dos.Printf("SetGroup() test did not store the new 32 bit wide value;  0x%08lx.\n", kLongId);
  dos.Printf("       instead, it returned an error value of 0x%08lx\n\n", id);
  return kFailed;
}

// 3. A group of 16 bits and then one of 32 bits are stored and read back.
std::int32_t GroupIsStored(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name)) return kFailed;

  if (!SetGroup(ctx, name, kShortId)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup(\"%s\",0x%08lx) failed; #%n %m\n\n", name, kShortId);
    return kFailed;
  }
  data = ExamineFile(ctx, name);
  if (data == nullptr) return kFailed;
  if (data->OwnerGID != kShortId) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup() test failed, group value did not store test value 0x%04lx.\n",
               kShortId);
    dos.Printf("       instead, examination returned a value of 0x%04lx\n\n", data->OwnerGID);
    return kFailed;
  }

  if (!SetGroup(ctx, name, kLongId)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup(\"%s\",0x%08lx) failed; #%n %m\n\n", name, kLongId);
    return kFailed;
  }
  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  data = ExamineFile(ctx, name);
  if (data == nullptr) return kFailed;
  return CheckLongId(ctx, data->OwnerGID);
}

// 4. The root directory takes a group.
std::int32_t RootDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.NoRootMessages() || ctx.NoWarnMessages()) return kPassed;

  if (!SetGroup(ctx, ctx.device_name, DOS_OWNER_NONE)) {
    // As it stands: a warning that fails the sub-test; in the protection group it does not.
    dos.Printf("\nWARN:  SetGroup() test on the root directory failed; #%n %m\n");
    dos.Printf(
        "       Setting the group number on the root directory of a local filesystem should succeed.\n\n");
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NewObjectsHaveNone", NewObjectsHaveNone},  // 1
    {"SharedLockAllows", SharedLockAllows},      // 2
    {"GroupIsStored", GroupIsStored},            // 3
    {"RootDirectory", RootDirectory},            // 4
    {},
};

}  // namespace

const TestGroup kSetGroupGroup = {kLabel, kSubTests};

}  // namespace quorle
