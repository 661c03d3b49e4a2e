#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "explore/call_text.h"
#include "explore/calls_file.h"

// Files of calls: the input is one, and what was read of it is written and read again.

namespace {

namespace explore = quorle::explore;

void Require(bool condition) {
  if (!condition) std::abort();
}

/// One line with the name of the file and, unless all of it is too large, the number of a line.
bool IsOneLine(const std::string& problem) {
  for (const char c : problem) {
    const auto code = static_cast<unsigned char>(c);
    if (code < 0x20 || code > 0x7E) return false;
  }
  return problem.starts_with("x.calls:");
}

void RequireTheSameAgain(const explore::CallLine& line) {
  std::string text = explore::TextOf(line.call);
  if (line.due) text += " => " + explore::TextOf(line.call, *line.due);
  explore::CallLine again;
  std::string problem;
  Require(explore::ReadCallLine(text, again, problem));
  Require(again.call == line.call && again.due == line.due);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(data), size);
  std::vector<explore::CallsStep> steps;
  std::string problem;
  if (!explore::ParseCalls("x.calls", input, steps, problem)) {
    Require(IsOneLine(problem));
    return 0;
  }
  Require(problem.empty());
  const quorle::VolumeListing nothing;
  for (const explore::CallsStep& step : steps) {
    if (step.type == explore::CallsStep::Type::kCall) RequireTheSameAgain(step.call);
    Require((step.type == explore::CallsStep::Type::kTree) == (step.tree != nullptr));
    if (step.tree == nullptr) continue;
    Require(explore::CompareTree(*step.tree, nothing).size() == step.tree->objects.size());
  }
  return 0;
}
