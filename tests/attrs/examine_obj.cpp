#include <cstdint>

#include "harness/at_end.h"
#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/scratch.h"
#include "tests/attrs/examine.h"
#include "tests/groups.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "ExamineObj()";

/// Examines the object `name` itself and checks what comes back; `type` is a FSO_TYPE_...
std::int32_t ExamineByName(TestContext& ctx, const char* name, std::uint32_t type) {
  DosInterface& dos = *ctx.IDOS;
  // As it stands: the record is not released.
  const ExamineData* const data = dos.ExamineObject(EX_ObjectNameInput, name);
  if (data == nullptr) {
    const bool not_implemented = NotImplemented(ctx);
    const Bold bold(ctx);
    dos.Printf("\nERROR: %s(\"%s\") failed.\n\n", kLabel, name);
    return not_implemented ? kFatal : kFailed;
  }
  return CheckExamineData(ctx, *data, "ExamineObj", name, nullptr, type);
}

// 1. An empty file, by its name.
std::int32_t FileByName(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 1); });

  if (!UniqueFile(ctx, name)) return kFailed;

  const FileHandle file = dos.Open(name, MODE_READWRITE);
  if (!file) {
    // As it stands: brackets after the label, which ends in brackets.
    dos.Printf("\nERROR: %s() test failed, cannot Open(\"%s\",MODE_READWRITE) #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  dos.Close(file);

  return ExamineByName(ctx, name, FSO_TYPE_FILE);
}

// 2. A soft link to the root of the volume, by its name: the link itself, not the root.
std::int32_t SoftLinkIsNotFollowed(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const AtEnd release([&] { CleanUp(ctx, name, kLabel, 2); });

  if (!UniqueLink(ctx, name)) return kFailed;

  if (!dos.MakeLink(name, ":", LINK_SOFT)) {
    // As it stands: brackets after the label, which ends in brackets.
    dos.Printf("\nERROR: %s() test failed, cannot MakeLink(\"%s\",\":\") #%n %m\n\n", kLabel, name);
    return kFailed;
  }

  return ExamineByName(ctx, name, FSO_TYPE_SOFTLINK);
}

constexpr SubTestTable kSubTests = {
    {"FileByName", FileByName},                        // 1
    {"SoftLinkIsNotFollowed", SoftLinkIsNotFollowed},  // 2
    {},
};

}  // namespace

const TestGroup kExamineObjGroup = {kLabel, kSubTests};

}  // namespace quorle
