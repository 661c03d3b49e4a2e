#include "program/replay_command.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "explore/call_text.h"
#include "explore/calls_file.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "hosted/dos/volume_listing.h"
#include "platform/constants.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/device_session.h"
#include "program/host_options.h"
#include "program/line_file.h"
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

/// Makes the calls, and counts what was not as it should be.
class Replay {
 public:
  struct Parts {
    explore::Side& side;
    explore::SearchClock& clock;
    HandlerPort& port;
    RunWatch& watch;
    CallGate& gate;
    Console& console;
  };
  Replay(const Parts& parts, std::string file) : parts_(parts), file_(std::move(file)) {}

  void Make(const CallsStep& step) {
    parts_.watch.MoveTo(file_ + ", line " + std::to_string(step.line));
    parts_.gate.FollowWatch();
    if (step.tree != nullptr) {
      CompareTree(step);
    } else {
      MakeCall(step);
    }
  }

  std::size_t calls() const { return calls_; }
  std::size_t expected() const { return expected_; }
  std::size_t wrong() const { return wrong_; }

 private:
  void MakeCall(const CallsStep& step) {
    const explore::Call& call = step.call.call;
    parts_.clock.Step();
    ++calls_;
    explore::Outcome outcome;
    parts_.side.Make(call, outcome);
    const explore::DueOutcome all = explore::AllOf(call, outcome);
    const bool is_due = !step.call.due || explore::IsAsDue(*step.call.due, all);
    Print(step, is_due, explore::MadeText(call, explore::TextOf(call, all)));
    if (step.call.due) ++expected_;
    if (!is_due) PrintBelow("expected: " + explore::TextOf(call, *step.call.due));
  }

  void CompareTree(const CallsStep& step) {
    ++expected_;
    const std::vector<std::string> lines =
        explore::CompareTree(*step.tree, ListVolume(parts_.port, explore::kTreeBounds));
    Print(step, lines.empty(), "tree");
    for (const std::string& line : lines) PrintBelow(line);
  }

  void Print(const CallsStep& step, bool is_due, const std::string& text) {
    if (!is_due) ++wrong_;
    std::string number = std::to_string(step.line);
    number.insert(0, number.size() < kNumberWidth ? kNumberWidth - number.size() : 0, ' ');
    parts_.console.Print((is_due ? " " : "!") + number + "  " + text + "\n");
  }

  void PrintBelow(const std::string& text) {
    parts_.console.Print(std::string(kNumberWidth + 3, ' ') + text + "\n");
  }

  static constexpr std::size_t kNumberWidth = 4;

  Parts parts_;
  std::string file_;
  std::size_t calls_ = 0;
  std::size_t expected_ = 0;
  std::size_t wrong_ = 0;
};

std::string CountOf(std::size_t number, const char* what) {
  return std::to_string(number) + " " + what + (number == 1 ? "" : "s");
}

/// The names that are there now and were not before; empty: none.
std::string LeftNames(const VolumeListing& before, const VolumeListing& after) {
  constexpr std::size_t kMostNames = 20;
  std::string names;
  std::size_t count = 0;
  for (const auto& [path, object] : after.objects) {
    if (before.objects.count(path) != 0) continue;
    if (++count <= kMostNames) names += (names.empty() ? "" : ", ") + explore::Quoted(path);
  }
  if (count > kMostNames) names += " and " + std::to_string(count - kMostNames) + " more";
  return names;
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
  // Names alone: contents stay unread.
  constexpr ListingBounds kNames = {
      .objects = explore::kTreeBounds.objects, .file_bytes = 0, .all_bytes = 0};
  const VolumeListing before = ListVolume(*port, kNames);

  explore::Side side(interception.dos(), interception.further(), port->device_name() + ":");
  if (const std::int32_t code = side.Begin(""); code != 0) {
    console.Report(port->device_name() + ": its root cannot be locked, error " +
                   std::to_string(code));
    return RETURN_FAIL;
  }
  const std::string name = options.file == "-" ? "standard input" : options.file;
  Replay replay({.side = side,
                 .clock = clock,
                 .port = *port,
                 .watch = session.watch(),
                 .gate = session.gate(),
                 .console = console},
                name);
  session.gate().BeginGroup();
  bool is_whole = true;
  for (const CallsStep& step : steps) {
    if (session.breaks().IsPending()) {
      console.Report(name + ": interrupted before line " + std::to_string(step.line));
      is_whole = false;
      break;
    }
    replay.Make(step);
  }
  session.watch().MoveTo({});
  session.gate().BeginGroup();
  side.End();
  console.Print(CountOf(replay.calls(), "call") + ", " + CountOf(replay.expected(), "expectation") +
                ", " + std::to_string(replay.wrong()) + " not met\n");
  if (port->life() == HandlerProgram::Life::kRuns) {
    const std::string left = LeftNames(before, ListVolume(*port, kNames));
    if (!left.empty()) console.Print("left in " + port->device_name() + ": " + left + "\n");
  }
  for (const std::string& complaint : machine.ShutDown()) session.watch().Report(complaint);
  const bool is_fine = is_whole && replay.wrong() == 0 && session.watch().reports() == 0;
  return is_fine && !trace.failed() ? RETURN_OK : RETURN_ERROR;
}

}  // namespace

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
