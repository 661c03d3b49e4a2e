#include "explore/trial.h"

#include <array>
#include <utility>
#include <vector>

#include "explore/call_text.h"
#include "explore/comparison.h"
#include "explore/tolerance.h"
#include "explore/tree.h"
#include "platform/constants.h"

namespace quorle::explore {
namespace {

/// What a name of a call is called in a difference.
std::string_view RoleOf(Operation operation, std::size_t name) {
  switch (operation) {
    case Operation::kRename:
      return name == 0 ? "source" : "target";
    case Operation::kMakeHardLink:
    case Operation::kMakeSoftLink:
      return "link";
    default:
      return "object";
  }
}

/// Whether a call that is granted changes what it names.
bool Changes(Operation operation) {
  switch (operation) {
    case Operation::kCreateDir:
    case Operation::kCreateDirTree:
    case Operation::kDelete:
    case Operation::kRename:
    case Operation::kMakeHardLink:
    case Operation::kMakeSoftLink:
    case Operation::kSetComment:
    case Operation::kSetProtection:
    case Operation::kSetDate:
    case Operation::kSetOwner:
    case Operation::kSetGroup:
      return true;
    default:
      return false;
  }
}

std::string CodeText(std::int32_t code) {
  return code == 0 ? "there" : "refused with " + std::to_string(code);
}

}  // namespace

/// The sequence that runs, and what stays between two of them.
class Trial::Sequence {
 public:
  Sequence(const Parts& parts, TrialSettings settings)
      : parts_(parts),
        settings_(std::move(settings)),
        comparison_(parts.traits, parts.clock),
        generator_(parts.traits),
        directory_(settings_.directory) {}

  std::optional<Difference> Run(std::span<const Choice> choices, bool texts) {
    Begin(texts);
    Call& call = drawn_;
    for (std::size_t at = 0; at + kChoicesPerCall <= choices.size(); at += kChoicesPerCall) {
      generator_.Next(choices.subspan(at, kChoicesPerCall), parts_.reference, call);
      if (!Step(call)) break;
    }
    return Finish();
  }

  std::optional<Difference> Run(std::span<const Call> calls, bool texts) {
    Begin(texts);
    for (const Call& call : calls) {
      if (!Step(call)) break;
    }
    return Finish();
  }

  std::uint64_t calls_made() const { return calls_made_; }
  const std::map<std::string, Difference>& notes() const { return notes_; }
  const std::string& directory() const { return directory_; }

 private:
  // ---- Around a sequence -----------------------------------------------------------------------

  void Begin(bool texts) {
    texts_ = texts;
    difference_.reset();
    made_ = 0;
    shown_.clear();
    inhibited_ = 0;
    protected_by_.reset();
    relabelled_ = false;
    parts_.control.BeginSequence();
    if (!parts_.reference.has_begun()) BeginSide(parts_.reference);
    if (!parts_.device.has_begun()) BeginSide(parts_.device);
    comparison_.Begin();
    before_ = Info(parts_.device);
    reference_before_ = Info(parts_.reference);
  }

  void BeginSide(Side& side) {
    if (!directory_.empty())
      side.dos().UnLock(side.dos().CreateDir((side.device() + directory_).c_str()));
    if (const std::int32_t code = side.Begin(directory_); code != 0) {
      Report("start", "start-refused", "the directory that is worked in cannot be locked",
             "refused with " + std::to_string(code));
    }
  }

  std::optional<Difference> Finish() {
    if (!difference_) End();
    if (difference_) Abandon();
    return std::move(difference_);
  }

  /// Gives everything back by calls that are compared as the others, and compares what is left.
  void End() {
    if (!Release() || !CompareTrees(true, "tree")) return;
    if (settings_.remount && !Remount()) return;
    const bool reference_empty = Empty(parts_.reference);
    if (!Empty(parts_.device) && reference_empty) {
      Report("empty", "delete-left", "what was made cannot be deleted");
      return;
    }
    CompareUse();
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
    BeginSide(parts_.device);
    if (difference_) return false;
    if (!problem.empty()) {
      Report("remount", "remount-fails", problem);
      return false;
    }
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
    if (parts_.traits.frees_blocks && after.id_NumBlocksUsed != before_.id_NumBlocksUsed) {
      Report("use",
             after.id_NumBlocksUsed > before_.id_NumBlocksUsed ? "blocks-lost" : "blocks-won",
             "everything was deleted, and the volume has not as many free blocks as before",
             std::to_string(after.id_NumBlocksUsed) + " blocks used; there were " +
                 std::to_string(before_.id_NumBlocksUsed));
    }
  }

  /// Brings both sides back to where a sequence begins, whatever happened.
  void Abandon() {
    for (Side* side : {&parts_.reference, &parts_.device}) {
      const char* const device = side->device().c_str();
      for (int i = 0; i != inhibited_; ++i) side->further().Inhibit(device, false);
      if (protected_by_) {
        side->dos().WriteProtectVolume(device, false, static_cast<std::uint32_t>(*protected_by_),
                                       0);
      }
      if (relabelled_) side->dos().Relabel(device, volume_name_.c_str());
      side->End();
    }
    parts_.control.BeginSequence();
    std::optional<Difference> found = std::exchange(difference_, std::nullopt);
    BeginSide(parts_.reference);
    Empty(parts_.reference);
    BeginSide(parts_.device);
    if (parts_.device.has_begun() && !Empty(parts_.device)) {
      // Somewhere else, then: what is there would be a part of each difference from now on.
      parts_.device.End();
      parts_.reference.End();
      directory_ = "quorle-" + std::to_string(++abandoned_);
    }
    if (found->rule == "start") {
      parts_.device.End();
      parts_.reference.End();
    }
    difference_ = std::move(found);
  }

  InfoData Info(Side& side) {
    InfoData info{};
    side.dos().GetDiskInfo(side.device().c_str(), info);
    return info;
  }

  // ---- One call --------------------------------------------------------------------------------

  /// Makes `call` on both sides and compares. False when there is a difference.
  bool Step(const Call& call) {
    if (difference_) return false;
    parts_.clock.Step();
    comparison_.BeforeCall();
    parts_.reference.Make(call, reference_);
    parts_.device.Make(call, device_);
    comparison_.AfterCall();
    ++calls_made_;
    ++made_;
    Keep(call);
    if (parts_.observer != nullptr) parts_.observer->OnCall(call, reference_, device_);
    Compare(call);
    if (difference_) return false;
    Follow(call);
    if (settings_.calls_between_walks != 0 && made_ % settings_.calls_between_walks == 0 &&
        inhibited_ == 0) {
      return CompareTrees(false, "tree");
    }
    return true;
  }

  void Keep(const Call& call) {
    if (shown_.size() < made_) shown_.emplace_back();
    ShownCall& shown = shown_[made_ - 1];
    shown.call = call;
    if (!texts_) return;
    shown.device = TextOf(call, device_);
    shown.reference = TextOf(call, reference_);
    if (shown.reference == shown.device) shown.reference.clear();
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
      case Operation::kRelabel:
        if (!relabelled_) volume_name_ = VolumeName();
        relabelled_ = true;
        break;
      default:
        break;
    }
  }

  void Compare(const Call& call) {
    const OperationRow& row = RowOf(call.operation);
    const std::string id(row.id);
    if (device_.code == ERROR_DEVICE_NOT_MOUNTED && reference_.code != ERROR_DEVICE_NOT_MOUNTED) {
      if (const std::string how = parts_.control.HowItEnded(); !how.empty()) {
        Report("handler-lives", id + "-ends-handler", how);
        return;
      }
    }
    if (reference_.done != device_.done) {
      Report("result",
             id + (device_.done ? "-granted-not-" + std::to_string(reference_.code)
                                : "-refused-" + std::to_string(device_.code)),
             device_.done
                 ? "it is granted, and should be refused with " + std::to_string(reference_.code)
                 : "it is refused, and should be granted");
      return;
    }
    if (reference_.done) {
      CompareResults(call, row);
    } else if (reference_.code != device_.code) {
      CompareCodes(call, id);
    }
    if (!difference_ && inhibited_ == 0) LookAfter(call, row);
  }

  void CompareCodes(const Call& call, const std::string& id) {
    if (IsTolerated(call, reference_.code, device_.code, parts_.reference)) return;
    std::string code_id =
        id + "-code-" + std::to_string(device_.code) + "-not-" + std::to_string(reference_.code);
    const std::string what = "it is refused with " + std::to_string(device_.code) +
                             ", and should be with " + std::to_string(reference_.code);
    if (!IsOpenCode(call, reference_.code)) {
      Report("code", std::move(code_id), what);
      return;
    }
    if (notes_.contains(code_id)) return;
    Difference note{.rule = "code",
                    .id = code_id,
                    .kind = code_id,
                    .weight = Difference::Weight::kNote,
                    .what = what + "; no rule names that code",
                    .calls = {},
                    .then = {}};
    note.calls.push_back({call, TextOf(call, device_), TextOf(call, reference_)});
    notes_.emplace(std::move(code_id), std::move(note));
  }

  void CompareResults(const Call& call, const OperationRow& row) {
    const std::string id(row.id);
    switch (row.result) {
      case Result::kRecord:
        if (const auto unlike = comparison_.Records(*reference_.record, *device_.record)) {
          ReportUnlike("record", id + "-" + std::string(unlike->what),
                       "a record is not as it should be", *unlike);
        }
        return;
      case Result::kData:
      case Result::kText:
        if (reference_.value != device_.value) {
          ReportValue("value", id + "-count");
        } else if (reference_.bytes != device_.bytes) {
          Report("value", id + "-contents", "other bytes come back", FirstOtherByte());
        }
        return;
      case Result::kInfo:
        if (reference_.info.id_DiskState != device_.info.id_DiskState) {
          ReportUnlike("value", id + "-state", "the volume is in another state",
                       Unlike{"state", std::to_string(reference_.info.id_DiskState),
                              std::to_string(device_.info.id_DiskState)});
        }
        return;
      case Result::kNumber:
        if (call.operation == Operation::kFileSystemAttr) {
          // Each volume has its own; they stay what they are.
          const auto [known, added] = attributes_.try_emplace(call.number[0], device_.value);
          if (!added && known->second != device_.value) ReportValue("value", id + "-value");
          return;
        }
        [[fallthrough]];
      default:
        if (reference_.value != device_.value) ReportValue("value", id + "-value");
        return;
    }
  }

  std::string FirstOtherByte() const {
    std::size_t at = 0;
    while (at < reference_.bytes.size() && reference_.bytes[at] == device_.bytes[at]) ++at;
    return "the first at " + std::to_string(at);
  }

  /// What a call that changes something made of it, and that a refused one changed nothing.
  void LookAfter(const Call& call, const OperationRow& row) {
    const bool refused = !reference_.done;
    std::size_t name = 0;
    for (std::size_t i = 0; i != row.Arguments().size() && !difference_; ++i) {
      const Argument argument = row.arguments[i];
      if (argument == Argument::kName) {
        if (refused || Changes(call.operation)) LookAtName(call, row, name, refused);
        ++name;
      } else if (refused && (argument == Argument::kLock || argument == Argument::kFile)) {
        const auto number = static_cast<std::uint8_t>(call.number[i]);
        if (number <= kMostObjects && parts_.reference.Has(argument, number)) {
          LookAtObject(row, argument, number, refused);
        }
      }
    }
    if (difference_ || refused || call.result == 0) return;
    if (row.result == Result::kLock) LookAtObject(row, Argument::kLock, call.result, false);
    if (row.result == Result::kFile) LookAtObject(row, Argument::kFile, call.result, false);
  }

  void LookAtName(const Call& call, const OperationRow& row, std::size_t name, bool refused) {
    std::int32_t due = 0;
    std::int32_t is = 0;
    const char* const path = call.text[name].c_str();
    const ExamineData* const reference = parts_.reference.Look(path, due);
    const ExamineData* const device = parts_.device.Look(path, is);
    const std::string_view role = RoleOf(call.operation, name);
    ReportLook(row, std::string(role), refused, reference, device, due, is,
               "ExamineObject(\"" + call.text[name] + "\")");
  }

  void LookAtObject(const OperationRow& row, Argument kind, std::uint8_t number, bool refused) {
    std::int32_t due = 0;
    std::int32_t is = 0;
    const ExamineData* const reference = parts_.reference.LookAt(kind, number, due);
    const ExamineData* const device = parts_.device.LookAt(kind, number, is);
    const bool lock = kind == Argument::kLock;
    ReportLook(row, lock ? "lock" : "file", refused, reference, device, due, is,
               std::string("ExamineObject(") + (lock ? "l" : "f") + std::to_string(number) + ")");
  }

  void ReportLook(const OperationRow& row, const std::string& role, bool refused,
                  const ExamineData* reference, const ExamineData* device, std::int32_t due,
                  std::int32_t is, const std::string& look) {
    std::optional<Unlike> unlike;
    if ((reference == nullptr) != (device == nullptr)) {
      unlike = Unlike{device == nullptr ? "gone" : "there", CodeText(due), CodeText(is)};
    } else if (reference != nullptr) {
      unlike = comparison_.Records(*reference, *device);
    }
    if (!unlike) return;
    const std::string id(row.id);
    if (refused) {
      ReportUnlike("refusal-is-harmless", id + "-refused-changes-" + role,
                   "a refused call changed what it named", *unlike, look);
    } else {
      ReportUnlike("effect", id + "-" + role + "-" + std::string(unlike->what),
                   "what the call made is not as it should be", *unlike, look);
    }
  }

  bool CompareTrees(bool at_end, const std::string& rule) {
    const WalkBounds bounds{.unprotect = at_end};
    Walk(parts_.reference, bounds, reference_tree_);
    Walk(parts_.device, bounds, device_tree_);
    const auto unlike = comparison_.Trees(reference_tree_, device_tree_);
    if (!unlike) return true;
    const std::string what(unlike->what);
    const std::string operation = rule == "remount" || made_ == 0
                                      ? rule
                                      : std::string(RowOf(LastOfInterest()).id) + "-" + rule;
    ReportUnlike(rule, operation + "-" + what, "the tree is not as it should be: " + what, *unlike);
    difference_->kind = rule + "-" + what;
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

  void Report(const std::string& rule, std::string id, const std::string& what,
              const std::string& detail = {}) {
    difference_.emplace();
    difference_->rule = rule;
    difference_->id = std::move(id);
    difference_->kind = difference_->id;
    difference_->what = what;
    if (!detail.empty()) difference_->then.push_back(detail);
    difference_->calls.assign(shown_.begin(), shown_.begin() + static_cast<std::ptrdiff_t>(made_));
  }
  void ReportUnlike(const std::string& rule, std::string id, const std::string& what,
                    const Unlike& unlike, const std::string& look = {}) {
    const std::string seen = std::string(unlike.what) + " " + unlike.device;
    Report(
        rule, std::move(id), what,
        (look.empty() ? std::string() : look + ": ") + seen + "; reference: " + unlike.reference);
  }
  void ReportValue(const std::string& rule, std::string id) {
    ReportUnlike(rule, std::move(id), "another number comes back",
                 Unlike{"value", std::to_string(reference_.value), std::to_string(device_.value)});
  }

  Parts parts_;
  TrialSettings settings_;
  Comparison comparison_;
  Generator generator_;
  std::string directory_;
  std::uint64_t calls_made_ = 0;
  int abandoned_ = 0;
  std::map<std::string, Difference> notes_;
  std::map<std::int64_t, std::int64_t> attributes_;  ///< of the device, by tag

  // Of the sequence that runs.
  bool texts_ = false;
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
  bool relabelled_ = false;
  std::string volume_name_;
  InfoData before_{};
  InfoData reference_before_{};
};

Trial::Trial(const Parts& parts, TrialSettings settings)
    : sequence_(std::make_unique<Sequence>(parts, std::move(settings))) {}

Trial::~Trial() = default;

std::optional<Difference> Trial::Run(std::span<const Choice> choices, bool texts) {
  return sequence_->Run(choices, texts);
}

std::optional<Difference> Trial::Run(std::span<const Call> calls, bool texts) {
  return sequence_->Run(calls, texts);
}

std::uint64_t Trial::calls_made() const {
  return sequence_->calls_made();
}

const std::map<std::string, Difference>& Trial::notes() const {
  return sequence_->notes();
}

const std::string& Trial::directory() const {
  return sequence_->directory();
}

}  // namespace quorle::explore
