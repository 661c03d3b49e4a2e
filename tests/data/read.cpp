#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Read()";

// 1. What was written is read back, and then the file is at its end.
std::int32_t ReadBack(TestContext& ctx, std::int32_t) {
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
    dos.Printf("\nERROR: Read() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", name);
    return kFailed;
  }
  const std::int32_t count = ContentBytes(name);
  if (dos.Write(file, name, count) != count) {
    dos.Printf("\nERROR: Read() test failed, cannot Write() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }
  if (!dos.ChangeFilePosition(file, 0, OFFSET_BEGINNING)) {
    dos.Printf("\nERROR: Read() test failed, cannot ChangeFilePosition(); #%n %m\n\n");
    return kFailed;
  }

  if (dos.Read(file, buffer, kReadBytes) != count) {
    if (NotImplemented(ctx)) return kFatal;
    const Bold bold(ctx);
    dos.Printf("\nERROR: Read() test failed, cannot Read() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }
  const std::int32_t at_end = dos.Read(file, buffer, kReadBytes);
  if (at_end != 0) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Read() test failed, trying to read past EOF returned %ld not 0; #%n %m\n\n",
        at_end);
    return kFailed;
  }
  return kPassed;
}

// 2. A file that is protected from reading opens, but is not read.
std::int32_t ReadProtectedFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  char buffer[kReadBytes];
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Read() test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", name);
    return kFailed;
  }
  const std::int32_t count = ContentBytes(name);
  if (dos.Write(file, name, count) != count) {
    dos.Printf("\nERROR: Read() test failed, cannot Write() %ld bytes; #%n %m\n\n", count);
    return kFailed;
  }
  dos.Close(file);
  file = {};
  if (!dos.SetProtection(name, EXDF_NO_READ)) {
    dos.Printf("\nERROR: Read() test failed, cannot SetProtection(\"%s\",EXDF_NO_READ); #%n %m\n\n",
               name);
    return kFailed;
  }
  file = dos.Open(name, MODE_OLDFILE);
  if (!file) {
    dos.Printf("\nERROR: Read() test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n\n", name);
    return kFailed;
  }

  const std::int32_t result = dos.Read(file, buffer, kReadBytes);
  if (result == count) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Read() function failed to respect the (R) read protection bit.\n\n");
    return kFailed;
  }
  if (result != -1) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Read() returned the wrong failure code when reading a read protected file;\n");
    // As it stands: the first number is what was written, not what was asked for.
    dos.Printf("       Read(,,%ld) returned %ld instead of -1\n\n", count, result);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_READ_PROTECTED)) {
    dos.Printf(
        "\nWARN:  Read() returned the wrong error code when reading a read protected file; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_READ_PROTECTED);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"ReadBack", ReadBack},                    // 1
    {"ReadProtectedFile", ReadProtectedFile},  // 2
    {},
};

}  // namespace

const TestGroup kReadGroup = {kLabel, kSubTests};

}  // namespace quorle
