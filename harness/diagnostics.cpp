#include "harness/diagnostics.h"

namespace quorle {
namespace {

void WriteKeepingError(TestContext& ctx, const char* sequence) {
  const std::int32_t code = ctx.IDOS->IoErr();
  ctx.IDOS->PutStr(sequence);
  ctx.IDOS->SetIoErr(code);
}

}  // namespace

void BoldOn(TestContext& ctx) {
  WriteKeepingError(ctx, "\033[1m");
}

void ItalicOn(TestContext& ctx) {
  WriteKeepingError(ctx, "\033[3m");
}

void StyleOff(TestContext& ctx) {
  WriteKeepingError(ctx, "\033[0m");
}

void ClearScreen(TestContext& ctx) {
  WriteKeepingError(ctx, "\n\f\n");
}

bool NotImplemented(TestContext& ctx) {
  ctx.last_error = ctx.IDOS->IoErr();
  return ctx.last_error == ERROR_ACTION_NOT_KNOWN;
}

bool WrongError(TestContext& ctx, std::int32_t expected) {
  return !ctx.NoWarnMessages() && ctx.IDOS->IoErr() != expected;
}

void ShouldHaveBeen(TestContext& ctx, std::int32_t expected) {
  ctx.IDOS->SetIoErr(expected);
  ctx.IDOS->Printf("       instead, the error code should have been; #%n %m.\n\n");
}

}  // namespace quorle
