#include "selftest/support/recorded_run.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "results/call_recorder.h"
#include "results/run_recorder.h"

namespace quorle::selftest {
namespace {

class RecordSink final : public EventSink {
 public:
  explicit RecordSink(RunRecord& record) : record_(record) {}
  void Take(Event event) override { Append(std::move(event), record_); }

 private:
  RunRecord& record_;
};

}  // namespace

const CheckEvent& RecordedRun::Find(const std::string& id) const {
  const auto is_it = [&](const CheckEvent& check) { return check.id == id; };
  const auto found = std::find_if(record.checks.begin(), record.checks.end(), is_it);
  const auto count = std::count_if(record.checks.begin(), record.checks.end(), is_it);
  if (count != 1) throw std::runtime_error(std::to_string(count) + " events for " + id);
  return *found;
}

RecordedRun Record(const std::vector<std::string>& words, const RecordedRunSettings& settings) {
  RecordedRun run;
  TestBench bench(words, settings.rules);
  const Catalogue& catalogue =
      settings.catalogue == nullptr ? bench.catalogue() : *settings.catalogue;
  Selection selection(catalogue);
  std::string problem;
  const bool is_read = settings.select.empty() || selection.Select(settings.select, problem);
  if (!is_read) throw std::runtime_error(problem);
  const SelectedCatalogue selected(catalogue, selection);
  RecordSink sink(run.record);
  RunRecorder recorder(selection, sink);
  CallRecorder calls(bench.dos(), recorder);
  recorder.Begin({});
  run.result = bench.Run(selected.catalogue(), recorder, calls);
  recorder.End(run.result);
  run.trace = bench.TakeTraceLines();
  run.output = bench.TakeOutput();
  return run;
}

std::string Brief(const CheckEvent& check) {
  std::string text(NameOf(check.verdict));
  if (!check.why.empty()) text += ": " + check.why;
  if (!check.cause.empty()) text += " by " + check.cause;
  return text;
}

}  // namespace quorle::selftest
