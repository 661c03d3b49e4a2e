#include "harness/entry.h"

#include "harness/context.h"
#include "harness/diagnostics.h"
#include "harness/further_context.h"
#include "harness/run_listener.h"
#include "harness/target.h"

namespace quorle {
namespace {

[[gnu::used]] constexpr char kVersionTag[] = "$VER: Quorle 53.24 (4.1.2021)";
constexpr char kVersionLine[] = "Quorle 53.24 (4.1.2021)\r\n";
constexpr char kBanner[] =
    "Conformance tester for the DOS and filesystem interface, (C) 2026 the Quorle developers";

constexpr std::uint32_t kLibraryVersion = 50;
constexpr std::uint32_t kInterfaceVersion = 1;
constexpr std::uint32_t kNewestRefusedDos = 0x00350059;  // 53.89
constexpr std::uint32_t kRequesterSeconds = 20;
constexpr std::uint32_t kHalfASecond = TICKS_PER_SECOND / 2;

/// What a run holds besides the context; each is none until it is obtained.
struct Resources {
  TestContext* ctx = nullptr;
  MessageHandle startup_message;
  RdArgsHandle arguments;
  const DevProc* handler = nullptr;
};

/// Opens one library and its interface; false when either fails. What was opened stays in `base` and
/// `interface` for the clean-up.
template <class InterfaceType>
bool OpenInterface(ExecInterface& exec, const char* name, const Library*& base,
                   InterfaceType*& interface) {
  base = exec.OpenLibrary(name, kLibraryVersion);
  if (base == nullptr) return false;
  interface = static_cast<InterfaceType*>(exec.GetInterface(base, "main", kInterfaceVersion));
  return interface != nullptr;
}

/// Gets what the tests of a further catalogue need beside `ctx.IDOS`; false when it is not there, with
/// the reason printed.
bool OpenFurther(ExecInterface& exec, FurtherContext& ctx, bool may_destroy) {
  ctx.may_destroy = may_destroy;
  ctx.IFurtherDos = static_cast<FurtherDosInterface*>(
      exec.GetInterface(ctx.dos_base, kFurtherInterface, kInterfaceVersion));
  if (ctx.IFurtherDos != nullptr) return true;
  ctx.IDOS->PutStr("\n\nThis dos.library does not have the calls of the further tests\n\n");
  return false;
}

void PrintUsage(TestContext& ctx, const TestEntry* catalogue) {
  DosInterface& dos = *ctx.IDOS;
  dos.Printf("\n%s%s\n\n\r", kVersionLine, kBanner);
  for (std::int32_t n = 1; n <= ctx.catalogue_size; ++n) {
    const char* const title = catalogue[n - 1].title;
    if (title != nullptr) dos.Printf("%2ld:   %s\n", n, title);
  }
}

/// As it stands: the bound is strict, the last test cannot be named. It runs when the range is left
/// open.
bool IsTestNumber(const TestContext& ctx, std::int32_t number) {
  return number > 0 && number < ctx.catalogue_size;
}

/// Sets the first and the last row. False when a number is out of range, with that printed.
bool SelectTests(TestContext& ctx) {
  DosInterface& dos = *ctx.IDOS;
  const std::int32_t highest = ctx.catalogue_size - 1;
  ctx.first_index = 0;
  ctx.last_index = ctx.catalogue_size;  // the row that ends the catalogue

  if (const std::int32_t* const only = ctx.args[kTestNumberArgument].number; only != nullptr) {
    if (!IsTestNumber(ctx, *only)) {
      dos.Printf("Error: Test number must be 1 - %ld\n", highest);
      return false;
    }
    ctx.first_index = *only - 1;
    ctx.last_index = *only - 1;
    return true;
  }
  if (const std::int32_t* const first = ctx.args[kFirstTestNumberArgument].number;
      first != nullptr) {
    if (!IsTestNumber(ctx, *first)) {
      dos.Printf("Error: First test number must be 1 - %ld\n", highest);
      return false;
    }
    ctx.first_index = *first - 1;
  }
  if (const std::int32_t* const last = ctx.args[kLastTestNumberArgument].number; last != nullptr) {
    if (!IsTestNumber(ctx, *last)) {
      dos.Printf("Error: Last test number must be 1 - %ld\n", highest);
      return false;
    }
    ctx.last_index = *last - 1;
  }
  return true;
}

/// Runs the selected groups, the first one whatever the last is. Returns the sum of their results.
std::int32_t RunGroups(TestContext& ctx, const TestEntry* catalogue, RunListener& listener) {
  DosInterface& dos = *ctx.IDOS;
  const std::int32_t end = ctx.catalogue_size - 1;
  listener.OnRunStart(ctx, ctx.first_index, ctx.last_index < end ? ctx.last_index : end);
  std::int32_t sum = 0;
  for (std::int32_t i = ctx.first_index; catalogue[i].group != nullptr; ++i) {
    const TestGroup& group = *catalogue[i].group;
    listener.OnGroupStart(catalogue[i], i + 1);
    const std::int32_t result = group.run(ctx, group, listener);
    listener.OnGroupEnd(catalogue[i], result);
    sum += result;

    if (dos.CheckSignal(SIGBREAKF_CTRL_C) != 0) {
      const Bold bold(ctx);
      dos.PutStr("\nBREAK ^C - Aborting...\n");
      break;
    }
    if (result != RETURN_OK && ctx.AbortOnErr()) {
      const Bold bold(ctx);
      dos.PutStr("\nError - Aborting...\n");
      break;
    }
    if (ctx.last_index <= i) break;
  }
  return sum;
}

/// Runs the tests on the target, whose root is the current directory meanwhile.
std::int32_t TestTarget(TestContext& ctx, const TestEntry* catalogue, RunListener& listener) {
  DosInterface& dos = *ctx.IDOS;
  std::int32_t result = RETURN_FAIL;

  dos.Delay(kHalfASecond);
  ctx.root_lock = dos.Lock(ctx.device_name, SHARED_LOCK);
  if (ctx.root_lock) {
    const LockHandle previous_directory = dos.SetCurrentDir(ctx.root_lock);
    void* const previous_window = dos.SetProcWindow(kNoRequesters);

    result = RunGroups(ctx, catalogue, listener) == 0 ? RETURN_OK : RETURN_ERROR;

    dos.SetProcWindow(previous_window);
    dos.SetCurrentDir(previous_directory);
    dos.UnLock(ctx.root_lock);
    ctx.root_lock = {};
  }
  dos.PutStr("\n");
  return result;
}

/// Everything between the allocation of the context and the clean-up.
std::int32_t RunInContext(ExecInterface& exec, Resources& resources, const Catalogue& catalogue,
                          RunListener& listener) {
  TestContext& ctx = *resources.ctx;
  if (!OpenInterface(exec, "dos.library", ctx.dos_base, ctx.IDOS)) return RETURN_FAIL;
  if (!OpenInterface(exec, "utility.library", ctx.utility_base, ctx.IUtility)) return RETURN_FAIL;
  DosInterface& dos = *ctx.IDOS;

  if (!ctx.process->cli) {
    dos.TimedDosRequesterTags(kRequesterSeconds, "This program is for CLI only.", "OK",
                              TDRIMAGE_ERROR);
    return RETURN_FAIL;
  }

  ctx.dos_version =
      static_cast<std::uint32_t>(ctx.dos_base->lib_Version) << 16 | ctx.dos_base->lib_Revision;
  if (ctx.dos_version <= kNewestRefusedDos) {
    dos.PutStr("\n\nYou need dos.library 53.90+\n\n");
    return RETURN_FAIL;
  }

  if (catalogue.is_further && !OpenFurther(exec, FurtherOf(ctx), catalogue.may_destroy)) {
    return RETURN_FAIL;
  }

  ClearScreen(ctx);
  ctx.catalogue_size = 1;
  while (catalogue.entries[ctx.catalogue_size].group != nullptr) ++ctx.catalogue_size;

  resources.arguments = dos.ReadArgs(kArgumentTemplate, ctx.args, RdArgsHandle{});
  if (!resources.arguments) {
    PrintUsage(ctx, catalogue.entries);
    return RETURN_FAIL;
  }
  ctx.IUtility->Strlcpy(ctx.device_name, ctx.args[kDeviceArgument].text, sizeof(ctx.device_name));

  if (!SelectTests(ctx)) return RETURN_FAIL;
  if (!IdentifyTarget(ctx, resources.handler)) return RETURN_FAIL;
  return TestTarget(ctx, catalogue.entries, listener);
}

void Release(ExecInterface& exec, const Catalogue& catalogue, const Resources& resources) {
  if (TestContext* const ctx = resources.ctx; ctx != nullptr) {
    if (catalogue.is_further && FurtherOf(*ctx).IFurtherDos != nullptr) {
      exec.DropInterface(FurtherOf(*ctx).IFurtherDos);
    }
    if (ctx->IDOS != nullptr) {
      ctx->IDOS->FreeArgs(resources.arguments);
      ctx->IDOS->FreeDeviceProc(resources.handler);
      exec.DropInterface(ctx->IDOS);
    }
    if (ctx->dos_base != nullptr) exec.CloseLibrary(ctx->dos_base);
    if (ctx->IUtility != nullptr) exec.DropInterface(ctx->IUtility);
    if (ctx->utility_base != nullptr) exec.CloseLibrary(ctx->utility_base);
    exec.FreeVec(ctx);
  }
  if (resources.startup_message) exec.ReplyMsg(resources.startup_message);
}

}  // namespace

const char kArgumentTemplate[] =
    "Device/A,NoInfoMessages=NI/S,NoWarnMessages=NW/S,NoRootMessages=NR/S,AbortOnErr=AOE/S,FirstTestNumber=FTN/K/N,LastTestNumber=LTN/K/N,TestNumber=TN/K/N";

std::int32_t Run(ExecInterface& exec, const Catalogue& catalogue, RunListener& listener) {
  Resources resources;
  std::int32_t result = RETURN_FAIL;

  const Process* const process = exec.FindTask(nullptr);
  if (!process->cli) {
    exec.WaitPort(process->port);
    resources.startup_message = exec.GetMsg(process->port);
  }

  resources.ctx = static_cast<TestContext*>(
      exec.AllocVecTags(catalogue.is_further ? sizeof(FurtherContext) : sizeof(TestContext)));
  if (resources.ctx != nullptr) {
    resources.ctx->IExec = &exec;
    resources.ctx->process = process;
    result = RunInContext(exec, resources, catalogue, listener);
  }
  Release(exec, catalogue, resources);
  return result;
}

}  // namespace quorle
