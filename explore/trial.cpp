#include "explore/trial.h"

#include <array>
#include <set>
#include <utility>
#include <vector>

#include "explore/call_text.h"
#include "explore/comparison.h"
#include "explore/judge.h"
#include "explore/tree.h"
#include "platform/constants.h"

namespace quorle::explore {
/// The sequence that runs, and what stays between two of them.
class Trial::Sequence {
 public:
  Sequence(const Parts& parts, TrialSettings settings)
      : parts_(parts),
        settings_(std::move(settings)),
        comparison_(parts.traits, parts.clock),
        judge_(parts.traits, parts.reference, parts.device, parts.control, comparison_),
        directory_(settings_.directory) {
    SetUpGenerator();
  }

  std::optional<Difference> Run(std::span<const Choice> choices, const Manner& manner) {
    Begin(manner);
    Call& call = drawn_;
    outright_.clear();
    for (std::size_t at = 0; at + kChoicesPerCall <= choices.size(); at += kChoicesPerCall) {
      generator_->Next(choices.subspan(at, kChoicesPerCall), parts_.reference, call);
      outright_.insert(outright_.end(), generator_->outright().begin(),
                       generator_->outright().end());
      if (!Step(call)) break;
    }
    return Finish();
  }

  std::optional<Difference> Run(std::span<const Call> calls, const Manner& manner) {
    Begin(manner);
    for (const Call& call : calls) {
      if (!Step(call)) break;
    }
    return Finish();
  }

  void IgnoreBlocks() { ignores_blocks_ = true; }
  const Choices& outright() const { return outright_; }
  std::span<const ShownCall> shown() const { return {shown_.data(), made_}; }
  std::uint64_t calls_made() const { return calls_made_; }
  const std::map<std::string, Difference>& notes() const { return judge_.notes(); }
  const std::string& directory() const { return directory_; }
  bool has_room() const { return abandoned_ < kMostAbandoned; }

 private:
  // ---- Around a sequence -----------------------------------------------------------------------

  void Begin(const Manner& manner) {
    manner_ = manner;
    difference_.reset();
    made_ = 0;
    shown_.clear();
    inhibited_ = 0;
    protected_by_.reset();
    keys_.clear();
    relabelled_ = false;
    parts_.control.BeginSequence();
    if (manner.fresh) {
      parts_.device.End();
      parts_.control.Remount();
    }
    if (!parts_.reference.has_begun()) BeginSide(parts_.reference);
    if (!parts_.device.has_begun()) {
      BeginSide(parts_.device);
      // One that ends at every so many calls may end here as well.
      if (difference_ && !parts_.control.HowItEnded().empty()) {
        difference_.reset();
        parts_.control.BeginSequence();
        BeginSide(parts_.device);
      }
    }
    comparison_.Begin();
    judge_.Begin();
    generator_->Begin();
    before_ = Info(parts_.device);
    reference_before_ = Info(parts_.reference);
  }

  void SetUpGenerator() {
    const bool whole_volume = directory_.empty();
    generator_.emplace(parts_.traits, whole_volume, settings_.amounts);
  }

  void BeginSide(Side& side) {
    if (!directory_.empty())
      side.dos().UnLock(side.dos().CreateDir((side.device() + directory_).c_str()));
    if (const std::int32_t code = side.Begin(directory_); code != 0) {
      Report(std::string(kStartRule), "start-refused",
             "the directory that is worked in cannot be locked",
             "refused with " + std::to_string(code));
    }
  }

  std::optional<Difference> Finish() {
    if (!difference_ && !judge_.is_full()) End();
    if (judge_.is_full()) {
      EndFull();
    } else if (difference_ || parts_.control.IsOver() || HasEnded()) {
      Abandon();
    }
    return std::move(difference_);
  }

  bool HasEnded() const { return !parts_.control.HowItEnded().empty(); }

  /// Gives everything back by calls that are compared as the others, and compares what is left.
  void End() {
    if (manner_.walks == Walks::kAtLast && inhibited_ == 0 && !CompareTrees(false, "tree")) return;
    if (!Release() || !CompareTrees(true, "tree")) return;
    if (settings_.remount && !Remount()) return;
    const std::size_t most = reference_tree_.objects.size() + kObjectsBeyond;
    const bool reference_empty = Empty(parts_.reference, reference_tree_, most);
    if (!Empty(parts_.device, device_tree_, most) && reference_empty) {
      Report("empty", "delete-left", "what was made cannot be deleted");
      return;
    }
    if (HasEnded()) return Report("empty", {}, {});
    Settle(parts_.reference);
    Settle(parts_.device);
    // What only that ends on is found when a sequence has the call.
    if (!HasEnded()) CompareUse();
  }

  /// The same where the device had no room for a call: what was made goes, and nothing of it is left.
  void EndFull() {
    const int before = abandoned_;
    Abandon();
    if (difference_) return;
    if (abandoned_ != before) {
      Report("empty", "delete-left", "what was made cannot be deleted");
    } else {
      CompareUse();
    }
  }

  bool Release() {
    while (inhibited_ != 0) {
      if (!Step(Simple(Operation::kInhibit, 0))) return false;
    }
    if (protected_by_) {
      Call call = Simple(Operation::kWriteProtect, 0);
      call.number[1] = *protected_by_;
      if (!Step(call)) return false;
    }
    static constexpr std::pair<Argument, Operation> kReleases[] = {
        {Argument::kRequest, Operation::kEndNotify},
        {Argument::kScan, Operation::kReleaseScan},
        {Argument::kFile, Operation::kClose},
        {Argument::kLock, Operation::kUnLock},
    };
    for (const auto& [kind, release] : kReleases) {
      for (std::uint8_t number = 1; number <= kMostObjects; ++number) {
        if (parts_.reference.Has(kind, number) && !Step(Simple(release, number))) return false;
      }
    }
    if (relabelled_) {
      Call call = Simple(Operation::kRelabel, 0);
      call.text[0] = volume_name_;
      if (!Step(call)) return false;
    }
    Step(Simple(Operation::kSetCurrentDir, 0));
    return !difference_;
  }

  static Call Simple(Operation operation, std::int64_t number) {
    Call call;
    call.operation = operation;
    call.number[0] = number;
    return call;
  }

  bool Remount() {
    parts_.device.End();
    const std::string problem = parts_.control.Remount();
    if (!problem.empty()) {
      Report("remount", "remount-fails", problem);
      return false;
    }
    BeginSide(parts_.device);
    if (difference_) return false;
    return CompareTrees(true, "remount");
  }

  /// After everything was closed and deleted nobody uses the volume, and its blocks are free again.
  void CompareUse() {
    const InfoData after = Info(parts_.device);
    const InfoData reference = Info(parts_.reference);
    if (parts_.traits.counts_users &&
        after.id_InUse - before_.id_InUse != reference.id_InUse - reference_before_.id_InUse) {
      Report("use", "users-left", "everything was closed, and the volume is still in use",
             std::to_string(after.id_InUse) + " users; there were " +
                 std::to_string(before_.id_InUse));
      return;
    }
    if (parts_.traits.frees_blocks && !ignores_blocks_ &&
        after.id_NumBlocksUsed != before_.id_NumBlocksUsed) {
      Report("use",
             after.id_NumBlocksUsed > before_.id_NumBlocksUsed ? "blocks-lost" : "blocks-won",
             "everything was deleted, and the volume has not as many free blocks as before",
             std::to_string(after.id_NumBlocksUsed) + " blocks used; there were " +
                 std::to_string(before_.id_NumBlocksUsed));
    }
  }

  /// Brings both sides back to where a sequence begins, whatever happened.
  void Abandon() {
    judge_.Begin();
    for (Side* const side : {&parts_.reference, &parts_.device}) {
      LiftAll(*side);
      side->End();
    }
    parts_.control.BeginSequence();
    std::optional<Difference> found = std::exchange(difference_, std::nullopt);
    BeginSide(parts_.reference);
    Walk(parts_.reference, {.file_bytes = 0}, reference_tree_);
    // What must be there is deleted by its name first: not every scan shows it.
    device_tree_ = reference_tree_;
    const std::size_t most = reference_tree_.objects.size() + kObjectsBeyond;
    Empty(parts_.reference, reference_tree_, most);
    if (!EmptyDevice(most)) {
      // Somewhere else, then: what is there would be a part of each difference from now on.
      parts_.device.End();
      parts_.reference.End();
      directory_ = "quorle-" + std::to_string(++abandoned_);
      SetUpGenerator();
    }
    for (Side* const side : {&parts_.reference, &parts_.device}) {
      if (found && found->rule == kStartRule) side->End();
      if (side->has_begun()) Settle(*side);
    }
    difference_ = std::move(found);
  }

  /// Begins and empties the device, of whose objects device_tree_ has some. A handler that ends meanwhile gets
  /// a few further attempts. False when something is left; of what cannot be listed nothing is known.
  bool EmptyDevice(std::size_t most) {
    constexpr int kMostAttempts = 3;
    for (int attempt = 1;; ++attempt) {
      BeginSide(parts_.device);
      if (parts_.device.has_begun() && Empty(parts_.device, device_tree_, most)) return true;
      if (parts_.control.HowItEnded().empty()) break;
      parts_.device.End();
      parts_.control.BeginSequence();
      if (attempt == kMostAttempts) break;
    }
    return device_tree_.objects.empty();
  }

  /// Lifts what refuses everything, also where one side alone granted it: in any order, and of each so
  /// often as it can have been granted.
  void LiftAll(Side& side) {
    const char* const device = side.device().c_str();
    for (int i = 0; i <= inhibited_; ++i) side.further().Inhibit(device, false);
    for (const std::int64_t key : keys_) {
      side.dos().WriteProtectVolume(device, false, static_cast<std::uint32_t>(key), 0);
    }
  }

  /// Gives the directory that is worked in, and the volume, what they had at first: names and attributes
  /// outlive the objects in it.
  void Settle(Side& side) {
    if (relabelled_) side.dos().Relabel(side.device().c_str(), volume_name_.c_str());
    if (!settings_.directory.empty() || !directory_.empty()) return;
    const LockHandle current = side.dos().SetCurrentDir(side.base());
    side.dos().SetComment("", "");
    side.dos().SetProtection("", EXDF_DEFAULT);
    side.dos().SetOwnerInfo("", OI_OwnerUID, DOS_OWNER_NONE);
    side.dos().SetOwnerInfo("", OI_OwnerGID, DOS_OWNER_NONE);
    side.dos().SetDate("", SearchClock::ToDate(SearchClock::kFirstDay * SearchClock::kTicksPerDay));
    side.dos().SetCurrentDir(current);
  }

  InfoData Info(Side& side) {
    InfoData info{};
    side.dos().GetDiskInfo(side.device().c_str(), info);
    return info;
  }

  // ---- One call --------------------------------------------------------------------------------

  /// Makes `call` on both sides and compares. False when there is a difference.
  bool Step(const Call& call) {
    if (difference_ || parts_.control.IsOver()) return false;
    parts_.clock.Step();
    Prepare(call);
    comparison_.BeforeCall();
    parts_.reference.Make(call, reference_);
    parts_.device.Make(call, device_);
    comparison_.AfterCall();
    ++calls_made_;
    ++made_;
    Keep(call);
    if (parts_.observer != nullptr) parts_.observer->OnCall(call, reference_, device_);
    const bool look = inhibited_ == 0 && call.operation != Operation::kInhibit;
    if (auto found = judge_.AfterCall(call, reference_, device_, look)) {
      Take(std::move(*found));
      return false;
    }
    if (judge_.is_full()) return false;
    Follow(call);
    return !IsTimeToWalk() || CompareTrees(false, "tree");
  }

  bool IsTimeToWalk() const {
    if (inhibited_ != 0) return false;
    if (manner_.walks != Walks::kUsual) return manner_.walks == Walks::kEach;
    return settings_.calls_between_walks != 0 && made_ % settings_.calls_between_walks == 0;
  }

  void Keep(const Call& call) {
    if (shown_.size() < made_) shown_.emplace_back();
    ShownCall& shown = shown_[made_ - 1];
    shown.call = call;
    if (manner_.texts) ShowOutcomes(shown);
  }

  void ShowOutcomes(ShownCall& shown) const {
    shown.device = TextOf(shown.call, device_);
    shown.reference = TextOf(shown.call, reference_);
    if (shown.reference == shown.device) shown.reference.clear();
  }

  /// What may have to be undone when one side alone grants it.
  void Prepare(const Call& call) {
    if (call.operation == Operation::kRelabel && !std::exchange(relabelled_, true)) {
      volume_name_ = VolumeName();
    }
    if (call.operation == Operation::kWriteProtect) keys_.insert(call.number[1]);
  }

  /// What the end of the sequence has to undo.
  void Follow(const Call& call) {
    if (!reference_.done) return;
    switch (call.operation) {
      case Operation::kInhibit:
        if (call.number[0] != 0) {
          ++inhibited_;
        } else if (inhibited_ != 0) {
          --inhibited_;
        }
        break;
      case Operation::kWriteProtect:
        if (call.number[0] != 0) {
          protected_by_ = call.number[1];
        } else {
          protected_by_.reset();
        }
        break;
      default:
        break;
    }
  }

  bool CompareTrees(bool at_end, const std::string& rule) {
    Walk(parts_.reference, {.unprotect = at_end}, reference_tree_);
    Walk(parts_.device,
         {.objects = reference_tree_.objects.size() + kObjectsBeyond, .unprotect = at_end},
         device_tree_);
    const auto unlike = comparison_.Trees(reference_tree_, device_tree_);
    if (!unlike) return true;
    const bool after_calls = rule == "tree" && made_ != 0;
    Take(Judge::OfTrees(rule, after_calls ? std::string(RowOf(LastOfInterest()).id) : std::string(),
                        *unlike));
    return false;
  }

  /// The last call that is no release: what a difference of the tree is named for.
  Operation LastOfInterest() const {
    for (std::size_t i = made_; i-- != 0;) {
      const Operation operation = shown_[i].call.operation;
      if (operation != Operation::kUnLock && operation != Operation::kReleaseScan &&
          operation != Operation::kEndNotify && operation != Operation::kSetCurrentDir) {
        return operation;
      }
    }
    return shown_.front().call.operation;
  }

  std::string VolumeName() {
    std::array<char, 256> name{};
    const DevProc* const devproc =
        parts_.reference.dos().GetDeviceProc(parts_.reference.device().c_str(), nullptr);
    if (devproc == nullptr) return {};
    parts_.reference.dos().VolNameFromPort(devproc->dvp_Port, name.data(), name.size(), false);
    parts_.reference.dos().FreeDeviceProc(devproc);
    return name.data();
  }

  // ---- Reports ---------------------------------------------------------------------------------

  void Report(const std::string& rule, const std::string& id, const std::string& what,
              const std::string& detail = {}) {
    Difference difference{
        .rule = rule, .id = id, .kind = id, .during = {}, .what = what, .calls = {}, .then = {}};
    if (!detail.empty()) difference.then.push_back(detail);
    Take(std::move(difference));
  }
  void Take(Difference difference) {
    const bool says_so = difference.rule == kStartRule || difference.rule == kEndRule;
    if (const std::string how = parts_.control.HowItEnded(); !how.empty() && !says_so) {
      // Whatever was seen of it first.
      difference = Judge::OfEnd(difference.rule, how);
    }
    difference.calls.assign(shown_.begin(), shown_.begin() + static_cast<std::ptrdiff_t>(made_));
    difference_ = std::move(difference);
  }

  Parts parts_;
  TrialSettings settings_;
  Comparison comparison_;
  Judge judge_;
  std::optional<Generator> generator_;
  std::string directory_;
  bool ignores_blocks_ = false;
  Choices outright_;
  std::uint64_t calls_made_ = 0;
  /// So many objects more than on the reference are looked at: a scan may be without an end.
  static constexpr std::size_t kObjectsBeyond = 100;
  static constexpr int kMostAbandoned = 20;
  int abandoned_ = 0;  ///< directories

  // Of the sequence that runs.
  Manner manner_;
  std::optional<Difference> difference_;
  std::size_t made_ = 0;
  std::vector<ShownCall> shown_;
  Call drawn_;
  Outcome reference_;
  Outcome device_;
  Tree reference_tree_;
  Tree device_tree_;
  int inhibited_ = 0;
  std::optional<std::int64_t> protected_by_;
  std::set<std::int64_t> keys_;  ///< with which the volume may have been protected
  bool relabelled_ = false;
  std::string volume_name_;
  InfoData before_{};
  InfoData reference_before_{};
};

Trial::Trial(const Parts& parts, TrialSettings settings)
    : sequence_(std::make_unique<Sequence>(parts, std::move(settings))) {}

Trial::~Trial() = default;

std::optional<Difference> Trial::Run(std::span<const Choice> choices, const Manner& manner) {
  return sequence_->Run(choices, manner);
}

std::optional<Difference> Trial::Run(std::span<const Call> calls, const Manner& manner) {
  return sequence_->Run(calls, manner);
}

const Choices& Trial::outright() const {
  return sequence_->outright();
}

std::span<const ShownCall> Trial::shown() const {
  return sequence_->shown();
}

std::uint64_t Trial::calls_made() const {
  return sequence_->calls_made();
}

const std::map<std::string, Difference>& Trial::notes() const {
  return sequence_->notes();
}

void Trial::IgnoreBlocks() {
  sequence_->IgnoreBlocks();
}

bool Trial::has_room() const {
  return sequence_->has_room();
}

const std::string& Trial::directory() const {
  return sequence_->directory();
}

}  // namespace quorle::explore
