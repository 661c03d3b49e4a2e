#include "program/compare_command.h"

#include <string>
#include <string_view>
#include <vector>

#include "platform/constants.h"
#include "results/compare_runs.h"
#include "results/run_record.h"

namespace quorle {
namespace {

constexpr const char* kCompareUsage = "Usage: quorle compare OLD NEW\n";
constexpr const char* kCompareHelp =
    "\nPrints which checks of the event file NEW came out otherwise than in OLD: new failures, new\n"
    "passes, other error codes. Exit status: 10 when something got worse, 20 when a file is wrong,\n"
    "else 0.\n";

}  // namespace

CommandSyntax CompareSyntax() {
  return {.options = {}, .operands = {"EVENTS", "EVENTS"}};
}

std::int32_t RunCompare(std::span<const char* const> words, Console& console) {
  if (words.size() == 1 && std::string_view(words.front()) == "--help") {
    console.Print(std::string(kCompareUsage) + kCompareHelp);
    return RETURN_OK;
  }
  for (const std::string_view word : words) {
    if (!word.starts_with("--")) continue;
    console.Report("compare: " + std::string(word) + " is not an option; there is --help");
    return RETURN_FAIL;
  }
  if (words.size() != 2) {
    console.Report("compare: two event files are needed, the old one and the new one");
    return RETURN_FAIL;
  }
  std::vector<RunRecord> old_runs;
  std::vector<RunRecord> new_runs;
  std::string problem;
  if (!ReadEvents(words[0], old_runs, problem) || !ReadEvents(words[1], new_runs, problem)) {
    console.Report(problem);
    return RETURN_FAIL;
  }
  const RunComparison comparison = CompareRuns(old_runs, new_runs);
  console.Print(ToText(comparison));
  return comparison.is_worse() ? RETURN_ERROR : RETURN_OK;
}

}  // namespace quorle
