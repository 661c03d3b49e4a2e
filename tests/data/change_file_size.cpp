#include <cstdint>

#include "harness/at_end.h"
#include "harness/change_update.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ChangeFileSize()";

/// How most sub-tests start: a file that holds its own name, open, with the position at its end.
bool OpenWrittenFile(TestContext& ctx, ScratchName& name, FileHandle& file) {
  if (!UniqueFile(ctx, name)) return false;
  file = OpenReadWrite(ctx, name, kLabel);
  if (!file) return false;
  const std::int32_t count = ContentBytes(name);
  if (ctx.IDOS->Write(file, name, count) != count) {
    ctx.IDOS->Printf("\nERROR: ChangeFileSize() test failed, cannot Write() %ld bytes; #%n %m\n\n",
                     count);
    return false;
  }
  return true;
}

/// Reports a size change that failed.
std::int32_t NotChanged(TestContext& ctx, std::int32_t offset, const char* mode_name) {
  const Bold bold(ctx);
  ctx.IDOS->Printf(
      "\nERROR: ChangeFileSize() test failed, cannot ChangeFileSize(%ld,\"%s\"); #%n %m\n\n",
      offset, mode_name);
  return kFailed;
}

/// Whether `file` is `expected` bytes long.
bool SizeIs(TestContext& ctx, FileHandle file, std::int32_t expected) {
  DosInterface& dos = *ctx.IDOS;
  const std::int64_t size = dos.GetFileSize(file);
  if (size == -1) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: ChangeFileSize() test failed, cannot GetFileSize(); #%n %m\n\n");
    return false;
  }
  if (size != expected) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeFileSize() test failed, wrong size returned by GetFileSize(); (%lld instead of %ld)\n\n",
        size, expected);
    return false;
  }
  return true;
}

// 1. Sizes counted from the position, from the end and from the beginning.
std::int32_t SizeFromEachOrigin(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!OpenWrittenFile(ctx, name, file)) return kFailed;
  const std::int32_t count = ContentBytes(name);
  const std::int32_t half = count >> 1;
  constexpr std::int32_t kStep = 150;
  if (!SizeIs(ctx, file, count)) return kFailed;

  if (!dos.ChangeFileSize(file, kStep, OFFSET_CURRENT)) {
    return NotImplemented(ctx) ? kFatal : NotChanged(ctx, kStep, "OC");
  }
  if (!SizeIs(ctx, file, count + kStep)) return kFailed;

  if (!dos.ChangeFileSize(file, -kStep, OFFSET_END)) return NotChanged(ctx, -kStep, "OE");
  if (!SizeIs(ctx, file, count)) return kFailed;

  if (!dos.ChangeFileSize(file, half, OFFSET_BEGINNING)) return NotChanged(ctx, half, "OB");
  if (!SizeIs(ctx, file, half)) return kFailed;

  if (!dos.ChangeFileSize(file, 1, OFFSET_BEGINNING)) return NotChanged(ctx, 1, "OB");
  if (!SizeIs(ctx, file, 1)) return kFailed;

  if (!dos.ChangeFileSize(file, 0, OFFSET_BEGINNING)) return NotChanged(ctx, 0, "OB");
  return SizeIs(ctx, file, 0) ? kPassed : kFailed;
}

// 2. A new size is a change to the file.
std::int32_t UpdatesArchiveBitAndDate(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ChangeUpdateRecord* const record = ChangeUpdateSetUp(ctx, kLabel);
  FileHandle file;
  const AtEnd release([&] {
    if (file) dos.Close(file);  // only after a change that failed
    ChangeUpdateTearDown(ctx, record);
  });

  if (record == nullptr) return kFailed;

  file = dos.Open(record->file.path, MODE_OLDFILE);
  if (!file) {
    dos.Printf(
        "\nERROR: ChangeFileSize() test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n\n",
        record->file.path);
    return kFailed;
  }
  if (!dos.ChangeFileSize(file, 10, OFFSET_BEGINNING)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: ChangeFileSize(file,10,\"OB\") failed; #%n %m\n\n");
    return kFailed;
  }
  dos.Close(file);
  file = {};
  return Change_Update_Test(ctx, record) ? kPassed : kFailed;
}

// 3. A file that grows keeps its position.
std::int32_t GrowingKeepsPosition(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 3);
  });

  if (!OpenWrittenFile(ctx, name, file)) return kFailed;
  const std::int32_t count = ContentBytes(name);
  const std::int32_t bigger = 2 * count;

  // A position that cannot be read, -1, is compared like any other.
  const std::int64_t before = dos.GetFilePosition(file);
  if (!dos.ChangeFileSize(file, bigger, OFFSET_BEGINNING)) return NotChanged(ctx, bigger, "OB");
  const std::int64_t after = dos.GetFilePosition(file);
  if (after != before) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeFileSize() test failed, GetFilePosition() changed after a ChangeFileSize(bigger).\n");
    // As it stands: "changed to from".
    dos.Printf(
        "       File changed to from %ld bytes to %ld bytes, instead of %lld, GetFilePosition() returned %lld.\n",
        count, bigger, before, after);
    dos.Printf("       Making a file larger must not affect the current file position cursor.\n\n");
    return kFailed;
  }
  return kPassed;
}

/// Cuts `file` of `count` bytes, whose position is at its end, down to `smaller` bytes. The
/// position must then be at the new end.
std::int32_t CheckPositionAfterShrinking(TestContext& ctx, FileHandle file, std::int32_t count,
                                         std::int32_t smaller) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.ChangeFileSize(file, smaller, OFFSET_BEGINNING)) return NotChanged(ctx, smaller, "OB");
  const std::int64_t position = dos.GetFilePosition(file);
  if (position != smaller) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeFileSize() test failed, GetFilePosition() didn't reposition after a ChangeFileSize(smaller).\n");
    // As it stands: "changed to from".
    dos.Printf(
        "       File changed to from %ld bytes to %ld bytes, GetFilePosition() returned %lld instead of %ld.\n",
        count, smaller, position, smaller);
    dos.Printf("       The file position cursor is now pointing past the end of the file.\n");
    dos.Printf("\n");
    return kFailed;
  }
  return kPassed;
}

// 4. A file that shrinks below its position.
std::int32_t ShrinkingMovesPositionToEnd(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 4);
  });

  if (!OpenWrittenFile(ctx, name, file)) return kFailed;
  const std::int32_t count = ContentBytes(name);
  return CheckPositionAfterShrinking(ctx, file, count, count >> 1);
}

// 5. A file that is emptied.
std::int32_t EmptyingMovesPositionToStart(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!OpenWrittenFile(ctx, name, file)) return kFailed;
  return CheckPositionAfterShrinking(ctx, file, ContentBytes(name), 0);
}

// 6. A file that is protected from writing opens, but keeps its size.
std::int32_t WriteProtectedFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 6);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFileReadWrite(ctx, name, kLabel)) return kFailed;

  if (!dos.SetProtection(name, EXDF_NO_WRITE)) {
    dos.Printf(
        "\nERROR: ChangeFileSize() test failed, cannot SetProtection(\"%s\",EXDF_NO_WRITE); #%n %m\n\n",
        name);
    return kFailed;
  }
  file = OpenReadWrite(ctx, name, kLabel);
  if (!file) return kFailed;

  const bool changed = dos.ChangeFileSize(file, 256, OFFSET_BEGINNING);
  const std::int32_t code = dos.IoErr();
  if (changed) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: ChangeFileSize() succeeded when it should have failed on a write protected file.\n\n");
    return kFailed;
  }
  if (!ctx.NoWarnMessages() && code != ERROR_WRITE_PROTECTED) {
    dos.SetIoErr(code);
    dos.Printf(
        "\nWARN:  ChangeFileSize() returned the wrong error code when changing a write protected file; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_WRITE_PROTECTED);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"SizeFromEachOrigin", SizeFromEachOrigin},                      // 1
    {"UpdatesArchiveBitAndDate", UpdatesArchiveBitAndDate},          // 2
    {"GrowingKeepsPosition", GrowingKeepsPosition},                  // 3
    {"ShrinkingMovesPositionToEnd", ShrinkingMovesPositionToEnd},    // 4
    {"EmptyingMovesPositionToStart", EmptyingMovesPositionToStart},  // 5
    {"WriteProtectedFile", WriteProtectedFile},                      // 6
    {},
};

}  // namespace

const TestGroup kChangeFileSizeGroup = {kLabel, kSubTests};

}  // namespace quorle
