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

constexpr char kLabel[] = "SetComment()";

// 1. A new file has no comment.
std::int32_t NewFileHasNone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  data = Examine(ctx, name, kLabel);
  if (data == nullptr) return kFailed;
  if (data->Comment[0] != '\0') {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetComment() test failed. \n");
    dos.Printf("       Default new file comment was not set to \"\".\n");
    dos.Printf("       instead it returned a string of; %s\n\n", data->Comment);
    return kFailed;
  }
  return kPassed;
}

// 2. A new directory has no comment.
std::int32_t NewDirectoryHasNone(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.UnLock({});  // the directory was released before; the call is made all the same
    CleanUp(ctx, name, kLabel, 2);
  });

  if (!UniqueDirectory(ctx, name)) return kFailed;
  if (!MakeDirectory(ctx, name, kLabel)) return kFailed;

  data = dos.ExamineObject(EX_StringNameInput, name);
  if (data == nullptr) {
    // As it stands: does not name the directory.
    dos.Printf("\nERROR: SetComment() test failed, cannot ExamineObject(); #%n %m\n\n");
    return kFailed;
  }
  if (data->Comment[0] != '\0') {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetComment() test failed. \n");
    dos.Printf("       Default new directory comment was not set to \"\".\n");
    dos.Printf("       instead it returned a string of; %s\n\n", data->Comment);
    return kFailed;
  }
  return kPassed;
}

// 3. A shared lock does not keep the comment of a file or a directory from being set.
std::int32_t SharedLockAllows(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName file_name;
  ScratchName directory_name;
  LockHandle lock;
  const AtEnd release([&] {
    dos.Close({});  // the file was closed before; the call is made all the same
    dos.UnLock(lock);
    CleanUp(ctx, file_name, kLabel, 3);
    CleanUp(ctx, directory_name, kLabel, 4);
  });

  if (!UniqueFile(ctx, file_name)) return kFailed;
  if (!UniqueDirectory(ctx, directory_name)) return kFailed;
  if (!MakeFile(ctx, file_name, kLabel)) return kFailed;
  if (!MakeDirectory(ctx, directory_name, kLabel)) return kFailed;

  lock = SharedLock(ctx, file_name, kLabel);
  if (!lock) return kFailed;
  if (!dos.SetComment(file_name, kLabel)) {
    if (NotImplemented(ctx)) return kFatal;
    const bool in_use = ctx.last_error == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetComment(\"%s\") failed while a shared lock is on the file; #%n %m\n",
               file_name);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }

  dos.UnLock(lock);
  lock = SharedLock(ctx, directory_name, kLabel);
  if (!lock) return kFailed;
  if (!dos.SetComment(directory_name, kLabel)) {
    // As it stands: the code is not recorded, and an unknown operation is not treated apart.
    const bool in_use = dos.IoErr() == ERROR_OBJECT_IN_USE;
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetComment(\"%s\") failed when a shared lock is held on the dir; #%n %m\n\n",
        directory_name);
    if (in_use) dos.Printf("       Internal filesystem locks must be shared locks.\n");
    dos.Printf("\n");
    return in_use ? kFatal : kFailed;
  }
  return kPassed;
}

// 4. A comment is stored and read back.
std::int32_t CommentIsStored(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close({});  // the file was closed before; the call is made all the same
    CleanUp(ctx, name, kLabel, 5);
  });

  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  if (!dos.SetComment(name, kLabel)) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetComment(\"%s\") failed; #%n %m\n\n", name);
    return kFailed;
  }
  data = Examine(ctx, name, kLabel);
  if (data == nullptr) return kFailed;
  if (ctx.IUtility->Stricmp(data->Comment, kLabel) != 0) {
    const Bold bold(ctx);
    dos.Printf("\nERROR: SetComment() test failed, comment did not store; \"%s\"\n", kLabel);
    dos.Printf("       instead it returned a string of; \"%s\" \n\n", data->Comment);
    return kFailed;
  }
  return kPassed;
}

// 5. The root directory takes a comment.
std::int32_t RootDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  if (ctx.NoRootMessages() || ctx.NoWarnMessages()) return kPassed;

  if (!dos.SetComment(ctx.device_name, kLabel)) {
    // As it stands: a warning that fails the sub-test; in the protection group it does not.
    dos.Printf("\nWARN:  SetComment() test on the root directory failed; #%n %m\n");
    dos.Printf(
        "       Setting a comment on the root directory of a local filesystem should succeed.\n\n");
    return kFailed;
  }
  dos.SetComment(ctx.device_name, "");
  return kPassed;
}

// 6. An empty name, relative to a lock on a file, is that file.
std::int32_t EmptyNameRelativeToFile(TestContext& ctx, std::int32_t) {
  constexpr char kComment[] = "test";
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle file_lock;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.UnLock(file_lock);
    dos.Close(file);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    CleanUp(ctx, name, kLabel, 6);
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
  // Another comment first, which the one under test must replace.
  if (!dos.SetComment(name, name)) {
    dos.Printf("\nERROR: %s test failed because; #%n %m\n\n", kLabel);
    return kFailed;
  }

  const LockHandle previous = dos.SetCurrentDir(file_lock);
  const bool set = dos.SetComment("", kComment);
  dos.SetCurrentDir(previous);
  if (!set) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetComment(\"\",\"%s\") failed when the relative lock is a file lock; #%n %m\n",
        kComment);
    ExplainRelativeLock(ctx);
    return kFailed;
  }

  data = dos.ExamineObject(EX_LockInput, file_lock);
  if (data == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(); #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (ctx.IUtility->Stricmp(data->Comment, kComment) != 0) {
    const Bold bold(ctx);
    dos.Printf(
        "\nERROR: SetComment(\"\",\"%s\") succeeded when the relative lock is a file lock,\n",
        kComment);
    dos.Printf("       however, the test comment was not actually set for the specified file. \n");
    ExplainRelativeLock(ctx);
    return kFailed;
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"NewFileHasNone", NewFileHasNone},                    // 1
    {"NewDirectoryHasNone", NewDirectoryHasNone},          // 2
    {"SharedLockAllows", SharedLockAllows},                // 3
    {"CommentIsStored", CommentIsStored},                  // 4
    {"RootDirectory", RootDirectory},                      // 5
    {"EmptyNameRelativeToFile", EmptyNameRelativeToFile},  // 6
    {},
};

}  // namespace

const TestGroup kSetCommentGroup = {kLabel, kSubTests};

}  // namespace quorle
