#include "harness/runner.h"

#include "harness/diagnostics.h"

namespace quorle {

std::int32_t RunTestGroup(TestContext& ctx, const SubTest* sub_tests, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  bool failed = false;
  for (std::int32_t position = 0; sub_tests[position] != nullptr; ++position) {
    ctx.last_error = 0;
    const std::int32_t status = sub_tests[position](ctx, position);
    if (status == kPassed) continue;
    failed = true;
    if (status < kFatal) continue;

    if (ctx.last_error == ERROR_ACTION_NOT_KNOWN && !ctx.NoInfoMessages()) {
      const Italic italic(ctx);
      dos.Printf("%s test skipped because it is not implemented for %s\n", label, ctx.device_name);
    }
    return RETURN_ERROR;
  }
  if (failed) return RETURN_ERROR;

  dos.Printf("%s tests passed.\n", label);
  return RETURN_OK;
}

}  // namespace quorle
