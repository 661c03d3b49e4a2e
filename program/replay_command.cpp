#include "program/replay_command.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "explore/calls_file.h"
#include "explore/replay.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/value_text.h"
#include "platform/constants.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/device_session.h"
#include "program/host_options.h"
#include "program/line_file.h"
#include "program/names_line.h"
#include "program/option_list.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

using explore::CallsStep;

constexpr const char* kReplayFooter =
    "Each line of FILE (- is standard input) is a call; what should come of it stands behind =>.\n"
    "docs/explore.md describes such files. The calls are made in the root of DEVICE, whose own objects\n"
    "stay; what they leave there is named. Each call has a tick of a clock of its own, so that\n"
    "dates are the same each time.\n"
    "Exit status: 0 all is as expected, 10 something is not, 20 not run.";

struct ReplayOptions {
  HostOptions host;
  std::string file;
  std::string device;
};

/// Reads the words. Returns the exit status when there is nothing to run.
std::optional<std::int32_t> ReadReplayOptions(std::span<const char* const> words,
                                              ReplayOptions& options, Console& console) {
  const std::vector<CommandOption> list = MachineOptionList(options.host);
  const CommandLine line = SeparateOptions(words, list,
                                           {.name = "quorle replay",
                                            .about = "Makes the calls of a file on a device.",
                                            .usage = "Usage: quorle replay [options] FILE DEVICE\n",
                                            .footer = kReplayFooter,
                                            .version = {}});
  if (line.type == CommandLine::Type::kAnswer) {
    console.Print(line.text);
    return RETURN_OK;
  }
  std::string problem = line.text;
  if (problem.empty()) problem = ReadOptionValues(list, line);
  if (problem.empty() && line.rest.size() != 2) {
    problem = "a file and a device are needed: quorle replay [options] FILE DEVICE";
  }
  if (!problem.empty()) {
    console.Report("replay: " + problem);
    return RETURN_FAIL;
  }
  options.file = line.rest[0];
  options.device = line.rest[1];
  return std::nullopt;
}

/// Reads a file of calls, or standard input. False, with one line in `problem`, when it is wrong.
bool ReadCallsFile(const std::string& path, std::vector<CallsStep>& steps, std::string& problem) {
  std::string text;
  if (!ReadWholeFile(path, explore::kLargestCallsFile, text, problem)) return false;
  return explore::ParseCalls(path == "-" ? "standard input" : path, text, steps, problem);
}

constexpr std::size_t kNumberWidth = 4;

void Print(const CallsStep& step, const explore::ReplayedLine& outcome, Console& console) {
  std::string number = std::to_string(step.line);
  number.insert(0, number.size() < kNumberWidth ? kNumberWidth - number.size() : 0, ' ');
  console.Print((outcome.is_due ? " " : "!") + number + "  " + outcome.text + "\n");
  for (const std::string& line : outcome.below) {
    console.Print(std::string(kNumberWidth + 3, ' ') + line + "\n");
  }
}

std::string CountOf(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

std::int32_t ReplayOn(const ReplayOptions& options, const std::vector<CallsStep>& steps,
                      Console& console) {
  explore::SearchClock clock;
  DeviceSession session(options.host, console, clock,
                        [&console](const std::string& line) { console.Report(line); });
  if (!session.Mount()) return RETURN_FAIL;
  HandlerPort* const port = session.Find(options.device);
  if (!options.device.ends_with(':') || port == nullptr || port->type() == PortType::kNone) {
    console.Report("replay: " + explore::Quoted(options.device) +
                   " is not a device with a filesystem, such as RAM:");
    return RETURN_FAIL;
  }
  LineFile trace(kTraceFile, console);
  if (options.host.trace_file && !trace.Open(options.host.trace_file->c_str())) return RETURN_FAIL;
  Machine& machine = session.machine();
  JsonTrace json(trace);
  Tracer tracer(machine.dos(), json);
  std::vector<CallHook*> hooks;
  if (options.host.trace_file) hooks.push_back(&tracer);
  Interception interception(machine.exec(), machine.dos(), hooks, &machine.further());
  explore::Side side(interception.dos(), interception.further(), port->device_name() + ":");
  explore::Replay replay({.side = side, .clock = clock, .port = *port, .remount = [&] {
                            machine.dos().ReleasePort(*port, {});
                            port->UnmountForNow();
                            std::string problem;
                            return port->MountAgain(problem) ? std::string() : problem;
                          }});
  if (const std::int32_t code = replay.Begin(); code != 0) {
    console.Report(port->device_name() + ": its root cannot be locked, error " +
                   std::to_string(code));
    return RETURN_FAIL;
  }
  const std::string name = options.file == "-" ? "standard input" : options.file;
  session.gate().BeginGroup();
  bool is_whole = true;
  for (const CallsStep& step : steps) {
    if (session.breaks().IsPending()) {
      console.Report(name + ": interrupted before line " + std::to_string(step.line));
      is_whole = false;
      break;
    }
    session.watch().MoveTo(name + ", line " + std::to_string(step.line));
    session.gate().FollowWatch();
    Print(step, replay.Make(step), console);
  }
  session.watch().MoveTo({});
  session.gate().BeginGroup();
  side.End();
  console.Print(CountOf(replay.calls(), "call") + ", " + CountOf(replay.expected(), "expectation") +
                ", " + std::to_string(replay.wrong()) + " not met\n");
  if (port->life() == HandlerProgram::Life::kRuns) {
    const std::string left = NamesLine(replay.Left());
    if (!left.empty()) console.Print("left in " + port->device_name() + ": " + left + "\n");
  }
  for (const std::string& complaint : machine.ShutDown()) session.watch().Report(complaint);
  const bool is_fine = is_whole && replay.wrong() == 0 && session.watch().reports() == 0;
  return is_fine && !trace.failed() ? RETURN_OK : RETURN_ERROR;
}

}  // namespace

CommandSyntax ReplaySyntax() {
  HostOptions unused;
  return {.options = WithoutReaders(MachineOptionList(unused)), .operands = {"FILE", "DEVICE"}};
}

std::int32_t RunReplay(std::span<const char* const> words, Console& console) {
  ReplayOptions options;
  if (const auto status = ReadReplayOptions(words, options, console)) return *status;
  std::vector<CallsStep> steps;
  std::string problem;
  if (!ReadCallsFile(options.file, steps, problem)) {
    console.Report(problem);
    return RETURN_FAIL;
  }
  return ReplayOn(options, steps, console);
}

}  // namespace quorle
