#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "VolumeInfoData()";
constexpr char kFile[] = "File";
constexpr char kDirectory[] = "Directory";
constexpr char kMissing[] = "Missing";
constexpr std::int32_t kPieceBytes = 4096;
constexpr std::int32_t kPieces = 16;
constexpr std::int32_t kMostRounds = 3;
constexpr std::uint32_t kFewFiles = 20;
constexpr std::uint32_t kThousandFiles = 1000;

/// Asks the volume. Returns the status.
std::int32_t ReadInfo(TestContext& ctx, InfoData& info) {
  info = {};
  if (FurtherOf(ctx).IFurtherDos->VolumeInfoData(ctx.device_name, info)) return kPassed;
  return FailedCall(
      ctx,
      "\nERROR: VolumeInfoData(\"%s\") failed; #%n %m\n"
      "       Programs ask a volume that is there for its room before they write.\n\n",
      ctx.device_name);
}

/// Asks the volume for the blocks in use. Returns the status.
std::int32_t ReadUsedBlocks(TestContext& ctx, std::int32_t& used) {
  InfoData info;
  const std::int32_t status = ReadInfo(ctx, info);
  used = info.id_NumBlocksUsed;
  return status;
}

/// Asks the volume for its users. Returns the status.
std::int32_t ReadUsers(TestContext& ctx, std::int32_t& users) {
  InfoData info;
  const std::int32_t status = ReadInfo(ctx, info);
  users = static_cast<std::int32_t>(info.id_InUse);
  return status;
}

/// Opens the file kFile and writes 65,536 bytes that are not zero. The caller closes it, also when this
/// failed.
bool OpenAndFill(TestContext& ctx, FileHandle& file) {
  DosInterface& dos = *ctx.IDOS;
  file = OpenReadWrite(ctx, kFile, kLabel);
  if (!file) return false;
  char piece[kPieceBytes];
  for (std::int32_t i = 0; i < kPieceBytes; ++i) piece[i] = static_cast<char>(i % 251 + 1);
  for (std::int32_t i = 0; i < kPieces; ++i) {
    if (dos.Write(file, piece, kPieceBytes) == kPieceBytes) continue;
    dos.Printf("\nERROR: %s test failed, cannot Write() to \"%s\"; #%n %m\n\n", kLabel, kFile);
    return false;
  }
  return true;
}

// ---- What is made and removed again -----------------------------------------------------------------

bool MakeData(TestContext& ctx) {
  FileHandle file;
  const bool made = OpenAndFill(ctx, file);
  ctx.IDOS->Close(file);
  return made;
}

bool MakeShorterFile(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  FileHandle file;
  const AtEnd release([&] { dos.Close(file); });
  if (!OpenAndFill(ctx, file)) return false;
  if (dos.ChangeFileSize(file, 1, OFFSET_BEGINNING)) return true;
  dos.Printf("\nERROR: %s test failed, cannot ChangeFileSize(\"%s\",1); #%n %m\n\n", kLabel, kFile);
  return false;
}

bool MakeEmptyFiles(TestContext& ctx) {
  return ManyFiles(ctx, kLabel).Make(kFewFiles);
}

bool MakeThousandFiles(TestContext& ctx) {
  return ManyFiles(ctx, kLabel).Make(kThousandFiles);
}

bool MakeDirectories(TestContext& ctx) {
  return MakeDirectory(ctx, kDirectory, kLabel) && MakeDirectory(ctx, "Directory/Inner", kLabel);
}

/// Makes calls that every filesystem refuses.
bool MakeRefusedCalls(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  FileHandle file;
  const AtEnd release([&] { dos.Close(file); });
  if (!MakeDirectory(ctx, kDirectory, kLabel)) return false;
  file = OpenReadWrite(ctx, "Directory/Inner", kLabel);
  if (!file) return false;

  const FileHandle files[] = {dos.Open(kMissing, MODE_OLDFILE), dos.Open(kDirectory, MODE_NEWFILE),
                              dos.Open("Directory/Inner", MODE_NEWFILE)};
  const LockHandle locks[] = {dos.Lock(kMissing, SHARED_LOCK),
                              dos.Lock("Directory/Inner", EXCLUSIVE_LOCK),
                              dos.CreateDir(kDirectory), dos.ParentDir(ctx.root_lock)};
  bool granted = dos.Delete(kDirectory);
  granted |= dos.Delete("Directory/Inner");
  granted |= dos.Rename("Directory/Inner", kDirectory);
  for (const FileHandle& given : files) {
    granted |= static_cast<bool>(given);
    dos.Close(given);
  }
  for (const LockHandle& given : locks) {
    granted |= static_cast<bool>(given);
    dos.UnLock(given);
  }
  if (!granted) return true;
  dos.Printf("\nERROR: %s test failed, a call that must be refused was not.\n\n", kLabel);
  return false;
}

/// Has `make` make objects in a directory, and removes them and it.
bool MakeAndRemove(TestContext& ctx, bool (*make)(TestContext& ctx)) {
  const WorkDirectory work(ctx, kLabel);
  if (!work) return false;
  const AtEnd release([&] {
    CleanUp(ctx, "Directory/Inner", kLabel, 2);
    CleanUp(ctx, kDirectory, kLabel, 3);
    CleanUp(ctx, kFile, kLabel, 4);
    CleanUp(ctx, kMissing, kLabel, 5);
  });
  return make(ctx);
}

/// After `make`, and the removal of what it made, as many blocks must be in use as before; `what` is
/// what it made.
std::int32_t CheckBlocksComeBack(TestContext& ctx, bool (*make)(TestContext& ctx),
                                 const char* what) {
  // The first time a filesystem may take room for what it manages itself, and keep it.
  if (!MakeAndRemove(ctx, make)) return kFailed;
  // Others may use the medium meanwhile; a block that is lost is lost each time.
  std::int32_t before = 0;
  std::int32_t after = 0;
  for (std::int32_t round = 0; round < kMostRounds; ++round) {
    if (const std::int32_t status = ReadUsedBlocks(ctx, before); status != kPassed) return status;
    if (!MakeAndRemove(ctx, make)) return kFailed;
    if (const std::int32_t status = ReadUsedBlocks(ctx, after); status != kPassed) return status;
    if (after == before) return kPassed;
  }
  // Deleted objects that the filesystem keeps have their blocks by right.
  std::uint32_t kept = 0;
  if (FurtherOf(ctx).IFurtherDos->FileSystemAttr(ctx.device_name, FSA_MaxRecycledEntriesR, kept) &&
      kept > 0) {
    if (ctx.NoInfoMessages()) return kPassed;
    ctx.IDOS->Printf(
        "\nINFO:  VolumeInfoData() shows %ld blocks in use after %s, and showed %ld before.\n"
        "       FileSystemAttr(FSA_MaxRecycledEntriesR) is %lu: deleted objects are kept, with their "
        "blocks.\n\n",
        after, what, before, kept);
    return kPassed;
  }
  return Failure(ctx,
                 "\nERROR: VolumeInfoData() shows %ld blocks in use after %s, and showed %ld "
                 "before.\n"
                 "       Blocks that do not come back are lost: the volume fills up although it "
                 "is empty.\n\n",
                 after, what, before);
}

// ---- Sub-tests ----------------------------------------------------------------------------------------

// 1. What the volume and its device say of it is the same.
std::int32_t AgreesWithTheDevice(TestContext& ctx, std::int32_t) {
  InfoData info;
  if (const std::int32_t status = ReadInfo(ctx, info); status != kPassed) return status;
  InfoData of_device = {};
  if (!ctx.IDOS->GetDiskInfo(ctx.device_name, of_device)) {
    ctx.IDOS->Printf("\nERROR: %s test failed, cannot GetDiskInfo(\"%s\"); #%n %m\n\n", kLabel,
                     ctx.device_name);
    return kFailed;
  }

  const auto differs = [&](const char* field, std::int32_t one, std::int32_t other) {
    return Failure(ctx,
                   "\nERROR: VolumeInfoData() and GetDiskInfo() differ in %s: %ld and %ld.\n"
                   "       One program asks the volume for its room, the next one its device.\n\n",
                   field, one, other);
  };
  if (info.id_DiskState != of_device.id_DiskState) {
    return differs("id_DiskState", info.id_DiskState, of_device.id_DiskState);
  }
  if (info.id_NumBlocks != of_device.id_NumBlocks) {
    return differs("id_NumBlocks", info.id_NumBlocks, of_device.id_NumBlocks);
  }
  if (info.id_NumBlocksUsed != of_device.id_NumBlocksUsed) {
    return differs("id_NumBlocksUsed", info.id_NumBlocksUsed, of_device.id_NumBlocksUsed);
  }
  if (info.id_BytesPerBlock != of_device.id_BytesPerBlock) {
    return differs("id_BytesPerBlock", info.id_BytesPerBlock, of_device.id_BytesPerBlock);
  }
  // Whoever asks the volume may hold a lock for it, so that id_InUse need not be the same.
  if (info.id_DiskType != of_device.id_DiskType) {
    return Failure(ctx,
                   "\nERROR: VolumeInfoData() and GetDiskInfo() differ in id_DiskType: 0x%08lx and "
                   "0x%08lx.\n"
                   "       Programs choose by it how they treat the volume.\n\n",
                   info.id_DiskType, of_device.id_DiskType);
  }
  return kPassed;
}

// 2. A file of 65,536 bytes takes blocks.
std::int32_t UsedBlocksGrowWithData(TestContext& ctx, std::int32_t) {
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  const AtEnd release([&] { CleanUp(ctx, kFile, kLabel, 2); });

  InfoData before;
  if (const std::int32_t status = ReadInfo(ctx, before); status != kPassed) return status;
  if (before.id_NumBlocks == 0) {
    // No room is said of it, which is allowed.
    if (ctx.NoInfoMessages()) return kPassed;
    ctx.IDOS->Printf("\nINFO:  VolumeInfoData() shows no blocks for \"%s\".\n\n", ctx.device_name);
    return kPassed;
  }
  if (!MakeData(ctx)) return kFailed;
  InfoData after;
  if (const std::int32_t status = ReadInfo(ctx, after); status != kPassed) return status;
  if (after.id_NumBlocksUsed <= before.id_NumBlocksUsed) {
    return Failure(
        ctx,
        "\nERROR: VolumeInfoData() shows %ld blocks in use before %ld bytes were "
        "written, and %ld then.\n"
        "       A program that asks whether there is room begins what it cannot end.\n\n",
        before.id_NumBlocksUsed, kPieces * kPieceBytes, after.id_NumBlocksUsed);
  }
  return kPassed;
}

// 3. The blocks of a file with data come back when it is deleted.
std::int32_t BlocksOfData(TestContext& ctx, std::int32_t) {
  return CheckBlocksComeBack(ctx, MakeData, "a file of 65536 bytes was made and deleted");
}

// 4. So do those of a file that was made shorter before.
std::int32_t BlocksOfAShorterFile(TestContext& ctx, std::int32_t) {
  return CheckBlocksComeBack(ctx, MakeShorterFile,
                             "a file of 65536 bytes was made, cut to 1 byte and deleted");
}

// 5. So do those of empty files.
std::int32_t BlocksOfEmptyFiles(TestContext& ctx, std::int32_t) {
  return CheckBlocksComeBack(ctx, MakeEmptyFiles, "20 empty files were made and deleted");
}

// 6. So do those of directories.
std::int32_t BlocksOfDirectories(TestContext& ctx, std::int32_t) {
  return CheckBlocksComeBack(ctx, MakeDirectories, "2 directories were made and deleted");
}

// 7. So do those of 1,000 files.
std::int32_t BlocksOfAThousandFiles(TestContext& ctx, std::int32_t) {
  return CheckBlocksComeBack(ctx, MakeThousandFiles, "1000 files were made and deleted");
}

// 8. Calls that are refused take none.
std::int32_t RefusedCallsTakeNoBlocks(TestContext& ctx, std::int32_t) {
  return CheckBlocksComeBack(ctx, MakeRefusedCalls, "calls that were refused");
}

// 9. Locks and open files are users until they go back.
std::int32_t UsersGoBack(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  LockHandle lock;
  LockHandle second;
  FileHandle file;
  const AtEnd release([&] {
    dos.UnLock(lock);
    dos.UnLock(second);
    dos.Close(file);
    CleanUp(ctx, kFile, kLabel, 2);
  });
  if (!MakeFile(ctx, kFile, kLabel)) return kFailed;

  std::int32_t before = 0;
  if (const std::int32_t status = ReadUsers(ctx, before); status != kPassed) return status;
  lock = SharedLock(ctx, kFile, kLabel);
  if (!lock) return kFailed;
  std::int32_t with_lock = 0;
  if (const std::int32_t status = ReadUsers(ctx, with_lock); status != kPassed) return status;
  second = dos.DupLock(lock);
  file = dos.OpenFromLock(second);
  if (!file) {
    dos.Printf("\nERROR: %s test failed, cannot OpenFromLock(\"%s\"); #%n %m\n\n", kLabel, kFile);
    return kFailed;
  }
  second = {};  // it is the file's now
  std::int32_t with_file = 0;
  if (const std::int32_t status = ReadUsers(ctx, with_file); status != kPassed) return status;
  dos.Close(file);
  file = {};
  dos.UnLock(lock);
  lock = {};
  std::int32_t after = 0;
  if (const std::int32_t status = ReadUsers(ctx, after); status != kPassed) return status;

  if (after != before) {
    return Failure(
        ctx,
        "\nERROR: VolumeInfoData() shows %ld users more after a lock and a file went back "
        "than before.\n"
        "       A volume that counts users who are gone can never be ended.\n\n",
        after - before);
  }
  const std::int32_t of_lock = with_lock - before;
  const std::int32_t of_file = with_file - with_lock;
  const bool counts_each = of_lock == 1 && of_file == 1;
  if (counts_each || ctx.NoInfoMessages()) return kPassed;
  dos.Printf(
      "\nINFO:  VolumeInfoData() shows %ld users more with a lock, and %ld more with an open "
      "file.\n"
      "       id_InUse may count otherwise, but the number of locks and files is preferred.\n\n",
      of_lock, of_file);
  return kPassed;
}

// 10. Calls that are refused leave no users.
std::int32_t RefusedCallsLeaveNoUsers(TestContext& ctx, std::int32_t) {
  std::int32_t before = 0;
  if (const std::int32_t status = ReadUsers(ctx, before); status != kPassed) return status;
  if (!MakeAndRemove(ctx, MakeRefusedCalls)) return kFailed;
  std::int32_t after = 0;
  if (const std::int32_t status = ReadUsers(ctx, after); status != kPassed) return status;
  if (after != before) {
    return Failure(
        ctx,
        "\nERROR: VolumeInfoData() shows %ld users more after calls that were refused than "
        "before.\n"
        "       A volume that counts users who are none can never be ended.\n\n",
        after - before);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"AgreesWithTheDevice", AgreesWithTheDevice},            // 1
    {"UsedBlocksGrowWithData", UsedBlocksGrowWithData},      // 2
    {"BlocksOfData", BlocksOfData},                          // 3
    {"BlocksOfAShorterFile", BlocksOfAShorterFile},          // 4
    {"BlocksOfEmptyFiles", BlocksOfEmptyFiles},              // 5
    {"BlocksOfDirectories", BlocksOfDirectories},            // 6
    {"BlocksOfAThousandFiles", BlocksOfAThousandFiles},      // 7
    {"RefusedCallsTakeNoBlocks", RefusedCallsTakeNoBlocks},  // 8
    {"UsersGoBack", UsersGoBack},                            // 9
    {"RefusedCallsLeaveNoUsers", RefusedCallsLeaveNoUsers},  // 10
    {},
};

}  // namespace

const TestGroup kFurtherVolumeInfoDataGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.VolumeInfoData"};

}  // namespace quorle
