#pragma once

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

// The program, a process of its own from start to exit. Figures are the processor time (user and
// system) of the process and the most memory that it had resident.
namespace quorle::bench {

struct ProgramCost {
  double seconds = 0;  ///< of processor time
  long kibibytes = 0;  ///< resident, at most
};

inline double Seconds(const timeval& time) {
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

/// Runs the program; ends this one when it cannot be started or is refused.
inline ProgramCost RunProgram(const char* const* arguments) {
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
    std::fprintf(stderr, "cannot run %s\n", QUORLE_PROGRAM);
    std::exit(1);
  }
  return {Seconds(usage.ru_utime) + Seconds(usage.ru_stime), usage.ru_maxrss};
}

/// Measures runs of the program with these arguments, the last of which is null.
inline void Measure(benchmark::State& state, const char* const* arguments) {
  long kibibytes = 0;
  for (auto _ : state) {
    const ProgramCost cost = RunProgram(arguments);
    state.SetIterationTime(cost.seconds);
    if (cost.kibibytes > kibibytes) kibibytes = cost.kibibytes;
  }
  state.counters["MiB"] = static_cast<double>(kibibytes) / 1024;
}

}  // namespace quorle::bench
