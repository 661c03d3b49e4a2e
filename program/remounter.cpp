#include "program/remounter.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include "program/shell_command.h"

namespace quorle {
namespace {

using Life = HandlerProgram::Life;

std::string Counted(std::size_t count, const char* what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

/// What is said of the first of `lines`, and how many there are.
std::string FirstOf(const std::vector<std::string>& lines) {
  const std::size_t rest = lines.size() - 1;
  return lines.front() + (rest == 0 ? "" : ", and " + Counted(rest, "other difference"));
}

}  // namespace

/// What is done after one group.
class Remounter::Round {
 public:
  Round(Remounter& remounter, const std::string& group)
      : remounter_(remounter), port_(*remounter.port_), group_(group) {}

  void Run() {
    RunRecorder& recorder = remounter_.parts_.results.recorder();
    recorder.BeginRemount();
    const std::optional<VolumeListing> before = ListIfItRuns();
    const bool is_mounted = port_.life() != Life::kIsOver;
    if (is_mounted) Unmount();
    if (const auto& command = remounter_.options_.remount.after_group) {
      const std::string how = remounter_.RunCommand(*command, group_);
      if (!how.empty()) Fail("the command of --after-group " + how);
    }
    remounter_.is_over_ = !is_mounted || !MountAgain();
    if (!remounter_.is_over_) Compare(before);
    if (!is_mounted && failures_.empty()) return;
    recorder.EndRemount(group_, failures_.empty(), failures_.empty() ? note_ : failures_);
  }

 private:
  void Say(const std::string& what) {
    remounter_.parts_.console.Report(remounter_.parts_.watch.Place() + ": " + port_.device_name() +
                                     ": " + what);
  }
  void Fail(const std::string& what) {
    Say(what);
    failures_ += (failures_.empty() ? "" : "; ") + port_.device_name() + ": " + what;
  }

  /// The tree, when it is to be compared; nothing when the handler has ended.
  std::optional<VolumeListing> ListIfItRuns() {
    if (!remounter_.options_.remount.each) return std::nullopt;
    std::optional<VolumeListing> listing;
    if (port_.life() == Life::kRuns) listing = List();
    if (listing) return listing;
    note_ = port_.device_name() + ": the tree was not compared, the handler " +
            (port_.life() == Life::kRuns ? "took too long" : "had ended");
    return std::nullopt;
  }

  /// What the handler shows; nothing when it does not last so long, or takes too long.
  std::optional<VolumeListing> List() {
    CallGate& gate = remounter_.parts_.gate;
    gate.BeginGroup();
    VolumeListing listing = ListVolume(port_, ListingBounds());
    const bool is_whole = port_.life() == Life::kRuns && gate.Admits(CallGate::Purpose::kAnything);
    gate.BeginGroup();
    return is_whole ? std::optional(std::move(listing)) : std::nullopt;
  }

  void Unmount() {
    const OpenObjects open =
        remounter_.parts_.machine.dos().ReleasePort(port_, remounter_.ctx_->root_lock);
    if (open != OpenObjects{}) {
      Say("still open after the group, and closed to unmount it: " + Counted(open.locks, "lock") +
          ", " + Counted(open.files, "file"));
    }
    port_.UnmountForNow();
  }

  bool MountAgain() {
    RunRecorder& recorder = remounter_.parts_.results.recorder();
    std::string problem;
    if (!port_.MountAgain(problem)) {
      Fail("mounting again failed: " + problem);
      recorder.HandlerIsGone();
      return false;
    }
    recorder.HandlerIsBack();
    const std::int32_t error =
        remounter_.parts_.machine.dos().LockRootAgain(port_, remounter_.ctx_->root_lock);
    if (error != 0) {
      Fail("the root cannot be locked after mounting again, error " + std::to_string(error));
    }
    return true;
  }

  void Compare(const std::optional<VolumeListing>& before) {
    if (!before) return;
    const std::optional<VolumeListing> after = List();
    if (!after) {
      const bool runs = port_.life() == Life::kRuns;
      Fail(std::string("the handler ") + (runs ? "took too long" : "ended") +
           " after mounting again");
      return;
    }
    const std::vector<std::string> lines = CompareListings(port_, *before, *after);
    if (!lines.empty()) Fail("the tree differs after mounting again: " + FirstOf(lines));
    if (!before->is_cut && !after->is_cut) return;
    const std::string bound =
        Counted(ListingBounds().objects, "object") + " of the tree were compared, there are more";
    note_ = port_.device_name() + ": " + bound;
    if (!std::exchange(remounter_.said_cut_, true)) Say(bound);
  }

  Remounter& remounter_;
  HandlerPort& port_;
  const std::string& group_;
  std::string failures_;
  std::string note_;  ///< what is to be said of a round that went well
};

Remounter::Remounter(const HostOptions& options, const Parts& parts)
    : options_(options), parts_(parts) {}

void Remounter::BeginRun(const TestContext& ctx) {
  ctx_ = &ctx;
  const std::string_view device = ctx.device_name;
  port_ = parts_.machine.list().Find(device.substr(0, device.find(':'))).port;
}

void Remounter::EndGroup(const std::string& group) {
  if (!options_.remount.each && !options_.remount.after_group) return;
  if (port_ == nullptr || is_over_ || parts_.breaks.IsPending()) return;
  // What the group had of its time is over.
  parts_.gate.BeginGroup();
  Round(*this, group).Run();
}

void Remounter::EndRun() {
  if (port_ == nullptr || !options_.remount.after_run) return;
  const std::string how = RunCommand(*options_.remount.after_run, {});
  if (how.empty()) return;
  const std::string line = port_->device_name() + ": the command of --after-run " + how;
  parts_.console.Report(line);
  parts_.results.recorder().EndRemount({}, false, line);
}

std::string Remounter::RunCommand(const std::string& command, const std::string& group) {
  const bool was_pending = parts_.breaks.IsPending();
  ShellCommand shell{.text = command,
                     .environment = {{"QUORLE_DEVICE", port_->device_name() + ":"}},
                     .limit = options_.limit,
                     .was_interrupted = [&] { return !was_pending && parts_.breaks.IsPending(); },
                     .print = [&](std::string_view text) { parts_.console.PrintError(text); }};
  if (!group.empty()) shell.environment.emplace_back("QUORLE_GROUP", group);
  return RunShellCommand(shell);
}

}  // namespace quorle
