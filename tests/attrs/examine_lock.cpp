#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/attrs/examine.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ExamineLock()";

// 1. The root directory, through the lock on it.
std::int32_t RootDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const ExamineData* data = nullptr;
  const AtEnd release([&] { dos.FreeDosObject(DOS_EXAMINEDATA, data); });

  data = dos.ExamineObject(EX_LockInput, ctx.root_lock);
  if (data == nullptr) {
    const bool not_implemented = NotImplemented(ctx);
    const Bold bold(ctx);
    dos.Printf("\nERROR: ExamineLock(\"%s\") failed.\n\n", ":");
    return not_implemented ? kFatal : kFailed;
  }
  return CheckExamineData(ctx, *data, "ExamineLock", ctx.volume_name, ctx.volume_name,
                          FSO_TYPE_DIRECTORY);
}

// 2. An empty file, through a lock from its handle.
std::int32_t FileLockFromHandle(TestContext& ctx, std::int32_t) {
  // As it stands: this sub-test speaks of ExamineFile() throughout.
  constexpr char kFileLabel[] = "ExamineFile()";
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  LockHandle lock;
  // As it stands: the record is not released.
  const AtEnd release([&] {
    dos.Close(file);
    dos.UnLock(lock);
    CleanUp(ctx, name, kFileLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  // As it stands: brackets after the label, which ends in brackets.
  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: %s() test failed, cannot Open(\"%s\",MODE_READWRITE) #%n %m\n\n",
               kFileLabel, name);
    return kFailed;
  }
  lock = dos.DupLockFromFH(file);
  if (!lock) {
    dos.Printf("\nERROR: %s() test failed, cannot DuplockFromFH(\"%s\",MODE_READWRITE) #%n %m\n\n",
               kFileLabel, name);
    return kFailed;
  }

  const ExamineData* const data = dos.ExamineObject(EX_LockInput, lock);
  if (data == nullptr) {
    // As it stands: the code is not checked; an unknown operation does not stop the group here.
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s(\"%s\") failed.\n\n", kFileLabel, name);
    return kFailed;
  }
  return CheckExamineData(ctx, *data, "ExamineFile", name, nullptr, FSO_TYPE_FILE);
}

constexpr SubTestTable kSubTests = {
    {"RootDirectory", RootDirectory},            // 1
    {"FileLockFromHandle", FileLockFromHandle},  // 2
    {},
};

}  // namespace

const TestGroup kExamineLockGroup = {kLabel, kSubTests};

}  // namespace quorle
