#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "GetFilePosition()";
constexpr std::int32_t kSize = 100;
/// What is written, and more than is read.
constexpr std::int32_t kMost = 256;

/// A scratch file of kSize bytes, and two handles that are closed at the end.
class [[nodiscard]] PositionFile {
 public:
  /// Makes it. What goes wrong is printed; `number` is what a CLEANUP ERROR calls it.
  PositionFile(TestContext& ctx, std::uint32_t number) : ctx_(ctx), number_(number) {
    if (!UniqueFile(ctx, name)) return;
    const FileHandle made = OpenReadWrite(ctx, name, kLabel);
    if (!made) return;
    is_there_ = Write(made, kSize);
    ctx.IDOS->Close(made);
  }
  ~PositionFile() {
    ctx_.IDOS->Close(file);
    ctx_.IDOS->Close(second);
    CleanUp(ctx_, name, kLabel, number_);
  }
  PositionFile(const PositionFile&) = delete;
  PositionFile& operator=(const PositionFile&) = delete;

  /// Opens `file` in MODE_READWRITE. False, with the reason printed, when it cannot be.
  bool Open() {
    if (is_there_) file = OpenReadWrite(ctx_, name, kLabel);
    return static_cast<bool>(file);
  }
  /// Opens `second` in MODE_OLDFILE.
  bool OpenSecond() {
    second = ctx_.IDOS->Open(name, MODE_OLDFILE);
    if (second) return true;
    ctx_.IDOS->Printf("\nERROR: %s test failed, cannot Open(\"%s\",MODE_OLDFILE); #%n %m\n\n",
                      kLabel, name);
    return false;
  }
  bool Write(FileHandle to, std::int32_t bytes) {
    constexpr char kZeros[kMost] = {};
    if (ctx_.IDOS->Write(to, kZeros, bytes) == bytes) return true;
    ctx_.IDOS->Printf("\nERROR: %s test failed, cannot Write() %ld bytes; #%n %m\n\n", kLabel,
                      bytes);
    return false;
  }
  /// Reads: `bytes` are asked for, and `expected` are there.
  bool Read(FileHandle from, std::int32_t bytes, std::int32_t expected) {
    char buffer[kMost];
    if (ctx_.IDOS->Read(from, buffer, bytes) == expected) return true;
    ctx_.IDOS->Printf("\nERROR: %s test failed, cannot Read() %ld bytes; #%n %m\n\n", kLabel,
                      expected);
    return false;
  }
  bool Move(FileHandle which, std::int64_t offset, std::int32_t mode) {
    if (ctx_.IDOS->ChangeFilePosition(which, offset, mode)) return true;
    ctx_.IDOS->Printf("\nERROR: %s test failed, cannot ChangeFilePosition(%lld,%ld); #%n %m\n\n",
                      kLabel, offset, mode);
    return false;
  }
  bool Resize(FileHandle which, std::int64_t size) {
    if (ctx_.IDOS->ChangeFileSize(which, size, OFFSET_BEGINNING)) return true;
    ctx_.IDOS->Printf("\nERROR: %s test failed, cannot ChangeFileSize(%lld,'OB'); #%n %m\n\n",
                      kLabel, size);
    return false;
  }

  ScratchName name;
  FileHandle file;
  FileHandle second;

 private:
  TestContext& ctx_;
  std::uint32_t number_;
  bool is_there_ = false;
};

/// The position of `file` must be `expected`; `when` says after what. Returns the status.
std::int32_t CheckPosition(TestContext& ctx, FileHandle file, std::int64_t expected,
                           const char* when) {
  const std::int64_t position = ctx.IDOS->GetFilePosition(file);
  if (position == expected) return kPassed;
  if (position == -1) {
    return FailedCall(ctx, "\nERROR: GetFilePosition() failed %s; #%n %m\n\n", when);
  }
  return Failure(ctx,
                 "\nERROR: GetFilePosition() gave %lld %s, and should have given %lld.\n"
                 "       A program that keeps it to come back later comes to another place.\n\n",
                 position, when, expected);
}

// 1. A handle that was opened, in any mode or from a lock, is at the start. No handle is nowhere.
std::int32_t AfterOpening(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int32_t mode;
    const char* when;
  } kModes[] = {{MODE_OLDFILE, "after Open() in MODE_OLDFILE"},
                {MODE_READWRITE, "after Open() in MODE_READWRITE"},
                {MODE_NEWFILE, "after Open() in MODE_NEWFILE"}};
  DosInterface& dos = *ctx.IDOS;
  PositionFile test(ctx, 1);
  LockHandle lock;
  const AtEnd release([&] { dos.UnLock(lock); });
  if (!test.Open()) return kFailed;

  lock = SharedLock(ctx, test.name, kLabel);
  if (!lock) return kFailed;
  test.second = dos.OpenFromLock(lock);
  if (!test.second) {
    dos.Printf("\nERROR: %s test failed, cannot OpenFromLock(\"%s\"); #%n %m\n\n", kLabel,
               test.name);
    return kFailed;
  }
  lock = {};
  std::int32_t status = CheckPosition(ctx, test.second, 0, "after OpenFromLock()");
  dos.Close(test.second);
  test.second = {};
  for (const auto& each : kModes) {
    if (status != kPassed) return status;
    dos.Close(test.file);
    test.file = dos.Open(test.name, each.mode);
    if (!test.file) {
      dos.Printf("\nERROR: %s test failed, cannot Open(\"%s\",%ld); #%n %m\n\n", kLabel, test.name,
                 each.mode);
      return kFailed;
    }
    status = CheckPosition(ctx, test.file, 0, each.when);
  }
  if (status != kPassed) return status;

  dos.SetIoErr(0);
  const std::int64_t nowhere = dos.GetFilePosition({});
  if (nowhere == -1 && dos.IoErr() != 0) return kPassed;
  return Failure(ctx,
                 "\nERROR: GetFilePosition() of no handle gave %lld; #%n %m\n"
                 "       instead, it should have given -1 and an error code.\n\n",
                 nowhere);
}

// 2. Reading moves the position by what was read, and at the end not at all.
std::int32_t AfterReading(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int32_t bytes;
    std::int32_t count;
    std::int64_t position;
    const char* when;
  } kReads[] = {{10, 10, 10, "after Read() of 10 bytes"},
                {0, 0, 10, "after Read() of no bytes"},
                {kMost, 90, kSize, "after Read() of all that was left"},
                {1, 0, kSize, "after Read() at the end"}};
  PositionFile test(ctx, 2);
  if (!test.Open()) return kFailed;
  for (const auto& read : kReads) {
    if (!test.Read(test.file, read.bytes, read.count)) return kFailed;
    const std::int32_t status = CheckPosition(ctx, test.file, read.position, read.when);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 3. Writing moves the position by what was written, inside the file and behind it.
std::int32_t AfterWriting(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int32_t bytes;
    std::int64_t position;
    const char* when;
  } kWrites[] = {{60, 60, "after Write() inside the file"},
                 {0, 60, "after Write() of no bytes"},
                 {60, 120, "after Write() across the end"},
                 {10, 130, "after Write() at the end"}};
  PositionFile test(ctx, 3);
  if (!test.Open()) return kFailed;
  for (const auto& write : kWrites) {
    if (!test.Write(test.file, write.bytes)) return kFailed;
    const std::int32_t status = CheckPosition(ctx, test.file, write.position, write.when);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 4. Moves from each origin lead to where they should.
std::int32_t AfterMoving(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int64_t offset;
    std::int32_t mode;
    std::int64_t position;
    const char* when;
  } kMoves[] = {{30, OFFSET_BEGINNING, 30, "after ChangeFilePosition(30,'OB')"},
                {20, OFFSET_CURRENT, 50, "after ChangeFilePosition(20,'OC')"},
                {-40, OFFSET_CURRENT, 10, "after ChangeFilePosition(-40,'OC')"},
                {0, OFFSET_CURRENT, 10, "after ChangeFilePosition(0,'OC')"},
                {-1, OFFSET_END, 99, "after ChangeFilePosition(-1,'OE')"},
                {0, OFFSET_END, kSize, "after ChangeFilePosition(0,'OE')"},
                {-kSize, OFFSET_END, 0, "after ChangeFilePosition(-100,'OE')"},
                {kSize, OFFSET_BEGINNING, kSize, "after ChangeFilePosition(100,'OB')"},
                {0, OFFSET_BEGINNING, 0, "after ChangeFilePosition(0,'OB')"}};
  PositionFile test(ctx, 4);
  if (!test.Open()) return kFailed;
  for (const auto& move : kMoves) {
    if (!test.Move(test.file, move.offset, move.mode)) return kFailed;
    const std::int32_t status = CheckPosition(ctx, test.file, move.position, move.when);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 5. A move, a read or a write that is refused leaves the position where it was.
std::int32_t AfterRefusedCalls(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int64_t offset;
    std::int32_t mode;
    const char* when;
  } kMoves[] = {{kSize + 1, OFFSET_BEGINNING, "after a refused ChangeFilePosition(101,'OB')"},
                {-1, OFFSET_BEGINNING, "after a refused ChangeFilePosition(-1,'OB')"},
                {51, OFFSET_CURRENT, "after a refused ChangeFilePosition(51,'OC')"},
                {-51, OFFSET_CURRENT, "after a refused ChangeFilePosition(-51,'OC')"},
                {1, OFFSET_END, "after a refused ChangeFilePosition(1,'OE')"}};
  constexpr std::int64_t kPosition = 50;
  DosInterface& dos = *ctx.IDOS;
  PositionFile test(ctx, 5);
  if (!test.Open()) return kFailed;
  if (!test.Move(test.file, kPosition, OFFSET_BEGINNING)) return kFailed;

  std::int32_t status = kPassed;
  for (const auto& move : kMoves) {
    if (dos.ChangeFilePosition(test.file, move.offset, move.mode)) {
      dos.Printf(
          "\nERROR: %s test failed, ChangeFilePosition(%lld,%ld) was not refused in a file of %ld "
          "bytes.\n\n",
          kLabel, move.offset, move.mode, kSize);
      return kFailed;
    }
    status = CheckPosition(ctx, test.file, kPosition, move.when);
    if (status != kPassed) return status;
  }

  char byte = 0;
  if (!dos.SetProtection(test.name, EXDF_NO_READ | EXDF_NO_WRITE)) {
    dos.Printf("\nERROR: %s test failed, cannot SetProtection(\"%s\"); #%n %m\n\n", kLabel,
               test.name);
    return kFailed;
  }
  // What is not refused is for other tests.
  if (dos.Read(test.file, &byte, 1) == -1) {
    status = CheckPosition(ctx, test.file, kPosition, "after a refused Read()");
    if (status != kPassed) return status;
  }
  if (!test.Move(test.file, kPosition, OFFSET_BEGINNING)) return kFailed;
  if (dos.Write(test.file, &byte, 1) == -1) {
    status = CheckPosition(ctx, test.file, kPosition, "after a refused Write()");
  }
  return status;
}

// 6. Another size leaves the position, unless the file ends before it: then it is at the end.
std::int32_t AfterResizing(TestContext& ctx, std::int32_t) {
  constexpr struct {
    std::int64_t size;
    std::int64_t position;
    const char* when;
  } kSizes[] = {{200, 50, "after ChangeFileSize() from 100 to 200 bytes"},
                {80, 50, "after ChangeFileSize() from 200 to 80 bytes"},
                {50, 50, "after ChangeFileSize() from 80 to 50 bytes"},
                {20, 20, "after ChangeFileSize() from 50 to 20 bytes"},
                {90, 20, "after ChangeFileSize() from 20 to 90 bytes"},
                {0, 0, "after ChangeFileSize() from 90 to 0 bytes"}};
  PositionFile test(ctx, 6);
  if (!test.Open()) return kFailed;
  if (!test.Move(test.file, 50, OFFSET_BEGINNING)) return kFailed;
  for (const auto& each : kSizes) {
    if (!test.Resize(test.file, each.size)) return kFailed;
    const std::int32_t status = CheckPosition(ctx, test.file, each.position, each.when);
    if (status != kPassed) return status;
  }
  return kPassed;
}

// 7. What is done through another handle of the same file moves that alone.
std::int32_t OfAnotherHandle(TestContext& ctx, std::int32_t) {
  PositionFile test(ctx, 7);
  if (!test.Open()) return kFailed;
  if (!test.OpenSecond()) return kFailed;
  if (!test.Move(test.file, 40, OFFSET_BEGINNING)) return kFailed;

  std::int32_t status =
      CheckPosition(ctx, test.second, 0, "after ChangeFilePosition() of another handle");
  if (status != kPassed) return status;
  if (!test.Read(test.second, 10, 10)) return kFailed;
  status = CheckPosition(ctx, test.file, 40, "after Read() through another handle");
  if (status != kPassed) return status;
  if (!test.Move(test.second, 0, OFFSET_END) || !test.Write(test.second, 10)) return kFailed;
  status = CheckPosition(ctx, test.file, 40, "after Write() through another handle");
  if (status != kPassed) return status;
  if (!test.Resize(test.second, 200)) return kFailed;
  status = CheckPosition(ctx, test.file, 40, "after ChangeFileSize() through another handle");
  if (status != kPassed) return status;
  return CheckPosition(ctx, test.second, 110, "after ChangeFileSize() from 110 to 200 bytes");
}

constexpr SubTestTable kSubTests = {
    {"AfterOpening", AfterOpening},            // 1
    {"AfterReading", AfterReading},            // 2
    {"AfterWriting", AfterWriting},            // 3
    {"AfterMoving", AfterMoving},              // 4
    {"AfterRefusedCalls", AfterRefusedCalls},  // 5
    {"AfterResizing", AfterResizing},          // 6
    {"OfAnotherHandle", OfAnotherHandle},      // 7
    {},
};

}  // namespace

const TestGroup kFurtherGetFilePositionGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.GetFilePosition"};

}  // namespace quorle
