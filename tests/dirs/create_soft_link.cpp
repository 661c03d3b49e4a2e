#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "CreateSoftLink()";

// 1. A link to a directory.
std::int32_t LinkToDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  ScratchName link_name;
  const AtEnd release([&] {
    CleanUp(ctx, link_name, kLabel, 1);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: %s test failed; cannot CreateDir(\"%s\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.UnLock(created);
  if (!UniqueDirectory(ctx, link_name)) return kFailed;

  if (!dos.MakeLink(link_name, name, LINK_SOFT)) {
    if (NotImplemented(ctx)) return kFatal;
    // As it stands: names "dirlink", whatever the link's name is.
    dos.Printf("\nERROR: %s test failed; cannot MakeLink(\"dirlink\",\"%s\",LINK_SOFT) #%n %m\n\n",
               kLabel, name);
    return kFailed;
  }
  return kPassed;
}

// 2. A link to a file.
std::int32_t LinkToFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  ScratchName link_name;
  const AtEnd release([&] {
    CleanUp(ctx, link_name, kLabel, 3);
    CleanUp(ctx, name, kLabel, 4);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed; cannot Open(\"%s\",MODE_NEWFILE) #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  dos.Close(file);
  if (!UniqueFile(ctx, link_name)) return kFailed;

  if (!dos.MakeLink(link_name, name, LINK_SOFT)) {
    // As it stands: passes in silence where the sub-test before it stops the group.
    if (NotImplemented(ctx)) return kPassed;
    // As it stands: names "filelink", whatever the link's name is.
    dos.Printf("\nERROR: %s test failed; cannot MakeLink(\"filelink\",\"%s\",LINK_SOFT) #%n %m\n\n",
               kLabel, name);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"LinkToDirectory", LinkToDirectory},  // 1
    {"LinkToFile", LinkToFile},            // 2
    {},
};

}  // namespace

const TestGroup kCreateSoftLinkGroup = {kLabel, kSubTests};

}  // namespace quorle
