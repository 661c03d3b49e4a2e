#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "selftest/bench/program_cost.h"

// Whole runs of the program over RAM:. The runs that write a trace or events, and those on other kinds of
// port, stand beside the plain one, so that one call of this program compares them.

namespace quorle::bench {
namespace {

void WholeRun(benchmark::State& state) {
  const char* const arguments[] = {"quorle", "--no-delay", "RAM:", nullptr};
  Measure(state, arguments);
}

/// The further catalogue, with its files of a megabyte and directories of thousands.
void WholeFurtherRun(benchmark::State& state) {
  const char* const arguments[] = {"quorle", "--no-delay", "--catalogue", "further",
                                   "RAM:",   "NI",         nullptr};
  Measure(state, arguments);
}

/// RAM as another kind of port: `mount` says which.
void WholeRunOn(benchmark::State& state, const char* mount) {
  const char* const arguments[] = {"quorle", "--no-delay", "--mount", mount, "DH0:", nullptr};
  Measure(state, arguments);
}

void WholeRunTraced(benchmark::State& state) {
  const std::string file = "run_bench." + std::to_string(getpid()) + ".jsonl";
  const char* const arguments[] = {"quorle",     "--no-delay", "--trace",
                                   file.c_str(), "RAM:",       nullptr};
  Measure(state, arguments);
  std::remove(file.c_str());
}

void WholeRunWithEvents(benchmark::State& state) {
  const std::string file = "run_bench." + std::to_string(getpid()) + ".events";
  const char* const arguments[] = {"quorle",     "--no-delay", "--events",
                                   file.c_str(), "RAM:",       nullptr};
  Measure(state, arguments);
  std::remove(file.c_str());
}

void StartAndRefuse(benchmark::State& state) {
  const char* const arguments[] = {"quorle", "--version", nullptr};
  Measure(state, arguments);
}

BENCHMARK(StartAndRefuse)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(WholeRun)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(WholeFurtherRun)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK_CAPTURE(WholeRunOn, Packets, "DH0=ram,port=packet")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1);
BENCHMARK_CAPTURE(WholeRunOn, ClassicPackets, "DH0=ram,port=classic")
    ->UseManualTime()
    ->Unit(benchmark::kMillisecond)
    ->MinTime(1);
BENCHMARK(WholeRunWithEvents)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(WholeRunTraced)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);

}  // namespace
}  // namespace quorle::bench

BENCHMARK_MAIN();
