#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Close()";

// 1. To close a handle succeeds, to close nothing fails.
std::int32_t SucceedsOnHandleFailsOnNone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  // No handle is released here: the only one is gone whatever the tested call returns.
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 1); });

  if (!UniqueFile(ctx, name)) return kFailed;

  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }

  if (!dos.Close(file)) {
    const Bold bold(ctx);
    // A handle has 32 bits on the platform; a wider one shows its low half.
    dos.Printf(
        "\nERROR: Close(0x%08lx) returned a failure code, it should have returned success.\n\n",
        static_cast<std::uint32_t>(file.value));
    return kFailed;
  }

  if (dos.Close({})) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Close(0x%08lx) returned a success code, it should have returned failure.\n\n", 0);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"SucceedsOnHandleFailsOnNone", SucceedsOnHandleFailsOnNone},  // 1
    {},
};

}  // namespace

const TestGroup kCloseGroup = {kLabel, kSubTests};

}  // namespace quorle
