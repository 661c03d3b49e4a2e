#include "selftest/sweep/sweep_run.h"

#include <algorithm>
#include <utility>
#include <variant>

#include "harness/entry.h"
#include "hosted/dos/machine.h"
#include "platform/intercepting.h"
#include "platform/tracing.h"
#include "selftest/support/fault_injector.h"

namespace quorle::selftest {
namespace {

/// Keeps a trace, and what it holds.
class SweepTrace final : public TraceSink {
 public:
  explicit SweepTrace(const std::string& place) : place_(place), balance_(place) {}

  bool Take(const TraceEvent& event) override {
    KeptEvent& kept = events_.emplace_back();
    kept.place = place_;
    kept.op = event.op;
    kept.gave_nothing = IsNothing(event.result);
    kept.ioerr = event.ioerr;
    if (!event.args.empty()) {
      if (const auto* const name = std::get_if<std::string_view>(&event.args[0])) kept.name = *name;
    }
    if (event.args.size() > 1) {
      if (const auto* const mode = std::get_if<std::int64_t>(&event.args[1])) kept.mode = *mode;
    }
    return balance_.Take(event);
  }

  std::vector<Unbalanced> Report() const { return balance_.Report(); }
  std::vector<KeptEvent> TakeEvents() { return std::move(events_); }

 private:
  static bool IsNothing(const TraceValue& value) {
    const auto* const handle = std::get_if<TraceHandle>(&value);
    return handle != nullptr ? handle->number == 0 : std::holds_alternative<std::monostate>(value);
  }

  const std::string& place_;
  TraceBalance balance_;
  std::vector<KeptEvent> events_;
};

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::size_t from = 0;
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', from)) {
    lines.push_back(text.substr(from, at - from));
    from = at + 1;
  }
  return lines;
}

/// The lines of `text` that `other` does not have.
std::vector<std::string> LinesMissing(const std::string& text, const std::string& other) {
  const std::vector<std::string> known = LinesOf(other);
  std::vector<std::string> missing;
  for (std::string& line : LinesOf(text)) {
    if (std::find(known.begin(), known.end(), line) == known.end()) {
      missing.push_back(std::move(line));
    }
  }
  return missing;
}

/// Where a fault that needs another file finds it.
constexpr const char* kOtherFile = "ENV:other-file";

}  // namespace

Outcome SharedBench::Run(const Catalogue& catalogue,
                         const std::function<void(FaultPlan&)>& prepare) {
  if (bench_ == nullptr) {
    bench_ = std::make_unique<TestBench>(words_);
    volumes_ = bench_->Volumes();
  }
  ExecInterface& exec = bench_->machine().exec();
  HostedDos& real = bench_->machine().dos();
  FaultPlan plan(real);
  prepare(plan);
  HostedFurtherDos& further = bench_->machine().further();
  FaultInjector injector(exec, real, plan, kOtherFile, &further);
  Interception faulty(exec, real, {&injector}, &further);
  SweepTrace trace(watch_.current());
  Tracer tracer(faulty.dos(), trace);
  Interception traced(faulty.exec(), faulty.dos(), {&tracer}, &faulty.further());
  const std::size_t started = watch_.started();

  Outcome outcome;
  outcome.is_further = catalogue.is_further;
  real.SetIoErr(0);  // as a process starts
  outcome.result = quorle::Run(traced.exec(), catalogue, watch_);
  outcome.ran_tests = watch_.started() != started;
  outcome.output = bench_->TakeOutput();
  outcome.directory_restored = !real.SetCurrentDir({});
  outcome.requesters_restored = real.SetProcWindow(nullptr) == nullptr;
  outcome.unbalanced = trace.Report();
  outcome.trace = trace.TakeEvents();
  outcome.sites = plan.TakeSites();
  injector.Settle();
  real.Delete(kOtherFile);
  outcome.still_open = bench_->StillOpen(false);
  outcome.open_records = real.CountOpen().examine_records;
  further.ReleaseEverything();
  real.ReleaseEverything();
  const std::string volumes = bench_->Volumes();
  if (volumes != volumes_) {
    outcome.gone = LinesMissing(volumes_, volumes);
    outcome.came = LinesMissing(volumes, volumes_);
  }
  if (volumes != volumes_ || !outcome.still_open.empty()) bench_.reset();
  return outcome;
}

}  // namespace quorle::selftest
