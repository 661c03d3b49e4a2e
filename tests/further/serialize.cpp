#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/destruction.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Serialize()";

/// Gives the volume another date while it is inhibited. Returns the status.
std::int32_t SerializeVolume(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  Vacancy vacancy(ctx);
  if (!vacancy.Inhibit()) {
    dos.Printf("\nERROR: %s test failed, cannot Inhibit(\"%s\",TRUE); #%n %m\n\n", kLabel,
               ctx.device_name);
    return kFailed;
  }
  const bool done = FurtherOf(ctx).IFurtherDos->Serialize(ctx.device_name);
  const std::int32_t code = dos.IoErr();
  if (const std::int32_t status = vacancy.Return(); status != kPassed) return status;
  if (done) return kPassed;
  dos.SetIoErr(code);
  return FailedCall(ctx,
                    "\nERROR: Serialize(\"%s\") failed while the volume was inhibited; #%n %m\n\n",
                    ctx.device_name);
}

// 1. What is on the volume stays.
std::int32_t FilesStay(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  const ExamineData* data = nullptr;
  FileHandle file;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    dos.Close(file);
    CleanUpRoot(ctx, name, kLabel, 1);
  });
  if (!UniqueFile(ctx, name)) return kFailed;
  file = OpenReadWrite(ctx, name, kLabel);
  if (!file) return kFailed;
  const std::int32_t bytes = ContentBytes(name);
  if (dos.Write(file, name, bytes) != bytes) {
    dos.Printf("\nERROR: %s test failed, cannot Write() to \"%s\"; #%n %m\n\n", kLabel, name);
    return kFailed;
  }
  dos.Close(file);
  file = {};
  if (const std::int32_t status = SerializeVolume(ctx); status != kPassed) return status;

  char buffer[kReadBytes] = {};
  file = dos.Open(name, MODE_OLDFILE);
  const std::int32_t found = dos.Read(file, buffer, kReadBytes);
  if (found != bytes || ctx.IUtility->Stricmp(buffer, name) != 0) {
    return Failure(ctx,
                   "\nERROR: \"%s\" does not hold what it held before Serialize().\n"
                   "       Nothing but the date of the volume should be another one.\n\n",
                   name);
  }
  return kPassed;
}

// 2. So does its name.
std::int32_t NameStays(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  char name[ScratchName::kSize] = {};
  if (const std::int32_t status = SerializeVolume(ctx); status != kPassed) return status;
  const PortHandle port = dos.FileLockOf(ctx.root_lock).fl_Port;
  if (!dos.VolNameFromPort(port, name, sizeof name, false)) {
    dos.DevNameFromPort(port, name, sizeof name, false);
  }
  if (ctx.IUtility->Stricmp(name, ctx.volume_name) != 0) {
    dos.Relabel(ctx.device_name, ctx.volume_name);
    return Failure(
        ctx,
        "\nERROR: the volume is called \"%s\" after Serialize(), and was called \"%s\".\n"
        "       What refers to it by its name does not find it any more.\n\n",
        name, ctx.volume_name);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"FilesStay", FilesStay},  // 1
    {"NameStays", NameStays},  // 2
    {},
};

}  // namespace

const TestGroup kFurtherSerializeGroup = {.label = kLabel,
                                          .sub_tests = kSubTests,
                                          .run = RunWhereNothingIsLost,
                                          .id = "Further.Serialize"};

}  // namespace quorle
