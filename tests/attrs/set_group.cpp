#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/attrs/owner_id.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "SetGroup()";

constexpr OwnerIds kIds = {.narrow = 0xABCD, .wide = 0x1234ABCD};

/// Sets the group of `name`.
bool SetGroup(TestContext& ctx, const char* name, std::uint32_t id) {
  return ctx.IDOS->SetOwnerInfo(name, OI_OwnerGID, id);
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
  if (!MakeFile(ctx, file_name, kLabel)) return kFailed;
  if (!MakeDirectory(ctx, directory_name, kLabel)) return kFailed;

  // As it stands: the errors of this sub-test are not in bold.
  data = Examine(ctx, file_name, kLabel);
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
  if (!MakeFile(ctx, file_name, kLabel)) return kFailed;
  if (!MakeDirectory(ctx, directory_name, kLabel)) return kFailed;

  lock = SharedLock(ctx, file_name, kLabel);
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
  lock = SharedLock(ctx, directory_name, kLabel);
  if (!lock) return kFailed;
  if (!SetGroup(ctx, directory_name, DOS_OWNER_NONE)) {
    // As it stands: the code is not recorded, and an unknown operation is not treated apart.
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
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  if (!SetGroup(ctx, name, kIds.narrow)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup(\"%s\",0x%08lx) failed; #%n %m\n\n", name, kIds.narrow);
    return kFailed;
  }
  data = Examine(ctx, name, kLabel);
  if (data == nullptr) return kFailed;
  if (data->OwnerGID != kIds.narrow) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup() test failed, group value did not store test value 0x%04lx.\n",
               kIds.narrow);
    dos.Printf("       instead, examination returned a value of 0x%04lx\n\n", data->OwnerGID);
    return kFailed;
  }

  if (!SetGroup(ctx, name, kIds.wide)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetGroup(\"%s\",0x%08lx) failed; #%n %m\n\n", name, kIds.wide);
    return kFailed;
  }
  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  data = Examine(ctx, name, kLabel);
  if (data == nullptr) return kFailed;
  return CheckWideId(ctx, data->OwnerGID, kIds, kLabel);
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
