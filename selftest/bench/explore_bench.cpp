#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>

#include "explore/coverage.h"
#include "explore/generator.h"
#include "explore/search_clock.h"
#include "explore/side.h"
#include "explore/trial.h"
#include "hosted/dos/machine.h"
#include "program/built_in_handlers.h"

// What a call of a search costs before anything is compared:
//
//   DrawSequence  the choices of a sequence of 200 calls; items are calls
//   DrawCalls     calls of these, while a handful of objects is held
//   MakeCalls     the same, and made on a volume in memory
//   CountCalls    calls counted in the table of what was reached
//
// And what a search costs:
//
//   ComparePairs  calls on a volume in memory and on another one, compared after each; the number is that
//                 of the calls between two comparisons of the whole trees, 0: at the end of a sequence alone

namespace quorle::explore {
namespace {

class Silence final : public ByteSink {
 public:
  bool Write(std::string_view) override { return true; }
  std::string Problem() const override { return {}; }
};

class NobodyTypes final : public LineInput {
 public:
  bool ReadLine(std::string&) override { return false; }
};

class NobodyBreaks final : public BreakSource {
 public:
  bool TakeBreak() override { return false; }
};

constexpr std::size_t kCalls = 200;

/// RAM: on a machine, and the side that makes calls there.
class Bench {
 public:
  explicit Bench(SearchClock& clock) : clock_(clock) {
    std::string problem;
    machine_ = Machine::Build(
        {.handlers = BuiltInHandlers(),
         .layers = {},
         .mounts = StandardMounts(),
         .exec = {},
         .dos = {}},
        {.console = console_, .input = input_, .clock = clock_, .breaks = breaks_}, problem);
    if (machine_ == nullptr) throw std::runtime_error(problem);
    side_ = std::make_unique<Side>(machine_->dos(), machine_->further(), "RAM:");
    if (side_->Begin("") != 0) throw std::runtime_error("the root of RAM: cannot be locked");
  }

  Side& side() { return *side_; }
  /// Makes the first calls of the seed 1, which leave some objects behind.
  void HoldSome() {
    const Choices choices = DrawChoices(1, 60);
    for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
      generator_.Next({choices.data() + at, kChoicesPerCall}, *side_, call_);
      side_->Make(call_, outcome_);
    }
  }
  /// The call at `place` of `choices`.
  const Call& Draw(const Choices& choices, std::size_t place) {
    generator_.Next({choices.data() + place, kChoicesPerCall}, *side_, call_);
    return call_;
  }
  const Outcome& Make() {
    clock_.Step();
    side_->Make(call_, outcome_);
    return outcome_;
  }

 private:
  Silence silence_;
  Console console_{silence_, silence_, false};
  NobodyTypes input_;
  SearchClock& clock_;
  NobodyBreaks breaks_;
  std::unique_ptr<Machine> machine_;
  std::unique_ptr<Side> side_;
  Traits traits_;
  Generator generator_{traits_};
  Call call_;
  Outcome outcome_;
};

void DrawSequence(benchmark::State& state) {
  std::uint64_t seed = 0;
  for (auto _ : state) benchmark::DoNotOptimize(DrawChoices(++seed, kCalls).data());
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCalls));
}

void DrawCalls(benchmark::State& state) {
  SearchClock clock;
  Bench bench(clock);
  bench.HoldSome();
  const Choices choices = DrawChoices(2, kCalls * 50);
  for (auto _ : state) {
    for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
      benchmark::DoNotOptimize(&bench.Draw(choices, at));
    }
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCalls * 50));
}

void MakeCalls(benchmark::State& state) {
  std::uint64_t seed = 0;
  SearchClock clock;
  for (auto _ : state) {
    state.PauseTiming();
    auto bench = std::make_unique<Bench>(clock);
    const Choices choices = DrawChoices(++seed, kCalls * 50);
    state.ResumeTiming();
    for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
      bench->Draw(choices, at);
      benchmark::DoNotOptimize(&bench->Make());
    }
    state.PauseTiming();
    bench.reset();
    state.ResumeTiming();
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCalls * 50));
}

void CountCalls(benchmark::State& state) {
  SearchClock clock;
  Bench bench(clock);
  bench.HoldSome();
  const Choices choices = DrawChoices(3, kCalls);
  std::vector<Call> calls;
  for (std::size_t at = 0; at != choices.size(); at += kChoicesPerCall) {
    calls.push_back(bench.Draw(choices, at));
  }
  CoverageTable table;
  Outcome outcome;
  for (auto _ : state) {
    for (const Call& call : calls) table.OnCall(call, outcome, outcome);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kCalls));
}

class NothingToControl final : public DeviceControl {};

void ComparePairs(benchmark::State& state) {
  SearchClock clock;
  Bench reference(clock);
  Bench device(clock);
  const Traits traits;
  NothingToControl control;
  Trial trial({.reference = reference.side(),
               .device = device.side(),
               .clock = clock,
               .control = control,
               .traits = traits},
              {.calls_between_walks = static_cast<std::size_t>(state.range(0)), .directory = {}});
  std::uint64_t seed = 0;
  for (auto _ : state) {
    if (trial.Run(DrawChoices(++seed, kCalls))) state.SkipWithError("two equal volumes differ");
  }
  state.SetItemsProcessed(static_cast<std::int64_t>(trial.calls_made()));
}

BENCHMARK(DrawSequence);
BENCHMARK(DrawCalls);
BENCHMARK(MakeCalls);
BENCHMARK(CountCalls);
BENCHMARK(ComparePairs)->Arg(0)->Arg(50);

}  // namespace
}  // namespace quorle::explore

BENCHMARK_MAIN();
