#include "tests/attrs/owner_id.h"

#include "harness/catalogue.h"
#include "harness/diagnostics.h"

namespace quorle {

std::int32_t CheckWideId(TestContext& ctx, std::uint32_t id, const OwnerIds& ids,
                         const char* label) {
  DosInterface& dos = *ctx.IDOS;
  if (id == ids.wide) return kPassed;

  if (id == ids.narrow) {
    if (ctx.NoInfoMessages()) return kPassed;
    dos.PutStr("\nINFO:  ");
    dos.Printf("%s test did not store the new 32 bit wide value;  0x%08lx.\n", label, ids.wide);
    dos.Printf("       however, it successfully stored an old 16 bit wide value; 0x%08lx.\n", id);
    dos.Printf("       this is still fully compatible with existing usage.\n\n");
    StyleOff(ctx);  // As it stands: no style was on.
    return kPassed;
  }

  const Bold bold(ctx);
  dos.PutStr("\nERROR: ");
  dos.Printf("%s test did not store the new 32 bit wide value;  0x%08lx.\n", label, ids.wide);
  dos.Printf("       instead, it returned an error value of 0x%08lx\n\n", id);
  return kFailed;
}

}  // namespace quorle
