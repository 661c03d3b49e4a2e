#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "harness/entry.h"
#include "harness/run_listener.h"
#include "hosted/calls/call_gate.h"
#include "hosted/calls/clock.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/break_signal.h"
#include "hosted/dos/console.h"
#include "hosted/dos/descriptors.h"
#include "hosted/dos/line_input.h"
#include "hosted/dos/machine.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/built_in_handlers.h"
#include "program/call_watch.h"
#include "program/host_options.h"
#include "program/left_behind.h"
#include "program/orphans.h"
#include "program/plugin_handler.h"
#include "program/run_reporter.h"
#include "program/sub_commands.h"
#include "program/tester_machine.h"
#include "program/trace_file.h"
#include "tests/catalogue.h"

namespace quorle {
namespace {

/// Leads from the harness to the watch, and from there to the gate and to the reporter; shows what a
/// sub-test may have left behind.
class HostListener final : public RunListener {
 public:
  HostListener(RunWatch& watch, CallGate& gate, RunReporter& reporter, LeftBehind& left_behind,
               Console& console)
      : watch_(watch),
        gate_(gate),
        reporter_(reporter),
        left_behind_(left_behind),
        console_(console) {}

  void OnRunStart(std::int32_t first, std::int32_t last) override {
    // The first row runs whatever the last one is.
    reporter_.BeginRun(std::max<std::int32_t>(last - first, 0) + 1);
  }
  void OnGroupStart(const TestEntry& entry, std::int32_t row) override {
    label_ = entry.group->label;
    watch_.BeginTest(row, label_);
    gate_.BeginGroup();
  }
  void OnSubTestStart(const SubTest& sub_test, std::int32_t /*number*/) override {
    watch_.BeginCheck(sub_test.name);
    gate_.FollowWatch();
    reporter_.BeginCheck();
  }
  void OnSubTestEnd(const SubTest& /*sub_test*/, std::int32_t status) override {
    for (const std::string& line : left_behind_.TakeLines()) {
      console_.Report(watch_.Place() + ": " + line);
    }
    reporter_.EndCheck(label_, status >= kFatal);
    watch_.EndCheck();
    gate_.FollowWatch();
  }
  void OnGroupEnd(const TestEntry& /*entry*/, std::int32_t /*result*/) override {
    reporter_.EndTest();
    watch_.EndTest();
    gate_.BeginGroup();
  }

 private:
  RunWatch& watch_;
  CallGate& gate_;
  RunReporter& reporter_;
  LeftBehind& left_behind_;
  Console& console_;
  const char* label_ = "";
};

std::int32_t RunTester(const HostOptions& options, Console& console) {
  const Orphans orphans;
  StandardInput input;
  SystemClock clock;
  BreakSignal breaks;
  RunWatch watch([&console](const std::string& line) { console.Report(line); });
  CallGate gate(
      {.limit = options.limit, .was_interrupted = [&breaks] { return breaks.IsPending(); }}, watch);
  MachineOptions machine_options = MachineFor(options);
  machine_options.handlers.push_back(PluginHandler(watch, &gate));
  std::string problem;
  const std::unique_ptr<Machine> machine = Machine::Build(machine_options,
                                                          {.console = console,
                                                           .input = input,
                                                           .clock = clock,
                                                           .breaks = breaks,
                                                           .gate = &gate,
                                                           .watch = &watch},
                                                          problem);
  if (machine == nullptr) {
    console.Report(problem);
    return RETURN_FAIL;
  }
  // An older trace is emptied now that there is something to put in its place.
  TraceFile trace(console);
  if (options.trace_file && !trace.Open(options.trace_file->c_str())) return RETURN_FAIL;

  JsonTrace json(trace);
  Tracer tracer(machine->dos(), json);
  CallWatch calls(machine->dos());
  LeftBehind left_behind(machine->dos());
  std::vector<CallHook*> hooks = {&calls, &left_behind};
  if (options.trace_file) hooks.insert(hooks.begin(), &tracer);
  Interception interception(machine->exec(), machine->dos(), hooks);
  RunReporter reporter(watch, calls, [&console](const std::string& line) { console.Report(line); });
  HostListener listener(watch, gate, reporter, left_behind, console);
  const std::int32_t result = Run(interception.exec(), kCatalogue, listener);
  const bool finished = reporter.EndRun();
  for (const std::string& complaint : machine->ShutDown()) watch.Report(complaint);
  // A handler that did not last, gave what is no answer, or lost or freed twice what it was given did
  // not pass, whatever the tests made of it. Nor did a run that lost a part of what was asked for.
  const bool whole = finished && watch.reports() == 0 && !trace.failed();
  return whole ? result : std::max<std::int32_t>(result, RETURN_ERROR);
}

/// Returns a descriptor of standard output that is the tester's alone. What a handler in this process
/// prints goes to standard error, and at once, as it does from a process of its own.
int KeepStandardOutput() {
  const int output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  if (output < 0) return STDOUT_FILENO;
  dup2(STDERR_FILENO, STDOUT_FILENO);
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  return output;
}

std::int32_t Obey(const HostCommand& command, Console& console) {
  switch (command.type) {
    case HostCommand::Type::kAnswer:
      console.Print(command.text);
      return RETURN_OK;
    case HostCommand::Type::kListDeviations:
      console.Print(DeviationList());
      return RETURN_OK;
    case HostCommand::Type::kRefused:
      console.Report(command.text);
      return RETURN_FAIL;
    default:
      return RunTester(command.options, console);
  }
}

}  // namespace
}  // namespace quorle

int main(int argc, char** argv) {
  // A reader that went away is a failed write, not the end of the process.
  std::signal(SIGPIPE, SIG_IGN);
  // Nor is a file that would get larger than the host allows.
  std::signal(SIGXFSZ, SIG_IGN);
  // Whoever started the program may ignore the ends of his children; here they are reaped.
  std::signal(SIGCHLD, SIG_DFL);
  const int closed = quorle::OpenStandardDescriptors();
  const bool terminal = isatty(STDOUT_FILENO) == 1;
  quorle::DescriptorSink output(quorle::KeepStandardOutput());
  quorle::DescriptorSink errors(STDERR_FILENO);
  quorle::Console console(output, errors, terminal);
  if (closed != 0) {
    console.Report(std::string("cannot open /dev/null for a standard descriptor that is closed: ") +
                   std::strerror(closed));
    return quorle::RETURN_FAIL;
  }
  try {
    const std::span<const char* const> all(argv, static_cast<std::size_t>(argc));
    const std::span<const char* const> words = all.empty() ? all : all.subspan(1);
    const quorle::SubCommand* const command = quorle::FindSubCommand(words);
    const std::int32_t result = command != nullptr
                                    ? command->run(words.subspan(1), console)
                                    : quorle::Obey(quorle::ReadHostCommand(words), console);
    return console.failed() ? std::max<std::int32_t>(result, quorle::RETURN_ERROR) : result;
  } catch (const std::exception& error) {
    // Nothing above throws but a bug, or a host without memory.
    console.Report(std::string("internal error: ") + error.what());
    return quorle::RETURN_FAIL;
  }
}
