#include "tests/further/record_steps.h"

#include "tests/set_up.h"

namespace quorle {
namespace {

/// What those wait that do not want an answer at once.
constexpr std::uint32_t kTicks = 2;

constexpr const char* kModes[] = {"REC_EXCLUSIVE", "REC_EXCLUSIVE_IMMED", "REC_SHARED",
                                  "REC_SHARED_IMMED"};

}  // namespace

RecordFiles::RecordFiles(TestContext& ctx, const char* label, std::uint32_t number)
    : ctx_(ctx), label_(label), number_(number) {
  constexpr char kContent[kSize] = {};
  if (!UniqueFile(ctx, name_) || !Open(0, name_, MODE_READWRITE)) return;
  if (!UniqueFile(ctx, other_name_) || !Open(3, other_name_, MODE_READWRITE)) return;
  if (!Open(1, name_, MODE_OLDFILE) || !Open(2, name_, MODE_OLDFILE)) return;
  if (ctx.IDOS->Write(handles_[0], kContent, kSize) == kSize) {
    is_open_ = true;
  } else {
    ctx.IDOS->Printf("\nERROR: %s test failed, cannot Write() %ld bytes; #%n %m\n\n", label, kSize);
  }
}

RecordFiles::~RecordFiles() {
  for (const FileHandle handle : handles_) ctx_.IDOS->Close(handle);
  CleanUp(ctx_, name_, label_, number_);
  CleanUp(ctx_, other_name_, label_, number_ + 1);
}

bool RecordFiles::Open(std::uint8_t number, const char* name, std::int32_t mode) {
  handles_[number] = ctx_.IDOS->Open(name, mode);
  if (handles_[number]) return true;
  ctx_.IDOS->Printf("\nERROR: %s test failed, cannot Open(\"%s\",%ld); #%n %m\n\n", label_, name,
                    mode);
  return false;
}

void RecordFiles::SayWhenEmulated() {
  if (!FurtherOf(ctx_).IFurtherDos->WasEmulated() || ctx_.NoInfoMessages()) return;
  ctx_.IDOS->Printf("\nINFO:  %s is emulated by dos.library, as \"%s\" does not know it.\n\n",
                    label_, ctx_.device_name);
}

std::int32_t RecordFiles::Make(const RecordStep& step, const char* when) {
  if (step.act == RecordAct::kLock) return Lock(step, when);
  if (step.act == RecordAct::kUnLock) return UnLock(step, when);
  ctx_.IDOS->Close(handles_[step.handle]);
  handles_[step.handle] = {};
  return kPassed;
}

std::int32_t RecordFiles::Lock(const RecordStep& step, const char* when) {
  FurtherDosInterface& further = *FurtherOf(ctx_).IFurtherDos;
  const bool is_locked =
      further.LockRecord(handles_[step.handle], step.offset, step.length, step.mode, kTicks);
  if (is_locked == (step.code == 0)) {
    if (is_locked) return kPassed;
    if (NotImplemented(ctx_)) return kFatal;
    if (!WrongError(ctx_, step.code)) return kPassed;
    return WrongCode(
        ctx_, step.code,
        "\nWARN:  LockRecord(%lld,%lld,%s) failed ok %s, but the error code was wrong; "
        "#%n %m\n",
        step.offset, step.length, kModes[step.mode], when);
  }
  if (is_locked) {
    return Failure(
        ctx_,
        "\nERROR: LockRecord(%lld,%lld,%s) did not fail %s.\n"
        "       Two programs change the same record, and one of the changes is lost.\n\n",
        step.offset, step.length, kModes[step.mode], when);
  }
  return FailedCall(ctx_,
                    "\nERROR: LockRecord(%lld,%lld,%s) failed %s; #%n %m\n"
                    "       A program waits for a record that nobody has locked.\n\n",
                    step.offset, step.length, kModes[step.mode], when);
}

std::int32_t RecordFiles::UnLock(const RecordStep& step, const char* when) {
  FurtherDosInterface& further = *FurtherOf(ctx_).IFurtherDos;
  const bool is_released = further.UnLockRecord(handles_[step.handle], step.offset, step.length);
  if (is_released == (step.code == 0)) {
    if (is_released) return kPassed;
    if (NotImplemented(ctx_)) return kFatal;
    if (!WrongError(ctx_, step.code)) return kPassed;
    return WrongCode(ctx_, step.code,
                     "\nWARN:  UnLockRecord(%lld,%lld) failed ok %s, but the error code was wrong; "
                     "#%n %m\n",
                     step.offset, step.length, when);
  }
  if (is_released) {
    return Failure(ctx_,
                   "\nERROR: UnLockRecord(%lld,%lld) did not fail %s.\n"
                   "       A program believes to have had a record that it never had.\n\n",
                   step.offset, step.length, when);
  }
  return FailedCall(ctx_,
                    "\nERROR: UnLockRecord(%lld,%lld) failed %s; #%n %m\n"
                    "       The record stays locked until the file is closed.\n\n",
                    step.offset, step.length, when);
}

}  // namespace quorle
