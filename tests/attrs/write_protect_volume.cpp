#include <cstdint>

#include "harness/context.h"
#include "harness/diagnostics.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "WriteProtectVolume()";

// 1. Write protection is switched on, and off again.
std::int32_t OnAndOff(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.WriteProtectVolume(ctx.device_name, true, 0, 0)) {
    if (NotImplemented(ctx)) return kFatal;
    const Bold bold(ctx);
    dos.Printf("\nERROR: WriteProtectVolume(\"%s\",TRUE) failed; #%n %m\n", ctx.device_name);
    return kFailed;
  }
  // As it stands: what this returns is not checked.
  dos.WriteProtectVolume(ctx.device_name, false, 0, 0);
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"OnAndOff", OnAndOff},  // 1
    {},
};

}  // namespace

const TestGroup kWriteProtectVolumeGroup = {kLabel, kSubTests};

}  // namespace quorle
