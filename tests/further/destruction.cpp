#include "tests/further/destruction.h"

#include "harness/diagnostics.h"
#include "harness/further_context.h"
#include "harness/scratch.h"

namespace quorle {

std::int32_t RunWhereNothingIsLost(TestContext& ctx, const TestGroup& group,
                                   RunListener& listener) {
  const bool is_allowed = FurtherOf(ctx).may_destroy;
  if (is_allowed && IsCurrentDirEmpty(ctx)) return RunTestGroup(ctx, group, listener);
  if (ctx.NoInfoMessages()) return RETURN_OK;
  const Italic italic(ctx);
  if (is_allowed) {
    ctx.IDOS->Printf("%s test skipped because %s is not empty\n", group.label, ctx.device_name);
  } else {
    ctx.IDOS->Printf("%s test skipped due to risk of data loss on %s; --allow-destroy allows it\n",
                     group.label, ctx.device_name);
  }
  return RETURN_OK;
}

bool IsCurrentDirEmpty(TestContext& ctx) {
  FurtherDosInterface& further = *FurtherOf(ctx).IFurtherDos;
  const DirContextHandle context = further.ObtainDirContext(EX_StringNameInput, "");
  if (!context) return false;
  const bool has_entry = further.ExamineDir(context) != nullptr;
  const bool is_end = ctx.IDOS->IoErr() == ERROR_NO_MORE_ENTRIES;
  further.ReleaseDirContext(context);
  return !has_entry && is_end;
}

void CleanUpRoot(TestContext& ctx, const char* name, const char* label, std::uint32_t number) {
  char path[2 * ScratchName::kSize];
  if (name[0] == '\0') return;
  ctx.IUtility->SNPrintf(path, sizeof path, "%s%s", ctx.device_name, name);
  CleanUp(ctx, path, label, number);
}

// ---- Vacancy -----------------------------------------------------------------------------------

Vacancy::Vacancy(TestContext& ctx) : ctx_(ctx) {
  ctx.IDOS->SetCurrentDir({});
  ctx.IDOS->UnLock(ctx.root_lock);
  ctx.root_lock = {};
}

bool Vacancy::Inhibit() {
  was_asked_ = true;
  return FurtherOf(ctx_).IFurtherDos->Inhibit(ctx_.device_name, true);
}

std::int32_t Vacancy::Return() {
  DosInterface& dos = *ctx_.IDOS;
  if (is_over_) return kPassed;
  is_over_ = true;
  // Also when it was denied: nobody knows what the filesystem did.
  if (was_asked_) FurtherOf(ctx_).IFurtherDos->Inhibit(ctx_.device_name, false);
  ctx_.root_lock = dos.Lock(ctx_.device_name, SHARED_LOCK);
  if (ctx_.root_lock) {
    dos.SetCurrentDir(ctx_.root_lock);
    return kPassed;
  }
  const Bold bold(ctx_);
  dos.Printf(
      "\nERROR: Lock(\"%s\",SHARED_LOCK) failed after the volume was inhibited; #%n %m\n"
      "       Nothing else can be tested on it.\n\n",
      ctx_.device_name);
  ctx_.args[kAbortOnErrArgument].flag = 1;
  return kFatal;
}

}  // namespace quorle
