#include "tests/set_up.h"

#include "harness/memory.h"

namespace quorle {

bool MakeFile(TestContext& ctx, const char* name, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = dos.Open(name, MODE_NEWFILE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_NEWFILE); #%n %m\n\n", label,
               name);
    return false;
  }
  dos.Close(file);
  return true;
}

bool MakeFileReadWrite(TestContext& ctx, const char* name, const char* label) {
  const FileHandle file = OpenReadWrite(ctx, name, label);
  if (!file) return false;
  ctx.IDOS->Close(file);
  return true;
}

FileHandle OpenReadWrite(TestContext& ctx, const char* name, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_READWRITE); #%n %m\n\n", label,
               name);
  }
  return file;
}

bool MakeDirectory(TestContext& ctx, const char* name, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle created = dos.CreateDir(name);
  if (!created) {
    dos.Printf("\nERROR: %s test failed, cannot CreateDir(\"%s\"); #%n %m\n\n", label, name);
    return false;
  }
  dos.UnLock(created);
  return true;
}

LockHandle SharedLock(TestContext& ctx, const char* name, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  const LockHandle lock = dos.Lock(name, SHARED_LOCK);
  if (!lock) {
    dos.Printf("\nERROR: %s test failed, cannot Lock(\"%s\",SHARED_LOCK); #%n %m\n\n", label, name);
  }
  return lock;
}

const ExamineData* Examine(TestContext& ctx, const char* name, const char* label) {
  DosInterface& dos = *ctx.IDOS;
  const ExamineData* const data = dos.ExamineObject(EX_StringNameInput, name);
  if (data == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(\"%s\"); #%n %m\n\n", label, name);
  }
  return data;
}

std::int32_t ContentBytes(const ScratchName& name) {
  return static_cast<std::int32_t>(TextLength(name)) + 1;
}

}  // namespace quorle
