#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// Whole runs of the program over RAM:, each a process of its own, from start to exit. Figures are
// the processor time (user and system) of the process and the most memory that it had resident.
// The runs that write a trace or events stand beside the plain one, so that one call of this program
// compares them.

namespace {

struct Cost {
  double seconds = 0;  ///< of processor time
  long kibibytes = 0;  ///< resident, at most
};

double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Runs the program; ends this one when it cannot be started or is refused.
Cost RunProgram(const char* const* arguments) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  const int error = posix_spawn(&process, QUORLE_PROGRAM, &actions, nullptr,
                                const_cast<char* const*>(arguments), environ);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage{};
  if (error != 0 || wait4(process, &status, 0, &usage) != process || !WIFEXITED(status) ||
      WEXITSTATUS(status) == 20) {
    std::fprintf(stderr, "run_bench: cannot run %s\n", QUORLE_PROGRAM);
    std::exit(1);
  }
  return {Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss};
}

void Measure(benchmark::State& state, const char* const* arguments) {
  long kibibytes = 0;
  for (auto _ : state) {
    const Cost cost = RunProgram(arguments);
    state.SetIterationTime(cost.seconds);
    if (cost.kibibytes > kibibytes) kibibytes = cost.kibibytes;
  }
  state.counters["MiB"] = static_cast<double>(kibibytes) / 1024;
}

void WholeRun(benchmark::State& state) {
  const char* const arguments[] = {"quorle", "--no-delay", "RAM:", nullptr};
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
BENCHMARK(WholeRunWithEvents)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);
BENCHMARK(WholeRunTraced)->UseManualTime()->Unit(benchmark::kMillisecond)->MinTime(1);

}  // namespace

BENCHMARK_MAIN();
