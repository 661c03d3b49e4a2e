#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "Many";
constexpr std::uint32_t kFiles = 5000;
constexpr std::uint32_t kLevels = 200;
constexpr std::uint32_t kLocks = 1000;

/// Measures how long calls take.
class Stopwatch {
 public:
  explicit Stopwatch(TestContext& ctx) : ctx_(ctx) { ctx.IDOS->DateStamp(start_); }

  /// The time since it was made or asked, for each of `calls` calls, in microseconds.
  std::uint32_t MicrosecondsEach(std::uint32_t calls) {
    constexpr std::int64_t kMicrosecondsPerTick = 20000;
    DateStamp now;
    ctx_.IDOS->DateStamp(now);
    const std::int64_t ticks = Ticks(now) - Ticks(start_);
    start_ = now;
    return static_cast<std::uint32_t>(ticks * kMicrosecondsPerTick / calls);
  }

 private:
  static std::int64_t Ticks(const DateStamp& date) {
    constexpr std::int64_t kTicksPerMinute = 60 * 50;
    return (std::int64_t{date.ds_Days} * 24 * 60 + date.ds_Minute) * kTicksPerMinute + date.ds_Tick;
  }

  TestContext& ctx_;
  DateStamp start_{};
};

// 1. Each of 5,000 files in one directory is found again by its name, and no other.
std::int32_t FilesInOneDirectory(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  ManyFiles files(ctx, kLabel);
  Stopwatch watch(ctx);
  if (!files.Make(kFiles)) return kFailed;
  const std::uint32_t to_make = watch.MicrosecondsEach(kFiles);

  for (std::uint32_t number = 1; number <= kFiles; ++number) {
    const LockHandle lock = dos.Lock(files.Name(number), SHARED_LOCK);
    if (!lock) {
      return Failure(
          ctx,
          "\nERROR: Lock(\"%s\",SHARED_LOCK) failed in a directory of %lu files, of which it is "
          "one; #%n %m\n"
          "       What was saved there is lost.\n\n",
          files.Name(number), kFiles);
    }
    dos.UnLock(lock);
  }
  const std::uint32_t to_find = watch.MicrosecondsEach(kFiles);
  const LockHandle none = dos.Lock(files.Name(kFiles + 1), SHARED_LOCK);
  if (none) {
    dos.UnLock(none);
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) did not fail in a directory of %lu files, of which "
        "it is none.\n\n",
        files.Name(kFiles + 1), kFiles);
  }
  if (WrongError(ctx, ERROR_OBJECT_NOT_FOUND)) {
    return WrongCode(
        ctx, ERROR_OBJECT_NOT_FOUND,
        "\nWARN:  Lock(\"%s\",SHARED_LOCK) failed ok, but the error code was wrong; #%n %m\n",
        files.Name(kFiles + 1));
  }
  if (!ctx.NoInfoMessages()) {
    dos.Printf("\nINFO:  %s, %lu files took %lu microseconds each to make, and %lu to find.\n\n",
               kLabel, kFiles, to_make, to_find);
  }
  return kPassed;
}

/// Directories within directories, each of which is in the one before, the first in the current one.
class [[nodiscard]] DirectoryChain {
 public:
  static constexpr char kName[] = "Level";

  explicit DirectoryChain(TestContext& ctx) : ctx_(ctx) {}
  /// Removes them, the last first, and goes back to where it was.
  ~DirectoryChain() {
    DosInterface& dos = *ctx_.IDOS;
    bool stays = false;  // then so does what it is in
    for (; made_ > 0; --made_) {
      dos.SetCurrentDir(made_ > 1 ? locks_[made_ - 2] : start_);
      dos.UnLock(locks_[made_ - 1]);
      if (dos.Delete(kName) || stays) continue;
      CleanUp(ctx_, kName, kLabel, made_ + 1);
      stays = true;
    }
  }
  DirectoryChain(const DirectoryChain&) = delete;
  DirectoryChain& operator=(const DirectoryChain&) = delete;

  /// Makes one more, which is then the current directory. False when it cannot be.
  bool Make() {
    const LockHandle lock = ctx_.IDOS->CreateDir(kName);
    if (!lock) return false;
    locks_[made_] = lock;
    const LockHandle previous = ctx_.IDOS->SetCurrentDir(lock);
    if (made_ == 0) start_ = previous;
    ++made_;
    return true;
  }
  std::uint32_t made() const { return made_; }
  /// The lock of the one at `level`, from 1 to made().
  LockHandle lock(std::uint32_t level) const { return locks_[level - 1]; }

 private:
  TestContext& ctx_;
  LockHandle locks_[kLevels];
  LockHandle start_;
  std::uint32_t made_ = 0;
};

/// Goes down from the directory of `top` to the last one of `chain`, level by level, and up again by their
/// parents. The last one of them is the current directory before and after it. Returns the status.
std::int32_t WalkDownAndUp(TestContext& ctx, const DirectoryChain& chain, LockHandle top) {
  DosInterface& dos = *ctx.IDOS;
  LockHandle lock;
  const AtEnd release([&] {
    dos.SetCurrentDir(chain.lock(kLevels));
    dos.UnLock(lock);
  });
  dos.SetCurrentDir(top);
  for (std::uint32_t level = 1; level <= kLevels; ++level) {
    const LockHandle next = dos.Lock(DirectoryChain::kName, SHARED_LOCK);
    if (!next) {
      return Failure(ctx,
                     "\nERROR: Lock(\"%s\",SHARED_LOCK) failed at level %lu of %lu; #%n %m\n"
                     "       What is below cannot be reached any more, nor be deleted.\n\n",
                     DirectoryChain::kName, level, kLevels);
    }
    dos.SetCurrentDir(next);
    dos.UnLock(lock);
    lock = next;
  }
  if (dos.SameLock(lock, chain.lock(kLevels)) != LOCK_SAME) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) led to another directory than the last of %lu.\n"
        "       What a program looks for down there it does not find.\n\n",
        DirectoryChain::kName, kLevels);
  }

  for (std::uint32_t level = kLevels; level > 0; --level) {
    const LockHandle parent = dos.ParentDir(lock);
    if (!parent) {
      return Failure(ctx,
                     "\nERROR: ParentDir() gave none at level %lu of %lu; #%n %m\n"
                     "       A program takes this directory for the root.\n\n",
                     level, kLevels);
    }
    dos.SetCurrentDir(parent);
    dos.UnLock(lock);
    lock = parent;
  }
  if (dos.SameLock(lock, top) == LOCK_SAME) return kPassed;
  return Failure(ctx,
                 "\nERROR: ParentDir() led to another directory than the one above %lu.\n"
                 "       A program that asks for the path of the last one gets a wrong one.\n\n",
                 kLevels);
}

// 2. Directories 200 levels deep are gone through by their names, and back by their parents.
std::int32_t LevelsOfDirectories(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  WorkDirectory work(ctx, kLabel);
  if (!work) return kFailed;
  DirectoryChain chain(ctx);
  Stopwatch watch(ctx);
  while (chain.made() < kLevels) {
    if (chain.Make()) continue;
    return Failure(ctx,
                   "\nERROR: CreateDir(\"%s\") failed at level %lu of %lu; #%n %m\n"
                   "       A tree that another volume holds cannot be copied to this one.\n\n",
                   DirectoryChain::kName, chain.made() + 1, kLevels);
  }
  const std::uint32_t to_make = watch.MicrosecondsEach(kLevels);
  const std::int32_t status = WalkDownAndUp(ctx, chain, work.lock());
  const std::uint32_t to_walk = watch.MicrosecondsEach(2 * kLevels);
  if (status == kPassed && !ctx.NoInfoMessages()) {
    dos.Printf(
        "\nINFO:  %s, %lu levels of directories took %lu microseconds each to make, and %lu to go to.\n\n",
        kLabel, kLevels, to_make, to_walk);
  }
  return status;
}

// 3. A file takes 1,000 shared locks, and an exclusive one when the last of them is gone.
std::int32_t LocksOnOneFile(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  ScratchName name;
  std::uint32_t held = 0;
  LockHandle exclusive;
  auto* const locks =
      static_cast<LockHandle*>(ctx.IExec->AllocVecTags(kLocks * sizeof(LockHandle)));
  const AtEnd release([&] {
    while (held > 0) dos.UnLock(locks[--held]);
    dos.UnLock(exclusive);
    ctx.IExec->FreeVec(locks);
    CleanUp(ctx, name, kLabel, 1);
  });
  if (locks == nullptr) {
    dos.Printf("\nERROR: %s test failed, cannot AllocVecTags() for %lu locks.\n\n", kLabel, kLocks);
    return kFailed;
  }
  if (!UniqueFile(ctx, name)) return kFailed;
  if (!MakeFile(ctx, name, kLabel)) return kFailed;

  Stopwatch watch(ctx);
  for (; held < kLocks; ++held) {
    locks[held] = dos.Lock(name, SHARED_LOCK);
    if (locks[held]) continue;
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",SHARED_LOCK) failed beside %lu others of its kind; #%n %m\n"
        "       Any number of programs can read a file at once.\n\n",
        name, held);
  }
  const std::uint32_t to_lock = watch.MicrosecondsEach(kLocks);
  while (held > 1) dos.UnLock(locks[--held]);
  const std::uint32_t to_release = watch.MicrosecondsEach(kLocks);

  exclusive = dos.Lock(name, EXCLUSIVE_LOCK);
  if (exclusive) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",EXCLUSIVE_LOCK) did not fail beside the last of %lu shared locks.\n"
        "       A program changes the file while another one reads it.\n\n",
        name, kLocks);
  }
  if (WrongError(ctx, ERROR_OBJECT_IN_USE)) {
    return WrongCode(
        ctx, ERROR_OBJECT_IN_USE,
        "\nWARN:  Lock(\"%s\",EXCLUSIVE_LOCK) failed ok, but the error code was wrong; #%n %m\n",
        name);
  }
  dos.UnLock(locks[--held]);
  exclusive = dos.Lock(name, EXCLUSIVE_LOCK);
  if (!exclusive) {
    return Failure(
        ctx,
        "\nERROR: Lock(\"%s\",EXCLUSIVE_LOCK) failed after %lu shared locks were released; #%n "
        "%m\n"
        "       The file cannot be changed nor deleted until the volume is mounted again.\n\n",
        name, kLocks);
  }
  if (!ctx.NoInfoMessages()) {
    dos.Printf(
        "\nINFO:  %s, %lu shared locks took %lu microseconds each to take, and %lu to release.\n\n",
        kLabel, kLocks, to_lock, to_release);
  }
  return kPassed;
}

constexpr SubTestTable kSubTests = {
    {"FilesInOneDirectory", FilesInOneDirectory},  // 1
    {"LevelsOfDirectories", LevelsOfDirectories},  // 2
    {"LocksOnOneFile", LocksOnOneFile},            // 3
    {},
};

}  // namespace

const TestGroup kFurtherManyGroup = {.label = kLabel, .sub_tests = kSubTests, .id = "Further.Many"};

}  // namespace quorle
