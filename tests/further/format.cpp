#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/destruction.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Format()";
constexpr char kNewName[] = "_0_formatted_0_";

/// Formats the volume, as `name` and of the type that it has, while it is inhibited. Whether it was formatted is
/// in `done`, whatever came then. Returns the status.
std::int32_t FormatAs(TestContext& ctx, const char* name, bool& done) {
  DosInterface& dos = *ctx.IDOS;
  Vacancy vacancy(ctx);
  if (!vacancy.Inhibit()) {
    dos.Printf("\nERROR: %s test failed, cannot Inhibit(\"%s\",TRUE); #%n %m\n\n", kLabel,
               ctx.device_name);
    return kFailed;
  }
  done = FurtherOf(ctx).IFurtherDos->Format(ctx.device_name, name, ctx.dos_type);
  const std::int32_t code = dos.IoErr();
  if (const std::int32_t status = vacancy.Return(); status != kPassed) return status;
  if (done) return kPassed;
  dos.SetIoErr(code);
  return FailedCall(ctx,
                    "\nERROR: Format(\"%s\",\"%s\") failed while the volume was inhibited and "
                    "nothing was open; #%n %m\n\n",
                    ctx.device_name, name);
}

/// Whether the volume is called `name` and has its type; what is wrong is printed.
bool IsCalled(TestContext& ctx, const char* name) {
  DosInterface& dos = *ctx.IDOS;
  char found[ScratchName::kSize] = {};
  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  if (!dos.VolNameFromPort(port, found, sizeof found, false)) {
    dos.DevNameFromPort(port, found, sizeof found, false);
  }
  InfoData info = {};
  dos.GetDiskInfo(ctx.device_name, info);
  const auto type = static_cast<std::uint32_t>(info.id_DiskType);
  if (ctx.IUtility->Stricmp(found, name) == 0 && type == ctx.dos_type) return true;
  const Bold bold(ctx);
  dos.Printf(
      "\nERROR: the volume is called \"%s\", of type 0x%08lx, after Format(\"%s\",0x%08lx).\n"
      "       What was asked for is what must be there.\n\n",
      found, type, name, ctx.dos_type);
  return false;
}

// 1. A volume that is not inhibited is not formatted: 202, and nothing is lost.
std::int32_t RefusedUnlessInhibited(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  bool done = false;
  const AtEnd release([&] {
    ctx.IDOS->Relabel(ctx.device_name, ctx.volume_name);  // whatever Format() did
    CleanUpRoot(ctx, name, kLabel, 1);
  });
  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  Vacancy vacancy(ctx);
  done = FurtherOf(ctx).IFurtherDos->Format(ctx.device_name, kNewName, ctx.dos_type);
  const std::int32_t code = dos.IoErr();
  if (const std::int32_t status = vacancy.Return(); status != kPassed) return status;
  if (done) {
    return Failure(
        ctx,
        "\nERROR: Format(\"%s\",\"%s\") succeeded although the volume is not inhibited.\n"
        "       Another program may be using what is destroyed.\n\n",
        ctx.device_name, kNewName);
  }
  dos.SetIoErr(code);
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    return WrongCode(
        ctx, ERROR_OBJECT_IN_USE,
        "\nWARN:  Format(\"%s\",\"%s\") of a volume that is not inhibited failed ok, but "
        "the error code was wrong; #%n %m\n",
        ctx.device_name, kNewName);
  }
  const LockHandle lock = dos.Lock(name, SHARED_LOCK);
  dos.UnLock(lock);
  if (!lock) {
    return Failure(ctx,
                   "\nERROR: Format(\"%s\",\"%s\") was refused, and \"%s\" is gone; #%n %m\n"
                   "       What is refused must change nothing.\n\n",
                   ctx.device_name, kNewName, name);
  }
  return kPassed;
}

// 2. Nothing is on the volume afterwards.
std::int32_t VolumeIsEmpty(TestContext& ctx, std::int32_t) {
  ScratchName file;
  ScratchName directory;
  bool done = false;
  const AtEnd release([&] {
    ctx.IDOS->Relabel(ctx.device_name, ctx.volume_name);  // whatever Format() did
    CleanUpRoot(ctx, file, kLabel, 1);
    CleanUpRoot(ctx, directory, kLabel, 2);
  });
  if (!UniqueFile(ctx, file)) return kFailed;
  if (!MakeFile(ctx, file, kLabel)) return kFailed;
  if (!UniqueDirectory(ctx, directory)) return kFailed;
  if (!MakeDirectory(ctx, directory, kLabel)) return kFailed;

  if (const std::int32_t status = FormatAs(ctx, kNewName, done); status != kPassed) return status;
  if (!IsCurrentDirEmpty(ctx)) {
    return Failure(ctx,
                   "\nERROR: something is in the root after Format(\"%s\",\"%s\").\n"
                   "       A program that installs a system begins on a volume that it believes to "
                   "be empty.\n\n",
                   ctx.device_name, kNewName);
  }
  return kPassed;
}

// 3. It is called as was asked for, and gets its old name back.
std::int32_t NameAndTypeAreThose(TestContext& ctx, std::int32_t) {
  bool is_new = false;
  bool is_old = false;
  const AtEnd release([&] {
    ctx.IDOS->Relabel(ctx.device_name, ctx.volume_name);  // whatever Format() did
  });
  const std::int32_t as_new = FormatAs(ctx, kNewName, is_new);
  if (as_new != kPassed) return as_new;
  const bool has_new_name = IsCalled(ctx, kNewName);
  const std::int32_t as_old = FormatAs(ctx, ctx.volume_name, is_old);
  if (as_old != kPassed) return as_old;
  return has_new_name && IsCalled(ctx, ctx.volume_name) ? kPassed : kFailed;
}

constexpr SubTestTable kSubTests = {
    {"RefusedUnlessInhibited", RefusedUnlessInhibited},  // 1
    {"VolumeIsEmpty", VolumeIsEmpty},                    // 2
    {"NameAndTypeAreThose", NameAndTypeAreThose},        // 3
    {},
};

}  // namespace

const TestGroup kFurtherFormatGroup = {
    .label = kLabel, .sub_tests = kSubTests, .run = RunWhereNothingIsLost, .id = "Further.Format"};

}  // namespace quorle
