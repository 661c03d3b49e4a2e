#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ChangeFilePosition()";

/// What the test files hold is the label with its terminating zero; all positions follow from that.
constexpr std::int32_t kContentBytes = sizeof(kLabel);
static_assert(kContentBytes == 21);

/// Judges the code with which a move was refused.
std::int32_t RefusedMove(TestContext& ctx) {
  if (WrongError(ctx, ERROR_SEEK_ERROR)) {
    ctx.IDOS->Printf("\nWARN:  %s failed ok, but the error code was wrong;\n       #%n %m\n",
                     kLabel);
    ShouldHaveBeen(ctx, ERROR_SEEK_ERROR);
    return kFailed;
  }
  return kPassed;
}

/// The moves of `file` that lead out of it, and those to where they start.
std::int32_t MovesOutside(TestContext& ctx, FileHandle file) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.ChangeFilePosition(file, 0, OFFSET_END)) {
    if (NotImplemented(ctx)) return kFatal;
    dos.Printf("\nERROR: %s test failed, cannot ChangeFilePosition(0,'OE'); #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (dos.ChangeFilePosition(file, +1, OFFSET_CURRENT)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, changing +1 byte 'OC', when at EOF did not cause failure.\n\n",
        kLabel);
    return kFailed;
  }
  if (RefusedMove(ctx) != kPassed) return kFailed;

  if (!dos.ChangeFilePosition(file, 0, OFFSET_BEGINNING)) {
    dos.Printf("\nERROR: %s test failed, cannot ChangeFilePosition(0,'OB'); #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (dos.ChangeFilePosition(file, -1, OFFSET_CURRENT)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, changing -1 byte 'OC', when at BOF did not cause failure.\n\n",
        kLabel);
    return kFailed;
  }
  if (RefusedMove(ctx) != kPassed) return kFailed;

  if (dos.ChangeFilePosition(file, -1, OFFSET_BEGINNING)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, changing -1 byte before BOF did not cause failure.\n\n",
               kLabel);
    return kFailed;
  }
  if (RefusedMove(ctx) != kPassed) return kFailed;

  if (dos.ChangeFilePosition(file, +1, OFFSET_END)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, changing +1 byte after EOF did not cause failure.\n\n",
               kLabel);
    return kFailed;
  }
  return RefusedMove(ctx);
}

// 1. A move that leads before the beginning or past the end of the file.
std::int32_t MoveOutsideIsRefused(TestContext& ctx, std::int32_t) {
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
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  if (dos.Write(file, kLabel, kContentBytes) != kContentBytes) {
    dos.Printf("\nERROR: %s test failed, cannot Write() %ld bytes; #%n %m\n\n", kLabel,
               kContentBytes);
    return kFailed;
  }
  return MovesOutside(ctx, file);
}

/// Reports that the position could not be read.
std::int32_t NoPosition(TestContext& ctx) {
  const Bold bold(ctx);
  ctx.IDOS->Printf(
      "\nERROR: ChangeFilePosition() test failed, cannot GetFilePosition(); #%n %m\n\n");
  return kFailed;
}

/// The position of the new `file`, and after it was written.
std::int32_t PositionsOfNewFile(TestContext& ctx, FileHandle file) {
  DosInterface& dos = *ctx.IDOS;
  constexpr std::int32_t kStart = 0;
  std::int64_t position = dos.GetFilePosition(file);
  if (position == -1) return NoPosition(ctx);
  if (position != kStart) {
    const Bold bold(ctx);
    // As it stands: speaks of the size, though the position was asked for.
    dos.Printf("\nERROR: %s test failed, the size of a newly created file was not zero.\n", kLabel);
    dos.Printf("       GetFilePosition() returned %lld instead of %ld.\n\n", position, kStart);
    return kFailed;
  }

  if (dos.Write(file, kLabel, kContentBytes) != kContentBytes) {
    dos.Printf("\nERROR: %s test failed, cannot Write() %ld bytes; #%n %m\n\n", kLabel,
               kContentBytes);
    return kFailed;
  }
  position = dos.GetFilePosition(file);
  if (position == -1) return NoPosition(ctx);
  if (position != kContentBytes) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, wrong position returned by GetFilePosition() after Write().\n",
        kLabel);
    dos.Printf("       GetFilePosition() returned %lld instead of %ld.\n\n", position,
               kContentBytes);
    return kFailed;
  }
  return kPassed;
}

/// The position of the written `file` after a move of each kind.
std::int32_t PositionsAfterMoves(TestContext& ctx, FileHandle file) {
  DosInterface& dos = *ctx.IDOS;
  constexpr std::int32_t kStart = 0;
  if (!dos.ChangeFilePosition(file, 0, OFFSET_BEGINNING)) {
    dos.Printf("\nERROR: %s test failed, cannot ChangeFilePosition(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  std::int64_t position = dos.GetFilePosition(file);
  if (position == -1) return NoPosition(ctx);
  if (position != kStart) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, after ChangeFilePosition(0,\"OB\").\n", kLabel);
    dos.Printf("       GetFilePosition() returned %lld instead of %ld.\n\n", position, kStart);
    return kFailed;
  }

  if (!dos.ChangeFilePosition(file, 0, OFFSET_END)) {
    dos.Printf("\nERROR: %s test failed, cannot ChangeFilePosition(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  position = dos.GetFilePosition(file);
  if (position == -1) return NoPosition(ctx);
  if (position != kContentBytes) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, after ChangeFilePosition(0,\"OE\").\n", kLabel);
    dos.Printf("       GetFilePosition() returned %lld instead of %ld.\n\n", position,
               kContentBytes);
    return kFailed;
  }

  constexpr std::int32_t kBack = -5;
  constexpr std::int32_t kExpected = kContentBytes + kBack;
  if (!dos.ChangeFilePosition(file, kBack, OFFSET_CURRENT)) {
    dos.Printf("\nERROR: %s test failed, cannot ChangeFilePosition(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  position = dos.GetFilePosition(file);
  if (position == -1) return NoPosition(ctx);
  if (position != kExpected) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, after ChangeFilePosition(%ld,\"OC\").\n", kLabel, kBack);
    dos.Printf("       GetFilePosition() returned %lld instead of %ld.\n\n", position, kExpected);
    return kFailed;
  }
  return kPassed;
}

// 2. The position after a write and after each kind of move.
std::int32_t PositionFollowsWriteAndMoves(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  if (PositionsOfNewFile(ctx, file) != kPassed) return kFailed;
  return PositionsAfterMoves(ctx, file);
}

constexpr SubTestTable kSubTests = {
    {"MoveOutsideIsRefused", MoveOutsideIsRefused},                  // 1
    {"PositionFollowsWriteAndMoves", PositionFollowsWriteAndMoves},  // 2
    {},
};

}  // namespace

const TestGroup kChangeFilePositionGroup = {kLabel, kSubTests};

}  // namespace quorle
