#include <cstdio>
#include <exception>
#include <string>
#include <vector>

#include "selftest/native/native_program.h"
#include "selftest/support/test_bench.h"

// native_run PROGRAM WORDS...: the platform's executable on Linux, for a look at what it does.
// WORDS are those of the program for Linux: host options and the command line. Ends with the
// program's own result. Every call goes to standard error.

int main(int argc, char** argv) {
  using namespace quorle::selftest;  // NOLINT: a program of one function
  if (argc < 2) {
    std::fprintf(stderr, "usage: native_run PROGRAM [host options] DEVICE ...\n");
    return 20;
  }
  try {
    const NativeProgram program(argv[1]);
    TestBench bench(std::vector<std::string>(argv + 2, argv + argc));
    const NativeResult result = program.Run(bench.Begin());
    std::fputs(bench.TakeOutput().c_str(), stdout);
    for (const std::string& line : bench.TakeTraceLines())
      std::fprintf(stderr, "%s\n", line.c_str());
    std::string problem = result.problem;
    if (problem.empty()) problem = bench.StillOpen(false);
    if (problem.empty()) return result.code;
    std::fprintf(stderr, "native_run: %s\n", problem.c_str());
    return 20;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "native_run: %s\n", error.what());
    return 20;
  }
}
