#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <exception>
#include <string>
#include <utility>

#include "harness/context.h"
#include "harness/entry.h"
#include "hosted/break_signal.h"
#include "hosted/built_in_handlers.h"
#include "hosted/clock.h"
#include "hosted/console.h"
#include "hosted/host_options.h"
#include "hosted/line_input.h"
#include "hosted/machine.h"
#include "hosted/plugin_handler.h"
#include "hosted/run_watch.h"
#include "hosted/trace_file.h"
#include "platform/forwarding.h"
#include "platform/tracing.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

constexpr std::size_t kRows = kCatalogueRows;

/// What the tester is given, so that its groups lead to the watch: they are plain functions and get
/// nothing but the context.
class WatchedExec final : public ForwardingExec {
 public:
  WatchedExec(ExecInterface& inner, RunWatch& watch) : ForwardingExec(inner), watch_(watch) {}
  RunWatch& watch() { return watch_; }

 private:
  RunWatch& watch_;
};

template <std::size_t row>
std::int32_t WatchedGroup(TestContext& ctx) {
  RunWatch& watch = static_cast<WatchedExec*>(ctx.IExec)->watch();
  watch.BeginTest(row + 1);
  const std::int32_t result = kCatalogue[row].group(ctx);
  watch.EndTest();
  return result;
}

/// The catalogue, each group under the watch.
template <std::size_t... rows>
std::array<TestEntry, kRows + 1> WatchedCatalogue(std::index_sequence<rows...>) {
  return {TestEntry{WatchedGroup<rows>, kCatalogue[rows].title}..., TestEntry{nullptr, ""}};
}

std::int32_t RunTester(HostOptions options, Console& console) {
  TraceFile trace(console);
  if (options.trace_file && !trace.Open(options.trace_file->c_str())) return RETURN_FAIL;

  StandardInput input;
  SystemClock clock;
  BreakSignal breaks;
  RunWatch watch([&console](const std::string& line) { console.Report(line); });
  MachineOptions machine_options{
      .handlers = BuiltInHandlers(),
      .layers = BuiltInLayers(),
      .mounts = StandardMounts(),
      .exec = {options.dos_version, options.dos_revision, options.workbench},
      .dos = {std::move(options.arguments), options.delays}};
  machine_options.handlers.push_back(PluginHandler(watch));
  for (MountSpec& spec : options.mounts) machine_options.mounts.push_back(std::move(spec));
  std::string problem;
  const std::unique_ptr<Machine> machine = Machine::Build(
      machine_options, {.console = console, .input = input, .clock = clock, .breaks = breaks},
      problem);
  if (machine == nullptr) {
    console.Report(problem);
    return RETURN_FAIL;
  }

  Tracer tracer(machine->exec(), machine->dos(), trace);
  ExecInterface& exec = options.trace_file ? tracer.exec() : machine->exec();
  WatchedExec watched(exec, watch);
  const std::int32_t result =
      Run(watched, WatchedCatalogue(std::make_index_sequence<kRows>()).data());
  for (const std::string& complaint : machine->ShutDown()) console.Report(complaint);
  // A handler that did not last did not pass, whatever the tests made of it.
  return watch.reports() == 0 ? result : std::max<std::int32_t>(result, RETURN_ERROR);
}

std::int32_t Obey(HostCommand command, Console& console) {
  switch (command.kind) {
    case HostCommand::Kind::kAnswer:
      console.Print(command.text);
      return RETURN_OK;
    case HostCommand::Kind::kListDeviations:
      console.Print(DeviationList());
      return RETURN_OK;
    case HostCommand::Kind::kRefused:
      console.Report(command.text);
      return RETURN_FAIL;
    default:
      return RunTester(std::move(command.options), console);
  }
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  // A reader that went away is a failed write, not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  // Nor is a file that would get larger than the host allows.
  std::signal(SIGXFSZ, SIG_IGN);
  quorle::DescriptorSink output(STDOUT_FILENO);
  quorle::DescriptorSink errors(STDERR_FILENO);
  quorle::Console console(output, errors, isatty(STDOUT_FILENO) == 1);
  try {
    const std::span<const char* const> words(argv, static_cast<std::size_t>(argc));
    const std::int32_t result =
        quorle::Obey(quorle::ReadHostCommand(words.empty() ? words : words.subspan(1)), console);
    return console.failed() ? quorle::RETURN_FAIL : result;
  } catch (const std::exception& error) {
    // Nothing above throws but a bug, or a host without memory.
    console.Report(std::string("internal error: ") + error.what());
    return quorle::RETURN_FAIL;
  }
}
