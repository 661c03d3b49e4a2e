#include <cstdint>

#include "harness/at_end.h"
#include "tests/further/few_objects.h"
#include "tests/further/groups.h"
#include "tests/further/vocabulary.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr char kLabel[] = "SameLock()";

/// A lock, and what messages call it.
struct NamedLock {
  LockHandle lock;
  const char* name;
};

/// Compares two locks, which must give `expected`. Returns the status.
std::int32_t CompareLocks(TestContext& ctx, const NamedLock& first, const NamedLock& second,
                          std::int32_t expected) {
  DosInterface& dos = *ctx.IDOS;
  dos.SetIoErr(0);
  const std::int32_t result = dos.SameLock(first.lock, second.lock);
  if (result == expected) return kPassed;
  if (NotImplemented(ctx)) return kFatal;
  if (expected == LOCK_SAME) {
    return Failure(
        ctx,
        "\nERROR: SameLock() of locks on \"%s\" and \"%s\" returned %ld;\n"
        "       it should have returned 0, since they are on the same object.\n"
        "       A program that copies a file onto itself, and does not know it, destroys "
        "it.\n\n",
        first.name, second.name, result);
  }
  return Failure(
      ctx,
      "\nERROR: SameLock() of locks on \"%s\" and \"%s\" returned %ld;\n"
      "       it should have returned %ld. 0 is the same object, 1 the same volume, -1 is "
      "neither.\n"
      "       A program that takes two objects for one leaves one of them out.\n\n",
      first.name, second.name, result, expected);
}

/// Locks `name` and `other_name`, and compares the locks.
std::int32_t CompareNames(TestContext& ctx, const char* name, const char* other_name,
                          std::int32_t expected) {
  DosInterface& dos = *ctx.IDOS;
  LockHandle lock;
  LockHandle other;
  const AtEnd release([&] {
    dos.UnLock(other);
    dos.UnLock(lock);
  });
  lock = SharedLock(ctx, name, kLabel);
  if (!lock) return kFailed;
  other = SharedLock(ctx, other_name, kLabel);
  if (!other) return kFailed;
  return CompareLocks(ctx, {lock, name}, {other, other_name}, expected);
}

// 1. Two locks on one object are the same, and a lock is the same as itself and its duplicate.
std::int32_t OneObject(TestContext& ctx, std::int32_t) {
  constexpr const char* kOfEachKind[] = {"First", "Drawer", ":"};
  DosInterface& dos = *ctx.IDOS;
  FewObjects objects(ctx, kLabel);
  if (!objects.Make()) return kFailed;

  for (const char* const name : kOfEachKind) {
    LockHandle lock;
    LockHandle copy;
    const AtEnd release([&] {
      dos.UnLock(copy);
      dos.UnLock(lock);
    });
    std::int32_t status = CompareNames(ctx, name, name, LOCK_SAME);
    if (status != kPassed) return status;
    lock = SharedLock(ctx, name, kLabel);
    if (!lock) return kFailed;
    copy = dos.DupLock(lock);
    if (!copy) {
      dos.Printf("\nERROR: %s test failed, cannot DupLock(\"%s\"); #%n %m\n\n", kLabel, name);
      return kFailed;
    }
    status = CompareLocks(ctx, {lock, name}, {copy, name}, LOCK_SAME);
    if (status != kPassed) return status;
  }

  const LockHandle exclusive = dos.Lock("First", EXCLUSIVE_LOCK);
  if (!exclusive) {
    dos.Printf("\nERROR: %s test failed, cannot Lock(\"First\",EXCLUSIVE_LOCK); #%n %m\n\n",
               kLabel);
    return kFailed;
  }
  const std::int32_t status =
      CompareLocks(ctx, {exclusive, "First"}, {exclusive, "First"}, LOCK_SAME);
  dos.UnLock(exclusive);
  return status;
}

// 2. The case in which a name is written makes no difference.
std::int32_t OtherCase(TestContext& ctx, std::int32_t) {
  FewObjects objects(ctx, kLabel);
  if (!objects.Make()) return kFailed;
  return CompareNames(ctx, "First", "fIRST", LOCK_SAME);
}

// 3. A file and a hard link to it are the same object.
std::int32_t HardLink(TestContext& ctx, std::int32_t) {
  FewObjects objects(ctx, kLabel);
  if (!objects.Make()) return kFailed;
  if (!objects.MakeHardLink()) return kPassed;
  return CompareNames(ctx, "First", "Link", LOCK_SAME);
}

// 4. Different objects of the volume, objects of two volumes, and no object at all.
std::int32_t DifferentObjects(TestContext& ctx, std::int32_t) {
  constexpr const char* kPairs[][2] = {
      {"First", "Second"}, {"First", "Drawer/First"}, {"First", "Drawer"}, {"Drawer", ":"}};
  DosInterface& dos = *ctx.IDOS;
  LockHandle lock;
  LockHandle foreign;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] {
    dos.UnLock(foreign);
    dos.UnLock(lock);
  });
  if (!objects.Make()) return kFailed;
  for (const auto& pair : kPairs) {
    const std::int32_t status = CompareNames(ctx, pair[0], pair[1], LOCK_SAME_VOLUME);
    if (status != kPassed) return status;
  }

  lock = SharedLock(ctx, "First", kLabel);
  if (!lock) return kFailed;
  // On Linux dos answers this, and the next, without asking a handler.
  const std::int32_t status = CompareLocks(ctx, {lock, "First"}, {{}, "nothing"}, LOCK_DIFFERENT);
  if (status != kPassed) return status;
  const char* name = nullptr;
  foreign = LockOtherVolume(ctx, kLabel, name);
  if (!foreign) return kPassed;
  return CompareLocks(ctx, {lock, "First"}, {foreign, name}, LOCK_DIFFERENT);
}

// 5. A renamed object stays the same, and what gets its old name is another.
std::int32_t AfterRename(TestContext& ctx, std::int32_t) {
  DosInterface& dos = *ctx.IDOS;
  LockHandle lock;
  LockHandle renamed;
  LockHandle other;
  FewObjects objects(ctx, kLabel);
  const AtEnd release([&] {
    dos.UnLock(other);
    dos.UnLock(renamed);
    dos.UnLock(lock);
  });
  if (!objects.Make()) return kFailed;
  lock = SharedLock(ctx, "First", kLabel);
  if (!lock) return kFailed;
  if (std::int32_t status = kPassed; !objects.RenameFirst(status)) return status;

  renamed = SharedLock(ctx, "Renamed", kLabel);
  if (!renamed) return kFailed;
  const std::int32_t status =
      CompareLocks(ctx, {lock, "First, which was renamed"}, {renamed, "Renamed"}, LOCK_SAME);
  if (status != kPassed) return status;
  if (!MakeFile(ctx, "First", kLabel)) return kFailed;
  other = SharedLock(ctx, "First", kLabel);
  if (!other) return kFailed;
  return CompareLocks(ctx, {lock, "First, which was renamed"}, {other, "First"}, LOCK_SAME_VOLUME);
}

constexpr SubTestTable kSubTests = {
    {"OneObject", OneObject},                // 1
    {"OtherCase", OtherCase},                // 2
    {"HardLink", HardLink},                  // 3
    {"DifferentObjects", DifferentObjects},  // 4
    {"AfterRename", AfterRename},            // 5
    {},
};

}  // namespace

const TestGroup kFurtherSameLockGroup = {
    .label = kLabel, .sub_tests = kSubTests, .id = "Further.SameLock"};

}  // namespace quorle
