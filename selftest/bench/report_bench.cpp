#include <benchmark/benchmark.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include "results/event_json.h"
#include "selftest/bench/program_cost.h"

// quorle report over 1,000 runs of 110 checks each, in every format. One check in 30 fails, with two
// messages; half of these messages are in one run only.

namespace quorle::bench {
namespace {

constexpr int kRuns = 1000;
constexpr int kChecks = 110;

/// The event files, which are there as long as this is.
class EventFiles {
 public:
  EventFiles()
      : folder_(std::filesystem::temp_directory_path() /
                ("quorle-report-bench." + std::to_string(getpid()))) {
    std::filesystem::create_directory(folder_);
    for (int run = 0; run < kRuns; ++run) {
      paths_.push_back(folder_ / ("run-" + std::to_string(run) + ".jsonl"));
      std::ofstream(paths_.back()) << StreamOf(run);
    }
  }
  ~EventFiles() { std::filesystem::remove_all(folder_); }
  EventFiles(const EventFiles&) = delete;
  EventFiles& operator=(const EventFiles&) = delete;

  const std::vector<std::string>& paths() const { return paths_; }

 private:
  static std::string StreamOf(int run) {
    RunEvent start;
    start.program = "53.24";
    start.device = "DH0:";
    start.words = "NI";
    start.arguments = {"--mount", "DH0=ram", "DH0:", "NI"};
    start.port = "vector";
    start.handler = "ram";
    start.time = "2026-11-21T19:00:00Z";
    std::string stream = ToJsonLine(start);
    for (int number = 0; number < kChecks; ++number) {
      CheckEvent check;
      check.id =
          "Group" + std::to_string(number / 3) + ".SomeRuleOfThisGroup" + std::to_string(number);
      check.row = number / 3 + 1;
      check.number = number % 3 + 1;
      check.verdict = Verdict::kPass;
      check.calls = {.first = 10 * number + 1, .last = 10 * number + 10};
      check.us = 41;
      if ((number + run) % 30 == 0) {
        const std::string place = number % 2 == 0 ? "" : " in run " + std::to_string(run);
        check.verdict = Verdict::kFail;
        check.result = 10;
        check.diagnostics = {
            {.type = DiagnosticClass::kError,
             .bold = true,
             .code = 205,
             .text = "Lock(\"FILE01\",EXCLUSIVE_LOCK) failed ok, but the error code was wrong; "
                     "#205 object not found" +
                     place},
            {.type = DiagnosticClass::kWarn,
             .text = "should have been #202 object is in use" + place}};
      }
      stream += ToJsonLine(check);
    }
    return stream + ToJsonLine(EndEvent{.result = 10, .checks = {}, .us = 4711});
  }

  std::filesystem::path folder_;
  std::vector<std::string> paths_;
};

void Report(benchmark::State& state, const char* format) {
  static const EventFiles files;
  std::vector<const char*> arguments = {"quorle", "report", format};
  for (const std::string& path : files.paths()) arguments.push_back(path.c_str());
  arguments.push_back(nullptr);
  Measure(state, arguments.data());
}

BENCHMARK_CAPTURE(Report, Summary, "--summary")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Report, Tap, "--tap")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Report, Junit, "--junit")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Report, Markdown, "--markdown")->UseManualTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Report, Html, "--html")->UseManualTime()->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace quorle::bench

BENCHMARK_MAIN();
