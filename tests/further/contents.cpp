#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/data_file.h"
#include "tests/further/few_objects.h"
#include "tests/further/file_names.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Contents";
constexpr std::int32_t kReadAtOnce = DataFile::kReadAtOnce;

/// The bytes that are free on the volume; -1 when it does not say.
std::int64_t RoomOf(TestContext& ctx) {
  InfoData info{};
  if (!FurtherOf(ctx).IFurtherDos->VolumeInfoData(ctx.device_name, info)) return -1;
  return (std::int64_t{info.id_NumBlocks} - info.id_NumBlocksUsed) * info.id_BytesPerBlock;
}

/// Says that a file of `bytes` bytes is not tried.
std::int32_t HasNoRoom(TestContext& ctx, std::int64_t bytes) {
  if (!ctx.NoInfoMessages()) {
    ctx.IDOS->Printf(
        "\nINFO:  %s, a file of %lld bytes was not tried: \"%s\" shows no room for it.\n\n", kLabel,
        bytes, ctx.device_name);
  }
  return kPassed;
}

// 1. Files around the sizes of blocks, written at once.
std::int32_t SizesAroundBlocks(TestContext& ctx, std::int32_t) {
  constexpr std::int32_t kSizes[] = {0, 1, 511, 512, 513, 4095, 4096, 4097, 65535, 65536, 65537};
  DataFile data(ctx, kReadAtOnce);
  if (!data) return kFailed;
  for (const std::int32_t size : kSizes) {
    std::int32_t status = data.Make(size);
    if (status == kPassed) status = data.Check();
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 2. A file of a mebibyte and a byte, written in chunks that end nowhere in particular.
std::int32_t LongFileInChunks(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kSize = 1024 * 1024 + 1;
  constexpr std::uint32_t kChunk = 10007;
  const std::int64_t room = RoomOf(ctx);
  if (room >= 0 && room < kSize) return HasNoRoom(ctx, kSize);
  DataFile data(ctx, kSize);
  if (!data) return kFailed;
  if (!data.Open(MODE_NEWFILE, "in MODE_NEWFILE")) return kFailed;

  for (std::uint32_t position = 0; position < kSize; position += kChunk) {
    const std::uint32_t left = kSize - position;
    const std::int32_t status =
        data.Write(position, static_cast<std::int32_t>(left < kChunk ? left : kChunk));
    if (status != kPassed) return status;
  }
  data.Close();
  return data.Check();
}

// 3. A write in the middle of a file, across an edge of a block, or of nothing, leaves the rest as it was.
std::int32_t OverwriteKeepsTheRest(TestContext& ctx, std::int32_t) {
  constexpr std::int32_t kSize = 70000;
  constexpr struct {
    std::uint32_t position;
    std::int32_t bytes;
  } kWrites[] = {{511, 2},      {4095, 2}, {65535, 2}, {100, 0},
                 {1000, 10000}, {0, 1},    {69999, 1}, {64000, 3000}};
  DataFile data(ctx, kSize);
  if (!data) return kFailed;
  std::int32_t status = data.Make(kSize);
  if (status != kPassed) return status;
  if (!data.Open(MODE_READWRITE, "in MODE_READWRITE")) return kFailed;

  for (const auto& write : kWrites) {
    if (!data.MoveTo(data.file(), write.position)) return kFailed;
    status = data.Write(write.position, write.bytes);
    if (status != kPassed) return status;
  }
  data.Close();
  return data.Check();
}

// 4. What is added at the end follows what was there.
std::int32_t AppendKeepsTheRest(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kSizes[] = {511, 513, 4095, 4097, 65535, 65537};
  DataFile data(ctx, kReadAtOnce);
  if (!data) return kFailed;
  std::uint32_t end = 0;
  for (const std::uint32_t size : kSizes) {
    if (!data.Open(MODE_READWRITE, "in MODE_READWRITE") || !data.MoveTo(data.file(), end))
      return kFailed;
    std::int32_t status = data.Write(end, static_cast<std::int32_t>(size - end));
    data.Close();
    if (status == kPassed) status = data.Check();
    if (status != kPassed) return status;
    end = size;
  }
  return kPassed;
}

// 5. Two handles of one file see what the other wrote, each from its own position.
std::int32_t TwoHandles(TestContext& ctx, std::int32_t) {
  constexpr char kHow[] = "in MODE_OLDFILE beside another";
  DosInterface& dos = *ctx.IDOS;
  DataFile data(ctx, kReadAtOnce);
  FileHandle other;
  const AtEnd release([&] { dos.Close(other); });
  if (!data) return kFailed;
  if (!data.Open(MODE_READWRITE, "in MODE_READWRITE")) return kFailed;
  other = dos.Open(DataFile::kName, MODE_OLDFILE);
  if (!other) {
    dos.Printf(
        "\nERROR: %s test failed, cannot Open(\"%s\",MODE_OLDFILE) a second time; #%n %m\n\n",
        kLabel, DataFile::kName);
    return kFailed;
  }

  // Each goes on where it was itself; what is read shows where.
  std::int32_t status = data.Write(0, 1000);
  if (status == kPassed) status = data.Read(other, 0, 600);
  if (status == kPassed) status = data.Write(1000, 200);
  if (status == kPassed) status = data.CheckSize(other);
  if (status == kPassed) status = data.Read(other, 600, 600);
  if (status != kPassed) return status;
  if (!data.MoveTo(data.file(), 300) || !data.MoveTo(other, 250)) return kFailed;
  status = data.Write(300, 50);
  if (status == kPassed) status = data.Read(other, 250, 950);
  if (status == kPassed) status = data.Write(other, kHow, 1200, 100);
  if (status == kPassed) status = data.CheckSize(data.file());
  if (status == kPassed) status = data.Read(data.file(), 350, 950);
  return status == kPassed ? data.Check() : status;
}

/// Writes through the handle that `data` has open on a file of 1000 bytes, in it and behind it, and looks
/// what is there. Returns the status.
std::int32_t WriteInAndBehind(DataFile& data) {
  std::int32_t status = data.Write(0, 600);
  if (status == kPassed) status = data.Read(data.file(), 600, 400);
  if (status == kPassed) status = data.Write(1000, 500);
  data.Close();
  return status == kPassed ? data.Check() : status;
}

// 6. A file that is opened in MODE_OLDFILE can be written, also while another one is open.
std::int32_t OldFileIsWritten(TestContext& ctx, std::int32_t) {
  constexpr char kOther[] = "Other";
  DosInterface& dos = *ctx.IDOS;
  DataFile data(ctx, kReadAtOnce);
  FileHandle other;
  const AtEnd release([&] {
    dos.Close(other);
    if (data) CleanUp(ctx, kOther, kLabel, 3);
  });
  if (!data) return kFailed;
  for (std::int32_t round = 0; round < 2; ++round) {
    const std::int32_t status = data.Make(1000);
    if (status != kPassed) return status;
    if (!data.Open(MODE_OLDFILE, "in MODE_OLDFILE")) return kFailed;
    const std::int32_t written = WriteInAndBehind(data);
    if (written != kPassed) return written;
    if (other) continue;
    other = OpenReadWrite(ctx, kOther, kLabel);
    if (!other) return kFailed;
  }
  return kPassed;
}

// 7. A file that is opened from a lock, a shared one or an exclusive one, can be written.
std::int32_t FileFromLockIsWritten(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int32_t mode;
    const char* how;
  } kLocks[] = {{SHARED_LOCK, "from a shared lock"}, {EXCLUSIVE_LOCK, "from an exclusive lock"}};
  DataFile data(ctx, kReadAtOnce);
  if (!data) return kFailed;
  for (const auto& lock : kLocks) {
    std::int32_t status = data.Make(1000);
    if (status != kPassed) return status;
    if (!data.OpenFromLock(lock.mode, lock.how)) return kFailed;
    status = WriteInAndBehind(data);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 8. What is left of a file that becomes shorter is what it was.
std::int32_t ShrinkingKeepsTheRest(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kSizes[] = {66000, 5000, 4096, 513};
  DataFile data(ctx, 70000);
  if (!data) return kFailed;
  for (const std::uint32_t size : kSizes) {
    std::int32_t status = data.Make(70000);
    if (status != kPassed) return status;
    if (!data.Open(MODE_OLDFILE, "in MODE_OLDFILE") || !data.Resize(size)) return kFailed;
    data.Close();
    status = data.Check();
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 9. A file that becomes longer holds what it held. What is behind that may be anything, and stays.
std::int32_t GrownAreaStaysTheSame(TestContext& ctx, std::int32_t) {
  constexpr std::uint32_t kOldSize = 5000;
  DataFile data(ctx, 70000);
  if (!data) return kFailed;
  std::int32_t status = data.Make(kOldSize);
  if (status != kPassed) return status;
  if (!data.Open(MODE_OLDFILE, "in MODE_OLDFILE") || !data.Resize(70000) ||
      !data.MoveTo(data.file(), kOldSize) || !data.Adopt(kOldSize)) {
    return kFailed;
  }
  status = data.Check();
  data.Close();
  return status == kPassed ? data.Check() : status;
}

/// A size of `size` bytes was refused: it must be one that is too large for the filesystem, and nothing
/// may have changed.
std::int32_t RefusedSize(TestContext& ctx, DataFile& data, std::int64_t size) {
  if (ctx.IDOS->IoErr() != ERROR_OBJECT_TOO_LARGE) {
    return Failure(
        ctx,
        "\nERROR: ChangeFileSize(%lld,'OB') failed, and \"%s\" shows room for it; #%n %m\n"
        "       Large files cannot be saved; #207 would say that none can be so large.\n\n",
        size, ctx.device_name);
  }
  if (!ctx.NoInfoMessages()) {
    ctx.IDOS->Printf("\nINFO:  %s, a file on \"%s\" cannot be %lld bytes long; #%n %m\n\n", kLabel,
                     ctx.device_name, size);
  }
  data.Close();
  return data.Check();
}

/// The size of `file` must be shown as `size`.
std::int32_t CheckLargeSize(TestContext& ctx, FileHandle file, std::int64_t size) {
  DosInterface& dos = *ctx.IDOS;
  const std::int64_t shown = dos.GetFileSize(file);
  if (shown != size) {
    return Failure(ctx,
                   "\nERROR: GetFileSize() gave %lld for a file that was made %lld bytes long.\n"
                   "       A program that copies it copies another part of it.\n\n",
                   shown, size);
  }
  const ExamineData* const record = dos.ExamineObject(EX_FileHandleInput, file);
  if (record == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot ExamineObject(\"%s\"); #%n %m\n\n", kLabel,
               DataFile::kName);
    return kFailed;
  }
  const std::int64_t examined = record->FileSize;
  dos.FreeDosObject(DOS_EXAMINEDATA, record);
  if (examined == size) return kPassed;
  return Failure(ctx,
                 "\nERROR: ExamineObject() gave a size of %lld for a file of %lld bytes.\n"
                 "       A program that copies it copies another part of it.\n\n",
                 examined, size);
}

/// A file that ends behind `edge` is written and read there, and at its start.
std::int32_t LargeFile(TestContext& ctx, std::int64_t edge) {
  constexpr std::int32_t kBytes = 16;
  constexpr std::int32_t kHalf = kBytes / 2;
  DosInterface& dos = *ctx.IDOS;
  const std::int64_t size = edge + kHalf;
  if (RoomOf(ctx) < size) return HasNoRoom(ctx, size);
  std::uint8_t start[kBytes + 1] = "of_a_large_file_";
  std::uint8_t mark[kBytes + 1] = "across_the_edge_";
  std::uint8_t buffer[kBytes];
  DataFile data(ctx, kBytes);
  if (!data) return kFailed;
  std::int32_t status = data.Make(kBytes);
  if (status != kPassed) return status;
  if (!data.Open(MODE_READWRITE, "in MODE_READWRITE")) return kFailed;
  const FileHandle file = data.file();
  if (!dos.ChangeFileSize(file, size, OFFSET_BEGINNING)) return RefusedSize(ctx, data, size);
  status = CheckLargeSize(ctx, file, size);

  // What is written at the edge must be there, and nowhere else.
  const Stretch at_start = {0, start, kBytes};
  const Stretch at_edge = {edge - kHalf, mark, kBytes};
  const Stretch behind = {edge, mark + kHalf, kHalf};
  const struct {
    std::int64_t offset;
    std::int32_t mode;
    const char* mode_name;
    const Stretch* what;
    bool is_written;
  } moves[] = {
      {0, OFFSET_BEGINNING, "OB", &at_start, true},
      {at_edge.position, OFFSET_BEGINNING, "OB", &at_edge, true},
      {-size, OFFSET_CURRENT, "OC", &at_start, false},
      {at_edge.position - kBytes, OFFSET_CURRENT, "OC", &at_edge, false},
      {-kBytes, OFFSET_END, "OE", &at_edge, false},
      {edge, OFFSET_BEGINNING, "OB", &behind, false},
  };
  for (const auto& move : moves) {
    if (status != kPassed) return status;
    if (!dos.ChangeFilePosition(file, move.offset, move.mode)) {
      return Failure(
          ctx,
          "\nERROR: ChangeFilePosition(%lld,'%s') failed in a file of %lld bytes; #%n %m\n"
          "       A part of the file cannot be reached.\n\n",
          move.offset, move.mode_name, size);
    }
    const std::int64_t position = dos.GetFilePosition(file);
    if (position != move.what->position) {
      return Failure(
          ctx,
          "\nERROR: GetFilePosition() gave %lld after ChangeFilePosition(%lld,'%s') to %lld.\n"
          "       A program that goes back to it later goes to another place.\n\n",
          position, move.offset, move.mode_name, move.what->position);
    }
    status = move.is_written ? WriteStretch(ctx, file, "in MODE_READWRITE", *move.what)
                             : ReadStretch(ctx, file, *move.what, buffer);
  }
  return status;
}

// 10. A file that ends behind 2 GiB, where there is room for it.
std::int32_t BeyondTwoGibibytes(TestContext& ctx, std::int32_t) {
  return LargeFile(ctx, std::int64_t{1} << 31);
}

// 11. A file that ends behind 4 GiB, where there is room for it.
std::int32_t BeyondFourGibibytes(TestContext& ctx, std::int32_t) {
  return LargeFile(ctx, std::int64_t{1} << 32);
}

// ---- What a file and a hard link to it have in common --------------------------------------------------

constexpr char kSharedText[] = "shared";
constexpr std::int32_t kSharedBytes = sizeof kSharedText - 1;

/// Writes kSharedText to "First". False, with the reason printed, when that fails.
bool WriteShared(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = OpenReadWrite(ctx, "First", kLabel);
  if (!file) return false;
  const std::int32_t written = dos.Write(file, kSharedText, kSharedBytes);
  dos.Close(file);
  if (written == kSharedBytes) return true;
  dos.Printf("\nERROR: %s test failed, cannot Write(\"First\"); #%n %m\n\n", kLabel);
  return false;
}

/// Whether the file `name` holds kSharedText, and no more.
bool HoldsShared(TestContext& ctx, const char* name) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = dos.Open(name, MODE_OLDFILE);
  if (!file) return false;
  char buffer[sizeof kSharedText + 1] = {};
  const std::int32_t count = dos.Read(file, buffer, kSharedBytes + 1);
  dos.Close(file);
  return count == kSharedBytes && AreEqual(buffer, kSharedText);
}

// 12. A file and a hard link to it have the contents, the size, the comment and the protection in common.
std::int32_t LinkSharesTheFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const ExamineData* file = nullptr;
  const ExamineData* link = nullptr;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] {
    dos.FreeDosObject(DOS_EXAMINEDATA, link);
    dos.FreeDosObject(DOS_EXAMINEDATA, file);
  });
  if (!objects.Make()) return kFailed;
  if (!objects.MakeHardLink()) return kPassed;
  if (!WriteShared(ctx)) return kFailed;
  if (!dos.SetComment("First", "shared") || !dos.SetProtection("First", EXDF_NO_EXECUTE)) {
    dos.Printf("\nERROR: %s test failed, cannot set the attributes of \"First\"; #%n %m\n\n",
               kLabel);
    return kFailed;
  }
  file = Examine(ctx, "First", kLabel);
  if (file == nullptr) return kFailed;
  link = Examine(ctx, "Link", kLabel);
  if (link == nullptr) return kFailed;

  const auto differ = [&](const char* what) {
    return Failure(
        ctx,
        "\nERROR: \"First\", which was changed, and \"Link\", a hard link to it, differ in the "
        "%s.\n"
        "       Both are names of one file. Who goes by the other one has what is no "
        "more.\n\n",
        what);
  };
  if (link->FileSize != file->FileSize) return differ("size");
  if (!AreEqual(link->Comment, file->Comment)) return differ("comment");
  if (link->Protection != file->Protection) return differ("protection");
  return HoldsShared(ctx, "Link") ? kPassed : differ("contents");
}

// 13. When a hard link is deleted its file stays, with its contents, and is not counted as linked any more.
std::int32_t DeletedLinkLeavesTheFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  const ExamineData* data = nullptr;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] { dos.FreeDosObject(DOS_EXAMINEDATA, data); });
  if (!objects.Make() || !WriteShared(ctx)) return kFailed;
  if (!objects.MakeHardLink()) return kPassed;
  // What is kept of the count must not outlive the link.
  data = Examine(ctx, "First", kLabel);
  if (data == nullptr) return kFailed;
  dos.FreeDosObject(DOS_EXAMINEDATA, data);
  data = nullptr;
  if (!dos.Delete("Link")) {
    dos.Printf("\nERROR: %s test failed, cannot Delete(\"Link\"); #%n %m\n\n", kLabel);
    return kFailed;
  }
  if (!HoldsShared(ctx, "First")) {
    return Failure(
        ctx,
        "\nERROR: \"First\" does not hold what it held before Delete(\"Link\"), a hard link "
        "to it.\n"
        "       A file is there until its last name is deleted.\n\n");
  }
  data = Examine(ctx, "First", kLabel);
  if (data == nullptr) return kFailed;
  // 0: the filesystem does not count.
  if (data->RefCount > 1) {
    return Failure(
        ctx,
        "\nERROR: \"First\" has a RefCount of %lu after Delete(\"Link\"), its only other "
        "name.\n"
        "       What makes backups looks for the other names of such a file.\n\n",
        data->RefCount);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"SizesAroundBlocks", SizesAroundBlocks},                // 1
    {"LongFileInChunks", LongFileInChunks},                  // 2
    {"OverwriteKeepsTheRest", OverwriteKeepsTheRest},        // 3
    {"AppendKeepsTheRest", AppendKeepsTheRest},              // 4
    {"TwoHandles", TwoHandles},                              // 5
    {"OldFileIsWritten", OldFileIsWritten},                  // 6
    {"FileFromLockIsWritten", FileFromLockIsWritten},        // 7
    {"ShrinkingKeepsTheRest", ShrinkingKeepsTheRest},        // 8
    {"GrownAreaStaysTheSame", GrownAreaStaysTheSame},        // 9
    {"BeyondTwoGibibytes", BeyondTwoGibibytes},              // 10
    {"BeyondFourGibibytes", BeyondFourGibibytes},            // 11
    {"LinkSharesTheFile", LinkSharesTheFile},                // 12
    {"DeletedLinkLeavesTheFile", DeletedLinkLeavesTheFile},  // 13
    {},
};

}  // namespace

const TestGroup kFurtherContentsGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.Contents"};

}  // namespace quorle
