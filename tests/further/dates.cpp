#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/moments.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Dates";
constexpr char kFile[] = "File";
constexpr char kFolder[] = "Folder";
constexpr char kInner[] = "Folder/Inner";
constexpr std::int32_t kNoon = 720;

/// 3 January 1988.
constexpr DateStamp kOldDate = {3654, kNoon, 0};

/// A date that is set.
struct TriedDate {
  const char* text;  ///< its day; null ends a list
  DateStamp date;
};

/// The date of `name` into `date`. False, with the reason printed, when it cannot be examined.
bool GetDate(TestContext& ctx, const char* name, DateStamp& date) {
  const ExamineData* const data = Examine(ctx, name, kLabel);
  if (data == nullptr) return false;
  date = data->Date;
  ctx.IDOS->FreeDosObject(DOS_EXAMINEDATA, data);
  return true;
}

/// Whether the volume keeps the last date of its range in place of a later one: `kept` in place of `tried`, and of
/// the day after that.
bool IsEndOfRange(TestContext& ctx, const char* name, const DateStamp& tried,
                  const DateStamp& kept) {
  DosInterface& dos = *ctx.IDOS;
  DateStamp now = {};
  dos.DateStamp(now);
  // A date that was not set at all is none of the future.
  if (TicksOf(kept) <= TicksOf(now) || TicksOf(kept) >= TicksOf(tried)) return false;
  DateStamp next = tried;
  ++next.ds_Days;
  if (!dos.SetDate(name, next)) return false;
  const ExamineData* const data = dos.ExamineObject(EX_StringNameInput, name);
  const bool is_same = data != nullptr && TicksOf(data->Date) == TicksOf(kept);
  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  return is_same;
}

/// Sets a date of `name`: it must come back to the minute, and what came back must come back the same when it is
/// set. A volume that has no such dates may refuse it, or keep its last one, which is an INFO. Returns the status.
std::int32_t TryDate(TestContext& ctx, const char* name, const TriedDate& tried, bool is_optional) {
  DosInterface& dos = *ctx.IDOS;
  if (!dos.SetDate(name, tried.date)) {
    if (!is_optional) {
      return FailedCall(ctx, "\nERROR: SetDate(\"%s\") to %s failed; #%n %m\n\n", name, tried.text);
    }
    if (!ctx.NoInfoMessages()) {
      dos.Printf(
          "\nINFO:  SetDate(\"%s\") to %s failed; #%n %m\n"
          "       Not every volume has dates as late as that.\n\n",
          name, tried.text);
    }
    return kPassed;
  }
  DateStamp date = {};
  if (!GetDate(ctx, name, date)) return kFailed;
  if (!IsBetween(date, tried.date, tried.date)) {
    if (is_optional && IsEndOfRange(ctx, name, tried.date, date)) {
      if (ctx.NoInfoMessages()) return kPassed;
      dos.Printf(
          "\nINFO:  SetDate(\"%s\") to %s gave day %ld, minute %ld, tick %ld, the last date of the "
          "volume.\n"
          "       A refusal would be better: what is dated later seems to be as old.\n\n",
          name, tried.text, date.ds_Days, date.ds_Minute, date.ds_Tick);
      return kPassed;
    }
    return Failure(ctx,
                   "\nERROR: SetDate(\"%s\") to %s gave day %ld, minute %ld, tick %ld\n"
                   "       instead of day %ld, minute %ld, tick %ld.\n"
                   "       What copies files, or compares two copies, goes by their dates.\n\n",
                   name, tried.text, date.ds_Days, date.ds_Minute, date.ds_Tick, tried.date.ds_Days,
                   tried.date.ds_Minute, tried.date.ds_Tick);
  }

  if (!dos.SetDate(name, date)) {
    return Failure(
        ctx, "\nERROR: SetDate(\"%s\") to the date that the object had failed; #%n %m\n\n", name);
  }
  DateStamp again = {};
  if (!GetDate(ctx, name, again)) return kFailed;
  if (TicksOf(again) != TicksOf(date)) {
    return Failure(
        ctx,
        "\nERROR: SetDate(\"%s\") to the date that the object had, day %ld, minute %ld, tick %ld,\n"
        "       gave day %ld, minute %ld, tick %ld.\n"
        "       A copy of a copy has another date each time.\n\n",
        name, date.ds_Days, date.ds_Minute, date.ds_Tick, again.ds_Days, again.ds_Minute,
        again.ds_Tick);
  }
  return kPassed;
}

/// Tries the dates of a list on a file. Returns the status.
std::int32_t TryDates(TestContext& ctx, const TriedDate* dates, bool are_optional) {
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) CleanUp(ctx, kFile, kLabel, 2);
  });
  if (!work) return kFailed;
  if (!MakeFile(ctx, kFile, kLabel)) return kFailed;
  for (; dates->text != nullptr; ++dates) {
    const std::int32_t status = TryDate(ctx, kFile, *dates, are_optional);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 1. Dates of all times of the day are kept, of a file and of a directory.
std::int32_t DateComesBack(TestContext& ctx, std::int32_t) {
  constexpr TriedDate kDates[] = {
      {"1980-01-01", {730, 0, 0}},
      {"1988-01-03", {3654, 1, 50}},
      {"1999-12-31", {8034, 1439, 2900}},
      {"2008-01-03", {10959, 1024, 100}},
      {"2018-01-03", {14612, 719, 1234}},
      {"2027-12-31", {18261, 1439, 2999}},
      {nullptr, {}},
  };
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (!work) return;
    CleanUp(ctx, kFile, kLabel, 2);
    CleanUp(ctx, kFolder, kLabel, 3);
  });
  if (!work) return kFailed;
  if (!MakeFile(ctx, kFile, kLabel)) return kFailed;
  if (!MakeDirectory(ctx, kFolder, kLabel)) return kFailed;
  for (const TriedDate* tried = kDates; tried->text != nullptr; ++tried) {
    std::int32_t status = TryDate(ctx, kFile, *tried, false);
    if (status == kPassed) status = TryDate(ctx, kFolder, *tried, false);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 2. The end of February of leap years.
std::int32_t LeapYears(TestContext& ctx, std::int32_t) {
  constexpr TriedDate kDates[] = {
      {"2000-02-28", {8093, kNoon, 0}},  {"2000-02-29", {8094, kNoon, 0}},
      {"2000-03-01", {8095, kNoon, 0}},  {"2000-12-31", {8400, kNoon, 0}},
      {"2001-01-01", {8401, kNoon, 0}},  {"2024-02-28", {16859, kNoon, 0}},
      {"2024-02-29", {16860, kNoon, 0}}, {"2024-03-01", {16861, kNoon, 0}},
      {"2024-12-31", {17166, kNoon, 0}}, {nullptr, {}},
  };
  return TryDates(ctx, kDates, false);
}

// 3. Days that seconds since 1978 have no 31 bits for, and the end of February of 2100, which is no leap year.
std::int32_t DistantDays(TestContext& ctx, std::int32_t) {
  constexpr TriedDate kDates[] = {
      {"2046-01-19", {24855, kNoon, 0}}, {"2046-01-20", {24856, kNoon, 0}},
      {"2060-01-01", {29950, kNoon, 0}}, {"2100-02-28", {44618, kNoon, 0}},
      {"2100-03-01", {44619, kNoon, 0}}, {"2101-01-01", {44925, kNoon, 0}},
      {"2106-12-31", {47115, kNoon, 0}}, {nullptr, {}},
  };
  return TryDates(ctx, kDates, true);
}

/// A call that changes an object.
struct DatedChange {
  const char* text;             ///< null ends a list
  const char* name;             ///< the object
  bool is_new;                  ///< the call makes it
  bool (*make)(DosInterface&);  ///< makes the call
  bool is_optional = false;     ///< not every filesystem has it, nor what comes behind it
};

bool MakeEmpty(DosInterface& dos, const char* name) {
  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  dos.Close(file);
  return static_cast<bool>(file);
}

bool NewFile(DosInterface& dos) {
  return MakeEmpty(dos, kFile);
}

bool WriteFile(DosInterface& dos) {
  const FileHandle file = dos.Open(kFile, MODE_OLDFILE);
  if (!file) return false;
  const std::int32_t written = dos.Write(file, kLabel, sizeof kLabel);
  dos.Close(file);
  return written == sizeof kLabel;
}

bool ShortenFile(DosInterface& dos) {
  const FileHandle file = dos.Open(kFile, MODE_OLDFILE);
  if (!file) return false;
  const bool is_changed = dos.ChangeFileSize(file, 0, OFFSET_BEGINNING);
  dos.Close(file);
  return is_changed;
}

bool NewFolder(DosInterface& dos) {
  const LockHandle lock = dos.CreateDir(kFolder);
  dos.UnLock(lock);
  return static_cast<bool>(lock);
}

bool NewInner(DosInterface& dos) {
  return MakeEmpty(dos, kInner);
}

bool DeleteInner(DosInterface& dos) {
  return dos.Delete(kInner);
}

bool LinkInner(DosInterface& dos) {
  return dos.MakeLink(kInner, "/", LINK_SOFT);
}

/// After each change of a list the object is dated between the clock before and after. Returns the status.
std::int32_t CheckChanges(TestContext& ctx, const DatedChange* change) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (!work) return;
    CleanUp(ctx, kFile, kLabel, 4);
    CleanUp(ctx, kInner, kLabel, 5);
    CleanUp(ctx, kFolder, kLabel, 6);
  });
  if (!work) return kFailed;
  for (; change->text != nullptr; ++change) {
    if (!change->is_new && !dos.SetDate(change->name, kOldDate)) {
      return FailedCall(ctx, "\nERROR: SetDate(\"%s\") to 1988-01-03 failed; #%n %m\n\n",
                        change->name);
    }
    DateStamp before = {};
    DateStamp after = {};
    DateStamp date = {};
    dos.DateStamp(before);
    if (!change->make(dos)) {
      if (change->is_optional && NotImplemented(ctx)) return kPassed;
      dos.Printf("\nERROR: %s test failed, cannot %s; #%n %m\n\n", kLabel, change->text);
      return kFailed;
    }
    dos.DateStamp(after);
    if (!GetDate(ctx, change->name, date)) return kFailed;
    if (!IsBetween(date, before, after)) {
      return Failure(ctx,
                     "\nERROR: %s dated \"%s\" to day %ld, minute %ld,\n"
                     "       but it was day %ld, minute %ld.\n"
                     "       What has changed since the last backup is found by its date.\n\n",
                     change->text, change->name, date.ds_Days, date.ds_Minute, after.ds_Days,
                     after.ds_Minute);
    }
  }
  return kPassed;
}

// 4. A file that is made, written or made shorter is dated when that is.
std::int32_t ChangedFileIsDated(TestContext& ctx, std::int32_t) {
  constexpr DatedChange kChanges[] = {
      {"Open(\"File\",MODE_NEWFILE)", kFile, true, NewFile},
      {"Write(\"File\")", kFile, false, WriteFile},
      {"ChangeFileSize(\"File\")", kFile, false, ShortenFile},
      {},
  };
  return CheckChanges(ctx, kChanges);
}

// 5. A directory that is made, or in which a file or a soft link is made or deleted, is dated when that is.
std::int32_t ChangedDirectoryIsDated(TestContext& ctx, std::int32_t) {
  constexpr DatedChange kChanges[] = {
      {"CreateDir(\"Folder\")", kFolder, true, NewFolder},
      {"Open(\"Folder/Inner\",MODE_NEWFILE)", kFolder, false, NewInner},
      {"Delete(\"Folder/Inner\")", kFolder, false, DeleteInner},
      {"MakeLink(\"Folder/Inner\",LINK_SOFT)", kFolder, false, LinkInner, true},
      {"Delete(\"Folder/Inner\") of a soft link", kFolder, false, DeleteInner},
      {},
  };
  return CheckChanges(ctx, kChanges);
}

// 6. A comment and a protection leave the date, or change it to now.
std::int32_t AttributesLeaveTheDate(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) CleanUp(ctx, kFile, kLabel, 7);
  });
  if (!work) return kFailed;
  if (!MakeFile(ctx, kFile, kLabel)) return kFailed;
  if (!dos.SetDate(kFile, kOldDate)) {
    return FailedCall(ctx, "\nERROR: SetDate(\"%s\") to 1988-01-03 failed; #%n %m\n\n", kFile);
  }
  DateStamp before = {};
  DateStamp after = {};
  DateStamp date = {};
  dos.DateStamp(before);
  if (!dos.SetComment(kFile, kLabel) || !dos.SetProtection(kFile, EXDF_NO_EXECUTE)) {
    dos.Printf("\nERROR: %s test failed, cannot set the attributes of \"%s\"; #%n %m\n\n", kLabel,
               kFile);
    return kFailed;
  }
  dos.DateStamp(after);
  if (!GetDate(ctx, kFile, date)) return kFailed;
  if (!IsBetween(date, kOldDate, kOldDate) && !IsBetween(date, before, after)) {
    return Failure(
        ctx,
        "\nERROR: SetComment() and SetProtection() dated \"%s\" to day %ld, minute %ld.\n"
        "       It was neither the date of the file nor that of the call.\n\n",
        kFile, date.ds_Days, date.ds_Minute);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"DateComesBack", DateComesBack},                      // 1
    {"LeapYears", LeapYears},                              // 2
    {"DistantDays", DistantDays},                          // 3
    {"ChangedFileIsDated", ChangedFileIsDated},            // 4
    {"ChangedDirectoryIsDated", ChangedDirectoryIsDated},  // 5
    {"AttributesLeaveTheDate", AttributesLeaveTheDate},    // 6
    {},
};

}  // namespace

const TestGroup kFurtherDatesGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Dates"};

}  // namespace quorle
