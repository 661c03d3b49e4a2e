#include "harness/scratch.h"

#include "harness/diagnostics.h"

namespace quorle {
namespace {

constexpr std::int32_t kLastNumber = 98;

}  // namespace

bool UniqueName(TestContext& ctx, const char* base, char* buffer, std::uint32_t size) {
  DosInterface& dos = *ctx.IDOS;
  for (std::int32_t n = 1; n <= kLastNumber; ++n) {
    ctx.IUtility->SNPrintf(buffer, size, "%s%02ld", base, n);
    const LockHandle lock = dos.Lock(buffer, SHARED_LOCK);
    if (!lock && dos.IoErr() == ERROR_OBJECT_NOT_FOUND) return true;
    dos.UnLock(lock);
  }
  {
    const Bold bold(ctx);
    dos.PutStr("\nERROR: Cannot build unique object name string.\n\n");
  }
  if (size >= 1) buffer[0] = '\0';
  return false;
}

bool UniqueFile(TestContext& ctx, ScratchName& name) {
  return UniqueName(ctx, "FILE", name.text, ScratchName::kSize);
}

bool UniqueDirectory(TestContext& ctx, ScratchName& name) {
  return UniqueName(ctx, "DIRECTORY", name.text, ScratchName::kSize);
}

bool UniqueLink(TestContext& ctx, ScratchName& name) {
  return UniqueName(ctx, "LINK", name.text, ScratchName::kSize);
}

void CleanUp(TestContext& ctx, const char* name, const char* label, std::uint32_t number) {
  DosInterface& dos = *ctx.IDOS;
  if (name[0] == '\0') return;

  dos.SetProtection(name, EXDF_DEFAULT);
  std::int32_t code = 0;
  if (!dos.Delete(name)) code = dos.IoErr();

  const LockHandle lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) return;
  dos.UnLock(lock);

  const Bold bold(ctx);
  dos.SetIoErr(code);
  if (label != nullptr) {
    dos.Printf("\nCLEANUP ERROR[%lu]: %s test left the object \"%s\" behind, error; %n %m\n\n",
               number, label, name);
  }
}

}  // namespace quorle
