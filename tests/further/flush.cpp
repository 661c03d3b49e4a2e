#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/moments.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Flush()";
constexpr std::int32_t kPartBytes = 2500;  // no multiple of a block

/// Fills `part`, kPartBytes of it, with `letter` and the six letters behind it.
void FillPart(char* part, char letter) {
  for (std::int32_t i = 0; i < kPartBytes; ++i) part[i] = static_cast<char>(letter + i % 7);
}

/// Has all that was written brought to the medium. Returns the status.
std::int32_t FlushVolume(TestContext& ctx) {
  if (FurtherOf(ctx).IFurtherDos->Flush(ctx.device_name)) return kPassed;
  return FailedCall(ctx,
                    "\nERROR: Flush(\"%s\") failed; #%n %m\n"
                    "       A program that flushes before a reset has no other call.\n\n",
                    ctx.device_name);
}

/// Writes a part at the position of `file`. False, with the reason printed, when it cannot.
bool WritePart(TestContext& ctx, FileHandle file, char letter) {
  char part[kPartBytes];
  FillPart(part, letter);
  if (ctx.IDOS->Write(file, part, kPartBytes) == kPartBytes) return true;
  ctx.IDOS->Printf("\nERROR: %s test failed, cannot Write() %ld bytes; #%n %m\n\n", kLabel,
                   kPartBytes);
  return false;
}

/// Whether what is next in `file` is that part.
bool HasPart(TestContext& ctx, FileHandle file, char letter) {
  char part[kPartBytes];
  char found[kPartBytes] = {};
  FillPart(part, letter);
  if (ctx.IDOS->Read(file, found, kPartBytes) != kPartBytes) return false;
  std::int32_t same = 0;
  while (same < kPartBytes && found[same] == part[same]) ++same;
  return same == kPartBytes;
}

/// Whether the file `name` is both parts and no more.
bool HasBothParts(TestContext& ctx, const char* name) {
  const FileHandle file = ctx.IDOS->Open(name, MODE_OLDFILE);
  const bool has_parts = HasPart(ctx, file, 'a') && HasPart(ctx, file, 'A');
  char rest = 0;
  const bool has_all = has_parts && ctx.IDOS->Read(file, &rest, 1) == 0;
  ctx.IDOS->Close(file);
  return has_all;
}

// 1. A volume can be flushed.
std::int32_t Succeeds(TestContext& ctx, std::int32_t) {
  return FlushVolume(ctx);
}

// 2. What is written before and after it, to a file that stays open, is in the file.
std::int32_t FileAcrossAFlush(TestContext& ctx, std::int32_t) {
  constexpr char kFile[] = "File";
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  FileHandle file;
  const AtEnd release([&] {
    ctx.IDOS->Close(file);
    CleanUp(ctx, kFile, kLabel, 2);
  });
  file = OpenReadWrite(ctx, kFile, kLabel);
  if (!file || !WritePart(ctx, file, 'a')) return kFailed;
  if (const std::int32_t status = FlushVolume(ctx); status != kPassed) return status;
  if (!WritePart(ctx, file, 'A')) return kFailed;
  if (const std::int32_t status = FlushVolume(ctx); status != kPassed) return status;
  ctx.IDOS->Close(file);
  file = {};
  if (!HasBothParts(ctx, kFile)) {
    return Failure(
        ctx,
        "\nERROR: a file does not hold the %ld bytes that were written before Flush() and "
        "the %ld after it.\n"
        "       Flush() brings to the medium what was written, and changes nothing.\n\n",
        kPartBytes, kPartBytes);
  }
  return kPassed;
}

// 3. After it, what was written is there when the volume is mounted again.
std::int32_t WrittenIsThereAgain(TestContext& ctx, std::int32_t) {
  constexpr char kComment[] = "before Flush()";
  constexpr std::uint32_t kProtection = EXDF_NO_EXECUTE;
  DosInterface& dos = *ctx.IDOS;
  // No lock of ours is on the volume when it is mounted again, so that this is no WorkDirectory.
  ScratchName directory;
  ScratchName name;
  const ExamineData* before = nullptr;
  const ExamineData* data = nullptr;
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, before);
    dos.FreeDosObject(DOS_EXAMINEDATA, data);
    CleanUp(ctx, name, kLabel, 1);
    CleanUp(ctx, directory, kLabel, 2);
  });
  if (!UniqueDirectory(ctx, directory)) return kFailed;
  if (!MakeDirectory(ctx, directory, kLabel)) return kFailed;
  if (!UniqueFile(ctx, name)) return kFailed;
  const FileHandle file = OpenReadWrite(ctx, name, kLabel);
  if (!file) return kFailed;
  const bool written = WritePart(ctx, file, 'a') && WritePart(ctx, file, 'A');
  dos.Close(file);
  if (!written) return kFailed;
  if (!dos.SetComment(name, kComment) || !dos.SetProtection(name, kProtection)) {
    dos.Printf("\nERROR: %s test failed, cannot set the attributes of \"%s\"; #%n %m\n\n", kLabel,
               name);
    return kFailed;
  }
  before = Examine(ctx, name, kLabel);
  if (before == nullptr) return kFailed;
  if (const std::int32_t status = FlushVolume(ctx); status != kPassed) return status;

  if (!FurtherOf(ctx).IFurtherDos->Remount(ctx.device_name, ctx.root_lock)) {
    if (dos.IoErr() != ERROR_NOT_IMPLEMENTED) {
      return Failure(ctx,
                     "\nERROR: \"%s\" could not be mounted again after Flush(); #%n %m\n"
                     "       Nothing else can be tested on it.\n\n",
                     ctx.device_name);
    }
    if (ctx.NoInfoMessages()) return kPassed;
    dos.Printf(
        "\nINFO:  \"%s\" was not mounted again: whether it is all there after Flush() was not "
        "seen.\n\n",
        ctx.device_name);
    return kPassed;
  }
  const auto lost = [&](const char* what) {
    return Failure(ctx,
                   "\nERROR: after Flush(), when the volume was mounted again, %s.\n"
                   "       What was saved before the machine is switched off must be there "
                   "then.\n\n",
                   what);
  };
  const LockHandle lock = dos.Lock(directory, SHARED_LOCK);
  dos.UnLock(lock);
  if (!lock) return lost("an empty directory was not there");
  data = dos.ExamineObject(EX_StringNameInput, name);
  if (data == nullptr) return lost("a file was not there");
  if (!HasBothParts(ctx, name)) return lost("a file had other contents");
  if (ctx.IUtility->Stricmp(data->Comment, before->Comment) != 0) {
    return lost("a file had another comment");
  }
  if (data->Protection != before->Protection) return lost("a file had another protection");
  // On the medium a date may be kept less exactly than in memory.
  if (!IsBetween(data->Date, before->Date, before->Date)) return lost("a file had another date");
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"Succeeds", Succeeds},                        // 1
    {"FileAcrossAFlush", FileAcrossAFlush},        // 2
    {"WrittenIsThereAgain", WrittenIsThereAgain},  // 3
    {},
};

}  // namespace

const TestGroup kFurtherFlushGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Flush"};

}  // namespace quorle
