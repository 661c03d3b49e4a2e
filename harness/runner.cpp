#include <cstdint>

#include "harness/catalogue.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/run_listener.h"

namespace quorle {

std::int32_t RunTestGroup(TestContext& ctx, const TestGroup& group, RunListener& listener) {
  DosInterface& dos = *ctx.IDOS;
  bool failed = false;
  for (std::int32_t position = 0; group.sub_tests[position].run != nullptr; ++position) {
    const SubTest& sub_test = group.sub_tests[position];
    ctx.last_error = 0;
    listener.OnSubTestStart(sub_test, position + 1);
    const std::int32_t status = sub_test.run(ctx, position);
    listener.OnSubTestEnd(sub_test, status);
    if (status == kPassed) continue;
    failed = true;
    if (status < kFatal) continue;

    if (ctx.last_error == ERROR_ACTION_NOT_KNOWN && !ctx.NoInfoMessages()) {
      const Italic italic(ctx);
      dos.Printf("%s test skipped because it is not implemented for %s\n", group.label,
                 ctx.device_name);
    }
    return RETURN_ERROR;
  }
  if (failed) return RETURN_ERROR;

  dos.Printf("%s tests passed.\n", group.label);
  return RETURN_OK;
}

}  // namespace quorle
