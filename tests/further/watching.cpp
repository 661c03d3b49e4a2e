#include "tests/further/watching.h"

namespace quorle {
namespace {

constexpr std::uint32_t kPause = 2;  // ticks
constexpr std::uint32_t kPauses = 25;
constexpr std::uint32_t kMostMessages = 10;

}  // namespace

Watching::Watching(TestContext& ctx, const char* name, std::uint32_t flags)
    : ctx_(ctx), name_(name), request_(FurtherOf(ctx).IFurtherDos->StartNotify(name, flags)) {}

void Watching::End() {
  FurtherOf(ctx_).IFurtherDos->EndNotify(request_);
  request_ = {};
}

MessageHandle Watching::WaitForMessage() {
  FurtherDosInterface& further = *FurtherOf(ctx_).IFurtherDos;
  // A handler may send it when the call that changed something is over.
  MessageHandle message = further.GetNotifyMsg(request_);
  for (std::uint32_t pause = 0; !message && pause < kPauses; ++pause) {
    ctx_.IDOS->Delay(kPause);
    message = further.GetNotifyMsg(request_);
  }
  return message;
}

bool Watching::WaitForSignal() {
  FurtherDosInterface& further = *FurtherOf(ctx_).IFurtherDos;
  bool is_set = further.CheckNotifySignal(request_);
  for (std::uint32_t pause = 0; !is_set && pause < kPauses; ++pause) {
    ctx_.IDOS->Delay(kPause);
    is_set = further.CheckNotifySignal(request_);
  }
  return is_set;
}

std::uint32_t Watching::TakeMessages(bool awaited) {
  FurtherDosInterface& further = *FurtherOf(ctx_).IFurtherDos;
  if (!awaited) ctx_.IDOS->Delay(kPause);
  std::uint32_t count = 0;
  MessageHandle message = awaited ? WaitForMessage() : further.GetNotifyMsg(request_);
  while (message) {
    further.ReplyNotifyMsg(message);
    if (++count == kMostMessages) break;
    message = further.GetNotifyMsg(request_);
  }
  return count;
}

std::int32_t CannotWatch(TestContext& ctx, const char* name) {
  return FailedCall(ctx, "\nERROR: StartNotify(\"%s\") failed; #%n %m\n\n", name);
}

void SayWhenEmulated(TestContext& ctx) {
  if (!FurtherOf(ctx).IFurtherDos->WasEmulated() || ctx.NoInfoMessages()) return;
  ctx.IDOS->Printf(
      "\nINFO:  StartNotify() is emulated by dos.library, as \"%s\" does not know it.\n\n",
      ctx.device_name);
}

bool MakeChange(TestContext& ctx, const char* label, const ChangeOfObject& change) {
  if (change.make(ctx)) return true;
  ctx.IDOS->Printf("\nERROR: %s test failed, %s failed; #%n %m\n\n", label, change.text);
  return false;
}

std::int32_t CheckChange(TestContext& ctx, const char* label, Watching& watching,
                         const ChangeOfObject& change) {
  if (!MakeChange(ctx, label, change)) return kFailed;
  const std::uint32_t count = watching.TakeMessages(change.least > 0);
  if (count < change.least) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"%s\") gave no message about %s.\n"
        "       A program that waits for changes goes on with what was there before.\n\n",
        watching.name(), change.text);
  }
  if (count > change.most) {
    return Failure(
        ctx,
        "\nERROR: StartNotify(\"%s\") gave %lu messages about %s, and %lu at most are due.\n"
        "       A program that reads again what has changed does so for nothing, or "
        "without end.\n\n",
        watching.name(), count, change.text, change.most);
  }
  return kPassed;
}

bool WriteAndClose(TestContext& ctx, const char* name) {
  DosInterface& dos = *ctx.IDOS;
  const FileHandle file = dos.Open(name, MODE_OLDFILE);
  if (!file) return false;
  const bool is_written = dos.Write(file, "data", 4) == 4;
  dos.Close(file);
  return is_written;
}

}  // namespace quorle
