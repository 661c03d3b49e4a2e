#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Relabel()";

constexpr std::uint32_t kNameSize = 256;

// 1. The volume takes a new name, and it is read back.
std::int32_t NewNameReadBack(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  char new_name[kNameSize];
  char found_name[kNameSize] = {};

  ctx.IUtility->Strlcpy(new_name, "_0_new_name_0_", kNameSize);
  if (!dos.Relabel(ctx.device_name, new_name)) {
    if (NotImplemented(ctx)) return kFatal;
    // As it stands: the operation under test failed, and the error is not in bold.
    dos.Printf("\nERROR: Relabel() test failed, cannot Relabel(\"%s\",\"%s\"); #%n %m\n\n",
               ctx.device_name, new_name);
    return kFailed;
  }
  const AtEnd release([&] { dos.Relabel(ctx.device_name, ctx.volume_name); });

  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  if (!dos.VolNameFromPort(port, found_name, kNameSize, false)) {
    dos.Printf("\nERROR: Relabel() test failed, cannot read volume name; #%n %m\n\n");
    return kFailed;
  }
  if (ctx.IUtility->Stricmp(found_name, new_name) != 0) {
    // As it stands: the filesystem did wrong, and the error is not in bold.
    dos.Printf("\nERROR: Relabel() test failed, \"%s\" != \"%s\" \n\n", found_name, new_name);
    return kFailed;
  }
  return kPassed;
}

// 2. A write-protected volume keeps its name.
std::int32_t WriteProtectedVolume(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  char new_name[kNameSize];
  bool relabelled = false;

  if (!dos.WriteProtectVolume(ctx.device_name, true, 0, 0)) {
    dos.Printf("\nERROR: %s test failed, cannot write protect the volume; #%n %m\n\n", kLabel);
    return kFailed;
  }
  const AtEnd release([&] {
    dos.WriteProtectVolume(ctx.device_name, false, 0, 0);
    if (relabelled) dos.Relabel(ctx.device_name, ctx.volume_name);
  });

  ctx.IUtility->Strlcpy(new_name, "__1_name_1__", kNameSize);
  relabelled = dos.Relabel(ctx.device_name, new_name);
  if (relabelled) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed to respect the disk write protect status.\n\n", kLabel);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_DISK_WRITE_PROTECTED)) {
    const Bold bold(ctx);
    dos.Printf("\nWARN:  %s failed ok, but the error code was wrong; #%n %m\n", kLabel);
    ShouldHaveBeen(ctx, ERROR_DISK_WRITE_PROTECTED);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NewNameReadBack", NewNameReadBack},            // 1
    {"WriteProtectedVolume", WriteProtectedVolume},  // 2
    {},
};

std::int32_t RunOnNamedVolume(TestContext& ctx, const TestGroup& group, RunListener& listener) {
  if (ctx.volume_name[0] == '\0') {
    if (ctx.NoInfoMessages()) return RETURN_OK;
    const Italic italic(ctx);
    ctx.IDOS->Printf("%s test skipped because there is no volume node for %s\n", kLabel,
                     ctx.device_name);
    return RETURN_OK;
  }
  return RunTestGroup(ctx, group, listener);
}

}  // namespace

const TestGroup kRelabelGroup = {.label = kLabel, .sub_tests = kSubTests, .run = RunOnNamedVolume};

}  // namespace quorle
