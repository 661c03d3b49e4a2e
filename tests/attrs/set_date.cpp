#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/attrs/relative_lock.h"
#include "tests/groups.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "SetDate()";

/// The days that are tried: 3 January of 1988, 1998, 2008, 2018 and 2028. A 0 ends the list.
constexpr std::int32_t kDays[] = {3654, 7307, 10959, 14612, 18264, 0};
constexpr std::int32_t kMinute = 2;
constexpr std::int32_t kTick = 2;

/// A date as the messages show it.
struct PrintedDate {
  PrintedDate(TestContext& ctx, const DateStamp& date) {
    DateTime conversion = {};
    conversion.dat_Stamp = date;
    conversion.dat_Format = FORMAT_ISO;
    conversion.dat_StrDate = buffer;
    text = ctx.IDOS->DateToStr(conversion) ? buffer : "?";
  }
  PrintedDate(const PrintedDate&) = delete;
  PrintedDate& operator=(const PrintedDate&) = delete;

  char buffer[LEN_DATSTRING] = {};
  const char* text;
};

// 1. A shared lock does not keep the date of a file or a directory from being set.
std::int32_t SharedLockAllows(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName file_name;
  ScratchName directory_name;
  LockHandle lock;
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    dos.UnLock(lock);
    CleanUp(ctx, file_name, kLabel, 1);
    CleanUp(ctx, directory_name, kLabel, 2);
  });

  if (!UniqueFile(ctx, file_name)) return kFailed;
  if (!UniqueDirectory(ctx, directory_name)) return kFailed;
  if (!MakeFile(ctx, file_name, kLabel)) return kFailed;
  if (!MakeDirectory(ctx, directory_name, kLabel)) return kFailed;

  lock = SharedLock(ctx, file_name, kLabel);
  if (!lock) return kFailed;
  DateStamp now = {};
  dos.DateStamp(now);
  if (!dos.SetDate(file_name, now)) {
    if (NotImplemented(ctx)) return kFatal;
    const bool in_use = ctx.last_error == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s failed while a shared lock is on the file; #%n %m\n", kLabel);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }

  dos.UnLock(lock);
  lock = SharedLock(ctx, directory_name, kLabel);
  if (!lock) return kFailed;
  if (!dos.SetDate(directory_name, now)) {
    // As it stands: the code is not recorded, and an unknown operation is not treated apart.
    const bool in_use = dos.IoErr() == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s failed when a shared lock is held on the dir; #%n %m\n\n", kLabel);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }
  return kPassed;
}

// 2. Dates of five decades are set on a file and read back.
std::int32_t FileDateIsStored(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  // As it stands: each round overwrites what the one before examined; only the last is released.
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 3);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  for (const std::int32_t* days = kDays; *days != 0; ++days) {
    const DateStamp date = {*days, kMinute, kTick};
    const PrintedDate printed(ctx, date);
    if (!dos.SetDate(name, date)) {
      if (NotImplemented(ctx)) return kFatal;
      const Bold bold(ctx);
      // As it stands: no lock is held here, and 202 is not fatal.
      dos.Printf("\nERROR: SetDate(\"%s\") failed while a shared lock is on the file; #%n %m\n",
                 name);
      if (ctx.last_error == ERROR_OBJECT_IN_USE) {
        dos.Printf("       Internal filesystem locks must be shared locks.\n");
      }
      dos.Printf("\n");
      return kFailed;
    }
    data = Examine(ctx, name, kLabel);
    if (data == nullptr) return kFailed;
    if (data->Date.ds_Days != *days) {
      const Bold bold(ctx);
      // As it stands: an error that does not fail the sub-test.
      dos.Printf("\nERROR: SetDate() failed to set the date of a file to %s [ %lu != %lu ]\n\n",
                 printed.text, *days, data->Date.ds_Days);
    }
  }
  return kPassed;
}

// 3. Dates of five decades are set on a directory and read back.
std::int32_t DirectoryDateIsStored(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  // As it stands: each round overwrites what the one before examined; only the last is released.
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.UnLock({});  // the directory was released before; the call is made all the same
    CleanUp(ctx, name, kLabel, 4);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  if (!MakeDirectory(ctx, name, kLabel)) return kFailed;

  for (const std::int32_t* days = kDays; *days != 0; ++days) {
    const DateStamp date = {*days, kMinute, kTick};
    const PrintedDate printed(ctx, date);
    if (!dos.SetDate(name, date)) {
      const Bold bold(ctx);
      dos.Printf("\nERROR: SetDate(\"%s\") test failed, cannot set dir date to %s; #%n %m\n\n",
                 name, printed.text);
      return kFailed;
    }
    data = Examine(ctx, name, kLabel);
    if (data == nullptr) return kFailed;
    if (data->Date.ds_Days != *days) {
      const Bold bold(ctx);
      // As it stands: an error that does not fail the sub-test.
      dos.Printf("\nERROR: SetDate() failed to set the date of a dir to %s [ %lu != %lu ]\n\n",
                 printed.text, *days, data->Date.ds_Days);
    }
  }
  return kPassed;
}

// 4. The root directory takes a date.
std::int32_t RootDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.NoRootMessages() || ctx.NoWarnMessages()) return kPassed;

  DateStamp now = {};
  dos.DateStamp(now);
  if (!dos.SetDate(ctx.device_name, now)) {
    // As it stands: a warning that fails the sub-test; in the protection group it does not.
    dos.Printf("\nWARN:  SetDate() test on the root directory failed; #%n %m\n");
    dos.Printf(
        "       Setting the date on the root directory of a local filesystem should succeed.\n\n");
    return kFailed;
  }
  return kPassed;
}

// 5. An empty name, relative to a lock on a file, is that file.
std::int32_t EmptyNameRelativeToFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle file_lock;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.UnLock(file_lock);
    dos.Close(file);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  file_lock = dos.DupLockFromFH(file);
  if (!file_lock) {
    dos.Printf("\nERROR: %s test failed, cannot DupLockFromFH(\"%s\"); #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.Close(file);
  file = {};
  // Another date first, which the one under test must replace.
  DateStamp date = {};
  dos.DateStamp(date);
  if (!dos.SetDate(name, date)) {
    dos.Printf("\nERROR: %s test failed because; #%n %m\n\n", kLabel);
    return kFailed;
  }

  --date.ds_Days;
  const LockHandle previous = dos.SetCurrentDir(file_lock);
  const bool set = dos.SetDate("", date);
  dos.SetCurrentDir(previous);
  if (!set) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetDate(\"\", DS) failed when the relative lock is a file lock; #%n %m\n");
    ExplainRelativeLock(ctx);
    return kFailed;
  }

  data = dos.ExamineObject(EX_LockInput, file_lock);
  if (data == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (data->Date.ds_Days != date.ds_Days) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetDate(\"\",DS) succeeded when the relative lock is a file lock,\n");
    dos.Printf(
        "       however, the test datestamp was not actually set for the specified file. \n");
    ExplainRelativeLock(ctx);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"SharedLockAllows", SharedLockAllows},                // 1
    {"FileDateIsStored", FileDateIsStored},                // 2
    {"DirectoryDateIsStored", DirectoryDateIsStored},      // 3
    {"RootDirectory", RootDirectory},                      // 4
    {"EmptyNameRelativeToFile", EmptyNameRelativeToFile},  // 5
    {},
};

}  // namespace

const TestGroup kSetDateGroup = {kLabel, kSubTests};

}  // namespace quorle
