#include <cstdint>

#include "harness/entry.h"
#include "harness/run_listener.h"
#include "native/interfaces.h"
#include "native/native_exec.h"
#include "tests/catalogue.h"

namespace quorle::native {
namespace {

/// The platform looks for this text in the loaded file and gives the program that much stack. The
/// program itself needs a few KiB; a vector-port filesystem, and dos, run on its stack as well.
[[gnu::used]] constexpr char kStackCookie[] = "$STACK: 131072";

/// The file always has data, so that its sections are the same whatever the compiler finds
/// constant.
[[gnu::used]] std::uint32_t data_anchor = 1;

using Constructor = void (*)();

// Set by the linker script: the static constructors, which the platform does not run.
extern "C" const Constructor quorle_constructors[];
extern "C" const Constructor quorle_constructors_end[];

void RunConstructors() {
  for (const Constructor* constructor = quorle_constructors; constructor != quorle_constructors_end;
       ++constructor) {
    (*constructor)();
  }
}

}  // namespace

/// Where the platform enters the program, as a plain function: with the shell's argument line,
/// which ReadArgs() reads by itself, and with ExecBase. A start from the desktop comes here as
/// well; the harness distinguishes the two. Returns the shell's return code.
extern "C" [[gnu::used, gnu::section(".text.start")]] std::int32_t _start(const char* /*arguments*/,
                                                                          std::int32_t /*length*/,
                                                                          ExecBase* base) {
  RunConstructors();
  ExecMain& exec = *base->MainInterface;
  exec.Obtain(&exec);
  NativeExec platform(exec);
  SilentListener listener;
  const std::int32_t result = Run(platform, kStandardCatalogue, listener);
  exec.Release(&exec);
  return result;
}

}  // namespace quorle::native
