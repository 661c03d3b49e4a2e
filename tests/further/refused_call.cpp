#include "tests/further/refused_call.h"

#include "harness/at_end.h"
#include "tests/set_up.h"

namespace quorle {
namespace {

constexpr std::int64_t kHeldPosition = 4;

/// What was locked and open during a refused call is so still, as before.
std::int32_t CheckHandles(TestContext& ctx, const RefusedCall& call, FileHandle file) {
  DosInterface& dos = *ctx.IDOS;
  if (file) {
    const std::int64_t position = dos.GetFilePosition(file);
    if (position != kHeldPosition) {
      return Failure(ctx,
                     "\nERROR: %s was refused, but the position is %lld afterwards, and was %lld.\n"
                     "       A program that goes on reads and writes at the wrong place.\n\n",
                     call.text, position, kHeldPosition);
    }
  }
  if (call.locked != nullptr && call.lock_mode == SHARED_LOCK) {
    const LockHandle second = dos.Lock(call.locked, SHARED_LOCK);
    if (!second) {
      return Failure(ctx,
                     "\nERROR: %s was refused, but then Lock(\"%s\",SHARED_LOCK) failed; #%n %m\n"
                     "       The lock that is there is shared, and has to stay so.\n\n",
                     call.text, call.locked);
    }
    dos.UnLock(second);
  }
  return kPassed;
}

}  // namespace

std::int32_t Refuse(TestContext& ctx, const char* label, const RefusedCall& call,
                    bool& is_granted) {
  DosInterface& dos = *ctx.IDOS;
  LockHandle lock;
  FileHandle file;
  const AtEnd release([&] {
    dos.Close(file);
    dos.UnLock(lock);
  });
  if (call.locked != nullptr) {
    lock = dos.Lock(call.locked, call.lock_mode);
    if (!lock) {
      const bool is_shared = call.lock_mode == SHARED_LOCK;
      dos.Printf("\nERROR: %s test failed, cannot Lock(\"%s\",%s); #%n %m\n\n", label, call.locked,
                 is_shared ? "SHARED_LOCK" : "EXCLUSIVE_LOCK");
      return kFailed;
    }
  }
  if (call.opened != nullptr) {
    file = dos.Open(call.opened, MODE_OLDFILE);
    if (!file || !dos.ChangeFilePosition(file, kHeldPosition, OFFSET_BEGINNING)) {
      dos.Printf("\nERROR: %s test failed, cannot open \"%s\" and move its position; #%n %m\n\n",
                 label, call.opened);
      return kFailed;
    }
  }
  if (!call.make(ctx, lock, file)) return CheckHandles(ctx, call, file);
  is_granted = call.may_be_granted;
  if (!is_granted) {
    return Failure(ctx, "\nERROR: %s succeeded, and has to be refused.\n\n", call.text);
  }
  if (!ctx.NoInfoMessages()) {
    dos.Printf("\nINFO:  %s succeeded; the platform does not say that it is refused.\n", call.text);
  }
  return kPassed;
}

}  // namespace quorle
