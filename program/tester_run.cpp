#include "program/tester_run.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "harness/entry.h"
#include "harness/run_listener.h"
#include "hosted/calls/call_gate.h"
#include "hosted/calls/clock.h"
#include "hosted/calls/run_watch.h"
#include "hosted/dos/machine.h"
#include "platform/intercepting.h"
#include "platform/trace_json.h"
#include "platform/tracing.h"
#include "program/call_watch.h"
#include "program/catalogues.h"
#include "program/device_session.h"
#include "program/left_behind.h"
#include "program/line_file.h"
#include "program/remounter.h"
#include "program/run_reporter.h"
#include "program/run_start.h"
#include "program/tester_line.h"
#include "results/call_recorder.h"

namespace quorle {
namespace {

/// Shows on a terminal which check is running, in a run that takes longer than a second. It looks at
/// the time when a call is made.
class Progress final : public CallHook {
 public:
  /// `watch` and `console` must outlive this.
  Progress(const RunWatch& watch, Console& console) : watch_(watch), console_(console) {}
  ~Progress() { console_.ShowProgress({}); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void Around(const Call& /*call*/, MakeCall make) override {
    const Moment::time_point now = Moment::now();
    if (now - begun_ >= std::chrono::seconds(1) && now - shown_ >= kPause) {
      shown_ = now;
      console_.ShowProgress(watch_.Place());
    }
    make();
  }

 private:
  using Moment = std::chrono::steady_clock;
  static constexpr std::chrono::milliseconds kPause{100};

  const RunWatch& watch_;
  Console& console_;
  Moment::time_point begun_ = Moment::now();
  Moment::time_point shown_;
};

/// Leads from the harness to the watch, and from there to the gate and to the reporters; shows what a
/// sub-test may have left behind.
class HostListener final : public RunListener {
 public:
  struct Parts {
    RunWatch& watch;
    CallGate& gate;
    RunReporter& reporter;
    LeftBehind& left_behind;
    Console& console;
    ResultSession& results;
    Remounter& remounter;
  };
  explicit HostListener(const Parts& parts) : parts_(parts) {}

  void OnRunStart(const TestContext& ctx, std::int32_t first, std::int32_t last) override {
    // The first row runs whatever the last one is.
    std::int32_t rows = 0;
    for (std::int32_t row = first; row <= std::max(first, last); ++row) {
      if (IsSelected(parts_.results.catalogue().entries[row])) ++rows;
    }
    parts_.reporter.BeginRun(rows);
    parts_.remounter.BeginRun(ctx);
    parts_.results.recorder().OnRunStart(ctx, first, last);
  }
  void OnGroupStart(const TestEntry& entry, std::int32_t row) override {
    label_ = entry.group->label;
    parts_.watch.BeginTest(row, label_);
    parts_.gate.BeginGroup();
    parts_.results.recorder().OnGroupStart(entry, row);
  }
  void OnSubTestStart(const SubTest& sub_test, std::int32_t number) override {
    parts_.watch.BeginCheck(sub_test.name);
    parts_.gate.FollowWatch();
    parts_.reporter.BeginCheck();
    parts_.results.recorder().OnSubTestStart(sub_test, number);
  }
  void OnSubTestEnd(const SubTest& sub_test, std::int32_t status) override {
    for (const LeftObject& object : parts_.left_behind.Take()) {
      parts_.console.Report(parts_.watch.Place() + ": " + object.Line());
      parts_.results.recorder().ObjectLeft(object.name, object.code);
    }
    parts_.results.recorder().OnSubTestEnd(sub_test, status);
    parts_.reporter.EndCheck(label_, status >= kFatal);
    parts_.watch.EndCheck();
    parts_.gate.FollowWatch();
  }
  void OnGroupEnd(const TestEntry& entry, std::int32_t result) override {
    if (IsSelected(entry) && entry.group->sub_tests != nullptr) {
      parts_.remounter.EndGroup(std::string(IdOf(*entry.group)));
    }
    parts_.results.recorder().OnGroupEnd(entry, result);
    if (IsSelected(entry)) parts_.reporter.EndTest();
    parts_.watch.EndTest();
    parts_.gate.BeginGroup();
  }

 private:
  bool IsSelected(const TestEntry& entry) const {
    return parts_.results.selection().IncludesGroup(IdOf(*entry.group));
  }

  Parts parts_;
  const char* label_ = "";
};

/// The watch speaks to the session until this goes.
class Listening {
 public:
  Listening(RunWatch& watch, ResultSession& results) : watch_(watch) {
    watch_.SetListener(&results);
  }
  ~Listening() { watch_.SetListener(nullptr); }
  Listening(const Listening&) = delete;
  Listening& operator=(const Listening&) = delete;

 private:
  RunWatch& watch_;
};

/// What the first event says of the run number `repeat`.
RunEvent StartOf(const HostOptions& options, const DeviceSession& session, std::int32_t repeat,
                 const Catalogue& catalogue) {
  TesterLine line = ReadTesterLine(options.dos.arguments);
  RunEvent start = RunStart(options, session, line.device);
  start.words = std::move(line.words);
  start.repeat = repeat;
  start.catalogue = catalogue.name;
  return start;
}

/// One run of `catalogue`.
std::int32_t RunOnce(const HostOptions& options, std::int32_t repeat, const Catalogue& catalogue,
                     ResultSession& results, const ResultSession::Screen& screen,
                     Console& console) {
  SystemClock clock;
  DeviceSession session(options, console, clock,
                        [&console](const std::string& line) { console.Report(line); });
  if (!session.Mount()) return RETURN_FAIL;
  Machine& machine = session.machine();
  RunWatch& watch = session.watch();
  // An older trace is emptied now that there is something to put in its place.
  LineFile trace(kTraceFile, console);
  if (options.trace_file && !trace.Open(options.trace_file->c_str())) return RETURN_FAIL;
  if (!results.BeginRun(StartOf(options, session, repeat, catalogue), catalogue))
    return RETURN_FAIL;
  const Listening listening(watch, results);

  JsonTrace json(trace);
  Tracer tracer(machine.dos(), json);
  CallWatch calls(machine.dos());
  LeftBehind left_behind(machine.dos());
  CallRecorder recorder(machine.dos(), results.recorder());
  std::vector<CallHook*> hooks = {&calls, &left_behind, &recorder};
  if (options.trace_file) hooks.insert(hooks.begin(), &tracer);
  std::optional<Progress> progress;
  if (screen.progress) hooks.insert(hooks.begin(), &progress.emplace(watch, console));
  Interception interception(machine.exec(), machine.dos(), hooks, &machine.further());
  RunReporter reporter(watch, calls, [&console](const std::string& line) { console.Report(line); });
  Remounter remounter(options, {.machine = machine,
                                .watch = watch,
                                .gate = session.gate(),
                                .breaks = session.breaks(),
                                .console = console,
                                .results = results});
  HostListener listener({.watch = watch,
                         .gate = session.gate(),
                         .reporter = reporter,
                         .left_behind = left_behind,
                         .console = console,
                         .results = results,
                         .remounter = remounter});
  Catalogue tests = results.catalogue();
  tests.may_destroy = options.may_destroy;
  const std::int32_t result = Run(interception.exec(), tests, listener);
  const bool finished = reporter.EndRun();
  for (const std::string& complaint : machine.ShutDown()) watch.Report(complaint);
  remounter.EndRun();
  return results.EndRun(result, finished && !trace.failed());
}

}  // namespace

std::int32_t RunTester(const HostOptions& options, const ResultSession::Screen& screen,
                       Console& console) {
  const std::vector<const Catalogue*> catalogues = FindCatalogues(options.results.catalogue);
  ResultSession results(options.results, catalogues, screen, console);
  if (const auto status = results.Prepare()) return *status;
  std::int32_t status = RETURN_OK;
  for (std::int32_t repeat = 1; repeat <= options.results.repeat; ++repeat) {
    for (const Catalogue* const catalogue : results.SelectedCatalogues()) {
      status = std::max(status, RunOnce(options, repeat, *catalogue, results, screen, console));
      if (status == RETURN_FAIL) return results.Finish(status);
    }
  }
  return results.Finish(status);
}

}  // namespace quorle
