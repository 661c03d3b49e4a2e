#include "tests/attrs/examine.h"

#include "harness/catalogue.h"
#include "harness/diagnostics.h"

namespace quorle {
namespace {

/// What of the type is shown: its low byte, and the lowest two of the flags above it.
constexpr std::uint32_t kShownTypeMask = 0x3FF;

/// What the examination was asked of, for the first line of a report.
struct Examination {
  const char* function;
  const char* object;
};

/// The line that every error starts with; the next one ends it.
void PrintFailed(TestContext& ctx, const Examination& asked) {
  ctx.IDOS->Printf("\nERROR: %s(\"%s\") test failed because;", asked.function, asked.object);
}

std::int32_t CheckDirectory(TestContext& ctx, const ExamineData& data, const Examination& asked) {
  if ((data.Type & FSO_TYPE_MASK) != FSO_TYPE_DIRECTORY) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    ctx.IDOS->Printf(
        "\n       ExamineData->Type was not FSO_TYPE_DIRECTORY for a directory. [was %ld]\n\n",
        data.Type & kShownTypeMask);
    return kFailed;
  }
  if (data.FileSize != -1) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    ctx.IDOS->Printf("\n       ExamineData->FileSize was not -1 for a directory. [was %lld]\n\n",
                     data.FileSize);
    return kFailed;
  }
  return kPassed;
}

std::int32_t CheckFile(TestContext& ctx, const ExamineData& data, const Examination& asked) {
  if ((data.Type & FSO_TYPE_MASK) != FSO_TYPE_FILE) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    ctx.IDOS->Printf("\n       ExamineData->Type was not FSO_TYPE_FILE. [was %ld]\n\n",
                     data.Type & kShownTypeMask);
    return kFailed;
  }
  // As it stands: the files are empty, but any size that is one will do.
  if (data.FileSize < 0) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    ctx.IDOS->Printf("\n       ExamineData->FileSize was not correct for a file. [was %lld]\n\n",
                     data.FileSize);
    return kFailed;
  }
  return kPassed;
}

std::int32_t CheckSoftLink(TestContext& ctx, const ExamineData& data, const Examination& asked) {
  // As it stands: only here is the low byte alone shown.
  const std::uint32_t type = data.Type & FSO_TYPE_MASK;
  if (type != FSO_TYPE_SOFTLINK) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    ctx.IDOS->Printf("\n       ExamineData->Type was not FSO_TYPE_SOFTLINK. [was %ld]\n\n", type);
    return kFailed;
  }
  return kPassed;
}

std::int32_t CheckByType(TestContext& ctx, const ExamineData& data, const Examination& asked,
                         std::uint32_t type) {
  switch (type) {
    case FSO_TYPE_DIRECTORY:
      return CheckDirectory(ctx, data, asked);
    case FSO_TYPE_FILE:
      return CheckFile(ctx, data, asked);
    default:
      return CheckSoftLink(ctx, data, asked);
  }
}

}  // namespace

std::int32_t CheckExamineData(TestContext& ctx, const ExamineData& data, const char* function,
                              const char* object, const char* expected_name, std::uint32_t type) {
  DosInterface& dos = *ctx.IDOS;
  const Examination asked = {function, object};
  if (expected_name == nullptr) expected_name = object;

  if (CheckByType(ctx, data, asked, type) != kPassed) return kFailed;

  // As it stands: these two say "root dir" whatever the object is.
  if (data.Date.ds_Days < 1) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    dos.Printf("\n       ExamineData->Date.ds_Days was <1 for root dir. [was %ld]\n\n",
               data.Date.ds_Days);
    return kFailed;
  }
  if (data.ObjectID == 0) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    dos.Printf("\n       ExamineData->ObjectID was <1 for root dir. [was %lld]\n\n", data.ObjectID);
    return kFailed;
  }
  if (ctx.IUtility->Stricmp(data.Name, expected_name) != 0) {
    const Bold bold(ctx);
    PrintFailed(ctx, asked);
    dos.Printf("\n       Name of object returned was \"%s\" instead of \"%s\"\n\n", data.Name,
               expected_name);
    return kFailed;
  }

  if (ctx.NoInfoMessages() || data.RefCount != 0) return kPassed;
  // As it stands: an INFO, and it fails the sub-test.
  dos.Printf("\nINFO:  %s(\"%s\") test failed because;", function, object);
  dos.Printf("\n       ExamineData->RefCount has a value of zero.\n\n");
  return kFailed;
}

}  // namespace quorle
