#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/attrs/examine.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ExamineFile()";

// 1. An empty file, through its handle.
std::int32_t OpenFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  FileHandle file;
  // As it stands: the record is not released.
  const AtEnd release([&] {
    dos.Close(file);
    CleanUp(ctx, name, kLabel, 1);
  });

  if (!UniqueFile(ctx, name)) return kFailed;

  file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    // As it stands: brackets after the label, which ends in brackets.
    dos.Printf("\nERROR: %s() test failed, cannot Open(\"%s\",MODE_READWRITE) #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }

  const ExamineData* const data = dos.ExamineObject(EX_FileHandleInput, file);
  if (data == nullptr) {
    const bool not_implemented = NotImplemented(ctx);
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s(\"%s\") failed.\n\n", kLabel, name);
    return not_implemented ? kFatal : kFailed;
  }
  return CheckExamineData(ctx, *data, "ExamineFile", name, nullptr, FSO_TYPE_FILE);
}

constexpr SubTestTable kSubTests = {
    {"OpenFile", OpenFile},  // 1
    {},
};

}  // namespace

const TestGroup kExamineFileGroup = {kLabel, kSubTests};

}  // namespace quorle
