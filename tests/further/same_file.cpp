#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/few_objects.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "SameFile()";

/// An open file, and what messages call it.
struct NamedFile {
  FileHandle file;
  const char* name;
};

/// Compares two files, which must give `expected`. Returns the status.
std::int32_t CompareFiles(TestContext& ctx, const NamedFile& first, const NamedFile& second,
                          std::int32_t expected) {
  ctx.IDOS->SetIoErr(0);
  const std::int32_t result = FurtherOf(ctx).IFurtherDos->SameFile(first.file, second.file);
  if (result == expected) return kPassed;
  if (NotImplemented(ctx)) return kFatal;
  if (expected == LOCK_SAME) {
    return Failure(ctx,
                   "\nERROR: SameFile() of handles of \"%s\" and \"%s\" returned %ld;\n"
                   "       it should have returned 0, since they are of the same file.\n"
                   "       A program that reads one and writes the other, and does not know it, "
                   "destroys the file.\n\n",
                   first.name, second.name, result);
  }
  return Failure(ctx,
                 "\nERROR: SameFile() of handles of \"%s\" and \"%s\" returned %ld;\n"
                 "       it should have returned %ld. 0 is the same file, 1 the same volume, -1 is "
                 "neither.\n"
                 "       A program that takes two files for one leaves one of them out.\n\n",
                 first.name, second.name, result, expected);
}

/// Opens `name` and `other_name`, and compares the handles.
std::int32_t CompareNames(TestContext& ctx, const char* name, const char* other_name,
                          std::int32_t expected) {
  DosInterface& dos = *ctx.IDOS;
  FileHandle file;
  FileHandle other;
  const AtEnd release([&] {
    dos.Close(other);
    dos.Close(file);
  });
  file = OpenReadWrite(ctx, name, kLabel);
  if (!file) return kFailed;
  other = OpenReadWrite(ctx, other_name, kLabel);
  if (!other) return kFailed;
  return CompareFiles(ctx, {file, name}, {other, other_name}, expected);
}

// 1. Two handles of one file are the same, however it was opened, and a handle is the same as itself.
std::int32_t OneFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  LockHandle lock;
  FileHandle from_lock;
  FileHandle by_name;
  FileHandle exclusive;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] {
    dos.Close(exclusive);
    dos.Close(by_name);
    dos.Close(from_lock);
    dos.UnLock(lock);
  });
  if (!objects.Make()) return kFailed;
  std::int32_t status = CompareNames(ctx, "First", "First", LOCK_SAME);
  if (status != kPassed) return status;

  lock = SharedLock(ctx, "First", kLabel);
  if (!lock) return kFailed;
  from_lock = dos.OpenFromLock(lock);
  if (!from_lock) {
    dos.Printf("\nERROR: %s test failed, cannot OpenFromLock(\"First\"); #%n %m\n\n", kLabel);
    return kFailed;
  }
  lock = {};  // the handle has it
  by_name = OpenReadWrite(ctx, "First", kLabel);
  if (!by_name) return kFailed;
  status = CompareFiles(ctx, {from_lock, "First"}, {by_name, "First"}, LOCK_SAME);
  if (status != kPassed) return status;

  exclusive = dos.Open("Second", MODE_NEWFILE);
  if (!exclusive) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"Second\",MODE_NEWFILE); #%n %m\n\n", kLabel);
    return kFailed;
  }
  return CompareFiles(ctx, {exclusive, "Second"}, {exclusive, "Second"}, LOCK_SAME);
}

// 2. The case in which a name is written makes no difference.
std::int32_t OtherCase(TestContext& ctx, std::int32_t) {
  FewObjects objects(ctx, kLabel);
  if (!objects.Make()) return kFailed;
  return CompareNames(ctx, "First", "fIRST", LOCK_SAME);
}

// 3. A file and a hard link to it are the same file.
std::int32_t HardLink(TestContext& ctx, std::int32_t) {
  FewObjects objects(ctx, kLabel);
  if (!objects.Make()) return kFailed;
  if (!objects.MakeHardLink()) return kPassed;
  return CompareNames(ctx, "First", "Link", LOCK_SAME);
}

/// Compares `file`, which is called "First", with a file on another volume, where there is one.
std::int32_t CompareAcrossVolumes(TestContext& ctx, FileHandle file) {
  DosInterface& dos = *ctx.IDOS;
  const char* volume = nullptr;
  ScratchName name;
  FileHandle foreign;
  const LockHandle root = LockOtherVolume(ctx, kLabel, volume);
  if (!root) return kPassed;
  const LockHandle previous = dos.SetCurrentDir(root);
  const AtEnd release([&] {
    dos.Close(foreign);
    CleanUp(ctx, name, kLabel, 8);
    dos.SetCurrentDir(previous);
    dos.UnLock(root);
  });
  UniqueFile(ctx, name);
  foreign = dos.Open(name, MODE_READWRITE);
  if (!foreign) {
    if (!ctx.NoInfoMessages()) {
      dos.Printf("\nINFO:  %s across volumes was not tried, \"%s\" takes no file; #%n %m\n", kLabel,
                 volume);
    }
    return kPassed;
  }
  return CompareFiles(ctx, {file, "First"}, {foreign, volume}, LOCK_DIFFERENT);
}

// 4. Different files of the volume, files of two volumes, and no file at all.
std::int32_t DifferentFiles(TestContext& ctx, std::int32_t) {
  constexpr const char* kOthers[] = {"Second", "Drawer/First"};
  DosInterface& dos = *ctx.IDOS;
  FileHandle file;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] { dos.Close(file); });
  if (!objects.Make()) return kFailed;
  for (const char* const other : kOthers) {
    const std::int32_t status = CompareNames(ctx, "First", other, LOCK_SAME_VOLUME);
    if (status != kPassed) return status;
  }

  file = OpenReadWrite(ctx, "First", kLabel);
  if (!file) return kFailed;
  // On Linux dos answers this, and the next, without asking a handler.
  const std::int32_t status = CompareFiles(ctx, {file, "First"}, {{}, "nothing"}, LOCK_DIFFERENT);
  if (status != kPassed) return status;
  return CompareAcrossVolumes(ctx, file);
}

// 5. A renamed file stays the same, and what gets its old name is another.
std::int32_t AfterRename(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  FileHandle file;
  FileHandle renamed;
  FileHandle other;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] {
    dos.Close(other);
    dos.Close(renamed);
    dos.Close(file);
  });
  if (!objects.Make()) return kFailed;
  file = OpenReadWrite(ctx, "First", kLabel);
  if (!file) return kFailed;
  if (std::int32_t status = kPassed; !objects.RenameFirst(status)) return status;

  renamed = OpenReadWrite(ctx, "Renamed", kLabel);
  if (!renamed) return kFailed;
  const std::int32_t status =
      CompareFiles(ctx, {file, "First, which was renamed"}, {renamed, "Renamed"}, LOCK_SAME);
  if (status != kPassed) return status;
  other = OpenReadWrite(ctx, "First", kLabel);
  if (!other) return kFailed;
  return CompareFiles(ctx, {file, "First, which was renamed"}, {other, "First"}, LOCK_SAME_VOLUME);
}

constexpr SubTestTable kSubTests = {
    {"OneFile", OneFile},                // 1
    {"OtherCase", OtherCase},            // 2
    {"HardLink", HardLink},              // 3
    {"DifferentFiles", DifferentFiles},  // 4
    {"AfterRename", AfterRename},        // 5
    {},
};

}  // namespace

const TestGroup kFurtherSameFileGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.SameFile"};

}  // namespace quorle
