#include "program/difference_report.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>

#include "explore/finding_text.h"
#include "explore/side.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/line_file.h"
#include "results/whole_file.h"

namespace quorle {
namespace {

using explore::Difference;
using explore::ShownCall;

}  // namespace

DifferenceReport::DifferenceReport(const ExploreOptions& options, Console& console)
    : options_(options), console_(console) {}

bool DifferenceReport::Prepare() {
  if (const auto& path = options_.host.results.expect) {
    std::string problem;
    if (!ReadExpectedDifferences(*path, expected_, problem)) {
      console_.Report(problem);
      return false;
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

std::string DifferenceReport::AgainLine(const explore::Finding& finding) const {
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

void DifferenceReport::Show(const explore::Finding& finding, bool first, DeviceSession& session,
                            HandlerPort& port, const std::string& directory) {
  if (finding.difference.weight == Difference::Weight::kNote) {
    ShowNote(finding.difference);
    return;
  }
  if (options_.out) WriteFiles(finding, session, port, directory);
  const auto known = expected_.find(finding.difference.id);
  explore::FindingRemarks remarks{.first = first, .expected = {}, .again = AgainLine(finding)};
  if (known != expected_.end()) remarks.expected = known->second;
  console_.Print(explore::FindingText(finding, remarks));
}

void DifferenceReport::ShowNote(const Difference& note) {
  console_.Print(explore::NoteText(note));
}

DifferenceEvent DifferenceReport::EventOf(const explore::Finding& finding) const {
  const Difference& difference = finding.difference;
  DifferenceEvent event;
  event.id = difference.id;
  event.rule = difference.rule;
  event.weight = difference.weight == Difference::Weight::kNote ? "note" : "error";
  event.text = difference.what;
  event.calls = explore::CallLines(difference);
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

void DifferenceReport::WriteFiles(const explore::Finding& finding, DeviceSession& session,
                                  HandlerPort& port, const std::string& directory) {
  const std::string& id = finding.difference.id;
  const std::string volume = port.volume_name().value_or("");
  const bool is_written = WriteCalls(finding, PathOf(id, ".calls"), volume) &&
                          WriteTrace(finding, PathOf(id, ".trace"), session, port, directory);
  failed_ = failed_ || !is_written;
}

bool DifferenceReport::WriteCalls(const explore::Finding& finding, const std::string& path,
                                  const std::string& volume) {
  std::string problem;
  if (WriteWholeFile(path, explore::FindingCalls(finding, AgainLine(finding), volume, console_),
                     problem)) {
    return true;
  }
  console_.Report(problem);
  return false;
}

bool DifferenceReport::WriteTrace(const explore::Finding& finding, const std::string& path,
                                  DeviceSession& session, HandlerPort& port,
                                  const std::string& directory) {
  LineFile file(kTraceFile, console_);
  if (!file.Open(path.c_str())) return false;
  Machine& machine = session.machine();
  JsonTrace json(file);
  Tracer tracer(machine.dos(), json);
  Interception interception(machine.exec(), machine.dos(), {&tracer}, &machine.further());
  const std::string device = port.device_name() + ":";
  explore::Side side(interception.dos(), interception.further(), device);
  if (side.Begin(directory) == 0) {
    for (const ShownCall& shown : finding.difference.calls) {
      explore::Outcome outcome;
      side.Make(shown.call, outcome);
    }
  }
  side.End();
  return !file.failed();
}

}  // namespace quorle
