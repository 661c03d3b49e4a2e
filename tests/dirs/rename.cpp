#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "harness/vector_port.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Rename()";

// 1. A file gets a new name.
std::int32_t RenamedFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName old_name;
  ScratchName new_name;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, old_name, kLabel, 1);
    CleanUp(ctx, new_name, kLabel, 2);
  });

  if (!UniqueFile(ctx, old_name)) return kFailed;
  if (!MakeFileReadWrite(ctx, old_name, kLabel)) return kFailed;
  if (!UniqueFile(ctx, new_name)) return kFailed;

  if (!dos.Rename(old_name, new_name)) {
    if (NotImplemented(ctx)) return kFatal;
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, cannot Rename(\"%s\",\"%s\"); #%n %m\n\n", old_name,
               new_name);
    return kFailed;
  }
  file = dos.Open(new_name, MODE_OLDFILE);
  if (!file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n\n",
               new_name);
    return kFailed;
  }
  return kPassed;
}

// 2. A directory gets a new name.
std::int32_t RenamedDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName old_name;
  ScratchName new_name;
  LockHandle lock;
  const AtEnd release([&] {
    dos.UnLock(lock);
    CleanUp(ctx, old_name, kLabel, 3);
    CleanUp(ctx, new_name, kLabel, 4);
  });

  if (!UniqueDirectory(ctx, old_name)) return kFailed;
  if (!MakeDirectory(ctx, old_name, kLabel)) return kFailed;
  if (!UniqueDirectory(ctx, new_name)) return kFailed;

  if (!dos.Rename(old_name, new_name)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, cannot Rename(\"%s\",\"%s\"); #%n %m\n\n", old_name,
               new_name);
    return kFailed;
  }
  lock = dos.Lock(new_name, SHARED_LOCK);
  if (!lock) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, cannot Lock(\"%s\",SHARED_LOCK); #%n %m\n\n",
               new_name);
    return kFailed;
  }
  return kPassed;
}

// 3. A file on a volume that is write-protected.
std::int32_t WriteProtectedVolume(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName old_name;
  ScratchName new_name;
  bool is_protected = false;
  const AtEnd release([&] {
    if (is_protected) dos.WriteProtectVolume(ctx.device_name, false, 0, 0);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, new_name, kLabel, 8);
    CleanUp(ctx, old_name, kLabel, 9);
  });

  if (!UniqueFile(ctx, old_name)) return kFailed;
  if (!MakeFileReadWrite(ctx, old_name, kLabel)) return kFailed;
  if (!UniqueFile(ctx, new_name)) return kFailed;

  is_protected = dos.WriteProtectVolume(ctx.device_name, true, 0, 0);
  if (!is_protected) {
    dos.Printf("\nERROR: Rename() test failed, cannot WriteProtect(\"%s\",TRUE); #%n %m\n\n",
               ctx.device_name);
    return kFailed;
  }

  if (dos.Rename(old_name, new_name)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename(\"%s\",\"%s\") actually succeeded even though the\n", old_name,
               new_name);
    dos.Printf("       volume was write protected.\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_DISK_WRITE_PROTECTED)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nWARN:  Rename(\"%s\",\"%s\") failed ok, but the error code was wrong;\n       #%n %m\n",
        old_name, new_name);
    ShouldHaveBeen(ctx, ERROR_DISK_WRITE_PROTECTED);
    return kFailed;
  }
  return kPassed;
}

// 4. A directory moved into itself, one and two levels down.
std::int32_t DirectoryLoop(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  ScratchName child;
  ScratchName grandchild;
  const AtEnd release([&] {
    dos.UnLock({});  // nothing is locked any more; the call is made all the same
    CleanUp(ctx, grandchild, kLabel, 6);
    CleanUp(ctx, child, kLabel, 7);
    CleanUp(ctx, name, kLabel, 8);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  if (!MakeDirectory(ctx, name, kLabel)) return kFailed;

  ctx.IUtility->SNPrintf(child.text, ScratchName::kSize, "%s/child_dir#02", name);
  if (dos.Rename(name, child)) {
    dos.Rename(child, name);
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, it allowed a directory to be renamed into \n");
    dos.Printf("       a child directory of itself, thereby creating a directory loop.\n\n");
    return kFailed;
  }

  // As it stands: the code of that refusal is not checked, only that of the next one.
  if (!MakeDirectory(ctx, child, kLabel)) return kFailed;
  ctx.IUtility->SNPrintf(grandchild.text, ScratchName::kSize, "%s/child_dir#03", child);
  if (dos.Rename(name, grandchild)) {
    dos.Rename(grandchild, name);
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, it allowed a directory to be renamed into \n");
    dos.Printf("       a child sub-directory of itself, thereby creating a directory loop.\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    const Bold bold(ctx);
    dos.Printf("\nWARN:  Rename() failed ok, but the error code was wrong;\n       #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_OBJECT_IN_USE);
    return kFailed;
  }
  return kPassed;
}

// 5. A file moved to another directory and back, and then onto a file that is there.
std::int32_t TakenName(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName first_directory;
  ScratchName second_directory;
  ScratchName first_file;
  ScratchName second_file;
  const AtEnd release([&] {
    dos.Close({});  // nothing is open or locked any more; the calls are made all the same
    dos.UnLock({});
    CleanUp(ctx, second_file, kLabel, 9);
    CleanUp(ctx, first_file, kLabel, 10);
    CleanUp(ctx, second_directory, kLabel, 11);
    CleanUp(ctx, first_directory, kLabel, 12);
  });

  if (!UniqueDirectory(ctx, first_directory)) return kFailed;
  if (!MakeDirectory(ctx, first_directory, kLabel)) return kFailed;
  if (!UniqueDirectory(ctx, second_directory)) return kFailed;
  if (!MakeDirectory(ctx, second_directory, kLabel)) return kFailed;
  ctx.IUtility->SNPrintf(first_file.text, ScratchName::kSize, "%s/file#01", first_directory);
  ctx.IUtility->SNPrintf(second_file.text, ScratchName::kSize, "%s/file#02", second_directory);
  if (!MakeFileReadWrite(ctx, first_file, kLabel)) return kFailed;

  if (!dos.Rename(first_file, second_file)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, cannot rename \"%s\" -> \"%s\"  #%n %m\n\n",
               first_file, second_file);
    return kFailed;
  }
  if (!dos.Rename(second_file, first_file)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Rename() test failed, cannot rename \"%s\" -> \"%s\"  #%n %m\n\n",
               second_file, first_file);
    return kFailed;
  }

  if (!MakeFileReadWrite(ctx, second_file, kLabel)) return kFailed;
  if (dos.Rename(first_file, second_file)) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: Rename() succeeded even though there was already an existing file of the same name\n");
    dos.Printf(
        "       in a different destination directory.   Rename() failed to prevent an object collision.\n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_EXISTS)) {
    const Bold bold(ctx);
    dos.Printf("\nWARN:  Rename() failed ok, but the error code was wrong; #%n %m\n");
    dos.SetIoErr(ERROR_OBJECT_EXISTS);
    // As it stands: the line has a wording of its own here.
    dos.Printf(
        "       instead, when renaming to an existing object, the error code should have been; #%n %m.\n\n");
    return kFailed;
  }
  return kPassed;
}

/// Warns that a packet filesystem could not rename a soft link; `code` is the error it set.
void WarnOfLinkNotRenamed(TestContext& ctx, std::int32_t code) {
  DosInterface& dos = *ctx.IDOS;
  // As it stands: names ":softlink1" and ":softlink2", whatever the links' names are.
  dos.Printf("\nWARN:  %s test failed, cannot Rename(\":softlink1\",\":softlink2\");\n", kLabel);
  dos.PutStr(
      "       This feature is used, even if only rarely, but this filesystem does not appear to support\n");
  dos.PutStr("       the renaming of softlinks even within the same directory level. \n");
  dos.PutStr(
      "       As this is a DosPacket based filesystem, support for renaming softlinks is optional. \n");
  if (code != ERROR_IS_SOFT_LINK) {
    dos.SetIoErr(code);
    dos.Printf("\nWARN:  The previous %s warning returned the wrong error code; #%n %m\n", kLabel);
    dos.SetIoErr(ERROR_IS_SOFT_LINK);
    // As it stands: one line feed, not two; the other one follows below.
    dos.Printf("       instead, the error code should have been; #%n %m.\n");
  }
  dos.PutStr("\n");
}

// 6. A soft link gets a new name.
std::int32_t RenamedSoftLink(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  ScratchName old_link;
  ScratchName new_link;
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, old_link, kLabel, 13);
    CleanUp(ctx, new_link, kLabel, 14);
    CleanUp(ctx, name, kLabel, 15);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFileReadWrite(ctx, name, kLabel)) return kFailed;
  if (!UniqueFile(ctx, old_link)) return kFailed;
  if (!dos.MakeLink(old_link, name, LINK_SOFT)) {
    if (NotImplemented(ctx)) return kPassed;
    // As it stands: names "filelink" and "file", whatever the names are.
    dos.Printf(
        "\nERROR: %s test failed; cannot MakeLink(\"filelink\",\"file\",LINK_SOFT) #%n %m\n\n",
        kLabel);
    return kFailed;
  }
  if (!UniqueFile(ctx, new_link)) return kFailed;

  if (dos.Rename(old_link, new_link)) return kPassed;
  const std::int32_t code = dos.IoErr();
  if (TargetIsVectorPort(ctx)) {
    const Bold bold(ctx);
    dos.SetIoErr(code);
    dos.Printf("\nERROR: %s test failed, cannot Rename(\":softlink1\",\":softlink2\"); #%n %m\n",
               kLabel);
    dos.PutStr(
        "       This function is required for filesystems using the new Vector-Port interface.\n\n");
    return kFailed;
  }
  // As it stands: called optional, and failed all the same, in silence too.
  if (!ctx.NoWarnMessages()) WarnOfLinkNotRenamed(ctx, code);
  return kFailed;
}

constexpr SubTestTable kSubTests = {
    {"RenamedFile", RenamedFile},                    // 1
    {"RenamedDirectory", RenamedDirectory},          // 2
    {"WriteProtectedVolume", WriteProtectedVolume},  // 3
    {"DirectoryLoop", DirectoryLoop},                // 4
    {"TakenName", TakenName},                        // 5
    {"RenamedSoftLink", RenamedSoftLink},            // 6
    {},
};

}  // namespace

const TestGroup kRenameGroup = {kLabel, kSubTests};

}  // namespace quorle
