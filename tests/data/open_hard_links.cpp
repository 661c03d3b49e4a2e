#include "tests/data/open_hard_links.h"

#include "harness/at_end.h"
#include "harness/catalogue.h"
#include "harness/diagnostics.h"
#include "harness/memory.h"
#include "harness/scratch.h"
#include "tests/dos_types.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Open()";

/// Makes the file `name` that holds its own name, sets its archive bit and its protection from being
/// executed, and locks it. What is still open or locked after a failure, the caller releases.
bool MakeLinkTarget(TestContext& ctx, const char* name, FileHandle& file, LockHandle& file_lock) {
  DosInterface& dos = *ctx.IDOS;
  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: Open(\"%s\",MODE_READWRITE) failed #%n %m\n\n", name);
    return false;
  }
  const auto length = static_cast<std::int32_t>(TextLength(name));
  if (dos.Write(file, name, length) < length) {
    dos.Printf("\nERROR: %s test failed, cannot Write(,,%ld) bytes to test file.\n\n", kLabel,
               length);
    return false;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(\"%s\") #%n %m\n\n", kLabel, name);
    return false;
  }
  dos.Close(file);
  file = {};
  if (!dos.SetProtection(name, EXDF_ARCHIVE | EXDF_NO_EXECUTE)) {
    dos.Printf("\nERROR: %s test failed, cannot SetProtection(..E.A.); #%n %m\n\n", kLabel);
    return false;
  }
  return true;
}

/// Judges what is left of a link's target after the link was opened with MODE_NEWFILE.
std::int32_t TargetIsReset(TestContext& ctx, const ExamineData& data) {
  DosInterface& dos = *ctx.IDOS;
  if (data.FileSize > 0) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s test failed, examinedata->FileSize returned a value >0 \n", kLabel);
    dos.Printf("       after opening a hardlink to the target file with MODE_NEWFILE.\n");
    dos.Printf("       It failed to clear the existing target file to zero bytes.\n\n");
    return kFailed;
  }
  if (data.Protection != EXDF_DEFAULT) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: %s test failed, examinedata->Protection returned a value that is not EXDF_DEFAULT\n",
        kLabel);
    dos.Printf("       after opening a hardlink to this target file with MODE_NEWFILE.\n");
    dos.Printf(
        "       It failed to reset the existing target file protection to EXDF_DEFAULT.\n\n");
    return kFailed;
  }
  return kPassed;
}

}  // namespace

// 10. MODE_NEWFILE over a hard link to a directory.
std::int32_t NewFileOverDirectoryLinkIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.dos_type == kQvr04) {
    if (!ctx.NoWarnMessages()) {
      dos.Printf("\nWARN:  %s test with hard dir links was skipped for QVR\\04 partitions.\n\n",
                 kLabel);
    }
    return kPassed;
  }
  ScratchName name;
  ScratchName link_name;
  LockHandle directory;
  FileHandle file;
  const AtEnd release([&] {
    dos.UnLock(directory);
    dos.Close(file);
    CleanUp(ctx, link_name, kLabel, 9);
    CleanUp(ctx, name, kLabel, 10);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  directory = dos.CreateDir(name);
  if (!directory) {
    dos.Printf("\nERROR: %s test failed; cannot CreateDir(\"%s\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  if (!UniqueDirectory(ctx, link_name)) return kFailed;
  if (!dos.MakeLink(link_name, directory, LINK_HARD)) {
    if (NotImplemented(ctx)) return kPassed;
    // As it stands: names "dirlink", whatever the link's name is.
    dos.Printf("\nERROR: %s test failed; cannot MakeLink(\"dirlink\",\"%s\",LINK_HARD) #%n %m\n\n",
               kLabel, name);
    return kFailed;
  }
  dos.UnLock(directory);
  directory = {};

  file = dos.Open(link_name, MODE_NEWFILE);
  if (file) {
    const Bold bold(ctx);
    // As it stands: "hard_link_dir" here, "hard_dir_link" in the warning.
    dos.Printf("\nERROR: Open(\"hard_link_dir\",MODE_NEWFILE) succeeded even though \n");
    dos.Printf("       there was already a hard directory link of the same name.\n");
    dos.Printf("       The %s call has probably destroyed the hard directory link !\n", kLabel);
    dos.Printf("       This should have failed with the error code; ERROR_OBJECT_WRONG_TYPE. \n\n");
    return kFailed;
  }
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    dos.Printf(
        "\nWARN:  Open(\"hard_dir_link\",MODE_NEWFILE) failed ok, but the error code was wrong;\n       #%n %m\n");
    ShouldHaveBeen(ctx, ERROR_OBJECT_WRONG_TYPE);
    return kFailed;
  }
  return kPassed;
}

// 11. MODE_NEWFILE through a hard link to a file resets the file's size and protection.
std::int32_t NewFileThroughFileLinkResetsFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.dos_type == kQvr04) {
    if (!ctx.NoWarnMessages()) {
      dos.Printf("\nWARN:  %s test with hard file links was skipped for QVR\\04 partitions.\n\n",
                 kLabel);
    }
    return kPassed;
  }
  ScratchName name;
  ScratchName link_name;
  FileHandle file;
  LockHandle file_lock;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.Close(file);
    dos.UnLock(file_lock);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    CleanUp(ctx, link_name, kLabel, 11);
    CleanUp(ctx, name, kLabel, 12);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeLinkTarget(ctx, name, file, file_lock)) return kFailed;
  if (!UniqueFile(ctx, link_name)) return kFailed;
  if (!dos.MakeLink(link_name, file_lock, LINK_HARD)) {
    if (NotImplemented(ctx)) return kPassed;
    dos.Printf("\nERROR: %s test failed, cannot MakeLink(\"%s\",\"%s\",LINK_HARD) #%n %m\n\n",
               kLabel, link_name, name);
    return kFailed;
  }
  dos.UnLock(file_lock);
  file_lock = {};

  file = dos.Open(link_name, MODE_NEWFILE);
  if (!file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(hard_file_link,MODE_NEWFILE) failed; #%n %m\n\n");
    return kFailed;
  }
  dos.Close(file);

  file = dos.Open(name, MODE_OLDFILE);
  if (!file) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: Open(file,MODE_OLDFILE) failed; #%n %m\n\n");
    return kFailed;
  }
  data = dos.ExamineObject(EX_FileHandleInput, file);
  if (data == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineFile(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  return TargetIsReset(ctx, *data);
}

}  // namespace quorle
