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

constexpr char kLabel[] = "Write()";

/// The length of a pattern as it is written: its text and the zeros after it.
constexpr std::int32_t kPatternBytes = 20;
constexpr char kPattern[kPatternBytes] = "1234567890ABCDEFGH";
/// The pattern after its first kOverwriteBytes bytes were overwritten with those of this one.
constexpr char kOverwritten[kPatternBytes] = "WXYZ567890ABCDEFGH";
constexpr std::int32_t kOverwriteBytes = 4;

// 1. What was written is read back, and then the file is at its end.
std::int32_t WriteAndReadBack(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  char buffer[kReadBytes];
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Write() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n",
               name);
    return kFailed;
  }
  const std::int32_t count = ContentBytes(name);
  const std::int32_t written = dos.Write(file, name, count);
  if (written != count) {
    if (NotImplemented(ctx)) return kFatal;
    // As it stands: the number is what came back, not what was asked for.
    dos.Printf("\nERROR: Write() test failed, cannot Write() %ld bytes; #%n %m\n\n", written);
    return kFailed;
  }

  if (!dos.ChangeFilePosition(file, 0, OFFSET_BEGINNING)) {
    dos.Printf("\nERROR: Write() test failed, cannot ChangeFilePosition(); #%n %m\n\n");
    return kFailed;
  }
  if (dos.Read(file, buffer, kReadBytes) != count) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Write() test failed, cannot Read() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }
  const std::int32_t at_end = dos.Read(file, buffer, kReadBytes);
  if (at_end != 0) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Write() test failed, trying to read past EOF returned %ld not 0; #%n %m\n\n",
        at_end);
    return kFailed;
  }
  return kPassed;
}

// 2. A file that is protected from writing opens, but is not written.
std::int32_t WriteProtectedFile(TestContext& ctx, std::int32_t) {
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
    dos.Printf("\nERROR: Write() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n",
               name);
    return kFailed;
  }
  dos.Close(file);
  file = {};
  if (!dos.SetProtection(name, EXDF_NO_WRITE)) {
    dos.Printf(
        "\nERROR: Write() test failed, cannot SetProtection(\"%s\",EXDF_NO_WRITE); #%n %m\n\n",
        name);
    return kFailed;
  }
  file = dos.Open(name, MODE_OLDFILE);
  if (!file) {
    dos.Printf("\nERROR: Write() test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n", name);
    dos.Printf("       It should have opened even though the file is write protected.\n\n");
    return kFailed;
  }

  const std::int32_t count = ContentBytes(name);
  const std::int32_t written = dos.Write(file, name, count);
  const std::int32_t code = dos.IoErr();
  if (written == count) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Write() test failed to respect the (W) write protection bit.\n\n");
    return kFailed;
  }
  if (written != -1) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Write() returned the wrong failure code when writing to a write protected file;\n");
    dos.Printf("       Write(,,%ld) returned %ld instead of -1\n\n", count, written);
    return kFailed;
  }
  if (!ctx.NoWarnMessages() && code != ERROR_WRITE_PROTECTED) {
    dos.SetIoErr(code);
    dos.Printf(
        "\nWARN:  Write() returned the wrong error code when writing to a write protected file; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_WRITE_PROTECTED);
    return kFailed;
  }
  return kPassed;
}

// 3. Writing into an existing file is a change to it.
std::int32_t UpdatesArchiveBitAndDate(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ChangeUpdateRecord* const record = ChangeUpdateSetUp(ctx, kLabel);
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    ChangeUpdateTearDown(ctx, record);
  });

  if (record == nullptr) return kFailed;

  file = dos.Open(record->file.path, MODE_OLDFILE);
  if (!file) {
    dos.Printf("\nERROR: Write() test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n\n",
               record->file.path);
    return kFailed;
  }
  constexpr std::int32_t kLabelBytes = sizeof(kLabel);  // with its terminating zero
  if (dos.Write(file, kLabel, kLabelBytes) != kLabelBytes) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Write() test failed; #%n %m\n\n");
    return kFailed;
  }
  dos.Close(file);
  file = {};
  return Change_Update_Test(ctx, record) ? kPassed : kFailed;
}

/// Goes back to the first byte of `file`.
bool Rewind(TestContext& ctx, FileHandle file) {
  if (!ctx.IDOS->ChangeFilePosition(file, 0, OFFSET_BEGINNING)) {
    const Bold bold(ctx);
    ctx.IDOS->Printf("\nERROR: Write() test failed to ChangeFilePosition(,0,OB). #%n %m\n\n");
    return false;
  }
  return true;
}

/// Compares what was read with a pattern, the terminating zero included.
bool DataIs(TestContext& ctx, char (&buffer)[kReadBytes], const char* pattern) {
  for (std::int32_t i = 0; buffer[i] == pattern[i]; ++i) {
    if (pattern[i] == '\0') return true;
  }
  buffer[kReadBytes - 1] = '\0';  // whatever a wrong filesystem put there, the text ends
  const Bold bold(ctx);
  ctx.IDOS->Printf("\nERROR: Write test failed, data invalid; \"%s\" != \"%s\" \n\n", buffer,
                   pattern);
  return false;
}

/// Only the low 32 bits of the size: the test files are small.
std::int32_t LowFileSize(TestContext& ctx, FileHandle file) {
  return static_cast<std::int32_t>(ctx.IDOS->GetFileSize(file));
}

/// Writes the pattern into the empty `file` and reads it back.
bool WritePattern(TestContext& ctx, FileHandle file, char (&buffer)[kReadBytes]) {
  DosInterface& dos = *ctx.IDOS;
  const std::int32_t written = dos.Write(file, kPattern, kPatternBytes);
  if (written != kPatternBytes) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Write() test failed to write requested data length. (%ld != %ld)\n\n",
               written, kPatternBytes);
    return false;
  }
  const std::int32_t size = LowFileSize(ctx, file);
  if (size != kPatternBytes) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Write() test failed, GetFileSize() returned %ld instead of %ld after writing %ld bytes ok.\n\n",
        size, kPatternBytes, kPatternBytes);
    return false;
  }
  if (!Rewind(ctx, file)) return false;
  const std::int32_t read = dos.Read(file, buffer, kReadBytes);
  if (read != kPatternBytes) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Write test failed to read back requested data length. (%ld != %ld)\n\n",
               read, kPatternBytes);
    return false;
  }
  return DataIs(ctx, buffer, kPattern);
}

/// Overwrites the start of the pattern in `file` and reads the whole back.
bool OverwritePattern(TestContext& ctx, FileHandle file, char (&buffer)[kReadBytes]) {
  DosInterface& dos = *ctx.IDOS;
  if (!Rewind(ctx, file)) return false;
  const std::int32_t written = dos.Write(file, kOverwritten, kOverwriteBytes);
  if (written != kOverwriteBytes) {
    const Bold bold(ctx);
    // As it stands: "Write test" here, "Write() test" at the first write.
    dos.Printf("\nERROR: Write test failed to write requested data length. (%ld != %ld)\n\n",
               written, kOverwriteBytes);
    return false;
  }
  const std::int32_t size = LowFileSize(ctx, file);
  if (size != kPatternBytes) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Write test failed at GetFileSize() after ChangeFilePosition(,0,OFFSET_B) \n");
    dos.Printf(
        "       and then overwriting the first 4 bytes again, but NOT extending the file.\n");
    dos.Printf("       GetFileSize() reports the size as %ld bytes instead of %ld bytes.\n\n", size,
               kPatternBytes);
    return false;
  }
  if (!Rewind(ctx, file)) return false;
  const std::int32_t read = dos.Read(file, buffer, kReadBytes);
  if (read != kPatternBytes) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Write test failed to read back correct data length after seeking(,0,OFFSET_B) and then\n");
    dos.Printf(
        "       overwriting the first 4 bytes, so that when trying to read the whole file again,\n");
    dos.Printf(
        "       the data length read does not equal the correct data length written. (read=%ld != written=%ld)\n\n",
        read, kPatternBytes);
    return false;
  }
  return DataIs(ctx, buffer, kOverwritten);
}

// 4. Overwriting the start of a file changes neither its size nor the rest of it.
std::int32_t OverwriteKeepsSizeAndRest(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  char buffer[kReadBytes] = {};
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 3);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Write() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n",
               name);
    return kFailed;
  }
  if (!WritePattern(ctx, file, buffer)) return kFailed;
  if (!OverwritePattern(ctx, file, buffer)) return kFailed;
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"WriteAndReadBack", WriteAndReadBack},                    // 1
    {"WriteProtectedFile", WriteProtectedFile},                // 2
    {"UpdatesArchiveBitAndDate", UpdatesArchiveBitAndDate},    // 3
    {"OverwriteKeepsSizeAndRest", OverwriteKeepsSizeAndRest},  // 4
    {},
};

}  // namespace

const TestGroup kWriteGroup = {kLabel, kSubTests};

}  // namespace quorle
