#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/file_names.h"
#include "tests/further/groups.h"
#include "tests/further/moments.h"
#include "tests/further/renamed_file.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Rename()";

/// An object that gets its own name, in the same case or in another.
struct RenamedInPlace {
  const char* name;
  const char* new_name;
  const char* file;  ///< the object itself, or a file in it
};

/// Renames it: it must be there under the new name as it is spelled, with its contents. Returns the status.
std::int32_t RenameInPlace(TestContext& ctx, const RenamedInPlace& object) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    if (!work) return;
    CleanUp(ctx, object.file, kLabel, 2);
    CleanUp(ctx, object.name, kLabel, 3);
  });
  if (!work) return kFailed;
  if (object.file != object.name && !MakeDirectory(ctx, object.name, kLabel)) return kFailed;
  if (!MakeTextFile(ctx, object.file, kLabel)) return kFailed;

  if (!dos.Rename(object.name, object.new_name)) {
    return FailedCall(
        ctx,
        "\nERROR: Rename(\"%s\",\"%s\") failed, though both names are of one object; #%n %m\n"
        "       Programs rename without a look at what they rename it to.\n\n",
        object.name, object.new_name);
  }
  data = dos.ExamineObject(EX_StringNameInput, object.new_name);
  if (data == nullptr) {
    return Failure(ctx,
                   "\nERROR: ExamineObject(\"%s\") failed after Rename(\"%s\",\"%s\"); #%n %m\n"
                   "       The object was removed as if it were in its own way.\n\n",
                   object.new_name, object.name, object.new_name);
  }
  if (!AreEqual(data->Name, object.new_name)) {
    return Failure(ctx,
                   "\nERROR: Rename(\"%s\",\"%s\") succeeded, but the name is \"%s\".\n"
                   "       Who changes the case of a name sees no change, and tries again.\n\n",
                   object.name, object.new_name, data->Name);
  }
  return CheckText(ctx, object.file, object.name, object.new_name);
}

// 1. A file and a directory get the name that they have.
std::int32_t ToItself(TestContext& ctx, std::int32_t) {
  const std::int32_t status = RenameInPlace(ctx, {"File", "File", "File"});
  if (status != kPassed) return status;
  return RenameInPlace(ctx, {"Folder", "Folder", "Folder/File"});
}

// 2. The name of a file and of a directory changes in its case alone.
std::int32_t CaseAlone(TestContext& ctx, std::int32_t) {
  const std::int32_t status = RenameInPlace(ctx, {"File", "fILE", "File"});
  if (status != kPassed) return status;
  return RenameInPlace(ctx, {"Folder", "fOLDER", "Folder/File"});
}

// 3. A file gets the name of a hard link to it: that is refused with 203, or done, and nothing is lost. The link
// gets a name that is free.
std::int32_t OntoItsHardLink(TestContext& ctx, std::int32_t) {
  constexpr char kFirst[] = "First";
  constexpr char kSecond[] = "Second";
  constexpr char kThird[] = "Third";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  LockHandle lock;
  const AtEnd release([&] {
    dos.UnLock(lock);
    if (!work) return;
    CleanUp(ctx, kThird, kLabel, 2);
    CleanUp(ctx, kSecond, kLabel, 3);
    CleanUp(ctx, kFirst, kLabel, 4);
  });
  if (!work) return kFailed;
  if (!MakeTextFile(ctx, kFirst, kLabel)) return kFailed;
  lock = SharedLock(ctx, kFirst, kLabel);
  if (!lock) return kFailed;
  if (!dos.MakeLink(kSecond, lock, LINK_HARD)) {
    if (NotImplemented(ctx)) return kPassed;
    dos.Printf("\nERROR: %s test failed, cannot MakeLink(\"%s\",\"%s\",LINK_HARD); #%n %m\n\n",
               kLabel, kSecond, kFirst);
    return kFailed;
  }
  dos.UnLock(lock);
  lock = {};

  // Whether the link is another object, which is in the way, or the same one is not agreed upon.
  if (dos.Rename(kFirst, kSecond)) {
    if (!ctx.NoInfoMessages()) {
      dos.Printf(
          "\nINFO:  Rename(\"%s\",\"%s\") of a file to a hard link of itself succeeded.\n"
          "       Some filesystems take the two for one object, others for two.\n\n",
          kFirst, kSecond);
    }
    return CheckText(ctx, kSecond, kFirst, kSecond);
  }
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_EXISTS)) {
    return WrongCode(
        ctx, ERROR_OBJECT_EXISTS,
        "\nWARN:  Rename(\"%s\",\"%s\") to a hard link failed ok, but the error code was wrong; #%n %m\n",
        kFirst, kSecond);
  }
  const std::int32_t status = CheckText(ctx, kFirst, kFirst, kSecond);
  if (status != kPassed) return status;

  if (!dos.Rename(kSecond, kThird)) {
    return Failure(ctx, "\nERROR: Rename(\"%s\",\"%s\") of a hard link failed; #%n %m\n\n", kSecond,
                   kThird);
  }
  return CheckText(ctx, kThird, kSecond, kThird);
}

// 4. A file that moves to another directory keeps its contents, its comment, its protection and its date, or is
// dated now.
std::int32_t FileStaysTheSame(TestContext& ctx, std::int32_t) {
  constexpr char kTarget[] = "Target";
  constexpr char kOldName[] = "Old";
  constexpr char kNewName[] = "Target/New";
  constexpr char kComment[] = "renamed";
  constexpr DateStamp kDate = {3654, 600, 0};
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const ExamineData* old_data = nullptr;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, old_data);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    if (!work) return;
    CleanUp(ctx, kNewName, kLabel, 2);
    CleanUp(ctx, kOldName, kLabel, 3);
    CleanUp(ctx, kTarget, kLabel, 4);
  });
  if (!work) return kFailed;
  if (!MakeDirectory(ctx, kTarget, kLabel) || !MakeTextFile(ctx, kOldName, kLabel)) return kFailed;
  if (!dos.SetComment(kOldName, kComment) || !dos.SetProtection(kOldName, EXDF_NO_EXECUTE) ||
      !dos.SetDate(kOldName, kDate)) {
    dos.Printf("\nERROR: %s test failed, cannot set the attributes of \"%s\"; #%n %m\n\n", kLabel,
               kOldName);
    return kFailed;
  }
  old_data = Examine(ctx, kOldName, kLabel);
  if (old_data == nullptr) return kFailed;

  DateStamp before = {};
  DateStamp after = {};
  dos.DateStamp(before);
  if (!dos.Rename(kOldName, kNewName)) {
    return FailedCall(ctx, "\nERROR: Rename(\"%s\",\"%s\") failed; #%n %m\n\n", kOldName, kNewName);
  }
  dos.DateStamp(after);
  data = Examine(ctx, kNewName, kLabel);
  if (data == nullptr) return kFailed;
  const auto is_lost = [&](const char* attribute) {
    return Failure(ctx,
                   "\nERROR: Rename(\"%s\",\"%s\") changed the %s of the file.\n"
                   "       Who renames a file does not look at its attributes again.\n\n",
                   kOldName, kNewName, attribute);
  };
  if (!AreEqual(data->Comment, old_data->Comment)) return is_lost("comment");
  if (data->Protection != old_data->Protection) return is_lost("protection");
  if (!IsBetween(data->Date, old_data->Date, old_data->Date) &&
      !IsBetween(data->Date, before, after)) {
    return is_lost("date");
  }
  return CheckText(ctx, kNewName, kOldName, kNewName);
}

/// Rename(`old_name`,`new_name`) of `what`, which is in use, was refused. Whether it may be is left open; with
/// 202 it is. Returns the status.
std::int32_t RefusedMove(TestContext& ctx, const char* old_name, const char* new_name,
                         const char* what) {
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    return WrongCode(
        ctx, ERROR_OBJECT_IN_USE,
        "\nWARN:  Rename(\"%s\",\"%s\") of %s failed, which it may, but the error code was "
        "wrong; #%n %m\n",
        old_name, new_name, what);
  }
  if (ctx.NoInfoMessages()) return kPassed;
  ctx.IDOS->Printf(
      "\nINFO:  Rename(\"%s\",\"%s\") of %s was refused; #%n %m\n"
      "       It need not be: users move what others look at.\n\n",
      old_name, new_name, what);
  return kPassed;
}

// 5. A file moves to another directory while it is open: the handle goes on.
std::int32_t OpenFileIsMoved(TestContext& ctx, std::int32_t) {
  constexpr char kName[] = "File";
  DosInterface& dos = *ctx.IDOS;
  ScratchName new_name;
  const AtEnd remove([&] { CleanUp(ctx, new_name, kLabel, 3); });
  if (!UniqueFile(ctx, new_name)) return kFailed;
  WorkDirectory work(ctx, kLabel);
  char path[ScratchName::kSize + 1];
  ctx.IUtility->SNPrintf(path, sizeof path, "/%s", new_name);
  FileHandle file;
  LockHandle parent;
  const AtEnd release([&] {
    dos.UnLock(parent);
    dos.Close(file);
    if (work) CleanUp(ctx, kName, kLabel, 2);
  });
  if (!work) return kFailed;
  file = OpenReadWrite(ctx, kName, kLabel);
  if (!file) return kFailed;
  // The first half before the file moves, the other one behind it.
  constexpr std::int32_t kHalf = kRenamedTextBytes / 2;
  if (dos.Write(file, kRenamedText, kHalf) != kHalf) {
    dos.Printf("\nERROR: %s test failed, cannot Write(\"%s\"); #%n %m\n\n", kLabel, kName);
    return kFailed;
  }

  if (!dos.Rename(kName, path)) return RefusedMove(ctx, kName, path, "an open file");
  if (dos.Write(file, kRenamedText + kHalf, kRenamedTextBytes - kHalf) !=
      kRenamedTextBytes - kHalf) {
    return Failure(
        ctx,
        "\nERROR: Write() to a file that was open during Rename(\"%s\",\"%s\") failed; #%n %m\n"
        "       The program that has it open cannot save what it holds.\n\n",
        kName, path);
  }
  parent = dos.ParentOfFH(file);
  if (dos.SameLock(parent, ctx.root_lock) != LOCK_SAME) {
    return Failure(ctx,
                   "\nERROR: ParentOfFH() is not the new directory after Rename(\"%s\",\"%s\").\n"
                   "       The handle is still where the file was.\n\n",
                   kName, path);
  }
  dos.Close(file);
  file = {};
  if (GiveBack(ctx, dos.Lock(kName, SHARED_LOCK))) {
    return Failure(ctx,
                   "\nERROR: \"%s\" is still there after Rename(\"%s\",\"%s\").\n"
                   "       What was moved has two names, and who removes one loses the other.\n\n",
                   kName, kName, path);
  }
  return CheckText(ctx, path, kName, path);
}

// 6. A directory moves to another one while there are locks on it and an open file in it: all go on.
std::int32_t LockedDirectoryIsMoved(TestContext& ctx, std::int32_t) {
  constexpr char kTarget[] = "Target";
  constexpr char kOldName[] = "Folder";
  constexpr char kOldFile[] = "Folder/File";
  constexpr char kNewName[] = "Target/Moved";
  constexpr char kNewFile[] = "Target/Moved/File";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  LockHandle target;
  LockHandle directory;
  LockHandle file_lock;
  LockHandle parent;
  LockHandle found;
  const AtEnd release([&] {
    dos.UnLock(found);
    dos.UnLock(parent);
    dos.UnLock(file_lock);
    dos.UnLock(directory);
    dos.UnLock(target);
    if (!work) return;
    CleanUp(ctx, kNewFile, kLabel, 2);
    CleanUp(ctx, kNewName, kLabel, 3);
    CleanUp(ctx, kOldFile, kLabel, 4);
    CleanUp(ctx, kOldName, kLabel, 5);
    CleanUp(ctx, kTarget, kLabel, 6);
  });
  if (!work) return kFailed;
  if (!MakeDirectory(ctx, kTarget, kLabel) || !MakeDirectory(ctx, kOldName, kLabel) ||
      !MakeTextFile(ctx, kOldFile, kLabel)) {
    return kFailed;
  }
  target = SharedLock(ctx, kTarget, kLabel);
  if (!target) return kFailed;
  directory = SharedLock(ctx, kOldName, kLabel);
  if (!directory) return kFailed;
  file_lock = SharedLock(ctx, kOldFile, kLabel);
  if (!file_lock) return kFailed;

  if (!dos.Rename(kOldName, kNewName)) {
    return RefusedMove(ctx, kOldName, kNewName, "a directory with locks on it and in it");
  }
  parent = dos.ParentDir(directory);
  if (dos.SameLock(parent, target) != LOCK_SAME) {
    return Failure(ctx,
                   "\nERROR: ParentDir() is not the new directory after Rename(\"%s\",\"%s\").\n"
                   "       The lock is still where the directory was.\n\n",
                   kOldName, kNewName);
  }
  const LockHandle previous = dos.SetCurrentDir(directory);
  found = dos.Lock("File", SHARED_LOCK);
  dos.SetCurrentDir(previous);
  if (dos.SameLock(found, file_lock) != LOCK_SAME) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"File\") in a lock from before Rename(\"%s\",\"%s\") is another file.\n"
        "       Programs whose current directory is moved go on in it.\n\n",
        kOldName, kNewName);
  }
  return CheckText(ctx, kNewFile, kOldName, kNewName);
}

/// Gives `directory` an old date and its archive bit.
bool MarkOld(TestContext& ctx, const char* directory) {
  constexpr DateStamp kOld = {3654, 600, 0};
  DosInterface& dos = *ctx.IDOS;
  if (dos.SetDate(directory, kOld) && dos.SetProtection(directory, EXDF_ARCHIVE)) return true;
  dos.Printf("\nERROR: %s test failed, cannot set the attributes of \"%s\"; #%n %m\n\n", kLabel,
             directory);
  return false;
}

/// What MarkOld() marked must show that it was changed between two moments. Returns the status.
std::int32_t CheckChanged(TestContext& ctx, const char* directory, const DateStamp& before,
                          const DateStamp& after) {
  const ExamineData* const data = Examine(ctx, directory, kLabel);
  if (data == nullptr) return kFailed;
  const std::uint32_t protection = data->Protection;
  const DateStamp date = data->Date;
  ctx.IDOS->FreeDosObject(DOS_EXAMINEDATA, data);
  if ((protection & EXDF_ARCHIVE) != 0) {
    return Failure(
        ctx,
        "\nERROR: Rename() left the archive bit of the directory \"%s\" that it changed.\n"
        "       What makes backups looks at this bit, and leaves the directory out.\n\n",
        directory);
  }
  if (!IsBetween(date, before, after)) {
    return Failure(
        ctx,
        "\nERROR: Rename() did not date the directory \"%s\" that it changed.\n"
        "       What shows a directory looks at its date, and does not read it again.\n\n",
        directory);
  }
  return kPassed;
}

// 7. The directories that an object moves from and to are dated, and lose their archive bits; so does one in
// which an object gets another name.
std::int32_t ParentsAreChanged(TestContext& ctx, std::int32_t) {
  constexpr char kSource[] = "Source";
  constexpr char kTarget[] = "Target";
  constexpr char kOldFile[] = "Source/File";
  constexpr char kNewFile[] = "Target/File";
  constexpr char kLastFile[] = "Target/Renamed";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  const AtEnd release([&] {
    CleanUp(ctx, kLastFile, kLabel, 2);
    CleanUp(ctx, kNewFile, kLabel, 3);
    CleanUp(ctx, kOldFile, kLabel, 4);
    CleanUp(ctx, kTarget, kLabel, 5);
    CleanUp(ctx, kSource, kLabel, 6);
  });
  if (!MakeDirectory(ctx, kSource, kLabel) || !MakeDirectory(ctx, kTarget, kLabel) ||
      !MakeFile(ctx, kOldFile, kLabel)) {
    return kFailed;
  }

  const auto rename = [&](const char* from, const char* to, const char* directory) {
    if (!MarkOld(ctx, directory) || !MarkOld(ctx, kTarget)) return kFailed;
    DateStamp before = {};
    DateStamp after = {};
    dos.DateStamp(before);
    if (!dos.Rename(from, to)) {
      return FailedCall(ctx, "\nERROR: Rename(\"%s\",\"%s\") failed; #%n %m\n\n", from, to);
    }
    dos.DateStamp(after);
    const std::int32_t status = CheckChanged(ctx, directory, before, after);
    return status != kPassed ? status : CheckChanged(ctx, kTarget, before, after);
  };
  const std::int32_t status = rename(kOldFile, kNewFile, kSource);
  return status != kPassed ? status : rename(kNewFile, kLastFile, kTarget);
}

// 8. A file gets a name as long as the limit.
std::int32_t LongestName(TestContext& ctx, std::int32_t) {
  constexpr char kShort[] = "Short";
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    if (work) RemoveEntries(ctx, kLabel, 2);
  });
  if (!work) return kFailed;
  if (!MakeTextFile(ctx, kShort, kLabel)) return kFailed;

  const std::uint32_t most = MostLetters(ctx);
  for (std::uint32_t length = most - 1;; ++length) {
    const ScratchName name = NameOf(length);
    // Whether the limit counts the zero behind a name is said in two ways.
    const bool may_fail = length == most;
    const bool is_renamed = dos.Rename(kShort, name);
    if (!is_renamed && !may_fail) {
      return FailedCall(
          ctx,
          "\nERROR: Rename() to a name of %lu letters failed, one less than the limit; #%n %m\n"
          "       The limit is asked for to find a name that can be had.\n\n",
          length);
    }
    const char* const name_now = is_renamed ? name.text : kShort;
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    data = dos.ExamineObject(EX_StringNameInput, name_now);
    // A name that was cut is found as it is now.
    if (data == nullptr && may_fail) {
      data = dos.ExamineObject(EX_StringNameInput, NameOf(length - 1));
    }
    if (data == nullptr) {
      return Failure(
          ctx,
          "\nERROR: ExamineObject(\"%s\") failed after Rename() to a name of %lu letters; #%n %m\n"
          "       The file is lost.\n\n",
          name_now, length);
    }
    const bool is_whole = AreEqual(data->Name, name);
    if (!is_whole && !may_fail) {
      return Failure(ctx,
                     "\nERROR: Rename() to a name of %lu letters gave the name \"%s\".\n"
                     "       Two long names that begin alike become one.\n\n",
                     length, data->Name);
    }
    if (!is_whole && !ctx.NoInfoMessages()) {
      dos.Printf(
          "\nINFO:  Rename() to a name of %lu letters, the limit, left the file the name \"%s\".\n"
          "       The limit may count the zero behind a name.\n\n",
          length, data->Name);
    }
    if (may_fail) return kPassed;
    if (!dos.Rename(name, kShort)) {
      return Failure(ctx,
                     "\nERROR: Rename() of a name of %lu letters to \"%s\" failed; #%n %m\n"
                     "       A long name can be had, but not be changed any more.\n\n",
                     length, kShort);
    }
  }
}

constexpr SubTestTable kSubTests = {
    {"ToItself", ToItself},                              // 1
    {"CaseAlone", CaseAlone},                            // 2
    {"OntoItsHardLink", OntoItsHardLink},                // 3
    {"FileStaysTheSame", FileStaysTheSame},              // 4
    {"OpenFileIsMoved", OpenFileIsMoved},                // 5
    {"LockedDirectoryIsMoved", LockedDirectoryIsMoved},  // 6
    {"ParentsAreChanged", ParentsAreChanged},            // 7
    {"LongestName", LongestName},                        // 8
    {},
};

}  // namespace

const TestGroup kFurtherRenameGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Rename"};

}  // namespace quorle
