#include "program/difference_report.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "explore/call_text.h"
#include "explore/replay.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/tree.h"
#include "hosted/dos/volume_listing.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/line_file.h"
#include "program/reference_volume.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

using explore::Difference;
using explore::Finding;
using explore::ShownCall;

/// The lines of a sequence, what came of each call beside it.
std::vector<std::string> CallLines(const Difference& difference) {
  constexpr std::size_t kColumn = 48;
  std::vector<std::string> lines;
  for (const ShownCall& shown : difference.calls) {
    const bool is_known = !shown.device.empty() || !shown.reference.empty();
    std::string line =
        is_known ? explore::MadeText(shown.call, shown.device) : explore::TextOf(shown.call);
    const bool is_last = &shown == &difference.calls.back();
    if (!shown.reference.empty()) {
      line.resize(std::max(line.size() + 2, kColumn), ' ');
      line += "reference: " + shown.reference;
    } else if (is_last && is_known && !difference.then.empty()) {
      line.resize(std::max(line.size() + 2, kColumn), ' ');
      line += "as it should be";
    }
    lines.push_back(std::move(line));
  }
  return lines;
}

std::string Indented(std::size_t number) {
  std::string text = std::to_string(number);
  text.insert(0, text.size() < 3 ? 3 - text.size() : 0, ' ');
  return text;
}

}  // namespace

DifferenceReport::DifferenceReport(const ExploreOptions& options, Console& console)
    : options_(options), console_(console) {}

bool DifferenceReport::Prepare() {
  if (options_.host.results.expect) {
    const std::string& path = *options_.host.results.expect;
    ExpectationFile file;
    std::string text;
    std::string problem;
    if (!ReadExpectationText(path, text, problem) ||
        !ParseExpectations(path, std::move(text), file, problem)) {
      console_.Report(problem);
      return false;
    }
    for (ExpectedDifference& difference : file.differences) {
      expected_.emplace(std::move(difference.id), std::move(difference.reason));
    }
  }
  if (!options_.out) return true;
  std::error_code error;
  std::filesystem::create_directories(*options_.out, error);
  if (!error) return true;
  console_.Report("cannot create the directory " + *options_.out + ": " + error.message());
  return false;
}

std::string DifferenceReport::PathOf(const std::string& id, const char* ending) const {
  return *options_.out + "/difference-" + id + ending;
}

std::string DifferenceReport::AgainLine(const Finding& finding) const {
  if (options_.out) {
    return "quorle replay " + options_.machine_words +
           ShellWord(PathOf(finding.difference.id, ".calls")) + " " + options_.device;
  }
  const std::string command =
      "quorle explore " + options_.machine_words +
      (options_.host.remount.each ? "--remount each " : "") +
      (options_.host.remount.after_run
           ? "--after-run " + ShellWord(*options_.host.remount.after_run) + " "
           : "");
  if (options_.choices) {
    return command + "--choices " + ShellWord(*options_.choices) + " " + options_.device;
  }
  std::string calls;
  constexpr std::size_t kUsualCalls = 200;
  if (options_.search.calls != kUsualCalls) {
    calls = "--calls " + std::to_string(options_.search.calls) + " ";
  }
  return command + "--seed " + std::to_string(finding.seed) + " " + calls + options_.device;
}

void DifferenceReport::Show(const Finding& finding, bool first, DeviceSession& session,
                            HandlerPort& port, const std::string& directory) {
  const Difference& difference = finding.difference;
  if (options_.out) WriteFiles(finding, session, port, directory);
  std::string text = "difference " + difference.id + "  (";
  if (finding.seed != 0) text += "seed " + std::to_string(finding.seed) + ", ";
  text += std::to_string(finding.calls) + " calls, ";
  text += finding.comes_again ? "shrunk to " + std::to_string(difference.calls.size())
                              : std::string("not seen again");
  text += first ? ")\n" : "; shorter than before)\n";
  std::size_t number = 0;
  for (const std::string& line : CallLines(difference)) {
    text += Indented(++number) + "  " + line + "\n";
  }
  for (const std::string& line : difference.then) text += "     then " + line + "\n";
  text += "  " + difference.what + " (rule: " + difference.rule + ")\n";
  if (!finding.comes_again) text += "  the same calls did not show it a second time\n";
  const auto known = expected_.find(difference.id);
  if (known != expected_.end()) text += "  expected: " + known->second + "\n";
  text += "  again: " + AgainLine(finding) + "\n\n";
  console_.Print(text);
}

void DifferenceReport::ShowNote(const Difference& note) {
  std::string text = "note " + note.id + "\n";
  for (const std::string& line : CallLines(note)) text += "     " + line + "\n";
  for (const std::string& line : note.then) text += "     then " + line + "\n";
  console_.Print(text + "  " + note.what + " (rule: " + note.rule + ")\n\n");
}

DifferenceEvent DifferenceReport::EventOf(const Finding& finding) const {
  const Difference& difference = finding.difference;
  DifferenceEvent event;
  event.id = difference.id;
  event.rule = difference.rule;
  event.weight = difference.weight == Difference::Weight::kNote ? "note" : "error";
  event.text = difference.what;
  event.calls = CallLines(difference);
  event.seed = static_cast<std::int64_t>(finding.seed);
  event.found_in = static_cast<std::int64_t>(finding.calls);
  event.times = static_cast<std::int64_t>(finding.times);
  event.comes_again = finding.comes_again;
  const auto known = expected_.find(difference.id);
  event.expected = known != expected_.end();
  if (event.expected) event.reason = known->second;
  return event;
}

// ---- Files -------------------------------------------------------------------------------------

void DifferenceReport::WriteFiles(const Finding& finding, DeviceSession& session, HandlerPort& port,
                                  const std::string& directory) {
  const std::string& id = finding.difference.id;
  const std::string volume = port.volume_name().value_or("");
  const bool is_written = WriteCalls(finding, PathOf(id, ".calls"), volume) &&
                          WriteTrace(finding, PathOf(id, ".trace"), session, port, directory);
  failed_ = failed_ || !is_written;
}

bool DifferenceReport::WriteCalls(const Finding& finding, const std::string& path,
                                  const std::string& volume) {
  const Difference& difference = finding.difference;
  explore::SearchClock clock;
  ReferenceVolume reference(clock, console_, volume);
  const std::string text = explore::CallsText(
      difference,
      {"difference " + difference.id + " (seed " + std::to_string(finding.seed) + ")",
       difference.what + " (rule: " + difference.rule + ")", "again: " + AgainLine(finding)},
      {.side = reference.side(), .clock = clock, .port = reference.port()});
  std::string problem;
  if (WriteWholeFile(path, text, problem)) return true;
  console_.Report(problem);
  return false;
}

bool DifferenceReport::WriteTrace(const Finding& finding, const std::string& path,
                                  DeviceSession& session, HandlerPort& port,
                                  const std::string& directory) {
  LineFile file(kTraceFile, console_);
  if (!file.Open(path.c_str())) return false;
  Machine& machine = session.machine();
  JsonTrace json(file);
  Tracer tracer(machine.dos(), json);
  Interception interception(machine.exec(), machine.dos(), {&tracer}, &machine.further());
  const std::string device = port.device_name() + ":";
  {
    explore::Side side(interception.dos(), interception.further(), device);
    if (side.Begin(directory) == 0) {
      for (const ShownCall& shown : finding.difference.calls) {
        explore::Outcome outcome;
        side.Make(shown.call, outcome);
      }
    }
  }
  explore::Side after(machine.dos(), machine.further(), device);
  if (after.Begin(directory) == 0) explore::Empty(after);
  return !file.failed();
}

}  // namespace quorle
