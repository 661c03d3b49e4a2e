#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/few_objects.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Arguments";

// ---- Names in the root --------------------------------------------------------------------------

/// Names that begin with the device: a handler gets the first component with no lock.
struct RootNames {
  char directory[600];
  char inside[600];  ///< a file in it
  char file[600];
};

/// A call with such names.
struct RootCall {
  const char* text;  ///< as messages have it
  /// Whether it succeeded; what it gave is given back.
  bool (*make)(DosInterface& dos, TestContext& ctx, const RootNames& names);
  /// The calls behind it need what it does; of a filesystem that does not have it they are not made.
  bool is_needed = false;
};

constexpr RootCall kRootCalls[] = {
    {"CreateDir() in the root",
     [](DosInterface& dos, TestContext& ctx, const RootNames& names) {
       return GiveBack(ctx, dos.CreateDir(names.directory));
     },
     true},
    {"Open() of a file below it",
     [](DosInterface& dos, TestContext& ctx, const RootNames& names) {
       return GiveBack(ctx, dos.Open(names.inside, MODE_NEWFILE));
     },
     true},
    {"Rename() into the root",
     [](DosInterface& dos, TestContext&, const RootNames& names) {
       return dos.Rename(names.inside, names.file);
     },
     true},
    {"Lock() in the root",
     [](DosInterface& dos, TestContext& ctx, const RootNames& names) {
       return GiveBack(ctx, dos.Lock(names.file, SHARED_LOCK));
     }},
    {"Open() in the root",
     [](DosInterface& dos, TestContext& ctx, const RootNames& names) {
       return GiveBack(ctx, dos.Open(names.file, MODE_OLDFILE));
     }},
    {"SetComment() in the root",
     [](DosInterface& dos, TestContext&, const RootNames& names) {
       return dos.SetComment(names.file, "comment");
     }},
    {"SetProtection() in the root",
     [](DosInterface& dos, TestContext&, const RootNames& names) {
       return dos.SetProtection(names.file, EXDF_ARCHIVE);
     }},
    {"SetDate() in the root",
     [](DosInterface& dos, TestContext&, const RootNames& names) {
       return dos.SetDate(names.file, {3653, 0, 0});
     }},
    {"ExamineObject() in the root",
     [](DosInterface& dos, TestContext&, const RootNames& names) {
       const ExamineData* const data = dos.ExamineObject(EX_StringNameInput, names.file);
       dos.FreeDosObject(DOS_EXAMINEDATA, data);
       return data != nullptr;
     }},
    {"Rename() out of the root",
     [](DosInterface& dos, TestContext&, const RootNames& names) {
       return dos.Rename(names.file, names.inside);
     },
     true},
    {"Delete() below the root", [](DosInterface& dos, TestContext&,
                                   const RootNames& names) { return dos.Delete(names.inside); }},
    {"Delete() in the root", [](DosInterface& dos, TestContext&,
                                const RootNames& names) { return dos.Delete(names.directory); }},
};

/// With no lock as the current directory a name without a device begins at a root. Returns the status.
std::int32_t CheckNoCurrentDirectory(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle previous = dos.SetCurrentDir({});
  const LockHandle lock = dos.Lock("", SHARED_LOCK);
  dos.SetCurrentDir(previous);
  const AtEnd release([&] { dos.UnLock(lock); });
  if (!lock) {
    return Failure(ctx,
                   "\nERROR: Lock(\"\") failed when no lock was the current directory; #%n %m\n"
                   "       No lock stands for a root.\n\n");
  }
  if (GiveBack(ctx, dos.ParentDir(lock)) || dos.IoErr() != 0) {
    return Failure(ctx,
                   "\nERROR: Lock(\"\") gave no root when no lock was the current directory.\n"
                   "       No lock stands for a root.\n\n");
  }
  return kPassed;
}

// 1. No lock is the root: what is there can be made, looked at, moved and deleted.
std::int32_t NoLockIsTheRoot(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName directory;
  ScratchName file;
  RootNames names = {};
  const AtEnd release([&] {
    CleanUp(ctx, names.inside, nullptr, 1);
    CleanUp(ctx, file, kLabel, 2);
    CleanUp(ctx, directory, kLabel, 3);
  });
  if (!UniqueDirectory(ctx, directory)) return kFailed;
  if (!UniqueFile(ctx, file)) return kFailed;
  const char* const device = ctx.device_name;
  ctx.IUtility->SNPrintf(names.directory, sizeof names.directory, "%s%s", device, directory.text);
  ctx.IUtility->SNPrintf(names.inside, sizeof names.inside, "%s/%s", names.directory, "File");
  ctx.IUtility->SNPrintf(names.file, sizeof names.file, "%s%s", device, file.text);
  for (const RootCall& call : kRootCalls) {
    if (call.make(dos, ctx, names)) continue;
    if (!NotImplemented(ctx)) {
      return Failure(ctx,
                     "\nERROR: %s failed; #%n %m\n"
                     "       A name that begins with the device comes with no lock, which is the "
                     "root.\n\n",
                     call.text);
    }
    // What a filesystem does not have is the matter of the call's own group.
    if (!call.is_needed) continue;
    if (!ctx.NoInfoMessages()) {
      dos.Printf("\nINFO:  What needs %s was not tried; #%n %m\n", call.text);
    }
    break;
  }
  return CheckNoCurrentDirectory(ctx);
}

// ---- Nothing where something is due -------------------------------------------------------------

/// A call that has to be refused.
struct NullCall {
  const char* text;  ///< as messages have it
  /// Makes it, and returns whether it was granted; what it gave is given back.
  bool (*make)(DosInterface& dos, TestContext& ctx);
  bool may_be_granted = false;  ///< the platform does not say that it is refused
};

bool Frees(DosInterface& dos, const ExamineData* data) {
  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  return data != nullptr;
}

constexpr NullCall kNullNames[] = {
    {"Lock(NULL,SHARED_LOCK)",
     [](DosInterface& dos, TestContext& ctx) {
       return GiveBack(ctx, dos.Lock(nullptr, SHARED_LOCK));
     }},
    {"Open(NULL,MODE_OLDFILE)",
     [](DosInterface& dos, TestContext& ctx) {
       return GiveBack(ctx, dos.Open(nullptr, MODE_OLDFILE));
     }},
    {"Open(NULL,MODE_NEWFILE)",
     [](DosInterface& dos, TestContext& ctx) {
       return GiveBack(ctx, dos.Open(nullptr, MODE_NEWFILE));
     }},
    {"CreateDir(NULL)",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.CreateDir(nullptr)); }},
    {"Delete(NULL)", [](DosInterface& dos, TestContext&) { return dos.Delete(nullptr); }},
    {"Rename(NULL,\"New\")",
     [](DosInterface& dos, TestContext&) { return dos.Rename(nullptr, "New"); }},
    {"Rename(\"File\",NULL)",
     [](DosInterface& dos, TestContext&) { return dos.Rename("File", nullptr); }},
    {"SetComment(NULL,\"comment\")",
     [](DosInterface& dos, TestContext&) { return dos.SetComment(nullptr, "comment"); }},
    {"SetComment(\"File\",NULL)",
     [](DosInterface& dos, TestContext&) { return dos.SetComment("File", nullptr); }, true},
    {"SetProtection(NULL,0)",
     [](DosInterface& dos, TestContext&) { return dos.SetProtection(nullptr, 0); }},
    {"SetDate(NULL)", [](DosInterface& dos, TestContext&) { return dos.SetDate(nullptr, {}); }},
    {"MakeLink(\"New\",NULL,LINK_SOFT)",
     [](DosInterface& dos, TestContext&) {
       const char* const nothing = nullptr;
       return dos.MakeLink("New", nothing, LINK_SOFT);
     }},
    {"MakeLink(\"New\",0,LINK_HARD)",
     [](DosInterface& dos, TestContext&) { return dos.MakeLink("New", LockHandle(), LINK_HARD); }},
    {"ExamineObject(EX_StringNameInput,NULL)",
     [](DosInterface& dos, TestContext&) {
       const char* const nothing = nullptr;
       return Frees(dos, dos.ExamineObject(EX_StringNameInput, nothing));
     }},
    // The current directory is there, is no file, and is in use.
    {"CreateDir(\"\")",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.CreateDir("")); }},
    {"Open(\"\",MODE_NEWFILE)",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.Open("", MODE_NEWFILE)); }},
    {"Delete(\"\")", [](DosInterface& dos, TestContext&) { return dos.Delete(""); }},
    {},
};

constexpr NullCall kNullHandles[] = {
    {"Read(0)",
     [](DosInterface& dos, TestContext&) {
       char byte = 0;
       return dos.Read({}, &byte, sizeof byte) >= 0;
     }},
    {"Write(0)",
     [](DosInterface& dos, TestContext&) {
       const char byte = 0;
       return dos.Write({}, &byte, sizeof byte) >= 0;
     }},
    {"ChangeFilePosition(0)",
     [](DosInterface& dos, TestContext&) {
       return dos.ChangeFilePosition({}, 0, OFFSET_BEGINNING);
     }},
    {"GetFilePosition(0)",
     [](DosInterface& dos, TestContext&) { return dos.GetFilePosition({}) >= 0; }},
    {"ChangeFileSize(0)",
     [](DosInterface& dos, TestContext&) { return dos.ChangeFileSize({}, 0, OFFSET_BEGINNING); }},
    {"GetFileSize(0)", [](DosInterface& dos, TestContext&) { return dos.GetFileSize({}) >= 0; }},
    {"ChangeMode(CHANGE_FH,0,SHARED_LOCK)",
     [](DosInterface& dos, TestContext&) {
       return dos.ChangeMode(CHANGE_FH, FileHandle(), SHARED_LOCK);
     }},
    {"ChangeMode(CHANGE_LOCK,0,SHARED_LOCK)",
     [](DosInterface& dos, TestContext&) {
       return dos.ChangeMode(CHANGE_LOCK, LockHandle(), SHARED_LOCK);
     }},
    {"DupLockFromFH(0)",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.DupLockFromFH({})); }},
    {"ParentOfFH(0)",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.ParentOfFH({})); }},
    {"ParentDir(0)",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.ParentDir({})); }},
    {"OpenFromLock(0)",
     [](DosInterface& dos, TestContext& ctx) { return GiveBack(ctx, dos.OpenFromLock({})); }},
    {"ExamineObject(EX_FileHandleInput,0)",
     [](DosInterface& dos, TestContext&) {
       return Frees(dos, dos.ExamineObject(EX_FileHandleInput, FileHandle()));
     }},
    {"LockRecord(0)",
     [](DosInterface&, TestContext& ctx) {
       return FurtherOf(ctx).IFurtherDos->LockRecord({}, 0, 1, REC_EXCLUSIVE_IMMED, 0);
     }},
    {"UnLockRecord(0)",
     [](DosInterface&, TestContext& ctx) {
       return FurtherOf(ctx).IFurtherDos->UnLockRecord({}, 0, 1);
     }},
    {},
};

/// Makes each of `calls`. Returns the status.
std::int32_t CheckNullCalls(TestContext& ctx, const NullCall* calls) {
  DosInterface& dos = *ctx.IDOS;
  for (const NullCall* call = calls; call->text != nullptr; ++call) {
    dos.SetIoErr(0);
    if (call->make(dos, ctx)) {
      if (!call->may_be_granted) {
        return Failure(ctx, "\nERROR: %s succeeded, and has to be refused.\n\n", call->text);
      }
      if (ctx.NoInfoMessages()) continue;
      dos.Printf("\nINFO:  %s succeeded; the platform does not say that it is refused.\n",
                 call->text);
      continue;
    }
    if (dos.IoErr() == 0) {
      return Failure(ctx,
                     "\nERROR: %s failed without an error code.\n"
                     "       A program takes 0 for success.\n\n",
                     call->text);
    }
  }
  return kPassed;
}

// 2. No name, no handle, no lock and an empty name are refused with a code.
std::int32_t NothingIsRefused(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (work) CleanUp(ctx, "New", kLabel, 2);
    if (work) CleanUp(ctx, "File", kLabel, 3);
  });
  if (!work || !MakeFile(ctx, "File", kLabel)) return kFailed;

  std::int32_t status = CheckNullCalls(ctx, kNullNames);
  if (status == kPassed) status = CheckNullCalls(ctx, kNullHandles);
  if (status != kPassed) return status;
  if (GiveBack(ctx, dos.DupLock({}))) {
    return Failure(ctx, "\nERROR: DupLock(0) gave a lock; the duplicate of none is none.\n\n");
  }
  // Releases of nothing are allowed. What is known of no lock is not stated; it is asked for all the same.
  dos.UnLock({});
  dos.FreeDosObject(DOS_EXAMINEDATA, dos.ExamineObject(EX_LockInput, LockHandle()));
  FurtherOf(ctx).IFurtherDos->ReleaseDirContext({});
  FurtherOf(ctx).IFurtherDos->EndNotify({});
  const LockHandle lock = SharedLock(ctx, "File", kLabel);
  dos.UnLock(lock);
  return lock ? kPassed : kFailed;
}

// 3. A lock of another volume is no target of a hard link; as the current directory it does not mislead.
std::int32_t LockOfAnotherVolume(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const char* volume = nullptr;
  LockHandle foreign;
  LockHandle previous;
  ScratchName new_name;
  char name[600] = {};
  WorkDirectory work(ctx, kLabel);
  const AtEnd release([&] {
    if (foreign) {
      previous = dos.SetCurrentDir(foreign);
      CleanUp(ctx, new_name, kLabel, 4);
      dos.SetCurrentDir(previous);
    }
    dos.UnLock(foreign);
    if (work) CleanUp(ctx, "New", kLabel, 2);
    if (work) CleanUp(ctx, "File", kLabel, 3);
  });
  if (!work || !MakeFile(ctx, "File", kLabel)) return kFailed;
  foreign = LockOtherVolume(ctx, kLabel, volume);
  if (!foreign) return kPassed;

  if (dos.MakeLink("New", foreign, LINK_HARD)) {
    return Failure(ctx,
                   "\nERROR: MakeLink(\"New\",LINK_HARD) to \"%s\" succeeded.\n"
                   "       A hard link cannot lead to another volume.\n\n",
                   volume);
  }
  if (GiveBack(ctx, dos.Lock("New", SHARED_LOCK))) {
    return Failure(ctx,
                   "\nERROR: MakeLink(\"New\",LINK_HARD) to \"%s\" was refused, but there is "
                   "\"New\" afterwards.\n\n",
                   volume);
  }
  ctx.IUtility->SNPrintf(name, sizeof name, "%s%s/File", ctx.device_name, work.name());
  previous = dos.SetCurrentDir(foreign);
  const bool has_name = UniqueFile(ctx, new_name);
  const bool is_renamed = has_name && dos.Rename(name, new_name);
  dos.SetCurrentDir(previous);
  if (!has_name) return kFailed;
  if (is_renamed) {
    return Failure(ctx,
                   "\nERROR: Rename(\"%s\") to \"%s\" succeeded.\n"
                   "       An object cannot be renamed to another volume.\n\n",
                   name, volume);
  }
  if (!GiveBack(ctx, dos.Lock(name, SHARED_LOCK))) {
    return Failure(
        ctx,
        "\nERROR: Rename(\"%s\") to \"%s\" was refused, but the file is gone afterwards; "
        "#%n %m\n"
        "       A program that is refused goes on to copy it, and finds nothing.\n\n",
        name, volume);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NoLockIsTheRoot", NoLockIsTheRoot},          // 1
    {"NothingIsRefused", NothingIsRefused},        // 2
    {"LockOfAnotherVolume", LockOfAnotherVolume},  // 3
    {},
};

}  // namespace

const TestGroup kFurtherArgumentsGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Arguments"};

}  // namespace quorle
