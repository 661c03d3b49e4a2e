#include <cstdint>

#include "harness/at_end.h"
#include "harness/change_update.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Delete()";

/// Reports that the open file `name` could be deleted.
std::int32_t DeletedInUse(TestContext& ctx, const char* name) {
  const Bold bold(ctx);
  ctx.IDOS->Printf(
      "\nERROR: Delete(\"%s\") succeeded, but should have failed, as it was in use.\n\n", name);
  return kFailed;
}

/// Judges the code with which the open file `name` was not deleted.
std::int32_t RefusedInUse(TestContext& ctx, const char* name) {
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    // As it stands: the one warning of this group that is in bold.
    const Bold bold(ctx);
    ctx.IDOS->Printf("\nWARN:  Delete(\"%s\") failed ok, but the error code was wrong; #%n %m\n",
                     name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return kPassed;
}

// 1. A file that is open, in each mode.
std::int32_t OpenFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: Delete() test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name,
               "MODE_NEWFILE");
    return kFailed;
  }
  if (dos.Delete(name)) return DeletedInUse(ctx, name);
  if (NotImplemented(ctx)) return kFatal;
  if (RefusedInUse(ctx, name) != kPassed) return kFailed;

  dos.Close(file);
  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Delete() test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name,
               "MODE_READWRITE");
    return kFailed;
  }
  if (dos.Delete(name)) return DeletedInUse(ctx, name);
  if (RefusedInUse(ctx, name) != kPassed) return kFailed;

  dos.Close(file);
  file = dos.Open(name, MODE_OLDFILE);
  if (!file) {
    dos.Printf("\nERROR: Delete() test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name,
               "MODE_OLDFILE");
    return kFailed;
  }
  if (dos.Delete(name)) return DeletedInUse(ctx, name);
  return RefusedInUse(ctx, name);
}

/// Protects `name` from deletion, tries to delete it, takes the protection off and deletes it.
std::int32_t DeleteProtected(TestContext& ctx, const char* name) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.SetProtection(name, EXDF_NO_DELETE)) {
    dos.Printf(
        "\nERROR: Delete() test failed, cannot SetProtection(\"%s\",EXDF_NO_DELETE); #%n %m\n\n",
        name);
    return kFailed;
  }

  if (dos.Delete(name)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Delete(\"%s\") succeeded, but should have failed as it was delete protected.\n\n",
        name);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_DELETE_PROTECTED)) {
    dos.Printf("\nWARN:  Delete(\"%s\") failed ok, but the error code was wrong;\n       #%n %m\n",
               name);
    ShouldHaveBeen(ctx, ERROR_DELETE_PROTECTED);
    return kFailed;
  }

  if (!dos.SetProtection(name, EXDF_DEFAULT)) {
    dos.Printf("\nERROR: Delete() test failed, cannot SetProtection(\"%s\",0); #%n %m\n\n", name);
    return kFailed;
  }
  if (!dos.Delete(name)) {
    // As it stands: the operation under test failed, and the error is not in bold.
    dos.Printf("\nERROR: Delete(\"%s\") failed, but should have succeeded;  #%n %m\n\n", name);
    return kFailed;
  }
  return kPassed;
}

// 2. A file that is protected from deletion.
std::int32_t ProtectedFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  // As it stands: the clean-up numbers do not follow the table's order.
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 3); });

  if (!UniqueFile(ctx, name)) return kFailed;

  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: Delete() test failed, cannot Open(\"%s\",%s); #%n %m\n\n", name,
               "MODE_NEWFILE");
    return kFailed;
  }
  dos.Close(file);

  return DeleteProtected(ctx, name);
}

// 3. A directory that is protected from deletion.
std::int32_t ProtectedDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 2); });

  if (!UniqueDirectory(ctx, name)) return kFailed;

  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: Delete() test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", name);
    return kFailed;
  }
  dos.UnLock(created);

  return DeleteProtected(ctx, name);
}

// 4. A name that does not exist. There is nothing to remove, even when the deletion succeeds.
std::int32_t MissingObject(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;

  if (!UniqueFile(ctx, name)) return kFailed;

  if (dos.Delete(name)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Delete(\"%s\") succeeded, but should have failed because object didn't exist.\n\n",
        name);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_NOT_FOUND)) {
    dos.Printf("\nWARN:  Delete(\"%s\") failed ok, but the error code was wrong;\n       #%n %m\n",
               name);
    ShouldHaveBeen(ctx, ERROR_OBJECT_NOT_FOUND);
    return kFailed;
  }
  return kPassed;
}

// 5. A directory that is not empty.
std::int32_t DirectoryNotEmpty(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  ScratchName file_name;
  const AtEnd release([&] {
    dos.Close({});  // nothing is open or locked any more; the calls are made all the same
    dos.UnLock({});
    CleanUp(ctx, file_name, kLabel, 4);
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  ctx.IUtility->SNPrintf(file_name.text, ScratchName::kSize, "%s/testfile", name);

  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: Delete() test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", name);
    return kFailed;
  }
  dos.UnLock(created);
  const FileHandle file = dos.Open(file_name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: Delete() test failed, cannot Open(\"%s\",%s); #%n %m\n\n", file_name,
               "MODE_NEWFILE");
    return kFailed;
  }
  dos.Close(file);

  if (dos.Delete(name)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Delete(\"%s\") succeeded, but should have failed as directory was not empty.\n\n",
        name);
    return kFailed;
  }
  if (WrongError(ctx, ERROR_DIRECTORY_NOT_EMPTY)) {
    dos.Printf("\nWARN:  Delete(\"%s\") failed ok, but the error code was wrong;\n       #%n %m\n",
               name);
    ShouldHaveBeen(ctx, ERROR_DIRECTORY_NOT_EMPTY);
    return kFailed;
  }

  if (!dos.Delete(file_name)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Delete(\"%s\") failed; #%n %m.\n\n", file_name);
    return kFailed;
  }
  if (!dos.Delete(name)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Delete(\"%s\") failed; #%n %m.\n\n", name);
    return kFailed;
  }
  return kPassed;
}

// 6. The directory that held the file shows the change.
std::int32_t UpdatesParentArchiveBitAndDate(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ChangeUpdateRecord* const record = ChangeUpdateSetUp(ctx, kLabel);
  const AtEnd release([&] { ChangeUpdateTearDown(ctx, record); });

  if (record == nullptr) return kFailed;

  if (!dos.Delete(record->file.path)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Delete(\"%s\") failed; #%n %m.\n\n", record->file.path);
    return kFailed;
  }
  return Change_Update_Test(ctx, record) ? kPassed : kFailed;
}

// 7. The root.
std::int32_t RootDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (dos.Delete(":")) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Delete(\":\") succeeded, but should have failed as the root dir can't be deleted.\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    dos.Printf("\nWARN:  Delete(\":\") failed ok, but the error code was wrong;\n       #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"OpenFile", OpenFile},                                              // 1
    {"ProtectedFile", ProtectedFile},                                    // 2
    {"ProtectedDirectory", ProtectedDirectory},                          // 3
    {"MissingObject", MissingObject},                                    // 4
    {"DirectoryNotEmpty", DirectoryNotEmpty},                            // 5
    {"UpdatesParentArchiveBitAndDate", UpdatesParentArchiveBitAndDate},  // 6
    {"RootDirectory", RootDirectory},                                    // 7
    {},
};

}  // namespace

const TestGroup kDeleteGroup = {kLabel, kSubTests};

}  // namespace quorle
