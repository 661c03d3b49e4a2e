#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "DeviceInfoData()";

/// Reads the disk information of the target's device.
bool ReadInfo(TestContext& ctx, InfoData& info) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.GetDiskInfo(ctx.device_name, info)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed;  #%n %m\n", kLabel);
    dos.Printf("       This call should not normally be able to fail.\n\n");
    return false;
  }
  return true;
}

// 1. The volume, which is not write-protected, is validated.
std::int32_t ValidatedWhenUnprotected(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  InfoData info = {};
  if (!ReadInfo(ctx, info)) return kFailed;

  // As it stands: the call did not fail; the code is the one of an earlier failure.
  if (info.id_DiskState == ID_DISKSTATE_WRITE_PROTECTED) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, id_DiskState reports as ID_DISKSTATE_WRITE_PROTECTED;  #%n %m\n\n",
        kLabel);
    return kFailed;
  }
  if (info.id_DiskState != ID_DISKSTATE_VALIDATED) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, id_DiskState reports as not being validated (%ld);  #%n %m\n\n",
        kLabel, info.id_DiskState);
    return kFailed;
  }
  return kPassed;
}

// 2. The volume, once it is write-protected, says so.
std::int32_t WriteProtectedWhenProtected(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  // A filesystem without write protection has nothing to say here.
  if (!dos.WriteProtectVolume(ctx.device_name, true, 0, 0)) return kPassed;
  const AtEnd release([&] { dos.WriteProtectVolume(ctx.device_name, false, 0, 0); });

  InfoData info = {};
  if (!ReadInfo(ctx, info)) return kFailed;
  if (info.id_DiskState != ID_DISKSTATE_WRITE_PROTECTED) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, id_DiskState did not report as ID_DISKSTATE_WRITE_PROTECTED,\n",
        kLabel);
    dos.Printf("       when the test device was write protected.\n\n");
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"ValidatedWhenUnprotected", ValidatedWhenUnprotected},        // 1
    {"WriteProtectedWhenProtected", WriteProtectedWhenProtected},  // 2
    {},
};

}  // namespace

const TestGroup kDeviceInfoDataGroup = {kLabel, kSubTests};

}  // namespace quorle
