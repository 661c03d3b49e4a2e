#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/file_names.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ExamineDir()";
constexpr std::uint32_t kMostFiles = 5000;

/// A scan of the current directory, ended at the end of the block.
class [[nodiscard]] Scan {
 public:
  explicit Scan(TestContext& ctx)
      : ctx_(ctx), context_(FurtherOf(ctx).IFurtherDos->ObtainDirContext(EX_StringNameInput, "")) {
    if (!context_) {
      ctx.IDOS->Printf("\nERROR: %s test failed, cannot ObtainDirContext(\"\"); #%n %m\n\n",
                       kLabel);
    }
  }
  ~Scan() { FurtherOf(ctx_).IFurtherDos->ReleaseDirContext(context_); }
  Scan(const Scan&) = delete;
  Scan& operator=(const Scan&) = delete;

  explicit operator bool() const { return static_cast<bool>(context_); }
  const ExamineData* Next() { return FurtherOf(ctx_).IFurtherDos->ExamineDir(context_); }

 private:
  TestContext& ctx_;
  DirContextHandle context_;
};

/// Which of the files a scan gave.
class SeenFiles {
 public:
  /// Notes number `number`. False when it was noted before.
  bool Note(std::uint32_t number) {
    const bool is_new = !Has(number);
    bits_[number / 8] |= static_cast<std::uint8_t>(1U << number % 8);
    return is_new;
  }
  bool Has(std::uint32_t number) const { return (bits_[number / 8] >> number % 8 & 1U) != 0; }
  /// The last of `count` that was not noted; 0 when all were.
  std::uint32_t LastMissing(std::uint32_t count) const {
    while (Has(count)) --count;  // 0 is no number and never noted
    return count;
  }
  /// The first of `count` that was not noted; 0 when all were.
  std::uint32_t FirstMissing(std::uint32_t count) const {
    for (std::uint32_t number = 1; number <= count; ++number) {
      if (!Has(number)) return number;
    }
    return 0;
  }

 private:
  std::uint8_t bits_[ManyFiles::kMost / 8 + 1] = {};
};

/// The scan gave nothing: it must be over. Returns the status.
std::int32_t CheckEnd(TestContext& ctx) {
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_NO_MORE_ENTRIES)) {
    return WrongCode(
        ctx, ERROR_NO_MORE_ENTRIES,
        "\nWARN:  ExamineDir() ended the scan, but the error code was wrong; #%n %m\n");
  }
  return kPassed;
}

/// The rest of a scan must give each of `count` files once, but for those in `seen`, and nothing else
/// above `count` than numbers up to `most`. Returns the status.
std::int32_t CheckRest(TestContext& ctx, Scan& scan, ManyFiles& files, SeenFiles& seen,
                       std::uint32_t count, std::uint32_t most) {
  while (const ExamineData* const data = scan.Next()) {
    const std::uint32_t number = ManyFiles::NumberOf(data->Name);
    if (number == 0 || number > most) {
      return Failure(ctx, "\nERROR: ExamineDir() gave \"%s\", which is not in the directory.\n\n",
                     data->Name);
    }
    if (!seen.Note(number)) {
      return Failure(ctx,
                     "\nERROR: ExamineDir() gave \"%s\" twice.\n"
                     "       A program that copies or counts what is in a directory never ends, or "
                     "does it again.\n\n",
                     data->Name);
    }
  }
  const std::int32_t end = CheckEnd(ctx);
  if (end != kPassed) return end;
  if (const std::uint32_t missing = seen.FirstMissing(count); missing != 0) {
    return Failure(ctx,
                   "\nERROR: ExamineDir() left \"%s\" out, one of %lu entries.\n"
                   "       What a scan does not show is not copied, and not deleted.\n\n",
                   files.Name(missing), count);
  }
  return kPassed;
}

/// Makes `count` files and scans them.
std::int32_t ScanFiles(TestContext& ctx, std::uint32_t count) {
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ManyFiles files(ctx, kLabel);
  if (!files.Make(count)) return kFailed;

  Scan scan(ctx);
  if (!scan) return kFailed;
  SeenFiles seen;
  return CheckRest(ctx, scan, files, seen, count, count);
}

// 1. A directory without entries gives none, and 232.
std::int32_t EmptyDirectory(TestContext& ctx, std::int32_t) {
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  Scan scan(ctx);
  if (!scan) return kFailed;

  if (const ExamineData* const data = scan.Next(); data != nullptr) {
    return Failure(ctx, "\nERROR: ExamineDir() gave \"%s\" in an empty directory.\n\n", data->Name);
  }
  return CheckEnd(ctx);
}

// 2. The record of an entry is that of ExamineObject().
std::int32_t RecordIsThatOfTheObject(TestContext& ctx, std::int32_t) {
  constexpr char kName[] = "Entry";
  constexpr char kComment[] = "scanned";
  constexpr std::uint32_t kProtection = EXDF_NO_EXECUTE | EXDF_ARCHIVE;
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const ExamineData* object = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, object);
    if (work) CleanUp(ctx, kName, kLabel, 2);
  });
  if (!work) return kFailed;

  const FileHandle file = OpenReadWrite(ctx, kName, kLabel);
  if (!file) return kFailed;
  const std::int32_t written = dos.Write(file, kName, sizeof kName);
  dos.Close(file);
  if (written != sizeof kName || !dos.SetComment(kName, kComment) ||
      !dos.SetProtection(kName, kProtection)) {
    dos.Printf("\nERROR: %s test failed, cannot write \"%s\" and set its attributes; #%n %m\n\n",
               kLabel, kName);
    return kFailed;
  }
  object = Examine(ctx, kName, kLabel);
  if (object == nullptr) return kFailed;

  Scan scan(ctx);
  if (!scan) return kFailed;
  const ExamineData* const entry = scan.Next();
  if (entry == nullptr) {
    return FailedCall(ctx, "\nERROR: ExamineDir() failed on a directory of one file; #%n %m\n\n");
  }
  const auto differs = [&](const char* field) {
    return Failure(ctx,
                   "\nERROR: ExamineDir() and ExamineObject() differ in the %s of \"%s\".\n"
                   "       Programs show what a scan gives, and act on what they examine.\n\n",
                   field, kName);
  };
  if (ctx.IUtility->Stricmp(entry->Name, object->Name) != 0) return differs("name");
  if (entry->Type != object->Type) return differs("type");
  if (entry->FileSize != object->FileSize) return differs("size");
  if (entry->Protection != object->Protection) return differs("protection");
  if (ctx.IUtility->Stricmp(entry->Comment, object->Comment) != 0) return differs("comment");
  if (entry->Date.ds_Days != object->Date.ds_Days ||
      entry->Date.ds_Minute != object->Date.ds_Minute ||
      entry->Date.ds_Tick != object->Date.ds_Tick) {
    return differs("date");
  }
  if (entry->ObjectID != object->ObjectID) return differs("object number");
  if (entry->OwnerUID != object->OwnerUID || entry->OwnerGID != object->OwnerGID) {
    return differs("owner");
  }
  return kPassed;
}

// 3. Each of 104 entries is given once.
std::int32_t HundredEntries(TestContext& ctx, std::int32_t) {
  return ScanFiles(ctx, 104);
}

// 4. Each of 5,000 entries is given once.
std::int32_t ThousandsOfEntries(TestContext& ctx, std::int32_t) {
  return ScanFiles(ctx, kMostFiles);
}

// 5. Entries are deleted during the scan, every second one that was given and one that was not: all others are
// given once.
std::int32_t DeletedDuringTheScan(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kCount = 20;
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ManyFiles files(ctx, kLabel);
  if (!files.Make(kCount)) return kFailed;

  Scan scan(ctx);
  if (!scan) return kFailed;
  SeenFiles seen;
  std::uint32_t ahead = 0;  // what may have been read already when it went
  std::uint32_t given = 0;
  while (const ExamineData* const data = scan.Next()) {
    const std::uint32_t number = ManyFiles::NumberOf(data->Name);
    if (number == 0 || number > kCount || !seen.Note(number)) {
      return Failure(ctx,
                     "\nERROR: ExamineDir() gave \"%s\" when entries were deleted.\n"
                     "       It was given before, or is not in the directory.\n\n",
                     data->Name);
    }
    ++given;
    const bool goes = given % 2 == 1 && number != ahead;
    if (goes && !dos.Delete(files.Name(number))) {
      return Failure(ctx,
                     "\nERROR: Delete(\"%s\") failed during a scan that had given it; #%n %m\n\n",
                     files.Name(number));
    }
    if (given != 3) continue;
    ahead = seen.LastMissing(kCount);
    if (!dos.Delete(files.Name(ahead))) {
      return Failure(ctx, "\nERROR: Delete(\"%s\") failed during a scan of others; #%n %m\n\n",
                     files.Name(ahead));
    }
  }
  const std::int32_t end = CheckEnd(ctx);
  if (end != kPassed) return end;
  if (ahead != 0) seen.Note(ahead);
  if (const std::uint32_t missing = seen.FirstMissing(kCount); missing != 0) {
    return Failure(
        ctx,
        "\nERROR: ExamineDir() left \"%s\" out when entries before it were deleted.\n"
        "       What deletes a directory does so while it scans: it would find it not empty.\n\n",
        files.Name(missing));
  }
  return kPassed;
}

// 6. Entries are added during the scan: those that were there are given once, new ones once at most.
std::int32_t AddedDuringTheScan(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kCount = 10;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ManyFiles files(ctx, kLabel);
  if (!files.Make(kCount)) return kFailed;

  Scan scan(ctx);
  if (!scan) return kFailed;
  SeenFiles seen;
  const ExamineData* const first = scan.Next();
  if (first == nullptr) {
    return FailedCall(ctx, "\nERROR: ExamineDir() failed on a directory of %lu files; #%n %m\n\n",
                      kCount);
  }
  seen.Note(ManyFiles::NumberOf(first->Name));
  if (!files.Make(kCount)) return kFailed;
  return CheckRest(ctx, scan, files, seen, kCount, 2 * kCount);
}

/// Counts what is below the current directory into `visited`, which ends the walk when it is above `most`.
/// Returns the status.
std::int32_t WalkTree(TestContext& ctx, std::uint32_t most, std::uint32_t& visited) {
  DosInterface& dos = *ctx.IDOS;
  Scan scan(ctx);
  if (!scan) return kFailed;
  while (const ExamineData* const data = scan.Next()) {
    if (++visited > most) {
      return Failure(
          ctx,
          "\nERROR: ExamineDir() gave \"%s\" in a walk through %lu objects, after all of them.\n"
          "       A program that goes through a whole volume never ends.\n\n",
          data->Name, most);
    }
    if ((data->Type & FSO_TYPE_MASK) != FSO_TYPE_DIRECTORY) continue;
    const LockHandle directory = SharedLock(ctx, data->Name, kLabel);
    if (!directory) return kFailed;
    const LockHandle previous = dos.SetCurrentDir(directory);
    const std::int32_t status = WalkTree(ctx, most, visited);
    dos.SetCurrentDir(previous);
    dos.UnLock(directory);
    if (status != kPassed) return status;
  }
  return CheckEnd(ctx);
}

// 7. A walk through directories within directories meets each object once, and ends.
std::int32_t WalkThroughATree(TestContext& ctx, std::int32_t) {
  constexpr const char* kDirectories[] = {"a", "a/b", "a/b/c", "d"};
  constexpr const char* kFiles[] = {"a/1", "a/b/1", "a/b/2", "a/b/c/1", "d/1", "1"};
  constexpr std::uint32_t kObjects =
      sizeof kDirectories / sizeof kDirectories[0] + sizeof kFiles / sizeof kFiles[0];
  WorkDirectory work(ctx, kLabel);
  std::uint32_t made = 0;
  const AtEnd release([&] {
    for (; made > 0; --made) {
      const bool is_file = made > 4;
      CleanUp(ctx, is_file ? kFiles[made - 5] : kDirectories[made - 1], kLabel, made + 1);
    }
  });
  if (!work) return kFailed;
  for (const char* const name : kDirectories) {
    ++made;
    if (!MakeDirectory(ctx, name, kLabel)) return kFailed;
  }
  for (const char* const name : kFiles) {
    ++made;
    if (!MakeFile(ctx, name, kLabel)) return kFailed;
  }

  std::uint32_t visited = 0;
  const std::int32_t status = WalkTree(ctx, kObjects, visited);
  if (status != kPassed) return status;
  if (visited != kObjects) {
    return Failure(ctx,
                   "\nERROR: ExamineDir() gave %lu objects in a walk through %lu.\n"
                   "       What a walk does not meet is not copied, and not searched.\n\n",
                   visited, kObjects);
  }
  return kPassed;
}

// 8. A file is not scanned: 212.
std::int32_t FileIsRefused(TestContext& ctx, std::int32_t) {
  FurtherDosInterface& further = *FurtherOf(ctx).IFurtherDos;
  ScratchName name;
  DirContextHandle context;
  const AtEnd release([&] {
    further.ReleaseDirContext(context);
    CleanUp(ctx, name, kLabel, 1);
  });
  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  // Some find out when the scan begins, most with the first entry.
  context = further.ObtainDirContext(EX_StringNameInput, name);
  if (context) {
    const ExamineData* const data = further.ExamineDir(context);
    if (data != nullptr) {
      return Failure(ctx, "\nERROR: ExamineDir() of the file \"%s\" gave \"%s\".\n\n", name,
                     data->Name);
    }
  }
  if (NotImplemented(ctx)) return kFatal;
  if (WrongError(ctx, ERROR_OBJECT_WRONG_TYPE)) {
    return WrongCode(
        ctx, ERROR_OBJECT_WRONG_TYPE,
        "\nWARN:  ExamineDir() of the file \"%s\" failed ok, but the error code was wrong; #%n %m\n",
        name);
  }
  return kPassed;
}

// 9. Two scans of one directory do not disturb each other.
std::int32_t TwoScansAtOnce(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kCount = 10;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ManyFiles files(ctx, kLabel);
  if (!files.Make(kCount)) return kFailed;

  Scan first(ctx);
  if (!first) return kFailed;
  SeenFiles seen_by_first;
  for (std::uint32_t given = 0; given < kCount / 2; ++given) {
    const ExamineData* const data = first.Next();
    if (data == nullptr) {
      return FailedCall(ctx, "\nERROR: ExamineDir() failed on a directory of %lu files; #%n %m\n\n",
                        kCount);
    }
    seen_by_first.Note(ManyFiles::NumberOf(data->Name));
  }
  Scan second(ctx);
  if (!second) return kFailed;
  SeenFiles seen_by_second;
  const std::int32_t status = CheckRest(ctx, second, files, seen_by_second, kCount, kCount);
  if (status != kPassed) return status;
  return CheckRest(ctx, first, files, seen_by_first, kCount, kCount);
}

// 10. A soft link is shown as a link, with what it holds, and not as what it leads to.
std::int32_t LinkIsShownAsLink(TestContext& ctx, std::int32_t) {
  constexpr char kName[] = "Entry";
  constexpr char kLink[] = "Link";
  constexpr std::uint32_t kMostEntries = 10;
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  const AtEnd release([&] {
    CleanUp(ctx, kLink, kLabel, 2);
    CleanUp(ctx, kName, kLabel, 3);
  });
  if (!MakeFile(ctx, kName, kLabel)) return kFailed;
  if (!dos.MakeLink(kLink, kName, LINK_SOFT)) {
    if (ctx.NoInfoMessages()) return kPassed;
    dos.Printf("\nINFO:  %s of a soft link was not tried, there is none; #%n %m\n", kLabel);
    return kPassed;
  }

  Scan scan(ctx);
  if (!scan) return kFailed;
  const ExamineData* entry = nullptr;
  bool is_found = false;
  for (std::uint32_t i = 0; i < kMostEntries && !is_found; ++i) {
    entry = scan.Next();
    if (entry == nullptr) break;
    is_found = ctx.IUtility->Stricmp(entry->Name, kLink) == 0;
  }
  if (!is_found) {
    return FailedCall(ctx,
                      "\nERROR: ExamineDir() did not give the soft link \"%s\"; #%n %m\n"
                      "       What is not shown is not copied, and not deleted.\n\n",
                      kLink);
  }
  if ((entry->Type & FSO_TYPE_MASK) != FSO_TYPE_SOFTLINK) {
    return Failure(
        ctx,
        "\nERROR: ExamineDir() shows the soft link \"%s\" as type 0x%08lx.\n"
        "       What copies or deletes a directory takes what the link leads to for a part "
        "of it.\n\n",
        kLink, entry->Type);
  }
  // Classic packets carry no such text.
  if (entry->Link[0] == '\0') {
    if (ctx.NoInfoMessages()) return kPassed;
    dos.Printf("\nINFO:  ExamineDir() does not show what the soft link \"%s\" holds.\n", kLink);
    return kPassed;
  }
  if (!AreEqual(entry->Link, kName)) {
    return Failure(ctx,
                   "\nERROR: ExamineDir() shows that the soft link \"%s\" holds \"%s\" instead of "
                   "\"%s\".\n"
                   "       A copy of it leads somewhere else.\n\n",
                   kLink, entry->Link, kName);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"EmptyDirectory", EmptyDirectory},                    // 1
    {"RecordIsThatOfTheObject", RecordIsThatOfTheObject},  // 2
    {"HundredEntries", HundredEntries},                    // 3
    {"ThousandsOfEntries", ThousandsOfEntries},            // 4
    {"DeletedDuringTheScan", DeletedDuringTheScan},        // 5
    {"AddedDuringTheScan", AddedDuringTheScan},            // 6
    {"WalkThroughATree", WalkThroughATree},                // 7
    {"FileIsRefused", FileIsRefused},                      // 8
    {"TwoScansAtOnce", TwoScansAtOnce},                    // 9
    {"LinkIsShownAsLink", LinkIsShownAsLink},              // 10
    {},
};

}  // namespace

const TestGroup kFurtherExamineDirGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.ExamineDir"};

}  // namespace quorle
