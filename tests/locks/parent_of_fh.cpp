#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ParentOfFH()";

// 1. A file that was opened exclusively has a parent.
std::int32_t ExclusiveFileHasOne(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle parent;
  const AtEnd release([&] {
    dos.UnLock(parent);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }

  parent = dos.ParentOfFH(file);
  if (!parent) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, cannot %s from an exclusive opened file; #%n %m\n\n",
               kLabel, kLabel);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"ExclusiveFileHasOne", ExclusiveFileHasOne},  // 1
    {},
};

}  // namespace

const TestGroup kParentOfFHGroup = {kLabel, kSubTests};

}  // namespace quorle
