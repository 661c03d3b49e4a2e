#include <cstdint>

#include "harness/at_end.h"
#include "harness/change_update.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/memory.h"
#include "harness/scratch.h"
#include "tests/data/open_hard_links.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Open()";

/// A protection bit that is set, and a mode that opens the file all the same.
struct OpenProtectionCase {
  const char* bit_name;  ///< null ends the table
  std::uint32_t bit;
  const char* mode_name;
  std::int32_t mode;
};

// DELETE and MODE_NEWFILE are no row: that open is refused (sub-test 6).
constexpr OpenProtectionCase kProtectionCases[] = {
    {"READ", EXDF_NO_READ, "MODE_NEWFILE", MODE_NEWFILE},
    {"READ", EXDF_NO_READ, "MODE_READWRITE", MODE_READWRITE},
    {"READ", EXDF_NO_READ, "MODE_OLDFILE", MODE_OLDFILE},
    {"WRITE", EXDF_NO_WRITE, "MODE_NEWFILE", MODE_NEWFILE},
    {"WRITE", EXDF_NO_WRITE, "MODE_READWRITE", MODE_READWRITE},
    {"WRITE", EXDF_NO_WRITE, "MODE_OLDFILE", MODE_OLDFILE},
    {"EXECUTE", EXDF_NO_EXECUTE, "MODE_NEWFILE", MODE_NEWFILE},
    {"EXECUTE", EXDF_NO_EXECUTE, "MODE_READWRITE", MODE_READWRITE},
    {"EXECUTE", EXDF_NO_EXECUTE, "MODE_OLDFILE", MODE_OLDFILE},
    {"DELETE", EXDF_NO_DELETE, "MODE_READWRITE", MODE_READWRITE},
    {"DELETE", EXDF_NO_DELETE, "MODE_OLDFILE", MODE_OLDFILE},
    {nullptr, 0, nullptr, 0},
};

// 1. MODE_OLDFILE on a name that does not exist.
std::int32_t MissingFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_OLDFILE);
  if (file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_OLDFILE) succeeded even though \n", name);
    dos.Printf("       there was no file by that name.\n\n");
    return kFailed;
  }
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_NOT_FOUND)) {
    dos.Printf(
        "\nWARN:  Open(\"%s\",MODE_OLDFILE) failed ok, but the error code was wrong; #%n %m\n",
        name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_NOT_FOUND);
    return kFailed;
  }
  return kPassed;
}

/// Judges the code with which the directory `name` was refused in the mode of that name.
std::int32_t RefusedDirectory(TestContext& ctx, const char* name, const char* mode_name) {
  DosInterface& dos = *ctx.IDOS;
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    dos.Printf("\nWARN:  Open(\"%s\",%s) failed ok, but the error code was wrong;\n       #%n %m\n",
               name, mode_name);
    dos.Printf("       instead, when attempting to use %s on a directory object, \n", kLabel);
    dos.SetIoErr(ERROR_OBJECT_WRONG_TYPE);
    dos.Printf("       the error code should have been; #%n %m.\n\n");
    return kFailed;
  }
  return kPassed;
}

// 2. A directory, in each mode.
std::int32_t DirectoryIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: %s test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.UnLock(created);

  file = dos.Open(name, MODE_NEWFILE);
  if (file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_NEWFILE) succeeded even though it was \n", name);
    dos.Printf("       actually a directory object and not a file.\n\n");
    return kFailed;
  }
  if (RefusedDirectory(ctx, name, "MODE_NEWFILE") != kPassed) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) succeeded even though it was \n", name);
    dos.Printf("       actually a directory object and not a file.\n\n");
    return kFailed;
  }
  if (RefusedDirectory(ctx, name, "MODE_READWRITE") != kPassed) return kFailed;

  file = dos.Open(name, MODE_OLDFILE);
  if (file) {
    const Bold bold(ctx);
    // As it stands: no blank after "ERROR:", and the second line starts with six.
    dos.Printf("\nERROR:Open(\"%s\",MODE_OLDFILE) succeeded even though it was \n", name);
    dos.Printf("      actually a directory object and not a file.\n\n");
    return kFailed;
  }
  return RefusedDirectory(ctx, name, "MODE_OLDFILE");
}

// 3. MODE_OLDFILE on a file that is open in MODE_READWRITE.
std::int32_t OldFileBesideReadWriteOpens(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle first;
  FileHandle second;
  const AtEnd release([&] {
    dos.Close(first);
    dos.Close(second);
    CleanUp(ctx, name, kLabel, 3);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  first = dos.Open(name, MODE_READWRITE);
  if (!first) {
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) failed #%n %m\n\n", name);
    return kFailed;
  }

  second = dos.Open(name, MODE_OLDFILE);
  if (!second) {
    const std::int32_t code = dos.IoErr();
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_OLDFILE) failed after a MODE_READWRITE open\n", name);
    dos.SetIoErr(code);
    dos.Printf(
        "       on the same file, MODE_READWRITE must only open with a shared lock. #%n %m\n\n");
    return kFailed;
  }
  return kPassed;
}

/// Judges the code with which MODE_NEWFILE was refused for the file `name`.
std::int32_t RefusedNewFile(TestContext& ctx, const char* name, std::int32_t expected) {
  if (WrongError(ctx, expected)) {
    ctx.IDOS->Printf(
        "\nWARN:  Open(\"%s\",MODE_NEWFILE) failed ok, but the error code was wrong;\n       #%n %m\n",
        name);
    ShouldHaveBeen(ctx, expected);
    return kFailed;
  }
  return kPassed;
}

// 4. MODE_NEWFILE on a file that is open in MODE_READWRITE.
std::int32_t NewFileBesideReadWriteIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle first;
  FileHandle second;
  const AtEnd release([&] {
    dos.Close(first);
    dos.Close(second);
    CleanUp(ctx, name, kLabel, 4);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  first = dos.Open(name, MODE_READWRITE);
  if (!first) {
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) failed #%n %m\n\n", name);
    return kFailed;
  }

  second = dos.Open(name, MODE_NEWFILE);
  if (second) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_NEWFILE) succeeded even though \n", name);
    dos.Printf("       there was already a shared open lock on the same file.\n\n");
    return kFailed;
  }
  return RefusedNewFile(ctx, name, ERROR_OBJECT_IN_USE);
}

// 5. MODE_NEWFILE over a file that exists and is closed.
std::int32_t NewFileOverClosedFileOpens(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) failed #%n %m\n\n", name);
    return kFailed;
  }
  dos.Close(file);

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Open(\"%s\",MODE_NEWFILE) failed when it should have succeeded; #%n %m\n\n",
        name);
    return kFailed;
  }
  return kPassed;
}

// 6. MODE_NEWFILE over a file that is protected from deletion.
std::int32_t NewFileOverDeleteProtectedIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 6);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    // As it stands: not in bold, here and in sub-test 7.
    dos.Printf(
        "\nERROR: Open(\"%s\",MODE_NEWFILE) failed when it should have succeeded; #%n %m\n\n",
        name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  if (!dos.SetProtection(name, EXDF_NO_DELETE)) {
    dos.Printf(
        "\nERROR: Open() test failed, cannot SetProtection(\"%s\",EXDF_NO_DELETE); #%n %m\n\n",
        name);
    return kFailed;
  }

  file = dos.Open(name, MODE_NEWFILE);
  if (file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_NEWFILE) succeeded when it should have failed.\n", name);
    dos.Printf("       It did not respect the delete protection bit for an existing file,\n");
    dos.Printf("       therefore it effectively deleted a delete protected file.\n\n");
    return kFailed;
  }
  return RefusedNewFile(ctx, name, ERROR_DELETE_PROTECTED);
}

// 7. Protection bits do not hinder opening.
std::int32_t ProtectionDoesNotHinder(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 7); });

  if (!UniqueFile(ctx, name)) return kFailed;

  const FileHandle created = dos.Open(name, MODE_NEWFILE);
  if (!created) {
    dos.Printf(
        "\nERROR: Open(\"%s\",MODE_NEWFILE) failed when it should have succeeded; #%n %m\n\n",
        name);
    return kFailed;
  }
  dos.Close(created);

  std::int32_t result = kPassed;
  for (const OpenProtectionCase* row = kProtectionCases; row->bit_name != nullptr; ++row) {
    if (!dos.SetProtection(name, row->bit)) {
      // As it stands: an error that ends the rows without failing the sub-test.
      dos.Printf("\nERROR: %s test failed, cannot SetProtection(\"%s\",%s); #%n %m\n\n", kLabel,
                 name, row->bit_name);
      break;
    }
    const FileHandle file = dos.Open(name, row->mode);
    if (!file) {
      const Bold bold(ctx);
      dos.Printf("\nERROR: Open(\"%s\",%s) failed when it should have succeeded. #%n %m\n", name,
                 row->mode_name);
      dos.Printf("       It failed to Open() when %s protection bit was set on an existing file.\n",
                 row->bit_name);
      dos.Printf(
          "       The %s protection bit must not affect the operation of the Open() function.\n\n",
          row->bit_name);
      result = kFailed;
    }
    dos.Close(file);
  }
  return result;
}

// 8. MODE_NEWFILE on a volume that is write-protected.
std::int32_t NewFileOnWriteProtectedVolumeIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  bool protectable = true;
  const AtEnd release([&] {
    if (!protectable) return;  // nothing was tried: not even releases of nothing are made
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 8);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  protectable = dos.WriteProtectVolume(ctx.device_name, true, 0, 0);
  if (!protectable) return kPassed;
  file = dos.Open(name, MODE_NEWFILE);
  const std::int32_t code = dos.IoErr();
  dos.WriteProtectVolume(ctx.device_name, false, 0, 0);

  if (file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(\"%s\",MODE_NEWFILE) succeeded when it should have failed.\n", name);
    dos.Printf(
        "       Open(MODE_NEWFILE) failed to respect the volumes WRITE-PROTECTION status.\n\n");
    return kFailed;
  }
  if (!ctx.NoWarnMessages() && code != ERROR_DISK_WRITE_PROTECTED) {
    dos.Printf("\nWARN:  Open(\"%s\",MODE_NEWFILE) failed correctly when disk write protected,\n",
               name);
    dos.SetIoErr(code);
    dos.Printf("       but the error code was wrong; #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_DISK_WRITE_PROTECTED);
    return kFailed;
  }
  return kPassed;
}

// 9. MODE_NEWFILE over an existing file is a change to it.
std::int32_t NewFileUpdatesArchiveBitAndDate(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ChangeUpdateRecord* const record =
      ChangeUpdateSetUp(ctx, "Open(file,MODE_NEWFILE) over the top of an existing file,");
  const AtEnd release([&] { ChangeUpdateTearDown(ctx, record); });

  if (record == nullptr) return kFailed;

  const FileHandle file = dos.Open(record->file.path, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", kLabel,
               record->file.path);
    return kFailed;
  }
  dos.Close(file);
  return Change_Update_Test(ctx, record) ? kPassed : kFailed;
}

// 12. An empty name, relative to a lock on a file.
std::int32_t EmptyNameRelativeToFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  LockHandle file_lock;
  FileHandle file;
  const AtEnd release([&] {
    dos.UnLock(file_lock);
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 13);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) failed #%n %m\n\n", name);
    return kFailed;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(\"%s\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.Close(file);
  file = {};

  const LockHandle previous = dos.SetCurrentDir(file_lock);
  file = dos.Open("", MODE_OLDFILE);
  dos.SetCurrentDir(previous);
  if (!file) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Open(\"\",MODE_OLDFILE) failed when the relative lock is a file lock; #%n %m\n");
    dos.Printf(
        "       There appears to be an issue with the relative lock and name string handling.\n");
    dos.Printf(
        "       Please refer to; ACTION_LOCATE_OBJECT / FSLock() and ACTION_FINDxxx / FSOpen() autodocs for\n");
    dos.Printf(
        "       example code and mode information, specifically when using the relative lock to identify a file\n");
    dos.Printf(
        "       when the name parameter is an empty string, this mode is normally used by assignments to files.\n\n");
    return kFailed;
  }
  const auto length = static_cast<std::int32_t>(TextLength(name));
  if (dos.Write(file, name, length) != length) {
    dos.Printf("\nERROR: %s test failed, cannot Write(,,%ld) bytes to test file.\n\n", kLabel,
               length);
    return kFailed;
  }
  return kPassed;
}

// 13. MODE_NEWFILE empties an existing file.
std::int32_t NewFileEmptiesFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 14);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    // As it stands: names the group twice, here and below.
    dos.Printf("\nERROR: %s test failed, cannot %s the test file; #%n %m\n\n", kLabel, kLabel);
    return kFailed;
  }
  const auto length = static_cast<std::int32_t>(TextLength(name));
  if (dos.Write(file, name, length) != length) {
    dos.Printf("\nERROR: %s test failed, cannot Write() %ld bytes to test file; #%n %m\n\n", kLabel,
               length);
    return kFailed;
  }
  dos.Close(file);

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot %s the test file; #%n %m\n\n", kLabel, kLabel);
    return kFailed;
  }
  // A size that cannot be read is no failure here.
  if (dos.GetFileSize(file) > 0) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Open(\"%s\",MODE_NEWFILE) failed to clear an existing file to zero bytes.\n\n",
        name);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"MissingFile", MissingFile},                                                        // 1
    {"DirectoryIsRefused", DirectoryIsRefused},                                          // 2
    {"OldFileBesideReadWriteOpens", OldFileBesideReadWriteOpens},                        // 3
    {"NewFileBesideReadWriteIsRefused", NewFileBesideReadWriteIsRefused},                // 4
    {"NewFileOverClosedFileOpens", NewFileOverClosedFileOpens},                          // 5
    {"NewFileOverDeleteProtectedIsRefused", NewFileOverDeleteProtectedIsRefused},        // 6
    {"ProtectionDoesNotHinder", ProtectionDoesNotHinder},                                // 7
    {"NewFileOnWriteProtectedVolumeIsRefused", NewFileOnWriteProtectedVolumeIsRefused},  // 8
    {"NewFileUpdatesArchiveBitAndDate", NewFileUpdatesArchiveBitAndDate},                // 9
    {"NewFileOverDirectoryLinkIsRefused", NewFileOverDirectoryLinkIsRefused},            // 10
    {"NewFileThroughFileLinkResetsFile", NewFileThroughFileLinkResetsFile},              // 11
    {"EmptyNameRelativeToFile", EmptyNameRelativeToFile},                                // 12
    {"NewFileEmptiesFile", NewFileEmptiesFile},                                          // 13
    {},
};

}  // namespace

const TestGroup kOpenGroup = {kLabel, kSubTests};

}  // namespace quorle
