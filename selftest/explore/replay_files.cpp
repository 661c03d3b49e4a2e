#include "selftest/explore/replay_files.h"

#include <utility>

#include "explore/replay.h"
#include "selftest/support/two_devices.h"

namespace quorle::selftest {

ReplayVerdict ReplayText(const std::string& name, const std::string& text,
                         const std::string& handler, PortType port) {
  std::vector<explore::CallsStep> steps;
  std::string problem;
  if (!explore::ParseCalls(name, text, steps, problem))
    return {.is_fine = false, .wrong = {problem}};
  TwoDevices devices(handler, port);
  ReplayVerdict verdict;
  {
    explore::Replay replay({.side = devices.device(),
                            .clock = devices.clock(),
                            .port = devices.device_port(),
                            .remount = [&] { return devices.Remount(); }});
    if (replay.Begin() != 0) verdict.wrong.push_back("the root cannot be locked");
    for (const explore::CallsStep& step : steps) {
      const explore::ReplayedLine line = replay.Make(step);
      if (line.is_due) continue;
      verdict.wrong.push_back(std::to_string(step.line) + " " + line.text);
      for (const std::string& below : line.below) verdict.wrong.push_back("  " + below);
    }
  }
  for (std::string& complaint : devices.ShutDownDevice()) {
    verdict.wrong.push_back(std::move(complaint));
  }
  verdict.is_fine = verdict.wrong.empty();
  return verdict;
}

std::string ReplayTextOf(const explore::Difference& difference, std::vector<std::string> comments) {
  TwoDevices devices("ram");
  return explore::CallsText(
      difference, std::move(comments),
      {.side = devices.reference(), .clock = devices.clock(), .port = devices.reference_port()});
}

}  // namespace quorle::selftest
