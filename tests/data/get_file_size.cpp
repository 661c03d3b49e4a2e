#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "GetFileSize()";

/// Reports that the size could not be read.
std::int32_t NoSize(TestContext& ctx) {
  const Bold bold(ctx);
  ctx.IDOS->Printf("\nERROR: GetFileSize() test failed, cannot GetFileSize(); #%n %m\n\n");
  return kFailed;
}

/// Judges the size that was read.
std::int32_t SizeIs(TestContext& ctx, std::int64_t size, std::int32_t expected) {
  if (size != expected) {
    const Bold bold(ctx);
    ctx.IDOS->Printf(
        "\nERROR: GetFileSize() test failed, wrong size returned after Write(); (%lld instead of %ld)\n\n",
        size, expected);
    return kFailed;
  }
  return kPassed;
}

// 1. The size after one write.
std::int32_t SizeAfterWrite(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: GetFileSize() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n",
               name);
    return kFailed;
  }
  const std::int32_t count = ContentBytes(name);
  if (dos.Write(file, name, count) != count) {
    dos.Printf("\nERROR: GetFileSize() test failed, cannot Write() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }

  const std::int64_t size = dos.GetFileSize(file);
  if (size == -1) return NotImplemented(ctx) ? kFatal : NoSize(ctx);
  return SizeIs(ctx, size, count);
}

// 2. The size after a second write, which appends.
std::int32_t SizeAfterAppending(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  // As it stands: the clean-up number of sub-test 1.
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: GetFileSize() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n",
               name);
    return kFailed;
  }
  const std::int32_t count = ContentBytes(name);
  if (dos.Write(file, name, count) != count) {
    dos.Printf("\nERROR: GetFileSize() test failed, cannot Write() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }
  // As it stands: only sub-test 1 asks whether the operation is implemented.
  std::int64_t size = dos.GetFileSize(file);
  if (size == -1) return NoSize(ctx);
  if (SizeIs(ctx, size, count) != kPassed) return kFailed;

  if (dos.Write(file, name, count) != count) {
    dos.Printf("\nERROR: GetFileSize() test failed, cannot Write() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }
  size = dos.GetFileSize(file);
  if (size == -1) return NoSize(ctx);
  return SizeIs(ctx, size, 2 * count);
}

constexpr SubTestTable kSubTests = {
    {"SizeAfterWrite", SizeAfterWrite},          // 1
    {"SizeAfterAppending", SizeAfterAppending},  // 2
    {},
};

}  // namespace

const TestGroup kGetFileSizeGroup = {kLabel, kSubTests};

}  // namespace quorle
