#include "program/explored_device.h"

#include "program/shell_command.h"

namespace quorle {

ExploredDevice::ExploredDevice(const ExploreOptions& options, DeviceSession& session,
                               HandlerPort& port, Console& console)
    : options_(options), session_(session), port_(port), console_(console) {
  session_.watch().SetListener(this);
}

ExploredDevice::~ExploredDevice() {
  session_.watch().SetListener(nullptr);
}

void ExploredDevice::BeginSeed(std::uint64_t seed) {
  const std::string place = "seed " + std::to_string(seed);
  if (place == session_.watch().Place()) return;
  session_.watch().MoveTo(place);
  crash_line_.Set(
      "quorle: " + port_.device_name() + ": the program crashed, " + place +
      "; a handler in its own process is its end, without isolate=no that is a difference");
}

void ExploredDevice::BeginSequence() {
  how_.clear();
  session_.watch().BeginTest(++sequences_, "explore");
  session_.gate().BeginGroup();
}

bool ExploredDevice::IsOver() {
  return session_.breaks().IsPending() || port_.life() == HandlerProgram::Life::kIsOver;
}

std::string ExploredDevice::Remount() {
  session_.machine().dos().ReleasePort(port_, {});
  port_.UnmountForNow();
  std::string problem;
  if (options_.host.remount.after_run) {
    if (const std::string how = RunCommand(); !how.empty()) {
      problem = "the command of --after-run " + how;
    }
  }
  std::string why;
  if (!port_.MountAgain(why)) {
    problem += (problem.empty() ? "" : "; ") + ("mounting again failed: " + why);
  }
  return problem;
}

std::string ExploredDevice::RunCommand() {
  const ShellCommand shell{.text = *options_.host.remount.after_run,
                           .environment = {{"QUORLE_DEVICE", port_.device_name() + ":"}},
                           .limit = options_.host.limit,
                           .was_interrupted = [this] { return session_.breaks().IsPending(); },
                           .print = [this](std::string_view text) { console_.PrintError(text); }};
  return RunShellCommand(shell);
}

void ExploredDevice::OnReport(const std::string& line) {
  // The same thing in another sequence is the same thing.
  constexpr std::size_t kMostComplaints = 100;
  const std::string what = line.substr(0, line.find(", " + session_.watch().Place()));
  if (complaints_.size() < kMostComplaints && complaints_.insert(what).second) {
    console_.Report(what);
  }
}

void ExploredDevice::OnHandlerEnd(const HandlerEnd& end) {
  how_ = end.how + " in " + end.call;
}

void ExploredDevice::OnLimit(const std::string& took) {
  how_ = took;
}

}  // namespace quorle
